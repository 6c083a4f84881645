#pragma once
// The container primitives that hold other elements ("layout", "scroll", "split", "tabs",
// "alert", "dialog", "wizard", "tooltip") and the framed surface they share.

#include "prims/registry.h"

#include <QColor>
#include <QJsonObject>

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
// How many surface frames this process has made so far.
int surfaceFrameCount();

// Tone names that mean "no colour of its own" (case-insensitive).
bool isNeutralTone(const QString &tone);
// The raised grey, or for a coloured tone that grey moved `fraction` of the way to the tone.
QColor raisedTint(const QString &tone, double fraction);

// Fill-mode weight of child `index`: weights[index] as a number, truncated to 0..1000, or the
// default weight past the end.
int childWeight(const QJsonArray &weights, qsizetype index, int defaultWeight);

} // namespace prims
