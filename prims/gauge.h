#pragma once
// "gauge": a half-circle scale with the value written under its top.

#include <QJsonObject>
#include <QRectF>

class QPainter;
class QWidget;

namespace prims {

QWidget *buildGauge(const QJsonObject &element, QWidget *parent);

// Where the arc goes inside a rectangle: its square (centred on the base line) and pen width.
struct GaugeGeometry
{
    QRectF arc;
    int thickness = 6;
    int baseLine = 0;
};
GaugeGeometry gaugeGeometry(const QRect &rect);

void paintGauge(QPainter &painter, const QRect &rect, const QJsonObject &element);

} // namespace prims
