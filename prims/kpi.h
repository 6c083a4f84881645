#pragma once
// "kpi": a key figure in large type with its unit, a change pill and a caption underneath.

#include <QColor>
#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildKpi(const QJsonObject &element, QWidget *parent);

// The figure: a number with at most ten significant digits in the shortest general form, any
// other value as its text; "-" when that is empty.
QString kpiValueText(const QJsonObject &element);
// The change pill's colour: "delta_tone" when given, else by the sign the delta text starts with.
QColor kpiDeltaColor(const QJsonObject &element);

} // namespace prims
