// The tools against a simulated site: kestro-unit-sim runs two units inside a private site network
// and the tools talk to them through units::Api, signed in as the window would. Unit 1 is at the
// load test with Identity finished yesterday and two steps today, and ends its day summary text
// with a line feed; unit 2, unnamed here, is at the drive calibration with only yesterday's step.

#include "app/base/settings.h"
#include "support/simprocess.h"
#include "support/testsupport.h"
#include "tools/daysummary.h"
#include "tools/report.h"
#include "toolstest.h"
#include "units/api.h"
#include "units/diaglog.h"

#include <QJsonArray>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>

using namespace Qt::StringLiterals;
using toolstest::readFile;
using toolstest::Seen;

namespace {

const QString kPasscode = u"site-pass-1"_s;
const QString kName = u"José Núñez"_s; // reaches the unit percent-encoded as UTF-8
const QString kUnit1 = u"10.77.0.21"_s;
const QString kUnit2 = u"10.77.0.22"_s;

// Times of day vary from run to run; the lines around them do not.
QStringList withoutTimes(const QStringList &lines)
{
    static const QRegularExpression time(u" at \\d\\d:\\d\\d$"_s);
    QStringList out;
    for (QString line : lines)
        out << line.replace(time, u" at HH:MM"_s);
    return out;
}

} // namespace

class TestToolSite final : public QObject
{
    Q_OBJECT

    testsupport::SimProcess m_sim{QStringLiteral(KESTRO_UNIT_SIM)};
    QTemporaryDir m_dir;
    units::Api m_api;
    const QList<units::Unit> m_units{toolstest::siteUnit(1, false), unnamed(toolstest::siteUnit(2, false))};

    static units::Unit unnamed(units::Unit u)
    {
        u.name.clear();
        return u;
    }

