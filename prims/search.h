#pragma once
// "search": a one-line text box that posts its text to the unit when Return is pressed.

#include "prims/registry.h"

#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildSearch(const QJsonObject &element, const Callbacks &cb, QWidget *parent);

// The submit body with the query key ("id", else "query") set to the typed text.
QJsonObject searchBody(const QJsonObject &element, const QString &text);

} // namespace prims
