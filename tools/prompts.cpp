#include "tools/prompts.h"

#include "app/base/modal.h"
#include "app/base/theme.h"

#include <QDir>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QSaveFile>

namespace tools {

namespace {

// Boxes are built fresh, styled like the tool dialogs, and gone once answered.
template<typename Box> int run(Box *box)
{
    box->setStyleSheet(theme::styleSheet());
    const int result = app::execModal(box);
    box->deleteLater();
    return result;
}

std::optional<QString> askText(QWidget *parent, const QString &title, const QString &prompt, bool multiLine)
{
    auto *box = new QInputDialog(parent);
    box->setWindowTitle(title);
    box->setInputMode(QInputDialog::TextInput);
    box->setOption(QInputDialog::UsePlainTextEditForTextInput, multiLine);
    box->setLabelText(prompt);
    // The prompts are sentences: wrapped at a readable width. The box sizes itself to its layout,
    // so the width goes on the label.
    if (auto *label = box->findChild<QLabel *>()) {
        label->setWordWrap(true);
        label->setMinimumWidth(420);
    }
    // A few sentences read best wrapped at the box's width, as they will be in the report.
    if (auto *edit = box->findChild<QPlainTextEdit *>())
        edit->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    if (run(box) != QDialog::Accepted)
        return std::nullopt;
    return box->textValue(); // deleted later, from the event loop
}

} // namespace

void infoBox(QWidget *parent, const QString &title, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Information, title, text, QMessageBox::Ok, parent);
    box->setTextFormat(Qt::PlainText);
    run(box);
}

bool askYesNo(QWidget *parent, const QString &title, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Question, title, text, QMessageBox::Yes | QMessageBox::No, parent);
    box->setTextFormat(Qt::PlainText);
    box->setDefaultButton(QMessageBox::No);
    return run(box) == QMessageBox::Yes;
}

std::optional<QString> askLine(QWidget *parent, const QString &title, const QString &prompt)
{
    return askText(parent, title, prompt, false);
}

std::optional<QString> askLines(QWidget *parent, const QString &title, const QString &prompt)
{
    return askText(parent, title, prompt, true);
}

QString askSaveFile(QWidget *parent, const QString &title, const QString &proposedName, const QString &filter)
{
    auto *box = new QFileDialog(parent, title, QDir::homePath(), filter);
    // The platform's own dialog would not be a widget the modal hook (and so a test) can answer.
    box->setOption(QFileDialog::DontUseNativeDialog);
    box->setAcceptMode(QFileDialog::AcceptSave);
    box->setFileMode(QFileDialog::AnyFile);
    box->selectFile(proposedName);
    QString path;
    if (run(box) == QDialog::Accepted)
        path = box->selectedFiles().value(0);
    return path;
}

bool saveFile(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

} // namespace tools
