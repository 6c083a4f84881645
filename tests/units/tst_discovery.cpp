// Discovery with real UDP broadcasts on the private site network that tests/netns-run makes
// (10.77.0.1 for this client, units at 10.77.0.21 and .22). Fake units in this process listen on
// port 8091 and answer from the units' own addresses. Outside that namespace the test refuses
// to run, so it can never probe a real network.

#include "units/discovery.h"
#include "unitstest.h"

#include <QElapsedTimer>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QRandomGenerator>
#include <QTimer>
#include <QUdpSocket>

#include <numeric>

#include <sys/resource.h>

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
    explicit FakeUnits(QList<Answer> answers = {})
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
    QStringList found; // "sender hostname"
    QList<int> replies;
    int sweeps = 0;
};

QStringList describe(const units::Discovery::Found &found)
{
    QStringList out;
    for (const auto &[sender, answer] : found)
        out << sender + u' ' + answer.value("hostname"_L1).toString();
    return out;
}

SweepResult runSweep(bool longSweep)
{
    units::Discovery discovery;
    SweepResult result;
    QObject::connect(&discovery, &units::Discovery::replied, &discovery, [&](int n) { result.replies << n; });
    QObject::connect(&discovery, &units::Discovery::swept, &discovery, [&](const units::Discovery::Found &found) {
        result.found = describe(found);
        ++result.sweeps;
    });
    discovery.sweep(longSweep);
    if (!QTest::qWaitFor([&] { return result.sweeps > 0; }, 30000))
        qWarning("the sweep never ended");
    QTest::qWait(50); // a second result would show up here
    return result;
}

