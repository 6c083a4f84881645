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

// The text with a zero-width break opportunity inside every run of more than 24 characters that
// holds no space, so that word wrap can break long tokens (hashes, addresses) instead of widening
// the screen to fit them.
QString breakable(const QString &text);

// At most `most` characters, an ellipsis marking the cut: for labels that never wrap.
QString capped(const QString &text, int most = 120);

// Word-wrapping label whose text the mouse can select in the interface (or monospace) font.
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
