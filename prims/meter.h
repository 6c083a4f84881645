#pragma once
// "meter": a horizontal bar with optional coloured segments, a target marker and a header line
// holding the label and the value.

#include <QJsonObject>

#include <optional>

class QPainter;
class QWidget;

namespace prims {

QWidget *buildMeter(const QJsonObject &element, QWidget *parent);

// The target's fraction of the bar when "target" is a number or a text that reads as a finite
// number; none otherwise.
std::optional<double> meterTarget(const QJsonObject &element);

void paintMeter(QPainter &painter, const QRect &rect, const QJsonObject &element);

} // namespace prims
