// The tool dialogs that need no unit: the pieces they are built from, the site view and the stats
// from unit records and a stats.json, the technician's name and its prompt, and the day summary's
// text line by line against canned answers. Each dialog runs for real and is answered through the
// modal hook.

#include "app/base/settings.h"
#include "support/testsupport.h"
#include "tools/daysummary.h"
#include "tools/dialogs.h"
#include "tools/siteview.h"
#include "tools/technician.h"
#include "toolstest.h"
#include "units/store.h"

#include <QBoxLayout>
#include <QFile>
#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

units::Unit unit(const QString &name, const QString &ip, int port, const QString &type, const char *state)
{
    units::Unit u;
    u.name = name;
    u.ip = ip;
    u.port = port;
    u.type = type;
    u.state = testsupport::json(state);
    return u;
}

// Runs a dialog-building call and returns the texts of its labels, after `check` had a look at it.
QStringList textsOf(const std::function<void()> &open, const QString &shotName,
                    const std::function<void(QDialog *)> &check = {})
{
    QStringList texts;
    bool ran = false;
    app::setNextAnswer([&](QDialog *d) {
        ran = true;
        texts = toolstest::labelTexts(d);
        if (check)
            check(d);
        toolstest::shot(d, shotName);
        toolstest::button(d, u"Close"_s)->click();
    });
    open();
    if (!ran)
        qWarning("the dialog never ran");
    return texts;
}

QString statsPath()
{
    return units::configPath(u"stats.json"_s);
}

} // namespace