    void signIn(const QString &ip)
    {
        QCOMPARE(toolstest::signIn(m_api, m_units[ip == kUnit1 ? 0 : 1], kPasscode), 200);
    }
    QJsonObject day() { return units::waitFor(m_api, u"/api/state"_s, 6000).json.value("day"_L1).toObject(); }
    QByteArray report()
    {
        const QString by = QString::fromLatin1(QUrl::toPercentEncoding(kName));
        return units::waitFor(m_api, u"/api/report?by="_s + by, 20000).body;
    }

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
            QSKIP("needs the private site network (run through tests/netns-run)");
        testsupport::isolateConfig();
        QVERIFY(m_dir.isValid());
        QVERIFY2(m_sim.start({u"--units"_s, u"2"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s,
                              m_dir.filePath(u"certs"_s), u"--no-discovery"_s, u"--start-at"_s, u"load,drive"_s,
                              u"--done-yesterday"_s, u"1"_s, u"--summary-newline"_s}),
                 m_sim.output().constData());
        app::saveSettings({{"techFirst"_L1, u"José"_s}, {"techLast"_L1, u"Núñez"_s}});
    }
    void init() { app::setNextAnswer({}); }

    // Only unit 1 is signed in, and the Api is left on unit 2 meanwhile: unit 1 is asked at its own
    // address and the Api stays where it was. The edited text is what is saved.
    void daySummarySaved()
    {
        signIn(kUnit1);
        m_api.setUnit(kUnit2, 8090, true);
        const QString path = m_dir.filePath(u"summary.txt"_s);
        QString first, edited;
        Seen file;
        toolstest::answerInTurn({[&](QDialog *d) {
                                     auto *editor = d->findChild<QPlainTextEdit *>();
                                     first = editor->toPlainText();
                                     editor->setPlainText(u"Handover: all aisles ñ\n"_s + first);
                                     edited = editor->toPlainText();
                                     toolstest::button(d, u"Save summary"_s)->click();
                                     toolstest::button(d, u"Close"_s)->click();
                                 },
                                 toolstest::chooseFile(&file, path)});
        tools::daySummary(nullptr, m_api, m_units, true);
        QCOMPARE(withoutTimes(first.split(u'\n')).mid(3, 6),
                 QStringList({u"Written by  José Núñez"_s, QString(), u"shuttle-01  (10.77.0.21:8090)"_s,
                              u"  Drive calibration done at HH:MM"_s, u"  IO check done at HH:MM"_s,
                              u"  Progress 3 of 5 steps"_s}));
        QVERIFY(first.contains(u"  Units worked on today   1\n  Steps completed         2\n"_s));
        QCOMPARE(m_api.key(), units::unitKey(kUnit2, 8090));
        QCOMPARE(readFile(path), edited.toUtf8());
    }

    // Started and ended from the report centre, each with a note that reaches the unit's report.
    void reportStartAndEnd()
    {
        const QString startNote = u"Aisle 3 tidy, X4 re-seated"_s, endNote = u"Leave the beacon on"_s;
        signIn(kUnit1);
        // A fresh daily log, through the body the window sends for it.
        QVERIFY(units::waitForPost(m_api, u"/api/day"_s, tools::dayRollBody(), units::timeouts::kTool).ok);

        for (const bool end : {false, true}) {
            QStringList texts;
            Seen prompt, box;
            toolstest::answerInTurn(
                {[&](QDialog *d) {
                     texts = toolstest::labelTexts(d);
                     QPushButton *b =
                         toolstest::button(d, end ? u"End commissioning report"_s : u"Start commissioning report"_s);
                     QVERIFY(b);
                     b->click();
                     toolstest::button(d, u"Close"_s)->click();
                 },
                 toolstest::typeInto(&prompt, end ? endNote : startNote), toolstest::clickBox(&box)});
            const QJsonObject before = day();
            tools::reportCentre(nullptr, m_api, u"shuttle-01"_s);
            const QString status =
                end ? u"Report OPEN since %1 by %2"_s.arg(before.value("started"_L1).toString(), kName)
                    : u"No report started on this unit."_s;
            QCOMPARE(texts.value(1), status);
            QVERIFY(prompt.shown && box.shown);
            const QJsonObject after = day();
            QCOMPARE(after.value("open"_L1).toBool(), !end);
            QCOMPARE(after.value("who"_L1).toString(), kName);
        }
        const QStringList lines = QString::fromUtf8(report()).split(u'\n');
        QCOMPARE(lines.filter(QRegularExpression(u"^  (Start|End): "_s)),
                 (QStringList{u"  Start: "_s + startNote, u"  End: "_s + endNote}));
    }

    // The report as the unit wrote it, saved whole; then shown in the viewer, edits saved with it.
    void reportDownloadAndViewer()
    {
        signIn(kUnit1);
        const QByteArray body = report();
        QVERIFY2(QString::fromUtf8(body).contains(u"Requested by  José Núñez\n"_s), body.constData());
        const QString path = m_dir.filePath(u"direct.txt"_s), edits = m_dir.filePath(u"edited.txt"_s);
        Seen file, saved, editsFile, editsSaved;
        QString shown, edited;
        toolstest::answerInTurn({[&](QDialog *d) {
                                     toolstest::button(d, u"Download report"_s)->click();
                                     toolstest::button(d, u"View / edit report"_s)->click();
                                     toolstest::button(d, u"Close"_s)->click();
                                 },
                                 toolstest::chooseFile(&file, path), toolstest::clickBox(&saved),
                                 [&](QDialog *d) {
                                     auto *editor = d->findChild<QPlainTextEdit *>();
                                     shown = editor->toPlainText();
                                     editor->appendPlainText(u"Handed over to the night shift - ñ."_s);
                                     edited = editor->toPlainText();
                                     toolstest::button(d, u"Download report"_s)->click();
                                     toolstest::button(d, u"Close"_s)->click();
                                 },
                                 toolstest::chooseFile(&editsFile, edits), toolstest::clickBox(&editsSaved)});
        tools::reportCentre(nullptr, m_api, u"shuttle-01"_s);
        QCOMPARE(saved.title + u'|' + saved.text, u"Report saved|"_s + path);
        QCOMPARE(readFile(path), body);
        QCOMPARE(shown, QString::fromUtf8(body));
        QCOMPARE(readFile(edits), edited.toUtf8());
    }

    // No is logged as a cancelled confirmation; Yes goes on (the window sends the roll as a press).
    void dailyLogRoll()
    {
        signIn(kUnit1);
        const QString key = units::unitKey(kUnit1, 8090);
        Seen question;
        toolstest::answerInTurn({toolstest::clickBox(&question, QMessageBox::No)});
        QVERIFY(!tools::confirmDayRoll(nullptr, u"shuttle-01"_s, key));
        const QString last = units::tailLines(units::connectLogPath(), 1).value(0);
        QVERIFY2(last.endsWith(u"  confirm cancelled  10.77.0.21:8090  POST /api/day"_s), qPrintable(last));
        toolstest::answerInTurn({toolstest::clickBox(&question, QMessageBox::Yes)});
        QVERIFY(tools::confirmDayRoll(nullptr, u"shuttle-01"_s, key));
        QCOMPARE(units::tailLines(units::connectLogPath(), 1).value(0), last);
    }

    void cleanupTestCase() { m_sim.stop(); }
};

QTEST_MAIN(TestToolSite)
#include "tst_toolsite.moc"