QByteArray answer(const QByteArray &hostname, const char *more = "")
{
    return "{\"app\":\"shuttle-commissioning\",\"hostname\":\"" + hostname + '"' + QByteArray(more) + '}';
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
            const bool site = iface.name() == u"site0"_s || iface.name() == u"site1"_s;
            if (iface.flags().testFlag(QNetworkInterface::IsUp) &&
                !iface.flags().testFlag(QNetworkInterface::IsLoopBack) && !site)
                QSKIP(qPrintable(u"refusing to send discovery probes: interface %1 is not part of the private "
                                 "site network"_s.arg(iface.name())));
        }
        testsupport::isolateConfig();
    }

    void probes()
    {
        QCOMPARE(units::Discovery::probeTargets(),
                 (QList<QHostAddress>{QHostAddress(u"10.77.0.255"_s), QHostAddress(u"255.255.255.255"_s)}));
        FakeUnits site;
        QVERIFY(site.listening());
        const SweepResult result = runSweep(false);
        QCOMPARE(result.sweeps, 1);
        QCOMPARE(result.found, QStringList());
        QVERIFY2(site.probes.size() >= 4, "two passes over two targets");
        QSet<QString> targets;
        for (const QNetworkDatagram &probe : std::as_const(site.probes)) {
            QCOMPARE(probe.data(), QByteArray("KESTRO_SHUTTLE_DISCOVER_V1"));
            QCOMPARE(probe.senderAddress(), QHostAddress(u"10.77.0.1"_s));
            if (!probe.destinationAddress().isNull())
                targets << probe.destinationAddress().toString();
        }
        QCOMPARE(targets, (QSet<QString>{u"10.77.0.255"_s, u"255.255.255.255"_s}));

        // A long sweep sends the probes again while it listens, and never once its result is out,
        // even while a slot of that result runs a nested event loop over two repeat periods.
        const qsizetype shortProbes = site.probes.size();
        site.probes.clear();
        units::Discovery discovery;
        qsizetype atResult = -1;
        connect(&discovery, &units::Discovery::swept, this, [&] {
            QTest::qWait(200); // what left before the result arrives
            atResult = site.probes.size();
            QTest::qWait(1000);
        });
        discovery.sweep(true);
        QVERIFY(QTest::qWaitFor([&] { return atResult >= 0; }, 30000));
        QTest::qWait(200);
        QVERIFY(atResult > shortProbes);
        QCOMPARE(site.probes.size(), atResult);
    }

    void failedBind()
    {
        // No descriptor can be made, so no socket can bind. Each empty result starts another sweep
        // at once, as the window does: results must come from the event loop, one at a time, and
        // each only after a sweep's time, or a site without a usable socket spins the processor.
        units::Discovery discovery;
        int sweeps = 0, depth = 0, deepest = 0, nonEmpty = 0;
        bool inSweep = false, fromInside = false;
        const auto sweep = [&] {
            inSweep = true;
            discovery.sweep(false);
            inSweep = false;
        };
        connect(&discovery, &units::Discovery::swept, this, [&](const units::Discovery::Found &found) {
            deepest = std::max(deepest, ++depth);
            fromInside = fromInside || inSweep;
            nonEmpty += found.isEmpty() ? 0 : 1;
            if (++sweeps < 4)
                sweep();
            --depth;
        });
        rlimit saved{};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &saved), 0);
        rlimit none = saved;
        none.rlim_cur = 0;
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
        QElapsedTimer clock;
        clock.start();
        sweep();
        const bool ended = QTest::qWaitFor([&] { return sweeps >= 4; }, 20000);
        setrlimit(RLIMIT_NOFILE, &saved);
        QVERIFY(ended);
        QCOMPARE(nonEmpty, 0);
        QVERIFY(!fromInside);
        QCOMPARE(deepest, 1);
        QVERIFY(clock.elapsed() >= 4 * units::kShortSweepMs * 9 / 10); // a lower bound: timers never run early
    }

    void answers_data()
    {
        QTest::addColumn<QList<Answer>>("answers"); // each sent for every probe
        QTest::addColumn<QStringList>("found");
        const QString a = u"10.77.0.21"_s;
        const QString b = u"10.77.0.22"_s;
        QTest::newRow("by unit_id, the first answer wins")
            << QList<Answer>{{a, answer("north-7", R"(,"unit_id":"U7")")},
                             {b, answer("south-2", R"(,"unit_id":"U2")")},
                             {b, answer("second", R"(,"unit_id":"U7")")}}
            << QStringList{a + u" north-7"_s, b + u" south-2"_s};
        QTest::newRow("without unit_id, by address and port (none is 0)")
            << QList<Answer>{{a, answer("api-a", R"(,"port":8090)")},
                             {a, answer("api-b", R"(,"port":8443)")},
                             {a, answer("no-port")},
                             {a, answer("port-0", R"(,"port":0)")},
                             {b, answer("no-port")}}
            << QStringList{a + u" api-a"_s, a + u" api-b"_s, a + u" no-port"_s, b + u" no-port"_s};
    }
    void answers()
    {
        QFETCH(QList<Answer>, answers);
        QFETCH(QStringList, found);
        FakeUnits site(answers);
        QVERIFY(site.listening());
        const SweepResult result = runSweep(false);
        QCOMPARE(result.sweeps, 1);
        QCOMPARE(result.found, found);
        QList<int> counts(found.size());
        std::iota(counts.begin(), counts.end(), 1);
        QCOMPARE(result.replies, counts); // one "replied" per unit found, with the count so far
    }

    void overlappingSweepsMerged()
    {
        FakeUnits site({{u"10.77.0.21"_s, answer("north-7", R"(,"unit_id":"U7","product":"S2")")},
                        {u"10.77.0.22"_s, answer("south-2", R"(,"port":9443,"tls":false)")}});
        QList<units::Unit> list(1);
        list[0].ip = u"10.77.0.22"_s;
        list[0].port = 9443;
        list[0].manual = true;
        units::Discovery discovery;
        int sweeps = 0;
        connect(&discovery, &units::Discovery::swept, this, [&](const units::Discovery::Found &found) {
            QCOMPARE(describe(found), (QStringList{u"10.77.0.21 north-7"_s, u"10.77.0.22 south-2"_s}));
            units::mergeSweep(list, found);
            ++sweeps;
        });
        discovery.sweep(true);
        discovery.sweep(false);
        QVERIFY(QTest::qWaitFor([&] { return sweeps == 2; }, 30000));
        // The manual unit is adopted at its address and port; the other takes the defaults.
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.at(0).key() + u' ' + list.at(0).name, u"10.77.0.22:9443 south-2"_s);
        QVERIFY(list.at(0).manual && !list.at(0).tls);
        QCOMPARE(list.at(1).key() + u' ' + list.at(1).type, u"10.77.0.21:8090 S2"_s);
        QVERIFY(list.at(1).tls && list.at(1).online());
    }

    void junkFlood()
    {
        // 1000 datagrams of random bytes and of answers that are not quite answers reach the sweep's
        // socket in batches (so the kernel keeps them all), then one real answer.
        QList<QByteArray> nearMisses{answer(""), answer("a/b"), answer("with space"), answer(QByteArray(64, 'h'))};
        // "|"-separated, the last one an empty datagram.
        const QByteArray more = R"({"app":"shuttle-commissioning"} | {"app":"shuttle-commissioning","hostname":7} |
            {"app":"shuttle-commissioning ","hostname":"x"} | {"app":"Shuttle-Commissioning","hostname":"x"} |
            {"app":null,"hostname":"x"} | {"hostname":"no-app"} | ["shuttle-commissioning"] | null | {} |
            {"app":"shuttle-commissioning","hostname":"x" | KESTRO_SHUTTLE_DISCOVER_V1 | )";
        for (const QByteArray &d : more.split('|'))
            nearMisses << d.trimmed();
        QRandomGenerator random(20261121);
        QList<QByteArray> junk;
        for (int i = 0; i < 1000; ++i) {
            QByteArray d = nearMisses.at(random.bounded(int(nearMisses.size())));
            if (i % 2 == 0) {
                d.resize(random.bounded(0, 300));
                for (char &c : d)
                    c = char(random.bounded(256));
            }
            junk << d;
        }
        FakeUnits site;
        bool flooded = false;
        site.onProbe = [&](const QNetworkDatagram &probe) {
            if (std::exchange(flooded, true))
                return;
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
        QCOMPARE(result.found, QStringList{u"10.77.0.21 after-the-flood"_s});
        QCOMPARE(result.replies, QList<int>{1});
    }
};

QTEST_GUILESS_MAIN(TestDiscovery)
#include "tst_discovery.moc"
