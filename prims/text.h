#pragma once
// The two small labels every primitive shares: a selectable word-wrapping text label and a
// rounded pill label.

#include <QColor>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

class QLabel;
class QWidget;

namespace prims {

// Word-wrapping, mouse-selectable label in the interface (or monospace) font.
QLabel *textLabel(const QString &text, int points, const QColor &color, bool bold = false, bool mono = false,
                  QWidget *parent = nullptr);

// A short bold text on the raised grey, in `color`, optionally outlined; size clamped 6..24.
QLabel *pillLabel(const QString &text, const QColor &color, int points, bool outlined = true,
                  QWidget *parent = nullptr);

// Any JSON value as display text: strings as they are, whole numbers below 1e15 as integers,
// other numbers with 6 significant digits, true/false as "yes"/"no", containers as "...".
QString valueText(const QJsonValue &value);
// The same for the value under `key` (missing gives empty text).
QString valueText(const QJsonObject &o, QLatin1StringView key);

} // namespace prims
