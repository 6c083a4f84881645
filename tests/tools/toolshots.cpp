// Screenshots of every tool dialog of this folder in both themes, for looking at, not comparing:
//     tests/netns-run --units 3 build/dev/tests/tools/tool-shots OUTDIR
// It starts its own simulated site, so that the fault lookup shows what a unit really answers.

#include "app/base/theme.h"
#include "support/simprocess.h"
#include "tools/appearance.h"
#include "tools/desktop.h"
#include "tools/diagnostics.h"
#include "tools/faults.h"
#include "tools/passcode.h"
#include "tools/problemreport.h"
#include "toolstest.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace toolstest;

namespace {

QString g_out;
QString g_theme;

void grabTo(const QString &name, QDialog *dialog)
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    const QString file = QDir(g_out).filePath(u"%1-%2.png"_s.arg(name, g_theme));
    if (!dialog->grab().save(file))
        qWarning("cannot write %s", qPrintable(file));
}

// Fills the dialog in, takes its picture and closes it.
app::Answer shoot(const QString &name, const std::function<void(QDialog *)> &fill = {})
{
    return [name, fill](QDialog *dialog) {
        if (fill)
            fill(dialog);
        grabTo(name, dialog);
        dialog->reject();
    };
}

void click(QDialog *dialog, const QString &text)
{
    for (QPushButton *b : dialog->findChildren<QPushButton *>())
        if (b->text() == text)
            b->click();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication qtApp(argc, argv);
    if (argc < 2 || qEnvironmentVariableIsEmpty("KESTRO_SITE_NET")) {
        qWarning("usage: tests/netns-run --units 3 tool-shots OUTDIR");
        return 2;
    }
    g_out = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(g_out);
    testsupport::isolateConfig();
    QTemporaryDir certs;
    testsupport::SimProcess sim(QStringLiteral(KESTRO_UNIT_SIM));
    if (!sim.start({u"--units"_s, u"3"_s, u"--passcode"_s, u"site-pass-1"_s, u"--cert-dir"_s, certs.path(),
                    u"--fixed-passcode"_s, u"3"_s, u"--no-discovery"_s})) {
        qWarning("the simulator did not start: %s", sim.output().constData());
        return 1;
    }
    units::Api api;
    const QList<units::Unit> site{siteUnit(1), siteUnit(2, false), siteUnit(3)};
    signIn(api, site[2], u"site-pass-1"_s);
    signIn(api, site[0], u"site-pass-1"_s);
    tools::setUrlOpener([](const QUrl &) { return true; });

    for (const QString &themeName : theme::themeNames()) {
        theme::setTheme(themeName);
        tools::applyLook();
        g_theme = theme::palette().dark ? u"dark"_s : u"light"_s;

        app::setNextAnswer(shoot(u"fault"_s, [](QDialog *d) {
            QTest::keyClicks(d->findChild<QLineEdit *>(u"faultQuery"_s), u"231"_s);
            click(d, u"Look it up"_s);
        }));
        tools::faultLookup(nullptr, api, &site[0]);
        app::setNextAnswer(shoot(u"fault-nomatch"_s, [](QDialog *d) {
            QTest::keyClicks(d->findChild<QLineEdit *>(u"faultQuery"_s), u"conveyor belt"_s);
            click(d, u"Look it up"_s);
        }));
        tools::faultLookup(nullptr, api, &site[0]);
        app::setNextAnswer(shoot(u"fault-nounit"_s));
        tools::faultLookup(nullptr, api, nullptr);

        answerInTurn({[](QDialog *d) {
                          d->findChild<QPlainTextEdit *>()->setPlainText(
                              u"The shuttle stopped at the end of aisle 4 and would not reverse."_s);
                          grabTo(u"report-prompt"_s, d);
                          d->accept();
                      },
                      shoot(u"report-saved"_s)});
        tools::problemReport(nullptr, api, site, site[0].key());

        app::setNextAnswer(shoot(u"appearance"_s));
        tools::appearance(nullptr);

        app::setNextAnswer(shoot(u"passcode"_s, [](QDialog *d) {
            QTest::keyClicks(d->findChild<QLineEdit *>(u"newPasscode"_s), u"new-pass-22"_s);
            QTest::keyClicks(d->findChild<QLineEdit *>(u"newPasscodeAgain"_s), u"new-pass-23"_s);
            click(d, u"Change passcode"_s);
        }));
        tools::changePasscode(nullptr, api, site, u"site-pass-1"_s);

        app::setNextAnswer(shoot(u"uninstall"_s));
        tools::uninstallNote(nullptr);
    }
    // The passcode report last, as it changes the site's passcode.
    for (const QString &themeName : theme::themeNames()) {
        theme::setTheme(themeName);
        tools::applyLook();
        g_theme = theme::palette().dark ? u"dark"_s : u"light"_s;
        const QString current = g_theme == u"dark"_s ? u"site-pass-1"_s : u"new-pass-22"_s;
        const QString fresh = g_theme == u"dark"_s ? u"new-pass-22"_s : u"site-pass-1"_s;
        answerInTurn({[fresh](QDialog *d) {
                          QTest::keyClicks(d->findChild<QLineEdit *>(u"newPasscode"_s), fresh);
                          QTest::keyClicks(d->findChild<QLineEdit *>(u"newPasscodeAgain"_s), fresh);
                          click(d, u"Change passcode"_s);
                      },
                      shoot(u"passcode-report"_s)});
        tools::changePasscode(nullptr, api, site, current);
    }
    return 0;
}
