#pragma once
// "led": a status lamp, with an optional soft halo, beside a label and a note.

#include <QColor>
#include <QJsonObject>

class QPainter;
class QWidget;

namespace prims {

QWidget *buildLed(const QJsonObject &element, QWidget *parent);

// The lamp's diameter: "size" (12) at most 64, anything below 7 taken as 6.
int ledSize(const QJsonObject &element);
// "tone" when it is a non-empty text, else the "state" (default "idle") read as a tone.
QColor ledColor(const QJsonObject &element);

void paintLed(QPainter &painter, const QRect &rect, const QJsonObject &element);

} // namespace prims
