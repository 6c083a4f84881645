#pragma once
// The two small labels every primitive shares: a selectable word-wrapping text label and a
// rounded pill label, both showing the unit's text exactly as sent.

#include "prims/textlabel.h"

#include <QColor>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

class QWidget;

namespace prims {

// At most `most` characters, an ellipsis marking the cut: for the two texts that are cut on
// purpose (a pill at 40 characters, the placeholder's subject at 200), never for any other.
QString capped(const QString &text, int most);

// Word-wrapping label whose text the mouse can select in the interface (or monospace) font.
TextLabel *textLabel(const QString &text, int points, const QColor &color, bool bold = false, bool mono = false,
                     QWidget *parent = nullptr);

// A short bold text (at most 40 characters) on the raised grey, in `color`, optionally outlined;
// size clamped 6..24. It asks for one line and wraps between words only when it gets less.
TextLabel *pillLabel(const QString &text, const QColor &color, int points, bool outlined = true,
                     QWidget *parent = nullptr);

// The text for a button or a tab to show as it is: Qt takes a single "&" there as the mark of a
// keyboard shortcut and hides it, so every "&" is doubled.
QString buttonText(const QString &text);

// Any JSON value as display text: strings as they are, whole numbers below 1e15 as integers,
// other numbers with 6 significant digits, true/false as "yes"/"no", containers as "...".
QString valueText(const QJsonValue &value);
// The same for the value under `key` (missing gives empty text).
QString valueText(const QJsonObject &o, QLatin1StringView key);

} // namespace prims
