#pragma once
// "ring": a full-circle progress ring with a percentage or a label in its middle.

#include <QJsonObject>

class QPainter;
class QWidget;

namespace prims {

QWidget *buildRing(const QJsonObject &element, QWidget *parent);

// The middle text: "label" when given, else the fraction as a whole percentage.
QString ringText(const QJsonObject &element);

void paintRing(QPainter &painter, const QRect &rect, const QJsonObject &element);

} // namespace prims
