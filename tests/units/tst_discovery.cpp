// Discovery with real UDP broadcasts on the private site network that tests/netns-run makes
// (10.77.0.1 for this client, units at .21 and .22), fake units in this process answering from the
// units' addresses. Outside that namespace the test refuses to run.

#include "support/testsupport.h"
#include "units/discovery.h"

#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QRandomGenerator>
#include <QTest>
#include <QUdpSocket>

using namespace Qt::StringLiterals;

namespace {

using Answers = QList<std::pair<QString, QByteArray>>; // sender address, datagram

// Units on the site subnet: each probe on port 8091 is answered with every answer.
class FakeUnits final : public QObject
{
public:
    explicit FakeUnits(Answers answers = {})
        : m_answers(std::move(answers))
    {
        m_listen.bind(QHostAddress::AnyIPv4, units::kDiscoveryPort, QUdpSocket::ShareAddress);
        connect(&m_listen, &QUdpSocket::readyRead, this, [this] {
            while (m_listen.hasPendingDatagrams()) {
                const QNetworkDatagram probe = m_listen.receiveDatagram();
                probes << probe;
                for (const auto &[from, payload] : std::as_const(m_answers)) {
                    QUdpSocket *&socket = m_senders[from];
                    if (!socket) {
                        socket = new QUdpSocket(this);
                        socket->bind(QHostAddress(from), 0);
                    }
                    socket->writeDatagram(payload, probe.senderAddress(), quint16(probe.senderPort()));
                }
            }
        });
    }

    QList<QNetworkDatagram> probes;

private:
    QUdpSocket m_listen;
    QHash<QString, QUdpSocket *> m_senders;
    Answers m_answers;
};

// "sender hostname" per unit found by one sweep, and the counts "replied" gave on the way.
std::pair<QStringList, QList<int>> runSweep(bool longSweep)
{
    units::Discovery discovery;
    QStringList found;
    QList<int> replies;
    int sweeps = 0;
    QObject::connect(&discovery, &units::Discovery::replied, &discovery, [&](int n) { replies << n; });
    QObject::connect(&discovery, &units::Discovery::swept, &discovery, [&](const units::Discovery::Found &all) {
        for (const auto &[sender, answer] : all)
            found << sender + u' ' + answer.value("hostname"_L1).toString();
        ++sweeps;
    });
    discovery.sweep(longSweep);
    if (!QTest::qWaitFor([&] { return sweeps > 0; }, 30000))
        qWarning("the sweep never ended");
    QTest::qWait(50); // a second result would show up here
    return {sweeps == 1 ? found : QStringList{u"%1 sweeps"_s.arg(sweeps)}, replies};
}

QByteArray answer(const QByteArray &hostname, const char *more = "")
{
    return "{\"app\":\"shuttle-commissioning\",\"hostname\":\"" + hostname + '"' + QByteArray(more) + '}';
}

} // namespace

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
        for (const QNetworkInterface &iface : QNetworkInterface::allInterfaces()) {
            const bool site = iface.name() == u"site0"_s || iface.name() == u"site1"_s;
            if (iface.flags().testFlag(QNetworkInterface::IsUp) &&
                !iface.flags().testFlag(QNetworkInterface::IsLoopBack) && !site)
                QSKIP(qPrintable(
                    u"refusing to send discovery probes: %1 is not on the site network"_s.arg(iface.name())));
        }
        testsupport::isolateConfig();
    }

    void answers_data()
    {
        QTest::addColumn<Answers>("answers"); // each sent for every probe
        QTest::addColumn<QStringList>("found");
        const QString a = u"10.77.0.21"_s, b = u"10.77.0.22"_s;
        QTest::newRow("by unit_id, the first answer wins") << Answers{{a, answer("north-7", R"(,"unit_id":"U7")")},
                                                                      {b, answer("south-2", R"(,"unit_id":"U2")")},
                                                                      {b, answer("second", R"(,"unit_id":"U7")")}}
                                                           << QStringList{a + u" north-7"_s, b + u" south-2"_s};
        // Random bytes and near-answers (each probe brings a batch, small enough for the kernel to keep).
        const QByteArrayList nearMisses{answer(""),
                                        answer("a/b"),
                                        R"({"app":"Shuttle-Commissioning","hostname":"x"})",
                                        R"({"app":"shuttle-commissioning","hostname":7})",
                                        "null",
                                        ""};
        QRandomGenerator random(20261121);
        Answers junk;
        for (int i = 0; i < 60; ++i) {
            QByteArray d = nearMisses.at(i % nearMisses.size());
            if (i % 2 == 0) {
                d.resize(random.bounded(0, 300));
                for (char &c : d)
                    c = char(random.bounded(256));
            }
            junk.append({b, d});
        }
        QTest::newRow("junk, then one answer")
            << (junk << Answers{{a, answer("Az09._-h")}}) << QStringList{a + u" Az09._-h"_s};
    }
    void answers()
    {
        QFETCH(Answers, answers);
        QFETCH(QStringList, found);
        FakeUnits site(answers);
        const auto [seen, replies] = runSweep(false);
        QCOMPARE(seen, found);
        QCOMPARE(replies.size(), found.size()); // one "replied" per unit found, with the count so far
        QCOMPARE(replies.last(), found.size());
        // Two passes over the subnet's and the general broadcast address, from the site address.
        QVERIFY2(site.probes.size() >= 4, "two passes over two targets");
        QSet<QString> targets;
        for (const QNetworkDatagram &probe : std::as_const(site.probes)) {
            QCOMPARE(probe.data(), QByteArray("KESTRO_SHUTTLE_DISCOVER_V1"));
            QCOMPARE(probe.senderAddress(), QHostAddress(u"10.77.0.1"_s));
            targets << probe.destinationAddress().toString();
        }
        QCOMPARE(targets, (QSet<QString>{u"10.77.0.255"_s, u"255.255.255.255"_s}));
    }
};

QTEST_GUILESS_MAIN(TestDiscovery)
#include "tst_discovery.moc"
