// What discovery makes of answers without touching the network: which datagrams count as answers,
// a unit's identity within a sweep, and the merge of sweeps into the unit list with aging out.

#include "units/discovery.h"
#include "unitstest.h"

using namespace Qt::StringLiterals;

namespace {

// The unit list a units.json of this text loads as.
QList<units::Unit> unitsFrom(const QByteArray &text)
{
    if (!unitstest::writeFile(units::configPath(u"units.json"_s), text))
        qFatal("cannot write units.json");
    return units::loadUnits();
}

QByteArray answer(const QByteArray &hostname)
{
    return R"({"app":"shuttle-commissioning","hostname":)" + hostname + '}';
}

} // namespace

class TestMerge final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void init() { QFile::remove(units::configPath(u"stats.json"_s)); }

    void validAnswer_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("valid");
        QTest::newRow("every hostname character") << answer(R"("Az09._-")") << true;
        QTest::newRow("63 characters") << answer('"' + QByteArray(63, 'h') + '"') << true;
        QTest::newRow("64 characters") << answer('"' + QByteArray(64, 'h') + '"') << false;
        QTest::newRow("empty hostname") << answer(R"("")") << false;
        QTest::newRow("hostname a number") << answer("7") << false;
        QTest::newRow("hostname with space") << answer(R"("north 7")") << false;
        QTest::newRow("hostname non-ascii") << answer(R"("nörth")") << false;
        QTest::newRow("app in other case") << QByteArray(R"({"app":"Shuttle-Commissioning","hostname":"n7"})") << false;
    }
    void validAnswer()
    {
        QFETCH(QByteArray, answer);
        QFETCH(bool, valid);
        QCOMPARE(units::Discovery::validAnswer(QJsonDocument::fromJson(answer).object()), valid);
    }

    void identityAndSender()
    {
        const auto identity = [](const char *text) {
            return units::Discovery::identity(u"10.77.0.21"_s, testsupport::json(text));
        };
        QCOMPARE(identity(R"({"unit_id":"U-7","port":9000})"), u"U-7"_s);
        QCOMPARE(identity(R"({"unit_id":"","port":9000})"), u"10.77.0.21:9000"_s);
        QCOMPARE(identity(R"({"unit_id":7,"port":9000})"), u"10.77.0.21:9000"_s);
        QCOMPARE(identity(R"({"port":"9000"})"), u"10.77.0.21:0"_s);
        QCOMPARE(units::Discovery::senderText(QHostAddress(u"10.77.0.21"_s)), u"10.77.0.21"_s);
        QCOMPARE(units::Discovery::senderText(QHostAddress(u"::ffff:10.77.0.22"_s)), u"10.77.0.22"_s);
        QCOMPARE(units::Discovery::senderText(QHostAddress(u"fe80::1"_s)), u"fe80::1"_s);
    }

    void mergeSweep_data()
    {
        QTest::addColumn<QByteArray>("before"); // units.json
        QTest::addColumn<QByteArray>("sweeps"); // [[[sender, answer], ...], ...], one list per sweep
        QTest::addColumn<QStringList>("after");
        QTest::newRow("new units, port and tls defaults")
            << QByteArray("[]")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"n7","unit_id":"U7","product":"S2","port":8443,"tls":true}],
                             ["10.77.0.22",{"hostname":"b","port":70000,"tls":"no"}],
                             ["10.77.0.23",{"hostname":"c","port":"9000","tls":false}]]])")
            << QStringList{u"10.77.0.21:8443|n7|S2|U7|0|online"_s, u"10.77.0.22:8090|b|||0|online"_s,
                           u"10.77.0.23:8090|c|||0|http|online"_s};
        QTest::newRow("an answer forgets an old unit_id, and tls absent goes back to https")
            << QByteArray(R"([{"ip":"10.77.0.21","unit_id":"OLD"}])")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"a","tls":false}]], [["10.77.0.21",{"hostname":"a"}]]])")
            << QStringList{u"10.77.0.21:8090|a|||0|online"_s};
        QTest::newRow("followed by unit_id to a new address, empty names kept")
            << QByteArray(R"([{"ip":"10.77.0.21","name":"old","type":"S1","unit_id":"U","misses":4},
                             {"ip":"10.77.0.30","unit_id":"V"}])")
            << QByteArray(R"([[["10.77.0.40",{"hostname":"","product":"","unit_id":"U","port":9000}]]])")
            << QStringList{u"10.77.0.40:9000|old|S1|U|0|online"_s, u"10.77.0.30:8090|||V|1"_s};
        QTest::newRow("unit_id wins over address")
            << QByteArray(
                   R"([{"ip":"10.77.0.21","name":"by-address"},{"ip":"10.77.0.9","unit_id":"U","name":"by-id"}])")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"h","unit_id":"U"}]]])")
            << QStringList{u"10.77.0.21:8090|by-address|||1"_s, u"10.77.0.21:8090|h||U|0|online"_s};
        QTest::newRow("manual unit adopted at its address and port")
            << QByteArray(R"([{"ip":"10.77.0.21","port":8443,"name":"bay 3","manual":true,"misses":7}])")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"n7","unit_id":"U","port":8443}]]])")
            << QStringList{u"10.77.0.21:8443|n7||U|0|manual|online"_s};
        QTest::newRow("another port is another unit")
            << QByteArray(R"([{"ip":"10.77.0.21","port":8443,"manual":true}])")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"n7"}]]])")
            << QStringList{u"10.77.0.21:8443||||1|manual"_s, u"10.77.0.21:8090|n7|||0|online"_s};
        QTest::newRow("silent unit goes offline and counts a miss")
            << QByteArray(R"([{"ip":"10.77.0.21","unit_id":"U","misses":30}])")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"n7","unit_id":"U"}]],[]])")
            << QStringList{u"10.77.0.21:8090|n7||U|1"_s};
    }
    void mergeSweep()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, sweeps);
        QFETCH(QStringList, after);
        QList<units::Unit> list = unitsFrom(before);
        for (const QJsonValue &sweep : unitstest::jsonArray(sweeps)) {
            units::Discovery::Found found;
            for (const QJsonValue &pair : sweep.toArray())
                found.append({pair[0].toString(), pair[1].toObject()});
            units::mergeSweep(list, found);
        }
        QCOMPARE(unitstest::describe(list), after);
    }

    void agingOut_data()
    {
        QTest::addColumn<bool>("manual");
        QTest::addColumn<int>("silentSweeps");
        QTest::addColumn<int>("misses"); // -1: removed
        QTest::newRow("discovered, 30 silent sweeps") << false << 30 << 30;
        QTest::newRow("discovered, 31st silent sweep") << false << 31 << -1;
        QTest::newRow("manual, 40 silent sweeps") << true << 40 << 40;
    }
    void agingOut()
    {
        QFETCH(bool, manual);
        QFETCH(int, silentSweeps);
        QFETCH(int, misses);
        QList<units::Unit> list(1);
        list[0].ip = u"10.77.0.21"_s;
        list[0].manual = manual;
        // Another unit keeps answering, so that a removal is checked amid others.
        const units::Discovery::Found other{{u"10.77.0.99"_s, testsupport::json(R"({"hostname":"o","unit_id":"O"})")}};
        for (int i = 0; i < silentSweeps; ++i)
            units::mergeSweep(list, other);
        QCOMPARE(list.size(), misses < 0 ? 1 : 2);
        QCOMPARE(list.last().unit_id, u"O"_s);
        QCOMPARE(list.last().misses, 0);
        if (misses >= 0)
            QCOMPARE(list.first().misses, misses);
    }

    void mergeKeepsAnswerAndRecordsCommissioned()
    {
        QList<units::Unit> list;
        const QJsonObject done = testsupport::json(
            R"({"hostname":"n7","unit_id":"U","product":"S2","total_count":9,"commissioned":true,"fault":null})");
        units::mergeSweep(list, {{u"10.77.0.21"_s, done}});
        units::mergeSweep(list, {{u"10.77.0.21"_s, done}});
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.first().state, done);
        const QJsonArray entries = units::loadStats().value("commissioned"_L1).toArray();
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.at(0).toObject().value("host"_L1).toString(), u"n7"_s);
        QCOMPARE(entries.at(0).toObject().value("steps"_L1).toInt(), 9);
    }
};

QTEST_GUILESS_MAIN(TestMerge)
#include "tst_merge.moc"
