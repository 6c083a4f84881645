#include "tools/passcode.h"

#include "app/base/theme.h"
#include "tools/dialogs.h"
#include "tools/prompts.h"
#include "units/api.h"
#include "units/diaglog.h"

#include <QBoxLayout>
#include <QDialog>
#include <QEventLoop>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <memory>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

QLineEdit *passcodeField(const QString &objectName)
{
    auto *field = new QLineEdit;
    field->setObjectName(objectName);
    field->setEchoMode(QLineEdit::Password);
    return field;
}

// The passcode, or empty when the dialog was closed any other way than by a passing press.
QString askNewPasscode(QWidget *parent, const QString &current)
{
    const theme::Palette &pal = theme::palette();
    QDialog *dialog = makeDialog(parent, u"Change site passcode"_s, 420, 0);
    auto *layout = new QVBoxLayout(dialog);
    layout->setSpacing(6);
    QLineEdit *fresh = passcodeField(u"newPasscode"_s);
    QLineEdit *again = passcodeField(u"newPasscodeAgain"_s);
    layout->addWidget(makeLabel(u"New passcode (8 characters or more)"_s, 10, pal.muted));
    layout->addWidget(fresh);
    layout->addSpacing(4);
    layout->addWidget(makeLabel(u"New passcode again"_s, 10, pal.muted));
    layout->addWidget(again);

    QLabel *status = makeLabel(QString(), 9, pal.error);
    status->setObjectName(u"passcodeStatus"_s);
    status->hide();
    layout->addWidget(status);

    auto *button = new QPushButton(u"Change passcode"_s);
    button->setObjectName(u"changePasscode"_s);
    button->setDefault(true);
    // The warning colour: this changes how every unit at the site is unlocked.
    button->setStyleSheet(u"QPushButton { background:%1; color:%2; border:1px solid %1; font-weight:bold; }"
                          u"QPushButton:hover { background:%3; border-color:%3; }"_s.arg(
                              pal.busy.name(), pal.bg.name(), theme::blend(pal.busy, pal.ink, 0.2).name()));
    auto *row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(button);
    layout->addSpacing(6);
    layout->addLayout(row);

    QObject::connect(button, &QPushButton::clicked, dialog, [=] {
        const QString problem = passcodeProblem(current, fresh->text(), again->text());
        status->setText(problem);
        status->setVisible(!problem.isEmpty());
        if (problem.isEmpty())
            dialog->accept();
    });
    if (runDialog(dialog) != QDialog::Accepted)
        return {};
    return fresh->text();
}

QString nameOf(const units::Unit &u)
{
    return u.name.isEmpty() ? u.key() : u.name;
}

} // namespace

QString passcodeProblem(const QString &current, const QString &fresh, const QString &again)
{
    if (current.isEmpty())
        return u"Type the current site passcode in the box on the left first."_s;
    if (fresh.size() < kMinPasscodeLength)
        return u"The new passcode must be at least 8 characters."_s;
    if (fresh != again)
        return u"The two new passcodes do not match."_s;
    return {};
}

PasscodeChange sendPasscode(units::Api &api, const QList<units::Unit> &list, const QString &current,
                            const QString &fresh)
{
    // Shared with the callbacks, so that an answer after the wait ended writes nowhere it should not.
    struct Wait
    {
        QList<int> outcome; // per unit of the list: -1 not asked, 0 waiting or failed, 1 changed
        int pending = 0;
        QEventLoop loop;
    };
    auto wait = std::make_shared<Wait>();
    wait->outcome.fill(-1, list.size());
    QObject::connect(&api, &QObject::destroyed, &wait->loop, &QEventLoop::quit);
    const QJsonObject body{{"current"_L1, current}, {"new"_L1, fresh}};
    for (qsizetype i = 0; i < list.size(); ++i) {
        const units::Unit &u = list[i];
        if (!api.hasToken(u.key()))
            continue;
        wait->outcome[i] = 0;
        ++wait->pending;
        const QString key = u.key();
        api.post(
            {u.ip, u.port, u.tls}, u"/api/password"_s, body,
            [wait, i, key](const units::Api::Reply &reply) {
                const bool changed = reply.ok && reply.status == 200;
                wait->outcome[i] = changed ? 1 : 0;
                units::logLine(changed ? u"passcode OK  %1"_s.arg(key)
                                       : u"passcode FAIL  %1  POST /api/password -> %2  %3"_s.arg(key)
                                             .arg(reply.status)
                                             .arg(units::shorten(reply.error)));
                if (--wait->pending == 0)
                    wait->loop.quit();
            },
            kPasscodeTimeoutMs);
    }
    if (wait->pending > 0)
        wait->loop.exec();

    PasscodeChange result;
    result.passcode = fresh;
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (wait->outcome[i] == 1)
            ++result.changed;
        else if (wait->outcome[i] == 0)
            result.failed << nameOf(list[i]);
    }
    return result;
}

PasscodeChange changePasscode(QWidget *parent, units::Api &api, const QList<units::Unit> &list,
                              const QString &currentPasscode)
{
    const QString fresh = askNewPasscode(parent, currentPasscode);
    if (fresh.isEmpty())
        return {};
    PasscodeChange result = sendPasscode(api, list, currentPasscode, fresh);
    QString text = u"Passcode changed on %1 unit(s)."_s.arg(result.changed);
    if (!result.failed.isEmpty())
        text += u"\nFailed: "_s + result.failed.join(u", "_s);
    infoBox(parent, u"Change site passcode"_s, text);
    return result;
}

} // namespace tools
