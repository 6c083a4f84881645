#include "render/buttons.h"

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QIcon>
#include <QJsonArray>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace render {

namespace {

// The names a unit may give as a button's click sound; "danger" comes only from the style.
constexpr std::array<const char *, 10> kButtonSounds = {
    "click", "selector", "select", "save", "place", "motion", "power_on", "power_off", "action", "submit",
};

QStringList textList(const QJsonArray &array)
{
    QStringList list;
    for (const QJsonValue &v : array) {
        if (v.isString())
            list << v.toString();
    }
    return list;
}

// Icon names map to the theme's icons, or to the style's own pictures for the common ones.
QIcon iconNamed(const QString &name)
{
    QIcon icon = QIcon::fromTheme(name);
    if (!icon.isNull())
        return icon;
    static const std::array<std::pair<const char *, QStyle::StandardPixmap>, 16> kStandard = {{
        {"refresh", QStyle::SP_BrowserReload},
        {"reload", QStyle::SP_BrowserReload},
        {"stop", QStyle::SP_BrowserStop},
        {"play", QStyle::SP_MediaPlay},
        {"pause", QStyle::SP_MediaPause},
        {"save", QStyle::SP_DialogSaveButton},
        {"delete", QStyle::SP_TrashIcon},
        {"trash", QStyle::SP_TrashIcon},
        {"ok", QStyle::SP_DialogApplyButton},
        {"check", QStyle::SP_DialogApplyButton},
        {"cancel", QStyle::SP_DialogCancelButton},
        {"warning", QStyle::SP_MessageBoxWarning},
        {"info", QStyle::SP_MessageBoxInformation},
        {"up", QStyle::SP_ArrowUp},
        {"down", QStyle::SP_ArrowDown},
        {"home", QStyle::SP_DirHomeIcon},
    }};
    for (const auto &[key, pixmap] : kStandard) {
        if (name == QLatin1StringView(key))
            return QApplication::style()->standardIcon(pixmap);
    }
    return {};
}

bool questionBox(const QString &title, const QString &detail, const QString &kind, const QString &confirmText,
                 QWidget *parent)
{
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Question);
    box.setWindowTitle(title);
    box.setTextFormat(Qt::PlainText);
    box.setText(detail);
    QPushButton *confirm = box.addButton(prims::buttonText(confirmText), QMessageBox::AcceptRole);
    confirm->setObjectName(u"confirmButton"_s);
    confirm->setProperty("kind", kind);
    QPushButton *cancel = box.addButton(QMessageBox::Cancel);
    // Enter must not confirm by accident: Cancel answers both Enter and Escape.
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    app::execModal(&box);
    return box.clickedButton() == confirm;
}

} // namespace

QString pressSoundFor(const QJsonObject &el)
{
    const QString style = prims::readText(el, "style"_L1);
    if (style == "danger"_L1)
        return u"danger"_s;
    const QString sound = prims::readText(el, "sound"_L1);
    for (const char *name : kButtonSounds) {
        if (sound == QLatin1StringView(name))
            return sound;
    }
    if (!prims::readObject(el, "confirm"_L1).isEmpty())
        return u"submit"_s;
    return style == "primary"_L1 ? u"submit"_s : u"action"_s;
}

Press pressFor(const QJsonObject &el)
{
    Press p;
    p.path = prims::readText(el, "path"_L1);
    p.body = prims::readObject(el, "body"_L1);
    p.confirm = prims::readObject(el, "confirm"_L1);
    p.sendFields = textList(prims::readArray(el, "send_fields"_L1, 200));
    p.clearFields = textList(prims::readArray(el, "clear_fields"_L1, 200));
    p.method = prims::readText(el, "method"_L1, u"POST"_s).toUpper();
    if (p.method.isEmpty())
        p.method = u"POST"_s;
    p.then = prims::readText(el, "then"_L1, u"refresh"_s);
    p.label = prims::readText(el, "label"_L1);
    return p;
}

bool typedWordMatches(const QString &typed, const QString &word)
{
    return typed.trimmed().compare(word, Qt::CaseInsensitive) == 0;
}

