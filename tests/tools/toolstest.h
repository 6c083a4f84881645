#pragma once
// What the tool tests share: answering the boxes a tool opens one after another, reading an
// information box, the units of the simulated site, and signing in to them through units::Api.

#include "app/base/modal.h"
#include "support/testsupport.h"
#include "units/api.h"
#include "units/store.h"
#include "units/unitstest.h"

#include <QDialog>
#include <QEventLoop>
#include <QJsonObject>
#include <QMessageBox>
#include <QTest>

namespace toolstest {

// Answers the coming modal boxes in turn, one function each.
inline void answerInTurn(QList<app::Answer> answers)
{
    if (answers.isEmpty())
        return;
    const app::Answer first = answers.takeFirst();
    app::setNextAnswer([first, answers](QDialog *box) {
        answerInTurn(answers); // before `first`, which may close this box and let the next one open
        first(box);
    });
}

struct Box
{
    QString title, text;
    int seen = 0;
};

// An answer that notes an information box's title and text and closes it.
inline app::Answer readBox(Box *into)
{
    return [into](QDialog *box) {
        ++into->seen;
        into->title = box->windowTitle();
        if (auto *message = qobject_cast<QMessageBox *>(box))
            into->text = message->text();
        box->accept();
    };
}

// Unit n (from 1) of the simulated site, as discovery would list it: online, HTTPS, port 8090.
inline units::Unit siteUnit(int n, bool online = true)
{
    units::Unit u;
    u.name = QStringLiteral("shuttle-%1").arg(n, 2, 10, QChar(u'0'));
    u.ip = QStringLiteral("10.77.0.%1").arg(20 + n);
    u.type = QStringLiteral("shuttle");
    if (online)
        u.state = QJsonObject{{QStringLiteral("hostname"), u.name}};
    return u;
}

// Signs in to `u` and leaves `api` pointed at it; the status of the answer.
inline int signIn(units::Api &api, const units::Unit &u, const QString &passcode)
{
    api.setUnit(u.ip, u.port, u.tls);
    int status = -1;
    QEventLoop loop;
    api.login(passcode, [&](const units::Api::Reply &reply) {
        status = reply.status;
        loop.quit();
    });
    if (status < 0)
        loop.exec();
    return status;
}

using unitstest::readFile;
using unitstest::writeFile;

} // namespace toolstest
