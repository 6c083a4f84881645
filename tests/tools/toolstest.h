#pragma once
// What the tool tests share: answers for the boxes and prompts the tools put up (through the modal
// hook, on the real widgets), the texts a dialog shows, the units of the simulated site and signing
// in to them.

#include "app/base/modal.h"
#include "support/testsupport.h"
#include "support/widgets.h"
#include "units/api.h"
#include "units/store.h"

#include <QDialog>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QJsonObject>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

namespace toolstest {

using testsupport::labelTexts;

inline QPushButton *button(const QWidget *w, const QString &text)
{
    for (QPushButton *b : w->findChildren<QPushButton *>())
        if (b->text() == text)
            return b;
    return nullptr;
}

// What a box said when it was answered.
struct Seen
{
    QString title, text;
    bool shown = false;
};

// Gives the next boxes their answers in turn, one each, however deeply they nest.
inline void answerInTurn(QList<app::Answer> answers)
{
    if (answers.isEmpty())
        return;
    const app::Answer first = answers.takeFirst();
    app::setNextAnswer([first, answers](QDialog *d) {
        answerInTurn(answers);
        first(d);
    });
}

// A message box answered with `which`, noting what it said.
inline app::Answer clickBox(Seen *seen, QMessageBox::StandardButton which = QMessageBox::Ok)
{
    return [seen, which](QDialog *d) {
        auto *box = qobject_cast<QMessageBox *>(d);
        QVERIFY2(box, "a message box was expected");
        *seen = {box->windowTitle(), box->text(), true};
        box->button(which)->click();
    };
}

// A text prompt answered with `text`, or cancelled when `text` is null.
inline app::Answer typeInto(Seen *seen, const QString &text)
{
    return [seen, text](QDialog *d) {
        auto *box = qobject_cast<QInputDialog *>(d);
        QVERIFY2(box, "a text prompt was expected");
        *seen = {box->windowTitle(), box->labelText(), true};
        if (text.isNull())
            return box->reject();
        box->setTextValue(text);
        box->accept();
    };
}

// A save-file dialog answered with `path`, or cancelled when it is null; notes its title and, as
// its text, the proposed file name and the filters ("name|filters").
inline app::Answer chooseFile(Seen *seen, const QString &path)
{
    return [seen, path](QDialog *d) {
        auto *box = qobject_cast<QFileDialog *>(d);
        QVERIFY2(box, "a file dialog was expected");
        *seen = {box->windowTitle(),
                 QFileInfo(box->selectedFiles().value(0)).fileName() + u'|' + box->nameFilters().join(u';'), true};
        if (path.isNull())
            return box->reject();
        // Typed into the name box, as a technician would, so that a folder that does not exist
        // is taken as typed.
        auto *name = box->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
        QVERIFY2(name, "the file dialog has no name box");
        name->setText(path);
        d->accept(); // QFileDialog's own accept(), reached through QDialog where it is public
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

using testsupport::readFile;
using testsupport::writeFile;

} // namespace toolstest
