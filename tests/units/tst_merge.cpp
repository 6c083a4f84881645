// What discovery makes of answers without touching the network: which datagrams count as answers,
// a unit's identity within a sweep, and the merge of sweeps into the unit list with aging out.

#include "privatehome.h"
#include "units/discovery.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonArray jsonArray(const char *text)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray(text), &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray())
        qFatal("test JSON array does not parse: %s", text);
    return doc.array();
}

// Units from [{"ip":..,"port":..,"name":..,"unit_id":..,"manual":..,"misses":..}, ...].
QList<units::Unit> unitsFrom(const QJsonArray &array)
{
    QList<units::Unit> list;
    for (const QJsonValue &v : array) {
        const QJsonObject o = v.toObject();
        units::Unit u;
        u.ip = o.value("ip"_L1).toString();
        u.port = o.value("port"_L1).toInt(8090);
        u.name = o.value("name"_L1).toString();
        u.type = o.value("type"_L1).toString();
        u.unit_id = o.value("unit_id"_L1).toString();
        u.manual = o.value("manual"_L1).toBool();
        u.misses = o.value("misses"_L1).toInt();
        u.tls = o.value("tls"_L1).toBool(true);
        list << u;
    }
    return list;
}

// Found lists from [[ [host, answer], ... ], ...]: one inner list per sweep.
QList<units::Discovery::Found> sweepsFrom(const QJsonArray &array)
{
    QList<units::Discovery::Found> sweeps;
    for (const QJsonValue &sweep : array) {
        units::Discovery::Found found;
        for (const QJsonValue &pair : sweep.toArray())
            found.append({pair.toArray().at(0).toString(), pair.toArray().at(1).toObject()});
        sweeps << found;
    }
    return sweeps;
}

QStringList describe(const QList<units::Unit> &list)
{
    QStringList out;
    for (const units::Unit &u : list) {
        out << u"%1 %2 type=%3 id=%4 misses=%5%6%7%8"_s.arg(u.key(), u.name, u.type, u.unit_id)
                   .arg(u.misses)
                   .arg(u.manual ? u" manual"_s : QString(), u.tls ? u" tls"_s : u" http"_s,
                        u.online() ? u" online"_s : QString());
    }
    return out;
}

} // namespace

