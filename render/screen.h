#pragma once
// Turns a whole screen description into its widget tree: the version gate, the step strip, the
// sections, and an optional vertical scroll.

#include "render/actions.h"

#include <QJsonObject>

class QWidget;

namespace render {

QWidget *screen(const QJsonObject &description, const Actions &actions, QWidget *parent = nullptr);

// Whether this client is older than `minClient` ("8.9", "8.10.2-beta"); false when the text holds
// no version number.
bool clientTooOld(const QString &minClient);

} // namespace render
