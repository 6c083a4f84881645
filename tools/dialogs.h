#pragma once
// The small pieces every tool dialog is built from: a styled modal dialog, a label in a palette
// colour, a label-and-value row, and the closing button row. Tool dialogs are built fresh, run
// modally through the one modal hook (so tests can answer them) and deleted afterwards.

#include <QColor>
#include <QString>

#include <QList>
#include <QStringList>

class QBoxLayout;
class QDialog;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QWidget;

namespace units {
struct Unit;
}

namespace tools {

// How a dialog names a unit: its name, or "ip:port" when it has none.
QString unitLabel(const units::Unit &unit);

// A dialog owned by `parent`, titled, in the application style sheet, at least `width` wide and
// resized to width x height when height is above 0.
QDialog *makeDialog(QWidget *parent, const QString &title, int width, int height);

// A word-wrapping plain-text label in the interface font at `points`, bold or normal, in `color`.
QLabel *makeLabel(const QString &text, int points, const QColor &color, bool bold = false);

// A row of the label (10 pt, secondary text, stretching) and the value (10 pt, text colour, bold).
void addStatRow(QBoxLayout *layout, const QString &label, const QString &value);

// A button box with one accepting button of that text, which closes the dialog.
void addCloseRow(QDialog *dialog, QBoxLayout *layout, const QString &buttonText);

// The editable text of the handover dialogs: plain text in the fixed-pitch font at 9 pt, taking
// the height that is left.
QPlainTextEdit *addTextEditor(QBoxLayout *layout, const QString &text);

// A row (zero margins) of buttons with these texts, in order; an empty text stands for a stretch.
// Returns the buttons, in order.
QList<QPushButton *> addButtonRow(QBoxLayout *layout, const QStringList &texts);

// Runs the dialog modally and deletes it later; returns its result.
int runDialog(QDialog *dialog);

} // namespace tools