class TestMerge final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { unitstest::privateHome(); }
    void init() { QFile::remove(units::configPath(u"stats.json"_s)); }

    void validAnswer_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("valid");
        QTest::newRow("minimal") << QByteArray(R"({"app":"shuttle-commissioning","hostname":"north-7"})") << true;
        QTest::newRow("all hostname characters")
            << QByteArray(R"({"app":"shuttle-commissioning","hostname":"Az09._-"})") << true;
        QTest::newRow("63 characters") << QByteArray("{\"app\":\"shuttle-commissioning\",\"hostname\":\"" +
                                                     QByteArray(63, 'h') + "\"}")
                                       << true;
        QTest::newRow("64 characters") << QByteArray("{\"app\":\"shuttle-commissioning\",\"hostname\":\"" +
                                                     QByteArray(64, 'h') + "\"}")
                                       << false;
        QTest::newRow("empty hostname") << QByteArray(R"({"app":"shuttle-commissioning","hostname":""})") << false;
        QTest::newRow("hostname with space")
            << QByteArray(R"({"app":"shuttle-commissioning","hostname":"north 7"})") << false;
        QTest::newRow("hostname with newline")
            << QByteArray(R"({"app":"shuttle-commissioning","hostname":"north7\n"})") << false;
        QTest::newRow("hostname non-ascii")
            << QByteArray(R"({"app":"shuttle-commissioning","hostname":"nörth"})") << false;
        QTest::newRow("hostname a number") << QByteArray(R"({"app":"shuttle-commissioning","hostname":7})") << false;
        QTest::newRow("no hostname") << QByteArray(R"({"app":"shuttle-commissioning"})") << false;
        QTest::newRow("app in other case") << QByteArray(R"({"app":"Shuttle-Commissioning","hostname":"n7"})") << false;
        QTest::newRow("other app") << QByteArray(R"({"app":"shuttle","hostname":"n7"})") << false;
        QTest::newRow("no app") << QByteArray(R"({"hostname":"n7"})") << false;
    }
    void validAnswer()
    {
        QFETCH(QByteArray, answer);
        QFETCH(bool, valid);
        QCOMPARE(units::Discovery::validAnswer(QJsonDocument::fromJson(answer).object()), valid);
    }

    void identity_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("identity");
        QTest::newRow("unit_id") << QByteArray(R"({"unit_id":"U-7","port":9000})") << u"U-7"_s;
        QTest::newRow("empty unit_id") << QByteArray(R"({"unit_id":"","port":9000})") << u"10.77.0.21:9000"_s;
        QTest::newRow("unit_id a number") << QByteArray(R"({"unit_id":7,"port":9000})") << u"10.77.0.21:9000"_s;
        QTest::newRow("no port is port 0") << QByteArray(R"({})") << u"10.77.0.21:0"_s;
        QTest::newRow("port as text is port 0") << QByteArray(R"({"port":"9000"})") << u"10.77.0.21:0"_s;
    }
    void identity()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, identity);
        QCOMPARE(units::Discovery::identity(u"10.77.0.21"_s, QJsonDocument::fromJson(answer).object()), identity);
    }

    void senderText_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("text");
        QTest::newRow("ipv4") << u"10.77.0.21"_s << u"10.77.0.21"_s;
        QTest::newRow("ipv4-mapped ipv6") << u"::ffff:10.77.0.22"_s << u"10.77.0.22"_s;
        QTest::newRow("ipv6") << u"fe80::1"_s << u"fe80::1"_s;
    }
    void senderText()
    {
        QFETCH(QString, address);
        QFETCH(QString, text);
        QCOMPARE(units::Discovery::senderText(QHostAddress(address)), text);
    }

    void mergeSweep_data()
    {
        QTest::addColumn<QJsonArray>("before");
        QTest::addColumn<QJsonArray>("sweeps");
        QTest::addColumn<QStringList>("after");

        QTest::newRow("new unit appended")
            << QJsonArray()
            << jsonArray(R"([[["10.77.0.21",{"app":"shuttle-commissioning","hostname":"n7","unit_id":"U7",
                            "product":"S2","port":8443,"tls":true}]]])")
            << QStringList{u"10.77.0.21:8443 n7 type=S2 id=U7 misses=0 tls online"_s};
        QTest::newRow("port and tls defaults")
            << QJsonArray()
            << jsonArray(R"([[["10.77.0.21",{"hostname":"a"}],["10.77.0.22",{"hostname":"b","port":70000,"tls":"no"}],
                             ["10.77.0.23",{"hostname":"c","port":"9000","tls":false}]]])")
            << QStringList{u"10.77.0.21:8090 a type= id= misses=0 tls online"_s,
                           u"10.77.0.22:8090 b type= id= misses=0 tls online"_s,
                           u"10.77.0.23:8090 c type= id= misses=0 http online"_s};
        QTest::newRow("tls absent goes back to https")
            << QJsonArray() << jsonArray(R"([[["10.77.0.21",{"hostname":"a","unit_id":"U","tls":false}]],
                             [["10.77.0.21",{"hostname":"a","unit_id":"U"}]]])")
            << QStringList{u"10.77.0.21:8090 a type= id=U misses=0 tls online"_s};
        QTest::newRow("followed by unit_id to a new address")
            << jsonArray(R"([{"ip":"10.77.0.21","name":"old","type":"S1","unit_id":"U","misses":4},
                             {"ip":"10.77.0.30","unit_id":"V"}])")
            << jsonArray(R"([[["10.77.0.40",{"hostname":"","product":"","unit_id":"U","port":9000}]]])")
            << QStringList{u"10.77.0.40:9000 old type=S1 id=U misses=0 tls online"_s,
                           u"10.77.0.30:8090  type= id=V misses=1 tls"_s};
        QTest::newRow("unit_id wins over address")
            << jsonArray(R"([{"ip":"10.77.0.21","name":"by-address"},{"ip":"10.77.0.9","unit_id":"U","name":"by-id"}])")
            << jsonArray(R"([[["10.77.0.21",{"hostname":"h","unit_id":"U"}]]])")
            << QStringList{u"10.77.0.21:8090 by-address type= id= misses=1 tls"_s,
                           u"10.77.0.21:8090 h type= id=U misses=0 tls online"_s};
        QTest::newRow("manual unit adopted at its address and port")
            << jsonArray(R"([{"ip":"10.77.0.21","port":8443,"name":"bay 3","manual":true,"misses":7}])")
            << jsonArray(R"([[["10.77.0.21",{"hostname":"n7","unit_id":"U","port":8443}]]])")
            << QStringList{u"10.77.0.21:8443 n7 type= id=U misses=0 manual tls online"_s};
        QTest::newRow("other port is another unit")
            << jsonArray(R"([{"ip":"10.77.0.21","port":8443,"manual":true}])")
            << jsonArray(R"([[["10.77.0.21",{"hostname":"n7"}]]])")
            << QStringList{u"10.77.0.21:8443  type= id= misses=1 manual tls"_s,
                           u"10.77.0.21:8090 n7 type= id= misses=0 tls online"_s};
        QTest::newRow("answer forgets an old unit_id")
            << jsonArray(R"([{"ip":"10.77.0.21","unit_id":"OLD"}])")
            << jsonArray(R"([[["10.77.0.21",{"hostname":"n7"}]]])")
            << QStringList{u"10.77.0.21:8090 n7 type= id= misses=0 tls online"_s};
        QTest::newRow("silent unit goes offline and counts a miss")
            << jsonArray(R"([{"ip":"10.77.0.21","unit_id":"U"}])")
            << jsonArray(R"([[["10.77.0.21",{"hostname":"n7","unit_id":"U"}]],[]])")
            << QStringList{u"10.77.0.21:8090 n7 type= id=U misses=1 tls"_s};
    }
    void mergeSweep()
    {
        QFETCH(QJsonArray, before);
        QFETCH(QJsonArray, sweeps);
        QFETCH(QStringList, after);
        QList<units::Unit> list = unitsFrom(before);
        for (const units::Discovery::Found &found : sweepsFrom(sweeps))
            units::mergeSweep(list, found);
        QCOMPARE(describe(list), after);
    }

    void mergeKeepsWholeAnswer()
    {
        QList<units::Unit> list;
        const QJsonObject answer =
            testsupport::json(R"({"app":"shuttle-commissioning","hostname":"n7","stage":"io","fault":null})");
        units::mergeSweep(list, {{u"10.77.0.21"_s, answer}});
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.first().state, answer);
    }

    void agingOut_data()
    {
        QTest::addColumn<bool>("manual");
        QTest::addColumn<int>("silentSweeps");
        QTest::addColumn<int>("misses"); // -1: removed
        QTest::newRow("discovered, 30 silent sweeps") << false << 30 << 30;
        QTest::newRow("discovered, 31st silent sweep") << false << 31 << -1;
        QTest::newRow("manual, 31 silent sweeps") << true << 31 << 31;
        QTest::newRow("manual, 200 silent sweeps") << true << 200 << 200;
    }
    void agingOut()
    {
        QFETCH(bool, manual);
        QFETCH(int, silentSweeps);
        QFETCH(int, misses);
        QList<units::Unit> list;
        units::Unit heard;
        heard.ip = u"10.77.0.21"_s;
        heard.manual = manual;
        list << heard;
        // A second unit keeps answering so that removals are checked amid others.
        const QJsonObject other = testsupport::json(R"({"hostname":"other","unit_id":"O"})");
        for (int i = 0; i < silentSweeps; ++i)
            units::mergeSweep(list, {{u"10.77.0.99"_s, other}});
        const auto it =
            std::find_if(list.cbegin(), list.cend(), [](const units::Unit &u) { return u.ip == u"10.77.0.21"_s; });
        if (misses < 0) {
            QVERIFY(it == list.cend());
        } else {
            QVERIFY(it != list.cend());
            QCOMPARE(it->misses, misses);
        }
        QCOMPARE(list.last().unit_id, u"O"_s);
        QCOMPARE(list.last().misses, 0);
    }

    void answerResetsMisses()
    {
        QList<units::Unit> list = unitsFrom(jsonArray(R"([{"ip":"10.77.0.21","misses":30}])"));
        units::mergeSweep(list, {{u"10.77.0.21"_s, testsupport::json(R"({"hostname":"n7"})")}});
        for (int i = 0; i < 30; ++i)
            units::mergeSweep(list, {});
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.first().misses, 30);
    }

    void mergeRecordsCommissioned()
    {
        QList<units::Unit> list;
        const QJsonObject done =
            testsupport::json(R"({"hostname":"n7","unit_id":"U","product":"S2","total_count":9,"commissioned":true})");
        units::mergeSweep(list, {{u"10.77.0.21"_s, done}});
        units::mergeSweep(list, {{u"10.77.0.21"_s, done}});
        const QJsonArray entries = units::loadStats().value("commissioned"_L1).toArray();
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.at(0).toObject().value("host"_L1).toString(), u"n7"_s);
        QCOMPARE(entries.at(0).toObject().value("steps"_L1).toInt(), 9);
    }
};

QTEST_GUILESS_MAIN(TestMerge)
#include "tst_merge.moc"