QDialog *typedWordDialog(const QString &title, const QString &detail, const QString &word, const QString &kind,
                         const QString &confirmText, QWidget *parent)
{
    auto *dialog = new QDialog(parent);
    dialog->setWindowTitle(title);
    dialog->setMinimumWidth(460);
    auto *box = new QVBoxLayout(dialog);

    auto *heading = new prims::TextLabel(title, dialog);
    heading->setFont(theme::uiFont(11, true));
    heading->setWordWrap(true);
    box->addWidget(heading);
    auto *detailLabel = new prims::TextLabel(detail, dialog);
    detailLabel->setFont(theme::uiFont(10));
    detailLabel->setWordWrap(true);
    box->addWidget(detailLabel);
    auto *prompt = new prims::TextLabel(u"Type %1 to continue."_s.arg(word), dialog);
    prompt->setFont(theme::uiFont(10));
    prompt->setWordWrap(true);
    box->addWidget(prompt);

    auto *edit = new QLineEdit(dialog);
    edit->setObjectName(u"confirmWord"_s);
    box->addWidget(edit);

    auto *buttons = new QDialogButtonBox(dialog);
    buttons->addButton(QDialogButtonBox::Cancel);
    QPushButton *confirm = buttons->addButton(prims::buttonText(confirmText), QDialogButtonBox::AcceptRole);
    confirm->setObjectName(u"confirmButton"_s);
    confirm->setProperty("kind", kind);
    confirm->setEnabled(false);
    box->addWidget(buttons);

    QObject::connect(edit, &QLineEdit::textChanged, confirm,
                     [confirm, word](const QString &typed) { confirm->setEnabled(typedWordMatches(typed, word)); });
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    edit->setFocus();
    return dialog;
}

bool confirmPress(const QJsonObject &confirm, const QString &style, const QString &label, QWidget *parent)
{
    if (confirm.isEmpty())
        return true;
    const QString title = prims::readText(confirm, "title"_L1);
    const QString detail = prims::readText(confirm, "detail"_L1);
    const QString word = prims::readText(confirm, "word"_L1);
    const QString kind = style == "danger"_L1 ? u"danger"_s : u"primary"_s;
    const QString confirmText = label.isEmpty() ? u"Yes"_s : label;

    if (word.isEmpty())
        return questionBox(title, detail, kind, confirmText, parent);

    QDialog *dialog = typedWordDialog(title, detail, word, kind, confirmText, parent);
    const bool accepted = app::execModal(dialog) == QDialog::Accepted;
    delete dialog;
    return accepted;
}

QPushButton *actionButton(const QJsonObject &el, const Actions &actions, QWidget *parent)
{
    const QString label = prims::readText(el, "label"_L1);
    const QString style = prims::readText(el, "style"_L1);
    auto *button = new QPushButton(prims::buttonText(label), parent);
    if (const QString icon = prims::readText(el, "icon"_L1); !icon.isEmpty())
        button->setIcon(iconNamed(icon));
    button->setProperty("kind", style.isEmpty() ? u"normal"_s : style);
    button->setProperty("pressSound", pressSoundFor(el));
    if (const auto width = prims::readOptionalInt(el, "width"_L1, 0, 4000))
        button->setFixedWidth(*width);
    button->setCursor(Qt::PointingHandCursor);
    // A button keeps its own width instead of stretching across the section.
    button->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);

    pressOnClick(button, pressFor(el), style, actions);
    return button;
}

void pressOnClick(QAbstractButton *button, const Press &press, const QString &style, const Actions &actions)
{
    QObject::connect(button, &QAbstractButton::clicked, button, [button, press, style, actions] {
        if (!confirmPress(press.confirm, style, press.label, button->window())) {
            if (actions.logLine)
                actions.logLine(press.label.isEmpty() ? press.path : press.label);
            return;
        }
        if (actions.press)
            actions.press(press);
    });
}

QWidget *action(const QJsonObject &el, const Actions &actions, int, QWidget *parent)
{
    return actionButton(el, actions, parent);
}

} // namespace render
