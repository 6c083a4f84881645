#pragma once
// Buttons that ask the unit to do something ("action" elements), the confirmation a technician
// must give before a risky press, and the "cards" grid of status cards that may carry buttons.

#include "render/actions.h"

#include <QJsonObject>
#include <QString>

class QAbstractButton;
class QDialog;
class QPushButton;
class QWidget;

namespace render {

// The click sound of a button: "danger" for the danger style, else a known "sound" name, else
// "submit" when it asks for confirmation or is primary, else "action".
QString pressSoundFor(const QJsonObject &element);

// The request a button sends, read from its keys (method upper-cased).
Press pressFor(const QJsonObject &element);

// The button of an "action" element; pressing it confirms when asked and hands the press on.
QPushButton *actionButton(const QJsonObject &element, const Actions &actions, QWidget *parent);

// Asks the technician to confirm a press; an empty confirm object confirms at once.
bool confirmPress(const QJsonObject &confirm, const QString &style, const QString &label, QWidget *parent);
// Sends `press` through `actions` when `button` is clicked, once its confirmation (if any) is
// accepted; a declined one is logged by the press's label, or its path.
void pressOnClick(QAbstractButton *button, const Press &press, const QString &style, const Actions &actions);

// Whether the text typed into the confirmation matches the word: trimmed, ignoring case.
bool typedWordMatches(const QString &typed, const QString &word);

// The dialog that asks for a typed word before a dangerous operation (built, not run).
QDialog *typedWordDialog(const QString &title, const QString &detail, const QString &word, const QString &kind,
                         const QString &confirmText, QWidget *parent);

// Element builders of the dispatch table.
QWidget *action(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *cards(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

} // namespace render
