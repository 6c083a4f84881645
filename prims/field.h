#pragma once
// What every input primitive shares: its field identity, by which the window finds it and reads
// its value, and the muted caption line above it.

#include <QString>

class QWidget;

namespace prims {

// With a non-empty id the input is named "field:" + id and carries the property "fieldId".
void setFieldId(QWidget *input, const QString &id);

// The input itself for an empty label; otherwise a column of the label and the input.
QWidget *fieldLabel(QWidget *input, const QString &label, QWidget *parent);

} // namespace prims
