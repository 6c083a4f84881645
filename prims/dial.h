#pragma once
// "dial": a round 270-degree scale with coloured zones, ticks and a needle, running clockwise from
// the lower left to the lower right.

#include <QJsonObject>

class QPainter;
class QWidget;

namespace prims {

QWidget *buildDial(const QJsonObject &element, QWidget *parent);

// The needle's angle in degrees (counter-clockwise from three o'clock) for a fraction 0..1.
double dialAngle(double fraction);

void paintDial(QPainter &painter, const QRect &rect, const QJsonObject &element);

} // namespace prims
