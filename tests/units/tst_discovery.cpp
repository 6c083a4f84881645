// Discovery with real UDP broadcasts on the private site network that tests/netns-run makes
// (10.77.0.1 for this client, units at 10.77.0.21 and .22). Fake units in this process listen on
// port 8091 and answer from the units' own addresses. Outside that namespace the test refuses
// to run, so it can never probe a real network.

#include "privatehome.h"
#include "units/discovery.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QRandomGenerator>
#include <QTest>
#include <QTimer>
#include <QUdpSocket>

using namespace Qt::StringLiterals;

namespace {

struct Answer
{
    QString from; // the unit address the answer leaves from
    QByteArray payload;
};

// Units on the site subnet: each probe that arrives on port 8091 is answered with every answer.
class FakeUnits final : public QObject
{
public:
    explicit FakeUnits(QList<Answer> answers)
        : m_answers(std::move(answers))
    {
        m_listen.bind(QHostAddress::AnyIPv4, units::kDiscoveryPort,
                      QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint);
        connect(&m_listen, &QUdpSocket::readyRead, this, [this] {
            while (m_listen.hasPendingDatagrams()) {
                const QNetworkDatagram probe = m_listen.receiveDatagram();
                if (!probe.isValid())
                    break;
                probes << probe;
                if (onProbe)
                    onProbe(probe);
                for (const Answer &a : std::as_const(m_answers))
                    send(a.from, a.payload, probe);
            }
        });
    }

    bool listening() const { return m_listen.state() == QAbstractSocket::BoundState; }

    void send(const QString &from, const QByteArray &payload, const QNetworkDatagram &to)
    {
        QUdpSocket *&socket = m_senders[from];
        if (!socket) {
            socket = new QUdpSocket(this);
            if (!socket->bind(QHostAddress(from), 0))
                qWarning("cannot bind a fake unit to %s", qPrintable(from));
        }
        socket->writeDatagram(payload, to.senderAddress(), quint16(to.senderPort()));
    }

    QList<QNetworkDatagram> probes;
    std::function<void(const QNetworkDatagram &)> onProbe;

private:
    QUdpSocket m_listen;
    QHash<QString, QUdpSocket *> m_senders;
    QList<Answer> m_answers;
};

struct SweepResult
{
    units::Discovery::Found found;
    QList<int> replies;
    int sweeps = 0;
};

SweepResult runSweep(bool longSweep)
{
    units::Discovery discovery;
    SweepResult result;
    QObject::connect(&discovery, &units::Discovery::replied, &discovery, [&](int n) { result.replies << n; });
    QObject::connect(&discovery, &units::Discovery::swept, &discovery, [&](const units::Discovery::Found &found) {
        result.found = found;
        ++result.sweeps;
    });
    discovery.sweep(longSweep);
    if (!QTest::qWaitFor([&] { return result.sweeps > 0; }, 30000))
        qWarning("the sweep never ended");
    QTest::qWait(50); // a second result would show up here
    return result;
}

QStringList describe(const units::Discovery::Found &found)
{
    QStringList out;
    for (const auto &[sender, answer] : found)
        out << sender + u' ' + answer.value("hostname"_L1).toString();
    return out;
}

QByteArray answer(const char *hostname, const char *more = "")
{
    return "{\"app\":\"shuttle-commissioning\",\"hostname\":\"" + QByteArray(hostname) + '"' + QByteArray(more) + '}';
}

} // namespace

Q_DECLARE_METATYPE(QList<Answer>)

