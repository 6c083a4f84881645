#pragma once
// "stat_grid": a grid of small stat tiles, each a muted label over a large value with its unit
// and an optional note; for the handful of figures a step wants read at a glance.

#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildStatGrid(const QJsonObject &element, QWidget *parent);

} // namespace prims
