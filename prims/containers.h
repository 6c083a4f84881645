#pragma once
// The container primitives that hold other elements ("layout", "scroll", "split", "tabs",
// "alert", "dialog", "wizard", "tooltip") and the framed surface they share.

#include "prims/registry.h"

#include <QColor>
#include <QJsonObject>
#include <QSizePolicy>

class QFrame;
class QWidget;

namespace prims {

QWidget *buildLayout(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);
QWidget *buildScroll(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);
QWidget *buildSplit(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);
QWidget *buildTabs(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);

QWidget *buildAlert(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);
QWidget *buildDialog(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);
QWidget *buildWizard(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);
QWidget *buildTooltip(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);

// A frameless frame named "primSurface<n>" (n counts every frame made in the process) with a
// rounded border of the given width and colour on the given background.
QFrame *surfaceFrame(const QColor &background, int borderWidth, const QColor &border, QWidget *parent);

// Tone names that mean "no colour of its own" (case-insensitive).
bool isNeutralTone(const QString &tone);
// The raised grey, or for a coloured tone that grey moved `fraction` of the way to the tone.
QColor raisedTint(const QString &tone, double fraction);

// Whether `child` takes the spare height of the column it sits in. A growing child expands. Any
// other keeps its own height: its size hint's, or its height for its width when it has one (a
// wrapped row or text), which a non-growing size policy would cap at the size hint's one line.
// A child that does not grow still stays its height only beside a stretch or a growing sibling.
void setGrows(QWidget *child, bool grows);
// Change one direction of a widget's size policy, keeping the other and its flags (a wrapping
// label's height-for-width): QWidget::setSizePolicy(h, v) would drop them.
void setHorizontalPolicy(QWidget *widget, QSizePolicy::Policy policy);
void setVerticalPolicy(QWidget *widget, QSizePolicy::Policy policy);

// Fill-mode weight of child `index`: weights[index] as a number, truncated to 0..1000, or the
// default weight past the end.
int childWeight(const QJsonArray &weights, qsizetype index, int defaultWeight);

} // namespace prims
