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

#include <QApplication>
#include <QClipboard>
#include <QFile>
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
        toolstest::applyThemeFromEnvironment();
        QVERIFY(m_dir.isValid());
        QVERIFY2(m_sim.start({u"--units"_s, u"2"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s,
                              m_dir.filePath(u"certs"_s), u"--no-discovery"_s, u"--start-at"_s, u"load,drive"_s,
                              u"--done-yesterday"_s, u"1"_s, u"--summary-newline"_s}),
                 m_sim.output().constData());
        app::saveSettings({{"techFirst"_L1, u"José"_s}, {"techLast"_L1, u"Núñez"_s}});
    }
    void init() { app::setNextAnswer({}); }

    // Only unit 1 is signed in, and the Api is left on unit 2 meanwhile: unit 1 is asked at its own
    // address and the Api stays where it was.
    void daySummaryButtons()
    {
        signIn(kUnit1);
        m_api.setUnit(kUnit2, 8090, true);
        const QString path = m_dir.filePath(u"summary.txt"_s);
        QStringList texts;
        QString first, edited, rebuilt;
        Seen file, copied;
        toolstest::answerInTurn({[&](QDialog *d) {
                                     texts = toolstest::labelTexts(d);
                                     auto *editor = d->findChild<QPlainTextEdit *>();
                                     first = editor->toPlainText();
                                     toolstest::shot(d, u"day-summary"_s);
                                     editor->setPlainText(u"Handover: all aisles ñ\n"_s + first);
                                     edited = editor->toPlainText();
                                     toolstest::button(d, u"Save summary"_s)->click();
                                     toolstest::button(d, u"Copy to clipboard"_s)->click();
                                     toolstest::button(d, u"Rebuild"_s)->click();
                                     rebuilt = editor->toPlainText();
                                     toolstest::button(d, u"Close"_s)->click();
                                 },
                                 toolstest::chooseFile(&file, path, u"file-save-summary"_s),
                                 toolstest::clickBox(&copied, QMessageBox::Ok, u"box-copied"_s)});
        tools::daySummary(nullptr, m_api, m_units, true);
        const QDate today = QDate::currentDate();
        QCOMPARE(texts,
                 QStringList({u"Day summary - %1"_s.arg(today.toString(u"d MMM yyyy"_s)),
                              u"You closed a report, so here is the day so far. Built from what the units "
                              u"recorded. Edit it for handover wording, then save or copy it into an email."_s}));
        QCOMPARE(withoutTimes(first.split(u'\n')).mid(3, 6),
                 QStringList({u"Written by  José Núñez"_s, QString(), u"shuttle-01  (10.77.0.21:8090)"_s,
                              u"  Drive calibration done at HH:MM"_s, u"  IO check done at HH:MM"_s,
                              u"  Progress 3 of 5 steps"_s}));
        QVERIFY(first.contains(u"  Units worked on today   1\n  Steps completed         2\n"_s));
        QCOMPARE(m_api.key(), units::unitKey(kUnit2, 8090));
        QCOMPARE(file.title, u"Save the summary"_s);
        QCOMPARE(file.text, u"day_summary_%1.txt|Text file (*.txt)"_s.arg(today.toString(Qt::ISODate)));
        QCOMPARE(readFile(path), edited.toUtf8());
        QCOMPARE(QApplication::clipboard()->text(), edited);
        QCOMPARE(copied.title + u'|' + copied.text, u"Copied|Paste it into an email."_s);
        // Rebuilt from the units: the edit is gone, only the written time may differ.
        QCOMPARE(rebuilt.split(u'\n').mid(3), first.split(u'\n').mid(3));
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
                     toolstest::shot(d, u"report-centre-"_s + (end ? u"open"_s : u"closed"_s));
                     b->click();
                     toolstest::button(d, u"Close"_s)->click();
                 },
                 toolstest::typeInto(&prompt, end ? endNote : startNote,
                                     u"prompt-note-"_s + (end ? u"end"_s : u"start"_s)),
                 toolstest::clickBox(&box, QMessageBox::Ok, u"box-report-"_s + (end ? u"closed"_s : u"started"_s))});
            const QJsonObject before = day();
            tools::reportCentre(nullptr, m_api, u"shuttle-01"_s);
            const QString status =
                end ? u"Report OPEN since %1 by %2"_s.arg(before.value("started"_L1).toString(), kName)
                    : u"No report started on this unit."_s;
            QCOMPARE(texts, QStringList({u"Commissioning report - shuttle-01"_s, status}));
            QCOMPARE(prompt.title, end ? u"End commissioning report"_s : u"Start commissioning report"_s);
            QCOMPARE(prompt.text,
                     end ? u"Where are you leaving it? Anything the next shift needs - what is "
                           u"outstanding, what to watch."_s
                         : u"How are you finding it? State of the aisle, anything handed over. Optional."_s);
            QCOMPARE(box.title, end ? u"Report closed"_s : u"Report started"_s);
            QCOMPARE(box.text, u"Recorded on shuttle-01."_s);
            const QJsonObject after = day();
            QCOMPARE(after.value("open"_L1).toBool(), !end);
            QCOMPARE(after.value("who"_L1).toString(), kName);
        }
        const QStringList lines = QString::fromUtf8(report()).split(u'\n');
        QCOMPARE(lines.filter(QRegularExpression(u"^  (Start|End): "_s)),
                 (QStringList{u"  Start: "_s + startNote, u"  End: "_s + endNote}));
    }

    void reportDownloadAndViewer()
    {
        signIn(kUnit1);
        const QByteArray body = report();
        QVERIFY2(QString::fromUtf8(body).contains(u"Requested by  José Núñez\n"_s), body.constData());
        const QString path = m_dir.filePath(u"direct.txt"_s);
        const QString nowhere = m_dir.filePath(u"no-such-folder/report.txt"_s);
        const QString edits = m_dir.filePath(u"edited.txt"_s);
        Seen file, saved, unwritable, savedAnyway, cancelled, editsFile, editsSaved;
        QString shown, edited, reverted;
        QStringList texts;
        toolstest::answerInTurn({[&](QDialog *d) {
                                     for (int i = 0; i < 3; ++i) // written, cannot be written, cancelled
                                         toolstest::button(d, u"Download report"_s)->click();
                                     toolstest::button(d, u"View / edit report"_s)->click();
                                     toolstest::button(d, u"Close"_s)->click();
                                 },
                                 toolstest::chooseFile(&file, path, u"file-save-report"_s),
                                 toolstest::clickBox(&saved, QMessageBox::Ok, u"box-report-saved"_s),
                                 toolstest::chooseFile(&unwritable, nowhere), toolstest::clickBox(&savedAnyway),
                                 toolstest::chooseFile(&cancelled, QString()),
                                 [&](QDialog *d) { // the viewer, next: a cancelled download says nothing
                                     QVERIFY(!qobject_cast<QMessageBox *>(d));
                                     texts = toolstest::labelTexts(d);
                                     auto *editor = d->findChild<QPlainTextEdit *>();
                                     shown = editor->toPlainText();
                                     toolstest::shot(d, u"report-view"_s);
                                     editor->appendPlainText(u"Handed over to the night shift - ñ."_s);
                                     edited = editor->toPlainText();
                                     toolstest::button(d, u"Download report"_s)->click();
                                     toolstest::button(d, u"Revert edits"_s)->click();
                                     reverted = editor->toPlainText();
                                     toolstest::button(d, u"Close"_s)->click();
                                 },
                                 toolstest::chooseFile(&editsFile, edits), toolstest::clickBox(&editsSaved)});
        tools::reportCentre(nullptr, m_api, u"shuttle-01"_s);

        QCOMPARE(file.title + u'|' + file.text, u"Save the report|commissioning_shuttle-01.txt|Text file (*.txt)"_s);
        QCOMPARE(saved.title + u'|' + saved.text, u"Report saved|"_s + path);
        QCOMPARE(readFile(path), body);
        // "Report saved" shows whenever a path was chosen, written or not.
        QCOMPARE(savedAnyway.title + u'|' + savedAnyway.text, u"Report saved|"_s + nowhere);
        QVERIFY(unwritable.shown && cancelled.shown && !QFile::exists(nowhere));

        QCOMPARE(texts, QStringList({u"Commissioning report - shuttle-01"_s,
                                     u"The unit generates this from what it recorded. Edit it here for handover "
                                     u"wording - your edits go into the file you save."_s}));
        QCOMPARE(shown, QString::fromUtf8(body));
        QCOMPARE(editsFile.text, file.text);
        QCOMPARE(editsSaved.text, edits);
        QCOMPARE(readFile(edits), edited.toUtf8());
        QCOMPARE(reverted, shown);
    }

    void dailyLogRoll()
    {
        signIn(kUnit1);
        const QString key = units::unitKey(kUnit1, 8090);
        Seen noUnitReport, question;
        toolstest::answerInTurn({toolstest::clickBox(&noUnitReport)});
        tools::reportCentre(nullptr, m_api, QString());
        QCOMPARE(noUnitReport.title + u'|' + noUnitReport.text, u"Report|Select a unit first."_s);

        toolstest::answerInTurn({toolstest::clickBox(&question, QMessageBox::No, u"question-daily-log"_s)});
        QVERIFY(!tools::confirmDayRoll(nullptr, u"shuttle-01"_s, key));
        QCOMPARE(question.title, u"Start a new daily log?"_s);
        QCOMPARE(question.text, u"Closes the day that is open on shuttle-01 and starts a fresh one. What is already "
                                u"recorded is kept - the log is split, not erased."_s);
        const QString last = units::tailLines(units::connectLogPath(), 1).value(0);
        QVERIFY2(last.endsWith(u"  confirm cancelled  10.77.0.21:8090  POST /api/day"_s), qPrintable(last));

        // Yes goes on (the window sends the roll as a press) and logs nothing here.
        toolstest::answerInTurn({toolstest::clickBox(&question, QMessageBox::Yes)});
        QVERIFY(tools::confirmDayRoll(nullptr, u"shuttle-01"_s, key));
        QCOMPARE(units::tailLines(units::connectLogPath(), 1).value(0), last);
    }

    void cleanupTestCase() { m_sim.stop(); }
};

QTEST_MAIN(TestToolSite)
#include "tst_toolsite.moc"
