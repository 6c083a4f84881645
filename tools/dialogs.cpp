#include "tools/dialogs.h"

#include "app/base/modal.h"
#include "app/base/theme.h"

#include <QBoxLayout>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>

namespace tools {

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
    // The dialog's style sheet gives every widget the text colour, and a style sheet wins over a
    // palette: the label's own sheet keeps its colour.
    label->setStyleSheet(QStringLiteral("color:%1;").arg(color.name()));
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

int runDialog(QDialog *dialog)
{
    const int result = app::execModal(dialog);
    dialog->deleteLater();
    return result;
}

} // namespace tools
