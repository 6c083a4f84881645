#pragma once
// "field" rows: a label and one input of the kind the screen asks for. Every input carries its
// field identity, so the window finds it by id, reads it with fieldValue() and hears the
// technician's edits through watchField(); a field may carry its value from one run to the next
// and may save itself to the unit.

#include "render/actions.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

#include <functional>

class QWidget;

namespace render {

// The input kinds of "kind"; any other text draws a one-line text input.
QStringList fieldKinds();

QWidget *fieldRow(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

// The value of one field input as the window collects it: a line edit's text, a plain text
// edit's plain text, a check box's (or switch's) state, a combo box's entry as text, a spin box's
// integer, a double spin box's number, a slider's position x "sliderStep" + "sliderMin", a date,
// time or date-time edit's ISO 8601 text, a list widget's selected texts in list order. Undefined
// for a widget that is none of these.
QJsonValue fieldValue(const QWidget *input);

// The values of the named fields under `root` (the widgets named "field:" + id); a field that is
// not there contributes nothing. What the window's `collectFields` returns.
QJsonObject collectFieldValues(const QWidget *root, const QStringList &ids);

// How the window learns of edits, without a member of Actions for it: it calls watchFields() on a
// freshly built screen, and `edited` then hears (field id, value as fieldValue reads it) whenever
// a field input's value changes, through that input's own change signal (textChanged, toggled,
// currentIndexChanged, valueChanged, dateTimeChanged, itemSelectionChanged). The window keeps the
// value as the field's pending edit and hands it back through `stateValue`, so a rebuilt screen
// shows what the technician typed. Changes made while building never reach it.
using FieldEdited = std::function<void(const QString &id, const QJsonValue &value)>;
void watchField(QWidget *input, const FieldEdited &edited);
// Every input under `root` (and `root` itself) that carries a "fieldId".
void watchFields(QWidget *root, const FieldEdited &edited);

// The text a value is carried as in "field_carry": a text as it is, true/false, a number in its
// shortest form, a list as compact JSON.
QString carryText(const QJsonValue &value);

} // namespace render
