#pragma once
// The offline render: draws a screen description (or a bundle of a screen with its panel data)
// into a PNG without a unit, a network or a visible window.

#include "render/actions.h"
#include "units/store.h"

#include <QJsonArray>

#include <QJsonObject>
#include <QSize>
#include <QString>

class QWidget;

namespace app {

// Returns the process exit code: 0 written, 2 unreadable, not JSON or not writable.
int renderOnce(const QString &file, const QString &out, QSize size, bool chrome);

// The actions of an offline render: `fetch` answers from the bundle's "endpoints", `covered` is
// true for the section labels that an endpoint "covers". Nothing else is set.
render::Actions bundleActions(const QJsonObject &endpoints);

// The main window's shell around a screen: the sidebar filled with the bundle's "units" (the one
// with "session" true shown signed in), then the title, badge and subtitle over the screen.
QWidget *chromeShell(const QJsonObject &description, QWidget *screen, const QJsonArray &units = {});

// A bundle's "units" read as the sidebar's units, each with its "session" flag.
QList<std::pair<units::Unit, bool>> bundleUnits(const QJsonArray &array);

// "WxH" as the command line takes it: a missing or non-numeric piece reads as 0, and a negative
// side gives the default 1240x900.
QSize parseSize(const QString &text);

} // namespace app
