// The tools that stay on this computer, on real widgets: the appearance dialog (text sizes, sound,
// a look put on the running application at once), the diagnostics entries and the uninstall note.

#include "app/base/settings.h"
#include "app/base/sounds.h"
#include "app/base/theme.h"
#include "tools/appearance.h"
#include "tools/desktop.h"
#include "tools/diagnostics.h"
#include "toolstest.h"
#include "units/diaglog.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QJsonDocument>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>

using namespace Qt::StringLiterals;
using namespace toolstest;

namespace {

void press(QDialog *dialog, const char *objectName)
{
    QTest::mouseClick(dialog->findChild<QPushButton *>(QLatin1StringView(objectName)), Qt::LeftButton);
}

} // namespace

class TestToolsLocal : public QObject
{
    Q_OBJECT

    QList<app::Sound> m_played;

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        app::overrideSuppression(false);
        app::setSoundSink([this](app::Sound sound, const QString &) { m_played << sound; });
    }

    void init()
    {
        app::overrideCanPlay(true);
        app::saveSettings({});
        theme::setTheme(QLatin1StringView(theme::kDarkName));
        theme::setAccent(u"Kestro Blue"_s);
        theme::setTextScale(1.0);
        m_played.clear();
    }

    void cleanup()
    {
        app::setNextAnswer({});
        tools::setUrlOpener({});
    }

    // Applying without choosing a size keeps the stored scale as it was, the marked size being the
    // one it matches (none between sizes); unmuting plays one sample; where nothing can play, the
    // box says so and cannot be used.
    void applyScaleAndSound_data()
    {
        QTest::addColumn<double>("scale");     // stored before
        QTest::addColumn<QString>("selected"); // empty: none
        QTest::addColumn<bool>("canPlay");
        QTest::addColumn<bool>("mutedBefore");
        QTest::addColumn<bool>("checked");
        QTest::addColumn<QList<app::Sound>>("played");
        QTest::addColumn<QString>("label");
        const QString mute = u"Mute sounds"_s;
        QTest::newRow("1.149 is Large, unmuting plays one sample")
            << 1.149 << u"Large  (115%)"_s << true << true << false << QList<app::Sound>{app::Sound::Notify} << mute;
        QTest::newRow("1.2 is none, muting plays none")
            << 1.2 << QString() << true << false << true << QList<app::Sound>{} << mute;
        QTest::newRow("nothing can play") << 1.0 << u"Normal  (100%)"_s << false << true << true << QList<app::Sound>{}
                                          << u"Mute sounds  (nothing on this computer can play one)"_s;
    }
    void applyScaleAndSound()
    {
        QFETCH(double, scale);
        QFETCH(QString, selected);
        QFETCH(bool, canPlay);
        QFETCH(bool, mutedBefore);
        QFETCH(bool, checked);
        QFETCH(QList<app::Sound>, played);
        QFETCH(QString, label);
        app::saveSettings({{u"textScale"_s, scale}});
        app::overrideCanPlay(canPlay);
        app::setSoundMuted(mutedBefore);
        QStringList offered, marked;
        QString shown;
        bool enabled = false;
        app::setNextAnswer([&](QDialog *dialog) {
            auto *list = dialog->findChild<QListWidget *>(u"textSizes"_s);
            for (int i = 0; i < list->count(); ++i)
                offered << list->item(i)->text();
            for (const QListWidgetItem *item : list->selectedItems())
                marked << item->text();
            auto *box = dialog->findChild<QCheckBox *>(u"muteSounds"_s);
            QCOMPARE(box->isChecked(), mutedBefore);
            shown = box->text();
            enabled = box->isEnabled();
            if (box->isChecked() != checked)
                QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
            press(dialog, "apply");
        });
        QVERIFY(tools::appearance(nullptr));
        QCOMPARE(offered, QStringList({u"Small  (90%)"_s, u"Normal  (100%)"_s, u"Large  (115%)"_s, u"Larger  (130%)"_s,
                                       u"Largest  (150%)"_s}));
        QCOMPARE(marked, selected.isEmpty() ? QStringList() : QStringList{selected});
        QCOMPARE(app::loadSettings().value(u"textScale"_s).toDouble(), scale);
        QCOMPARE(shown, label);
        QCOMPARE(enabled, canPlay);
        QCOMPARE(app::soundMuted(), checked);
        QCOMPARE(m_played, played);
    }

    void applyPutsTheLookOnTheRunningApp()
    {
        const QString darkSheet = theme::styleSheet();
        qApp->setStyleSheet(darkSheet);
        QApplication::setFont(theme::uiFont(10, false));
        QWidget other; // a window open meanwhile that copied the application sheet, as tool dialogs do
        other.setStyleSheet(darkSheet);
        testsupport::layOut(&other, 200, 100);
        QSignalSpy applied(&tools::lookChanges(), &tools::LookChanges::applied);

        // Cancel changes nothing.
        app::setNextAnswer([](QDialog *dialog) {
            dialog->findChild<QComboBox *>(u"themeChoice"_s)->setCurrentText(QLatin1StringView(theme::kLightName));
            press(dialog, "cancel");
        });
        QVERIFY(!tools::appearance(nullptr));
        QCOMPARE(theme::currentThemeName(), QLatin1StringView(theme::kDarkName));
        QCOMPARE(qApp->styleSheet(), darkSheet);
        QCOMPARE(applied.count(), 0);
        QCOMPARE(app::loadSettings(), QJsonObject());

        app::setNextAnswer([](QDialog *dialog) {
            dialog->findChild<QComboBox *>(u"themeChoice"_s)->setCurrentText(QLatin1StringView(theme::kLightName));
            dialog->findChild<QComboBox *>(u"accentChoice"_s)->setCurrentText(u"Teal"_s);
            dialog->findChild<QListWidget *>(u"textSizes"_s)->setCurrentRow(3); // Larger
            press(dialog, "apply");
        });
        QVERIFY(tools::appearance(nullptr));
        QCOMPARE(app::loadSettings(), (QJsonObject{{u"theme"_s, QLatin1StringView(theme::kLightName)},
                                                   {u"accent"_s, u"Teal"_s},
                                                   {u"textScale"_s, 1.3}}));
        QCOMPARE(theme::palette().accent, QColor(u"#2C6F6A"_s));
        // At once, on what is already open: the application sheet and font, and the other window.
        QVERIFY(qApp->styleSheet() != darkSheet);
        QCOMPARE(qApp->styleSheet(), theme::styleSheet());
        QCOMPARE(other.styleSheet(), theme::styleSheet());
        QCOMPARE(QApplication::font().pointSize(), 13);
        QCOMPARE(other.font().pointSize(), 13);
        QCOMPARE(applied.count(), 1);
        qApp->setStyleSheet(QString());
    }

    void scrub_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("scrubbed");

        QTest::newRow("JSON member") << uR"(login  10.77.0.21:8090  {"password":"hunter22","speed":2})"_s
                                     << uR"(login  10.77.0.21:8090  {[removed],"speed":2})"_s;
        QTest::newRow("JSON member with escapes")
            << u"{\"apiSecret\": \"s3 \\\"q\\\"\", \"n\": 1}"_s << uR"({[removed], "n": 1})"_s;
        QTest::newRow("JSON number") << uR"({"tokenTtl":3600})"_s << uR"({[removed]})"_s;
        QTest::newRow("query") << u"GET /api/ui?token=abc123&x=1 -> 200"_s << u"GET /api/ui?[removed]&x=1 -> 200"_s;
        QTest::newRow("colon pair") << u"wifi psk: key-9 joined"_s << u"wifi [removed] joined"_s;
        QTest::newRow("bearer") << u"Authorization: Bearer tok-xyz sent"_s << u"Authorization: Bearer [removed] sent"_s;
        QTest::newRow("the sidebar passcode") << u"typed site-pass-7 into a note"_s << u"typed [removed] into a note"_s;
        QTest::newRow("a plain line")
            << u"poll FAIL  10.77.0.21:8090  GET /api/ui -> 0  8000 ms  (#2 in a row)  x: 1"_s
            << u"poll FAIL  10.77.0.21:8090  GET /api/ui -> 0  8000 ms  (#2 in a row)  x: 1"_s;
    }

    void scrub()
    {
        QFETCH(QString, line);
        QFETCH(QString, scrubbed);
        QCOMPARE(tools::scrubSecrets(line, {u"site-pass-7"_s}), scrubbed);
    }

    void diagnosticsSummary()
    {
        // 45 entries: five old ones, then a secret and ordinary lines (the scrub table covers each kind).
        QByteArray log;
        for (int i = -5; i < 40; ++i)
            log += "2026-11-22T10:00:00.000  " +
                   (i < 0    ? QByteArray("old entry")
                    : i == 0 ? QByteArray(R"({"password":"hunter22"})")
                             : "poll OK  entry " + QByteArray::number(i)) +
                   " site-pass-7\n";
        QVERIFY(writeFile(units::connectLogPath(), log));

        const QList<units::Unit> list{siteUnit(1), siteUnit(2, false)};
        const QString summary = tools::copyDiagnosticsSummary(list, {u"site-pass-7"_s});
        QCOMPARE(QGuiApplication::clipboard()->text(), summary);
        QVERIFY(summary.contains(u"Units     2 known, 1 answering discovery\n"_s));
        QVERIFY(summary.contains(u"  10.77.0.22:8090  shuttle-02  offline  https\n"_s));
        const QStringList block = summary.section(u"\nLast 40 log lines:\n"_s, 1).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(block.size(), 40);
        QVERIFY(block.first().endsWith(u"{[removed]} [removed]"_s));
        QVERIFY(block.last().endsWith(u"entry 39 [removed]"_s));
        for (const QString &secret : {u"hunter22"_s, u"password"_s, u"site-pass-7"_s, u"old entry"_s})
            QVERIFY2(!summary.contains(secret), qPrintable(secret));
    }

    void uninstallNote()
    {
        Seen box;
        app::setNextAnswer(clickBox(&box));
        tools::uninstallNote(nullptr);
        QCOMPARE(box.title, u"Uninstall"_s);
        QCOMPARE(box.text, u"Remove the package the way it was installed, then delete this folder to drop the unit "
                           u"list and settings:\n\n"_s +
                               units::configDir());
    }
};

QTEST_MAIN(TestToolsLocal)
#include "tst_toolslocal.moc"
