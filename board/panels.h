#pragma once
// Panels: screen elements that show live data the unit serves apart from the screen ("diagram",
// "shapes", "log", "progress", "position"), and their update in place, which lets the window
// refresh a panel from new data without rebuilding the screen around it.

#include "render/actions.h"

#include <QJsonObject>
#include <QStringList>

#include <optional>

class QWidget;

namespace panels {

// The panel of a "panel" element; none when it has nothing to show.
QWidget *draw(const QJsonObject &element, const render::Actions &actions, QWidget *parent);

// Brings the first panel under `root` whose "panelSource" is `source` up to `payload`, in place
// or by a replacement in the same place; false when the caller must rebuild the screen.
bool updateInPlace(QWidget *root, const QString &source, const QJsonObject &payload, const render::Actions &actions);

// For the window: the changed leaves of an answer (paths into it) are patched in place when every
// one of them lies inside a source's answer under "endpoints". The sources patched, or none when
// the screen must be rebuilt.
std::optional<QStringList> patchChanged(QWidget *root, const QStringList &changedLeaves, const QJsonObject &endpoints,
                                        const render::Actions &actions);

} // namespace panels

namespace board {

// Hands the renderer the "panel" element's builder. Called once at start, before any screen.
void install();

} // namespace board
