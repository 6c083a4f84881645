#pragma once
// "badge": one coloured pill at the left of its row.

#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildBadge(const QJsonObject &element, QWidget *parent);

} // namespace prims
