#pragma once
// "keyvalue": label and value pairs in a grid of one to six pair columns.

#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildKeyValue(const QJsonObject &element, QWidget *parent);

} // namespace prims
