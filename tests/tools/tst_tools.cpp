// The tool dialogs that need no unit: the site view and the stats from unit records and a
// stats.json, and the technician's name and its prompt. Each dialog runs for real and is answered
// through the modal hook.

#include "app/base/settings.h"
#include "support/testsupport.h"
#include "tools/dialogs.h"
#include "tools/siteview.h"
#include "tools/technician.h"
#include "toolstest.h"
#include "units/store.h"

#include <QFrame>

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
QStringList textsOf(const std::function<void()> &open, const std::function<void(QDialog *)> &check = {})
{
    QStringList texts;
    bool ran = false;
    app::setNextAnswer([&](QDialog *d) {
        ran = true;
        texts = toolstest::labelTexts(d);
        if (check)
            check(d);
        toolstest::button(d, u"Close"_s)->click();
    });
    open();
    if (!ran)
        qWarning("the dialog never ran");
    return texts;
}

} // namespace

class TestTools final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void init() { app::setNextAnswer({}); }

    // A card per unit, each status word, an unnamed unit by its address.
    void siteView()
    {
        const QList<units::Unit> list{
            unit(u"aisle-1"_s, u"10.0.0.1"_s, 8090, u"shuttle"_s, "{}"),
            unit(QString(), u"10.0.0.2"_s, 8443, u"lift"_s, R"({"completed_count":2,"total_count":5})"),
            unit(u"aisle-3"_s, u"10.0.0.3"_s, 8090, u"shuttle"_s,
                 R"({"commissioned":true,"completed_count":5,"total_count":5,"activity_detail":""})"),
            unit(u"aisle-4"_s, u"10.0.0.4"_s, 8090, u"shuttle"_s,
                 R"({"commissioned":true,"total_count":5,"activity_detail":"Load test - 3 of 12"})")};
        int cards = -1;
        const QStringList shown =
            textsOf([&] { tools::siteView(nullptr, list); },
                    [&](QDialog *d) { cards = int(d->findChildren<QFrame *>(u"card"_s).size()); });
        QCOMPARE(shown.join(u'|'),
                 u"Site view|3 unit(s) answering - 2 commissioned, 3 step(s) left across the site.|"
                 "aisle-1|OFFLINE|10.0.0.1:8090 - shuttle   -   Not answering discovery.|"
                 "10.0.0.2:8443|WAITING|10.0.0.2:8443 - lift   -   2 of 5 done|"
                 "aisle-3|COMMISSIONED|10.0.0.3:8090 - shuttle   -   Nothing left to do on this unit.|"
                 "aisle-4|RUNNING|10.0.0.4:8090 - shuttle   -   Load test - 3 of 12"_s);
        QCOMPARE(cards, list.size());
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
        QTest::newRow("corrupt file") << QByteArray("{not json") << QList<units::Unit>{}
                                      << u"0|0|0|0|   nothing recorded yet|Recently finished|   none yet"_s;
    }
    void stats()
    {
        QFETCH(QByteArray, statsJson);
        QFETCH(QList<units::Unit>, units);
        QFETCH(QString, texts);
        QVERIFY(testsupport::writeFile(units::configPath(u"stats.json"_s), statsJson));
        const QStringList shown = textsOf([&] { tools::showStats(nullptr, units); });
        const QStringList heads{u"Units commissioned (all time)"_s, u"Commissioned and online now"_s,
                                u"Still in progress"_s, u"Steps recorded across online units"_s};
        QCOMPARE(shown.mid(0, 9),
                 (QStringList{heads[0], texts.section(u'|', 0, 0), heads[1], texts.section(u'|', 1, 1), heads[2],
                              texts.section(u'|', 2, 2), heads[3], texts.section(u'|', 3, 3), u"By product"_s}));
        QCOMPARE(shown.mid(9).join(u'|'), texts.section(u'|', 4));
    }

    // `before` and `after` are the stored "techFirst|techLast" (empty: neither key); `typed` answers
    // the prompt (null: no prompt expected, "<cancel>": it is cancelled).
    void technicianName_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("after");
        const QString none;
        QTest::newRow("stored") << u"Ana|Lopez"_s << none << u"Ana Lopez"_s << u"Ana|Lopez"_s;
        QTest::newRow("typed") << none << u"Ana Maria Lopez"_s << u"Ana Maria Lopez"_s << u"Ana|Maria Lopez"_s;
        QTest::newRow("blanks only") << none << u"   "_s << none << none;
        QTest::newRow("cancelled") << none << u"<cancel>"_s << none << none;
    }
    void technicianName()
    {
        QFETCH(QString, before);
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
        toolstest::answerInTurn({toolstest::typeInto(&prompt, answer)});
        QWidget parent;
        QCOMPARE(tools::technicianName(&parent, true), name);
        app::setNextAnswer({});
        QCOMPARE(prompt.shown, !typed.isNull());
        const QJsonObject stored = app::loadSettings();
        QCOMPARE(stored.value("textScale"_L1).toDouble(), 1.15);
        const bool any = stored.contains("techFirst"_L1) || stored.contains("techLast"_L1);
        QCOMPARE(any ? stored.value("techFirst"_L1).toString() + u'|' + stored.value("techLast"_L1).toString()
                     : QString(),
                 after);
    }
};

QTEST_MAIN(TestTools)
#include "tst_tools.moc"
