// Keeping the focused field, its caret and its selection across a rebuild.

#include "window/keepinput.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextCursor>
#include <QWidget>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace window {

namespace {

QString fieldIdOf(const QWidget *w)
{
    return w ? w->property("fieldId").toString() : QString();
}

// The line edit that shows a field's text: the field itself, or the one inside a spin box or a
// date edit.
QLineEdit *lineOf(QWidget *field)
{
    if (auto *e = qobject_cast<QLineEdit *>(field))
        return e;
    if (qobject_cast<QAbstractSpinBox *>(field))
        return field->findChild<QLineEdit *>();
    return nullptr;
}

} // namespace

KeptInput keepInput(const QWidget *screen)
{
    KeptInput kept;
    if (!screen)
        return kept;
    // The screen sits in a proxied page; its window is that page, which remembers its focus
    // child even while the view itself does not have the focus.
    QWidget *focus = screen->window()->focusWidget();
    if (!focus || !screen->isAncestorOf(focus))
        return kept;
    QWidget *field = focus;
    while (field && field != screen && fieldIdOf(field).isEmpty())
        field = field->parentWidget();
    if (!field || field == screen)
        return kept;
    kept.fieldId = fieldIdOf(field);
    if (QLineEdit *e = lineOf(field)) {
        kept.position = e->cursorPosition();
        kept.anchor = kept.position;
        if (e->hasSelectedText()) {
            const int start = e->selectionStart();
            kept.anchor = kept.position == start ? start + int(e->selectedText().size()) : start;
        }
    } else if (auto *t = qobject_cast<QPlainTextEdit *>(field)) {
        kept.anchor = t->textCursor().anchor();
        kept.position = t->textCursor().position();
    }
    return kept;
}

void restoreInput(QWidget *screen, const KeptInput &kept)
{
    if (!screen || kept.fieldId.isEmpty())
        return;
    auto *field = screen->findChild<QWidget *>(u"field:"_s + kept.fieldId);
    if (!field || !field->isEnabled())
        return;
    field->setFocus(Qt::OtherFocusReason);
    if (QLineEdit *e = lineOf(field)) {
        const int length = int(e->text().size());
        const int anchor = std::clamp(kept.anchor, 0, length);
        const int position = std::clamp(kept.position, 0, length);
        if (anchor == position)
            e->setCursorPosition(position);
        else
            e->setSelection(anchor, position - anchor);
    } else if (auto *t = qobject_cast<QPlainTextEdit *>(field)) {
        QTextCursor c = t->textCursor();
        const int end = int(t->toPlainText().size());
        c.setPosition(std::clamp(kept.anchor, 0, end));
        c.setPosition(std::clamp(kept.position, 0, end), QTextCursor::KeepAnchor);
        t->setTextCursor(c);
    }
}

void quietFields(QWidget *screen)
{
    if (!screen)
        return;
    for (QWidget *w : screen->findChildren<QWidget *>())
        if (!fieldIdOf(w).isEmpty()) {
            w->blockSignals(true);
            // A text area hears its own focus loss through the application's signal.
            QObject::disconnect(qApp, nullptr, w, nullptr);
        }
}

} // namespace window