class TestTools final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        toolstest::applyThemeFromEnvironment();
    }
    void init() { app::setNextAnswer({}); }

    void dialogPieces()
    {
        const theme::Palette &pal = theme::palette();
        QWidget parent;
        QDialog *dialog = tools::makeDialog(&parent, u"Pieces"_s, 420, 300);
        auto *layout = new QVBoxLayout(dialog);
        QLabel *faint = tools::makeLabel(u"<b>faint</b>"_s, 9, pal.dim);
        layout->addWidget(faint);
        tools::addStatRow(layout, u"Label"_s, u"Value"_s);
        tools::addCloseRow(dialog, layout, u"Done"_s);
        QCOMPARE(dialog->parentWidget(), &parent);
        QCOMPARE(dialog->size(), QSize(420, 300));
        app::setNextAnswer([&](QDialog *d) {
            // Colours as the style sheet leaves them once shown, not as they were asked for.
            QCOMPARE(faint->palette().color(QPalette::WindowText), pal.dim);
            QVERIFY(faint->textFormat() == Qt::PlainText && faint->wordWrap());
            const QList<QLabel *> labels = d->findChildren<QLabel *>();
            QVERIFY(labels.size() == 3 && labels[1]->width() > labels[2]->width()); // the label takes the room
            toolstest::button(d, u"Done"_s)->click();
        });
        QCOMPARE(tools::runDialog(dialog), int(QDialog::Accepted));
    }

    void siteView_data()
    {
        QTest::addColumn<QList<units::Unit>>("units");
        QTest::addColumn<QString>("texts"); // the labels, "|" between them
        QTest::newRow("every status")
            << QList<units::
                         Unit>{unit(u"aisle-1"_s, u"10.0.0.1"_s, 8090, u"shuttle"_s, "{}"),
                               unit(QString(), u"10.0.0.2"_s, 8443, u"lift"_s,
                                    R"({"completed_count":2,"total_count":5})"),
                               unit(
                                   u"aisle-3"_s, u"10.0.0.3"_s, 8090, u"shuttle"_s,
                                   R"({"commissioned":true,"completed_count":5,"total_count":5,"activity_detail":""})"),
                               unit(u"aisle-4"_s, u"10.0.0.4"_s, 8090, u"shuttle"_s,
                                    R"({"commissioned":true,"total_count":5,"activity_detail":"Load test - 3 of 12"})"),
                               unit(u"aisle-6"_s, u"10.0.0.6"_s, 8090, QString(),
                                    R"({"commissioned":"yes","completed_count":"3","activity_detail":5})")}
            << u"Site view|4 unit(s) answering - 2 commissioned, 3 step(s) left across the site.|"
               "aisle-1|OFFLINE|10.0.0.1:8090 - shuttle   -   Not answering discovery.|"
               "10.0.0.2:8443|WAITING|10.0.0.2:8443 - lift   -   2 of 5 done|"
               "aisle-3|COMMISSIONED|10.0.0.3:8090 - shuttle   -   Nothing left to do on this unit.|"
               "aisle-4|RUNNING|10.0.0.4:8090 - shuttle   -   Load test - 3 of 12|"
               "aisle-6|WAITING|10.0.0.6:8090 -    -   0 of 0 done"_s;
        // The steps left wrap as 32-bit signed integers: 2147483648 is -2147483648, plus 1.
        QTest::newRow("32-bit steps left")
            << QList<units::Unit>{unit(u"a"_s, u"10.0.0.1"_s, 8090, u"s"_s,
                                       R"({"completed_count":-1,"total_count":2147483647})"),
                                  unit(u"b"_s, u"10.0.0.2"_s, 8090, u"s"_s, R"({"total_count":1})")}
            << u"Site view|2 unit(s) answering - 0 commissioned, -2147483647 step(s) left across the site.|"
               "a|WAITING|10.0.0.1:8090 - s   -   -1 of 2147483647 done|b|WAITING|10.0.0.2:8090 - s   -   0 of 1 done"_s;
    }
    void siteView()
    {
        QFETCH(QList<units::Unit>, units);
        QFETCH(QString, texts);
        int cards = -1;
        const QStringList shown =
            textsOf([&] { tools::siteView(nullptr, units); },
                    u"site-view-"_s + QString::fromLatin1(QTest::currentDataTag()).split(u' ')[0],
                    [&](QDialog *d) { cards = int(d->findChildren<QFrame *>(u"card"_s).size()); });
        QCOMPARE(shown.join(u'|'), texts);
        QCOMPARE(cards, units.size());
    }

    void stats_data()
    {
        QTest::addColumn<QByteArray>("statsJson");
        QTest::addColumn<QList<units::Unit>>("units");
        QTest::addColumn<QString>("texts"); // after the fixed heads, "|" between the labels
        const QList<units::Unit> three{
            unit(u"a"_s, u"10.0.0.1"_s, 8090, u"s"_s, R"({"commissioned":true,"completed_count":5})"),
            unit(u"b"_s, u"10.0.0.2"_s, 8090, u"s"_s, R"({"completed_count":3})"),
            unit(u"c"_s, u"10.0.0.3"_s, 8090, u"s"_s, "{}")};
        QTest::newRow("seven recorded")
            << QByteArray(R"({"commissioned":[
                   {"product":"shuttle","host":"h1","steps":5,"at":"2026-11-01T08:00:00"},
                   {"product":"lift","host":"h2","steps":5,"at":"2026-11-02T08:00:00"},
                   {"product":"","host":"h3","steps":4,"at":"2026-11-03T08:00:00"},
                   {"product":"shuttle","host":"h4","steps":5,"at":"2026-11-04T08:00:00"},
                   {"host":"h5","steps":5,"at":"2026-11-05T08:00:00"},
                   {"product":"lift","host":"h6","steps":6,"at":"2026-11-06T08:00:00"},
                   {"product":"shuttle","host":"h7","steps":5,"at":"2026-11-07T08:00:00"}]})")
            << three
            << u"7|1|1|8|   shuttle|3|   lift|2|   (unnamed)|2|Recently finished|"
               "   h2  -  5 steps  -  2026-11-02T08:00:00|   h3  -  4 steps  -  2026-11-03T08:00:00|"
               "   h4  -  5 steps  -  2026-11-04T08:00:00|   h5  -  5 steps  -  2026-11-05T08:00:00|"
               "   h6  -  6 steps  -  2026-11-06T08:00:00|   h7  -  5 steps  -  2026-11-07T08:00:00"_s;
        QTest::newRow("two recorded, steps wrap")
            << QByteArray(R"({"commissioned":[{"product":"lift","host":"h1","steps":5,"at":"x"},
                                             {"product":"lift","host":"h2","steps":5,"at":"y"}]})")
            << QList<units::Unit>{unit(u"a"_s, u"10.0.0.1"_s, 8090, u"s"_s, R"({"completed_count":2147483647})"),
                                  unit(u"b"_s, u"10.0.0.2"_s, 8090, u"s"_s, R"({"completed_count":1})")}
            << u"2|0|2|-2147483648|   lift|2|Recently finished|   h1  -  5 steps  -  x|   h2  -  5 steps  -  y"_s;
        QTest::newRow("corrupt file") << QByteArray("{not json") << QList<units::Unit>{}
                                      << u"0|0|0|0|   nothing recorded yet|Recently finished|   none yet"_s;
    }
    void stats()
    {
        QFETCH(QByteArray, statsJson);
        QFETCH(QList<units::Unit>, units);
        QFETCH(QString, texts);
        QVERIFY(testsupport::writeFile(statsPath(), statsJson));
        const QStringList shown = textsOf([&] { tools::showStats(nullptr, units); },
                                          u"stats-"_s + QString::fromLatin1(QTest::currentDataTag()).split(u' ')[0]);
        const QStringList heads{u"Units commissioned (all time)"_s, u"Commissioned and online now"_s,
                                u"Still in progress"_s, u"Steps recorded across online units"_s};
        QCOMPARE(shown.mid(0, 9),
                 (QStringList{heads[0], texts.section(u'|', 0, 0), heads[1], texts.section(u'|', 1, 1), heads[2],
                              texts.section(u'|', 2, 2), heads[3], texts.section(u'|', 3, 3), u"By product"_s}));
        QCOMPARE(shown.mid(9).join(u'|'), texts.section(u'|', 4));
    }

    // `before` and `after` are the stored "techFirst|techLast" (empty: neither key); `how` is the call
    // ("ask", "quiet": not asking, "orphan": asking with no parent, "change": "Your name..."); `typed`
    // answers the prompt (null: no prompt expected, "<cancel>": it is cancelled).
    void technicianName_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("after");
        const QString none;
        QTest::newRow("stored") << u"Ana|Lopez"_s << u"ask"_s << none << u"Ana Lopez"_s << u"Ana|Lopez"_s;
        QTest::newRow("none, not asking") << none << u"quiet"_s << none << none << none;
        QTest::newRow("no parent never asks") << none << u"orphan"_s << none << none << none;
        QTest::newRow("typed") << none << u"ask"_s << u"Ana Maria Lopez"_s << u"Ana Maria Lopez"_s
                               << u"Ana|Maria Lopez"_s;
        QTest::newRow("blanks only") << none << u"ask"_s << u"   "_s << none << none;
        QTest::newRow("cancelled") << none << u"ask"_s << u"<cancel>"_s << none << none;
        QTest::newRow("your name, new one")
            << u"Ana|Lopez"_s << u"change"_s << u"Bo Berg"_s << u"Bo Berg"_s << u"Bo|Berg"_s;
    }
    void technicianName()
    {
        QFETCH(QString, before);
        QFETCH(QString, how);
        QFETCH(QString, typed);
        QFETCH(QString, name);
        QFETCH(QString, after);
        QJsonObject settings{{"textScale"_L1, 1.15}};
        if (!before.isEmpty()) {
            settings.insert("techFirst"_L1, before.section(u'|', 0, 0));
            settings.insert("techLast"_L1, before.section(u'|', 1));
        }
        app::saveSettings(settings);

        toolstest::Seen prompt;
        const QString answer = typed == u"<cancel>" ? QString() : typed;
        toolstest::answerInTurn({toolstest::typeInto(&prompt, answer, u"prompt-your-name"_s)});
        QWidget parent;
        QCOMPARE(how == u"change" ? tools::changeTechnicianName(&parent)
                                  : tools::technicianName(how == u"orphan" ? nullptr : &parent, how != u"quiet"),
                 name);
        app::setNextAnswer({});
        QCOMPARE(prompt.shown, !typed.isNull());
        if (prompt.shown) {
            QCOMPARE(prompt.title, u"Your name"_s);
            QCOMPARE(prompt.text, u"Who is doing the commissioning? This goes on the reports you produce, so a "
                                  u"customer or the next shift knows who to ask. Stored on this machine only."_s);
        }
        const QJsonObject stored = app::loadSettings();
        QCOMPARE(stored.value("textScale"_L1).toDouble(), 1.15);
        const bool any = stored.contains("techFirst"_L1) || stored.contains("techLast"_L1);
        QCOMPARE(any ? stored.value("techFirst"_L1).toString() + u'|' + stored.value("techLast"_L1).toString()
                     : QString(),
                 after);
    }

    void daySummaryText_data()
    {
        QTest::addColumn<QList<units::Unit>>("units");
        QTest::addColumn<QString>("body"); // the lines between the header and the footer

        QTest::newRow("none signed in") << QList<units::Unit>{}
                                        << u"No unit recorded any work today.\nOnly units unlocked on this machine can "
                                           "be summarised - enter the site passcode and open each one first."_s;
        // A: steps today and yesterday, a summary text with blank lines and a trailing line feed.
        // B, unnamed: no summary text, so its progress and notes (as they are, line feed and all). C: no answer.
        QTest::newRow("three units")
            << QList<units::Unit>{unit(u"aisle-1"_s, u"10.0.0.1"_s, 8090, {}, "{}"),
                                  unit(QString(), u"10.0.0.2"_s, 8443, {}, "{}"),
                                  unit(u"aisle-3"_s, u"10.0.0.3"_s, 8090, {}, "{}")}
            << u"aisle-1  (10.0.0.1:8090)\n  Drive done\n  \n  IO done\n  \n\n"
               "10.0.0.2:8443  (10.0.0.2:8443)\n  Progress        1 of 5 steps\n"
               "  Notes on this unit\nBrake X4 loose\n  re-seated\n\n"
               "aisle-3  (10.0.0.3:8090)\n  Progress        0 of 0 steps\n\nTOTALS\n"
               "  Units worked on today   3\n  Steps completed         3\n  Units now commissioned  1"_s;
    }
    void daySummaryText()
    {
        QFETCH(QList<units::Unit>, units);
        QFETCH(QString, body);
        const QHash<QString, QJsonObject> answers{
            {u"10.0.0.1:8090 /api/state"_s, testsupport::json(R"({"commissioned":true,"stages":[
                 {"completed_at":"2026-11-22T08:01:00"}, {"completed_at":"2026-11-21T17:00:00"},
                 {"completed_at":"2026-11-22"}, {"completed_at":""}, {"completed_at":20261122}, {}]})")},
            {u"10.0.0.1:8090 /api/day/summary"_s, testsupport::json(R"({"text":"Drive done\n\nIO done\n"})")},
            {u"10.0.0.2:8443 /api/state"_s,
             testsupport::json(R"({"completed_count":1,"total_count":5,"notes":"Brake X4 loose\n  re-seated",
                                   "stages":[{"completed_at":"2026-11-22T09:30:00"}]})")},
            {u"10.0.0.2:8443 /api/day/summary"_s, testsupport::json(R"({"text":""})")},
        };
        QStringList asked;
        const tools::DayFetch fetch = [&](const units::Unit &u, const QString &path) {
            asked << u.key() + u' ' + path;
            return answers.value(u.key() + u' ' + path);
        };
        const QDateTime now(QDate(2026, 11, 22), QTime(9, 5, 7));
        const QStringList lines = tools::daySummaryText(units, fetch, now, u"Ana Lopez"_s).split(u'\n');
        QCOMPARE(lines.mid(0, 5), QStringList({u"KESTRO COMMISSIONING - DAY SUMMARY"_s,
                                               u"Date     2026-11-22"_s,
                                               u"Written  2026-11-22T09:05:07"_s,
                                               u"Written by  Ana Lopez"_s,
                                               {}}));
        QCOMPARE(lines.mid(5, lines.size() - 7).join(u'\n'), body);
        QCOMPARE(lines.mid(lines.size() - 2), QStringList({{}, u"Generated by Kestro Connect v8.9.13+cdcc16b"_s}));
        QCOMPARE(asked.size(), 2 * units.size());
        // The totals' values start in column 27.
        for (const QString &line : lines.filter(u"  Units "_s) + lines.filter(u"  Steps "_s))
            QCOMPARE(line.indexOf(QRegularExpression(u"\\d"_s)), 26);
    }
};

QTEST_MAIN(TestTools)
#include "tst_tools.moc"