class TestDiscovery final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariable("KESTRO_SITE_NET") != u"1"_s)
            QSKIP("refusing to send discovery probes outside the private site network: run this test through "
                  "tests/netns-run --units 2 (ctest does)");
        // Belt and braces: the only running interfaces besides loopback must be the site pair.
        const auto interfaces = QNetworkInterface::allInterfaces();
        for (const QNetworkInterface &iface : interfaces) {
            const bool running = iface.flags().testFlag(QNetworkInterface::IsUp);
            const bool site = iface.name() == u"site0"_s || iface.name() == u"site1"_s;
            if (running && !iface.flags().testFlag(QNetworkInterface::IsLoopBack) && !site)
                QSKIP(qPrintable(u"refusing to send discovery probes: interface %1 is not part of the private "
                                 "site network"_s.arg(iface.name())));
        }
        unitstest::privateHome();
    }

    void probeTargets()
    {
        QCOMPARE(units::Discovery::probeTargets(),
                 (QList<QHostAddress>{QHostAddress(u"10.77.0.255"_s), QHostAddress(u"255.255.255.255"_s)}));
    }

    void probes()
    {
        FakeUnits site({});
        QVERIFY(site.listening());
        const SweepResult result = runSweep(false);
        QCOMPARE(result.sweeps, 1);
        QCOMPARE(result.found.size(), 0);
        QVERIFY2(site.probes.size() >= 4, "two passes over two targets");
        QSet<QString> targets;
        for (const QNetworkDatagram &probe : std::as_const(site.probes)) {
            QCOMPARE(probe.data(), QByteArray("KESTRO_SHUTTLE_DISCOVER_V1"));
            QCOMPARE(probe.senderAddress(), QHostAddress(u"10.77.0.1"_s));
            if (!probe.destinationAddress().isNull())
                targets << probe.destinationAddress().toString();
        }
        QCOMPARE(targets, (QSet<QString>{u"10.77.0.255"_s, u"255.255.255.255"_s}));
    }

    void longSweepRepeatsProbes()
    {
        FakeUnits site({});
        runSweep(false);
        const qsizetype shortProbes = site.probes.size();
        QVERIFY(shortProbes > 0);
        site.probes.clear();
        const SweepResult result = runSweep(true);
        QCOMPARE(result.sweeps, 1);
        QVERIFY2(site.probes.size() > shortProbes, "a long sweep sends the probes again while it listens");
    }

    void answers_data()
    {
        QTest::addColumn<QList<Answer>>("answers");
        QTest::addColumn<QStringList>("found");
        QTest::addColumn<QList<int>>("replies");

        const QString a = u"10.77.0.21"_s;
        const QString b = u"10.77.0.22"_s;
        QTest::newRow("one unit answering every probe") << QList<Answer>{{a, answer("north-7", R"(,"unit_id":"U7")")}}
                                                        << QStringList{a + u" north-7"_s} << QList<int>{1};
        QTest::newRow("two units") << QList<Answer>{{a, answer("north-7", R"(,"unit_id":"U7")")},
                                                    {b, answer("south-2", R"(,"unit_id":"U2")")}}
                                   << QStringList{a + u" north-7"_s, b + u" south-2"_s} << QList<int>{1, 2};
        QTest::newRow("same unit_id from two addresses, first wins")
            << QList<Answer>{{a, answer("first", R"(,"unit_id":"U7")")}, {b, answer("second", R"(,"unit_id":"U7")")}}
            << QStringList{a + u" first"_s} << QList<int>{1};
        QTest::newRow("no unit_id, one address, two ports")
            << QList<Answer>{{a, answer("api-a", R"(,"port":8090)")}, {a, answer("api-b", R"(,"port":8443)")}}
            << QStringList{a + u" api-a"_s, a + u" api-b"_s} << QList<int>{1, 2};
        QTest::newRow("no unit_id, no port and port 0 are one")
            << QList<Answer>{{a, answer("no-port")}, {a, answer("port-0", R"(,"port":0)")}}
            << QStringList{a + u" no-port"_s} << QList<int>{1};
        QTest::newRow("no unit_id, two addresses") << QList<Answer>{{a, answer("same")}, {b, answer("same")}}
                                                   << QStringList{a + u" same"_s, b + u" same"_s} << QList<int>{1, 2};
        QTest::newRow("rejected answers") << QList<Answer>{{a, R"({"app":"Shuttle-Commissioning","hostname":"case"})"},
                                                           {a, answer("")},
                                                           {a, answer("with space")},
                                                           {a, answer(QByteArray(64, 'h').constData())},
                                                           {a, R"({"hostname":"no-app"})"},
                                                           {a, R"(["shuttle-commissioning"])"},
                                                           {a, "KESTRO_SHUTTLE_DISCOVER_V1"},
                                                           {a, ""}}
                                          << QStringList() << QList<int>();
        QTest::newRow("good after bad") << QList<Answer>{{a, answer("bad name")}, {b, answer("good")}}
                                        << QStringList{b + u" good"_s} << QList<int>{1};
        QTest::newRow("63-character hostname") << QList<Answer>{{b, answer(QByteArray(63, 'h').constData())}}
                                               << QStringList{b + u' ' + QString(63, u'h')} << QList<int>{1};
    }
    void answers()
    {
        QFETCH(QList<Answer>, answers);
        QFETCH(QStringList, found);
        QFETCH(QList<int>, replies);
        FakeUnits site(answers);
        QVERIFY(site.listening());
        const SweepResult result = runSweep(false);
        QCOMPARE(result.sweeps, 1);
        QCOMPARE(describe(result.found), found);
        QCOMPARE(result.replies, replies);
    }

    void mergedWithDefaults()
    {
        FakeUnits site({{u"10.77.0.21"_s, answer("north-7", R"(,"unit_id":"U7","product":"S2")")},
                        {u"10.77.0.22"_s, answer("south-2", R"(,"port":9443,"tls":false)")}});
        QList<units::Unit> list;
        units::Unit manual;
        manual.ip = u"10.77.0.22"_s;
        manual.port = 9443;
        manual.manual = true;
        manual.name = u"bay 4"_s;
        list << manual;
        units::mergeSweep(list, runSweep(false).found);
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.at(0).key(), u"10.77.0.22:9443"_s);
        QCOMPARE(list.at(0).manual, true);
        QCOMPARE(list.at(0).name, u"south-2"_s);
        QCOMPARE(list.at(0).tls, false);
        QCOMPARE(list.at(1).key(), u"10.77.0.21:8090"_s);
        QCOMPARE(list.at(1).tls, true);
        QCOMPARE(list.at(1).type, u"S2"_s);
        QVERIFY(list.at(1).online());
    }

    void overlappingSweeps()
    {
        FakeUnits site({{u"10.77.0.21"_s, answer("north-7")}});
        units::Discovery discovery;
        QList<units::Discovery::Found> results;
        connect(&discovery, &units::Discovery::swept, this,
                [&](const units::Discovery::Found &found) { results << found; });
        discovery.sweep(true);
        discovery.sweep(false);
        QVERIFY(QTest::qWaitFor([&] { return results.size() == 2; }, 30000));
        for (const units::Discovery::Found &found : std::as_const(results))
            QCOMPARE(describe(found), QStringList{u"10.77.0.21 north-7"_s});
    }

    void junkFlood()
    {
        // 1000 datagrams of random bytes and random or nearly valid JSON hit the sweep's socket in
        // batches (so the kernel keeps them all), then one real answer.
        FakeUnits site({});
        QRandomGenerator random(20261121);
        QList<QByteArray> junk;
        const QList<QByteArray> nearMisses{
            R"({"app":"shuttle-commissioning"})",
            R"({"app":"shuttle-commissioning","hostname":7})",
            R"({"app":"shuttle-commissioning ","hostname":"x"})",
            R"({"app":null,"hostname":"x"})",
            R"({"app":"shuttle-commissioning","hostname":"a/b"})",
            "{\"app\":\"shuttle-commissioning\",\"hostname\":\"x\"",
            "null",
            "{}",
        };
        for (int i = 0; i < 1000; ++i) {
            QByteArray d;
            switch (i % 3) {
            case 0:
                d.resize(random.bounded(0, 300));
                for (char &c : d)
                    c = char(random.bounded(256));
                break;
            case 1: {
                QJsonObject o;
                for (int k = random.bounded(0, 6); k > 0; --k)
                    o.insert(QString::number(random.generate(), 36),
                             random.bounded(2) ? QJsonValue(qint64(random.generate())) : QJsonValue(u"v"_s));
                d = QJsonDocument(o).toJson(QJsonDocument::Compact);
                break;
            }
            default:
                d = nearMisses.at(random.bounded(int(nearMisses.size())));
            }
            junk << d;
        }
        bool flooded = false;
        site.onProbe = [&](const QNetworkDatagram &probe) {
            if (flooded)
                return;
            flooded = true;
            auto *pump = new QTimer(&site);
            auto sent = std::make_shared<int>(0);
            connect(pump, &QTimer::timeout, &site, [&site, &junk, probe, pump, sent] {
                for (int end = std::min(*sent + 100, int(junk.size())); *sent < end; ++*sent)
                    site.send(u"10.77.0.22"_s, junk.at(*sent), probe);
                if (*sent < junk.size())
                    return;
                site.send(u"10.77.0.21"_s, answer("after-the-flood"), probe);
                pump->stop();
            });
            pump->start(0);
        };
        const SweepResult result = runSweep(true);
        QVERIFY(flooded);
        QCOMPARE(result.sweeps, 1);
        QCOMPARE(describe(result.found), QStringList{u"10.77.0.21 after-the-flood"_s});
        QCOMPARE(result.replies, QList<int>{1});
    }
};

QTEST_GUILESS_MAIN(TestDiscovery)
#include "tst_discovery.moc"
