#include "tools/dialogs.h"

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "units/store.h"

#include <QBoxLayout>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

namespace tools {

QString unitLabel(const units::Unit &unit)
{
    return unit.name.isEmpty() ? unit.key() : unit.name;
}

QDialog *makeDialog(QWidget *parent, const QString &title, int width, int height)
{
    auto *dialog = new QDialog(parent);
    dialog->setWindowTitle(title);
    dialog->setStyleSheet(theme::styleSheet());
    dialog->setMinimumWidth(width);
    if (height > 0)
        dialog->resize(width, height);
    return dialog;
}

QLabel *makeLabel(const QString &text, int points, const QColor &color, bool bold)
{
    auto *label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setFont(theme::uiFont(points, bold));
    QPalette pal = label->palette();
    pal.setBrush(QPalette::All, QPalette::WindowText, color);
    label->setPalette(pal);
    // The application style sheet gives every widget the text colour, and a style sheet outranks
    // the palette: the label's own sheet keeps its colour.
    label->setStyleSheet(QStringLiteral("color: %1;").arg(color.name()));
    label->setWordWrap(true);
    return label;
}

void addStatRow(QBoxLayout *layout, const QString &label, const QString &value)
{
    auto *row = new QWidget;
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(makeLabel(label, 10, theme::palette().muted), 1);
    box->addWidget(makeLabel(value, 10, theme::palette().ink, true), 0);
    layout->addWidget(row);
}

void addCloseRow(QDialog *dialog, QBoxLayout *layout, const QString &buttonText)
{
    auto *buttons = new QDialogButtonBox;
    buttons->addButton(buttonText, QDialogButtonBox::AcceptRole);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    layout->addWidget(buttons);
}

QPlainTextEdit *addTextEditor(QBoxLayout *layout, const QString &text)
{
    auto *editor = new QPlainTextEdit;
    editor->setFont(theme::monoFont(9));
    editor->setPlainText(text);
    layout->addWidget(editor, 1);
    return editor;
}

QList<QPushButton *> addButtonRow(QBoxLayout *layout, const QStringList &texts)
{
    auto *row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    QList<QPushButton *> buttons;
    for (const QString &text : texts) {
        if (text.isEmpty()) {
            row->addStretch(1);
            continue;
        }
        buttons << new QPushButton(text);
        row->addWidget(buttons.last());
    }
    layout->addLayout(row);
    return buttons;
}

int runDialog(QDialog *dialog)
{
    const int result = app::execModal(dialog);
    dialog->deleteLater();
    return result;
}

} // namespace tools
