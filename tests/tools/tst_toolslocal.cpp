// The tools that stay on this computer, on real widgets: the appearance dialog's text size and
// sound, and the diagnostics summary with its secrets scrubbed.

#include "app/base/settings.h"
#include "app/base/sounds.h"
#include "app/base/theme.h"
#include "tools/appearance.h"
#include "tools/diagnostics.h"
#include "toolstest.h"
#include "units/diaglog.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QListWidget>
#include <QPushButton>

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
        theme::setTextScale(1.0);
        m_played.clear();
    }

    void cleanup() { app::setNextAnswer({}); }

    // Applying without choosing a size keeps the stored scale as it was, the marked size being the
    // one it matches (none between sizes); unmuting plays one sample, muting none.
    void applyScaleAndSound_data()
    {
        QTest::addColumn<double>("scale");     // stored before
        QTest::addColumn<QString>("selected"); // empty: none
        QTest::addColumn<bool>("canPlay");
        QTest::addColumn<bool>("mutedBefore");
        QTest::addColumn<bool>("checked");
        QTest::addColumn<QList<app::Sound>>("played");
        QTest::newRow("1.149 is Large, unmuting plays one sample")
            << 1.149 << u"Large  (115%)"_s << true << true << false << QList<app::Sound>{app::Sound::Notify};
        QTest::newRow("1.2 is none, muting plays none")
            << 1.2 << QString() << true << false << true << QList<app::Sound>{};
        QTest::newRow("nothing can play: the box cannot be used")
            << 1.0 << u"Normal  (100%)"_s << false << true << true << QList<app::Sound>{};
    }
    void applyScaleAndSound()
    {
        QFETCH(double, scale);
        QFETCH(QString, selected);
        QFETCH(bool, canPlay);
        QFETCH(bool, mutedBefore);
        QFETCH(bool, checked);
        QFETCH(QList<app::Sound>, played);
        app::saveSettings({{u"textScale"_s, scale}});
        app::overrideCanPlay(canPlay);
        app::setSoundMuted(mutedBefore);
        QStringList marked;
        bool enabled = false;
        app::setNextAnswer([&](QDialog *dialog) {
            for (const QListWidgetItem *item : dialog->findChild<QListWidget *>(u"textSizes"_s)->selectedItems())
                marked << item->text();
            auto *box = dialog->findChild<QCheckBox *>(u"muteSounds"_s);
            QCOMPARE(box->isChecked(), mutedBefore);
            enabled = box->isEnabled();
            if (box->isChecked() != checked)
                QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
            press(dialog, "apply");
        });
        QVERIFY(tools::appearance(nullptr));
        QCOMPARE(marked, selected.isEmpty() ? QStringList() : QStringList{selected});
        QCOMPARE(app::loadSettings().value(u"textScale"_s).toDouble(), scale);
        QCOMPARE(enabled, canPlay);
        QCOMPARE(app::soundMuted(), checked);
        QCOMPARE(m_played, played);
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
};

QTEST_MAIN(TestToolsLocal)
#include "tst_toolslocal.moc"
