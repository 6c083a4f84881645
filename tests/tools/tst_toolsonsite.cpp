// The tools that talk to units, on real widgets, against kestro-unit-sim inside the private site
// network: fault lookup, the problem report with the selected unit's report, and the site passcode
// change on the units that hold a token (the third unit refuses every change).

#include "app/base/installation.h"
#include "app/base/version.h"
#include "support/simprocess.h"
#include "tools/desktop.h"
#include "tools/faults.h"
#include "tools/passcode.h"
#include "tools/problemreport.h"
#include "toolstest.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QUrlQuery>

using namespace Qt::StringLiterals;
using namespace toolstest;

namespace {

const QString kPasscode = u"site-pass-1"_s;

void clickButton(QWidget *in, const QString &text)
{
    QPushButton *b = button(in, text);
    QVERIFY2(b, qPrintable(text));
    QTest::mouseClick(b, Qt::LeftButton);
}

} // namespace

class TestToolsOnSite : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certs;
    testsupport::SimProcess m_sim{QStringLiteral(KESTRO_UNIT_SIM)};
    units::Api m_api;
    QList<units::Unit> m_units{siteUnit(1), siteUnit(2, false), siteUnit(3)};

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
            QSKIP("needs the private site network (run through tests/netns-run)");
        testsupport::isolateConfig();
        QVERIFY2(m_sim.start({u"--units"_s, u"3"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s, m_certs.path(),
                              u"--fixed-passcode"_s, u"3"_s, u"--no-discovery"_s}),
                 m_sim.output().constData());
        // Units 1 and 3 are signed in; unit 2 never is. The Api is left on unit 1.
        QCOMPARE(signIn(m_api, m_units[2], kPasscode), 200);
        QCOMPARE(signIn(m_api, m_units[0], kPasscode), 200);
    }

    void cleanup()
    {
        app::setNextAnswer({});
        tools::setUrlOpener({});
    }

    // Looked up by number with the button, the dialog staying open; a unit not signed in says so.
    void faultLookup()
    {
        for (const int unit : {0, 1}) {
            QString text;
            bool openAfterLookup = false;
            app::setNextAnswer([&](QDialog *dialog) {
                QTest::keyClicks(dialog->findChild<QLineEdit *>(u"faultQuery"_s), u"231"_s);
                clickButton(dialog, u"Look it up"_s);
                text = dialog->findChild<QPlainTextEdit *>(u"faultText"_s)->toPlainText();
                openAfterLookup = dialog->isVisible();
                clickButton(dialog, u"Close"_s);
            });
            tools::faultLookup(nullptr, m_api, &m_units[unit]);
            QVERIFY(openAfterLookup);
            QVERIFY2(text.startsWith(unit == 0 ? u"Brake feedback missing   (fault F-231)\nDrive  -  stop\n"
                                                 u"Why it happens\nThe brake was released but its feedback contact "
                                                 u"did not close within 200 ms.\n"_s
                                               : u"Could not reach the unit: sign in first"_s),
                     qPrintable(text));
        }
    }

    void problemReport()
    {
        // 100 error lines, with empty lines between them that do not count.
        QByteArray log;
        for (int i = 1; i <= 100; ++i)
            log += "error line " + QByteArray::number(i) + (i % 10 == 0 ? "\n\n" : "\n");
        QVERIFY(writeFile(units::configPath(u"errors.log"_s), log));
        const QString said = u"The shuttle stopped at the end of aisle 4 & would not reverse. "_s.repeated(30);
        QVERIFY(said.size() > tools::kMailBodyLimit);

        QList<QUrl> opened;
        tools::setUrlOpener([&](const QUrl &url) {
            opened << url;
            return true;
        });
        // Nothing but blanks typed: no file, no mail, no box.
        const QString path = units::configPath(u"problem-report.txt"_s);
        Seen saved;
        answerInTurn({[&](QDialog *prompt) {
                          prompt->findChild<QPlainTextEdit *>()->setPlainText(u"  \n "_s);
                          prompt->accept();
                      },
                      clickBox(&saved)});
        QVERIFY(!tools::problemReport(nullptr, m_api, m_units, m_units[0].key()));
        QVERIFY(opened.isEmpty() && !saved.shown && !QFile::exists(path));

        answerInTurn({[&](QDialog *prompt) {
                          auto *edit = prompt->findChild<QPlainTextEdit *>();
                          QVERIFY(edit && edit->isVisible());
                          edit->setPlainText(said);
                          prompt->accept();
                      },
                      clickBox(&saved)});
        QVERIFY(tools::problemReport(nullptr, m_api, m_units, m_units[0].key()));

        QCOMPARE(saved.text, path);
        const QString report = QString::fromUtf8(readFile(path));
        const QStringList lines = report.split(u'\n');
        QCOMPARE(lines.value(0), u"KESTRO COMMISSIONING - PROBLEM REPORT"_s);
        QCOMPARE(lines.value(2), u"App       Kestro Connect v%1 (qt)"_s.arg(QLatin1StringView(app::kVersion)));
        QCOMPARE(lines.mid(5, 9),
                 QStringList({QString(), u"WHAT HAPPENED"_s, said, QString(), u"UNITS ON THE NETWORK"_s,
                              u"  shuttle-01  online  10.77.0.21:8090"_s, u"  shuttle-02  offline  10.77.0.22:8090"_s,
                              u"  shuttle-03  online  10.77.0.23:8090"_s, u"SELECTED UNIT: 10.77.0.21:8090"_s}));
        QVERIFY2(lines.value(14).startsWith(u"COMMISSIONING REPORT - shuttle-01"_s), qPrintable(lines.value(14)));
        // The unit's report, then the errors: lines 61 to 100 and nothing after.
        QStringList errors;
        for (int i = 61; i <= 100; ++i)
            errors << u"error line %1"_s.arg(i);
        QCOMPARE(lines.mid(lines.indexOf(u"RECENT ERRORS"_s) - 1),
                 (QStringList{QString(), u"RECENT ERRORS"_s} + errors));

        // The mail: to the installation's address, the report cut to 1500 characters; the file is whole.
        QCOMPARE(opened.size(), 1);
        const QUrl mail = opened.first();
        QCOMPARE(mail.scheme() + u':' + mail.path(), u"mailto:"_s + app::installation().supportEmail);
        const QUrlQuery query(mail);
        QCOMPARE(query.queryItemValue(u"subject"_s, QUrl::FullyDecoded),
                 u"Kestro Connect problem - "_s + QSysInfo::machineHostName());
        QCOMPARE(query.queryItemValue(u"body"_s, QUrl::FullyDecoded), report.left(tools::kMailBodyLimit));
    }

    // The checks made before anything is sent, each keeping the dialog open with its message; then
    // the change on the units that hold a token. Last: it changes the site's passcode.
    void passcodeChange()
    {
        QStringList said;
        const auto attempt = [&said](QDialog *dialog, const QString &fresh, const QString &again) {
            for (const auto &[name, text] : {std::pair{u"newPasscode"_s, fresh}, {u"newPasscodeAgain"_s, again}}) {
                auto *field = dialog->findChild<QLineEdit *>(name);
                field->clear();
                QTest::keyClicks(field, text);
            }
            clickButton(dialog, u"Change passcode"_s);
            auto *line = dialog->findChild<QLabel *>(u"passcodeStatus"_s);
            said << (dialog->isVisible() && line->isVisible() ? line->text() : QString());
        };
        Seen report;
        const QString fresh = u"new-site-pass-2"_s;
        answerInTurn({[&](QDialog *dialog) {
                          attempt(dialog, u"seven77"_s, u"seven77"_s);
                          attempt(dialog, u"new-pass-22"_s, u"new-pass-23"_s);
                          auto *again = dialog->findChild<QLineEdit *>(u"newPasscodeAgain"_s);
                          dialog->findChild<QLineEdit *>(u"newPasscode"_s)->setText(fresh);
                          again->setText(fresh);
                          QTest::keyClick(again, Qt::Key_Return); // presses the one button
                      },
                      clickBox(&report)});
        const tools::PasscodeChange change = tools::changePasscode(nullptr, m_api, m_units, kPasscode);
        QCOMPARE(change.passcode, fresh);
        QCOMPARE(change.failed, QStringList{u"shuttle-03"_s});
        QCOMPARE(report.text, u"Passcode changed on 1 unit(s).\nFailed: shuttle-03"_s);
        QCOMPARE(said, QStringList({u"The new passcode must be at least 8 characters."_s,
                                    u"The two new passcodes do not match."_s}));

        // The new passcode signs in where it was changed; the unit without a token was not asked, and
        // the one that refused keeps the old passcode.
        units::Api fresher;
        QCOMPARE(signIn(fresher, m_units[0], fresh), 200);
        QCOMPARE(signIn(fresher, m_units[0], kPasscode), 401);
        QCOMPARE(signIn(fresher, m_units[1], kPasscode), 200);
        QCOMPARE(signIn(fresher, m_units[2], kPasscode), 200);
        QCOMPARE(signIn(fresher, m_units[2], fresh), 401);
    }
};

QTEST_MAIN(TestToolsOnSite)
#include "tst_toolsonsite.moc"
