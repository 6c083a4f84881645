#pragma once
// What the technician is typing survives a rebuild of the screen: the focused field (found again
// by its field identity), its caret and its selection. The text itself comes back through the
// window's pending edits.

#include <QString>

class QWidget;

namespace window {

struct KeptInput
{
    QString fieldId; // empty: no field of the screen had the focus
    int anchor = 0;  // the selection's fixed end; equal to position without a selection
    int position = 0;
};

// The field of `screen` that holds the keyboard focus, with its caret and selection.
KeptInput keepInput(const QWidget *screen);
// Gives the same field of a new screen the focus, caret and selection (clamped to its text).
void restoreInput(QWidget *screen, const KeptInput &kept);
// Silences the field inputs of a screen that is going: losing the focus as it is hidden must not
// read as a finished edit (which would carry or save a value mid-word).
void quietFields(QWidget *screen);

} // namespace window
