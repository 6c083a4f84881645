// The template sync at sign-in against kestro-unit-sim inside a private site network: two units
// with different template sets end up sharing them through this laptop; a unit without templates
// and one that cannot be reached are skipped with a log line and leave the library as it was.

#include "iotemplates/library.h"
#include "iotemplates/sync.h"
#include "iotemplatestest.h"
#include "support/simprocess.h"
#include "support/testsupport.h"
#include "units/api.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace iotemplatestest;

namespace {

const QString kPasscode = u"site-pass-19"_s;
const QString kUnit1 = u"10.77.0.21"_s;
const QString kUnit2 = u"10.77.0.22"_s;
const QString kOldUnit = u"10.77.0.23"_s; // answers 404 to /api/iotemplates

// Starts something that ends in a callback and runs the event loop until it has (or 30 s).
template<typename T> T runUntil(const std::function<void(std::function<void(const T &)>)> &start)
{
    std::optional<T> result;
    start([&](const T &value) { result = value; });
    if (!QTest::qWaitFor([&] { return result.has_value(); }, 30000))
        qWarning("no answer in 30 s");
    return result.value_or(T{});
}

units::Api::Reply signIn(units::Api &api, const QString &ip, int port = 8090)
{
    api.setUnit(ip, port, true);
    return runUntil<units::Api::Reply>([&](auto done) { api.login(kPasscode, done); });
}

iotemplates::SyncOutcome sync(units::Api &api)
{
    return runUntil<iotemplates::SyncOutcome>([&](auto done) { iotemplates::syncWithUnit(api, done); });
}

QStringList ids(const QJsonArray &templates)
{
    QStringList out;
    for (const QJsonValue &v : templates)
        out << v.toObject().value("id"_L1).toString();
    out.sort();
    return out;
}

// The log line as a pattern: the elapsed milliseconds are whatever they were.
void compareLine(const QString &line, const QString &expected)
{
    const QRegularExpression pattern(u"^"_s + QRegularExpression::escape(expected).replace(u"MS"_s, u"\\d+"_s) +
                                     u"$"_s);
    QVERIFY2(pattern.match(line).hasMatch(), qPrintable(u"%1\n   expected %2"_s.arg(line, expected)));
}

} // namespace

class TestSync : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certs;
    testsupport::SimProcess m_site{QStringLiteral(KESTRO_UNIT_SIM)};
    testsupport::SimProcess m_oldUnit{QStringLiteral(KESTRO_UNIT_SIM)};

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
            QSKIP("needs the private site network (run through tests/netns-run)");
        testsupport::isolateConfig();
        QVERIFY2(m_site.start({u"--units"_s, u"2"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s, m_certs.path()}),
                 m_site.output().constData());
        QVERIFY2(m_oldUnit.start({u"--address"_s, kOldUnit, u"--passcode"_s, kPasscode, u"--no-iotemplates"_s,
                                  u"--no-discovery"_s, u"--cert-dir"_s, m_certs.filePath(u"old"_s)}),
                 m_oldUnit.output().constData());
    }

    void sharesThroughTheLaptop()
    {
        QFile::remove(units::connectLogPath());
        units::Api api;
        // Unit 1: the laptop has nothing yet and collects unit 1's two templates.
        QCOMPARE(signIn(api, kUnit1).status, 200);
        iotemplates::SyncOutcome first = sync(api);
        QVERIFY(first.merged && first.saved);
        compareLine(first.logLine, u"iotemplates  10.77.0.21:8090  sent 0, unit added 0 updated 0; back: added 2 "
                                   u"updated 0 kept 0 builtin 2 rejected 0  MS ms"_s);
        // Unit 2: it gets unit 1's, and the laptop collects unit 2's.
        QCOMPARE(signIn(api, kUnit2).status, 200);
        const iotemplates::SyncOutcome second = sync(api);
        compareLine(second.logLine, u"iotemplates  10.77.0.22:8090  sent 2, unit added 2 updated 0; back: added 2 "
                                    u"updated 0 kept 2 builtin 2 rejected 0  MS ms"_s);
        const QStringList all{u"aisle-relay-4"_s, u"beacon-relay-2"_s, u"conveyor-io-16"_s, u"lift-door-io"_s};
        QCOMPARE(ids(iotemplates::loadLibrary(iotemplates::libraryPath())), all);
        const QStringList onAUnit{u"aisle-relay-4"_s, u"beacon-relay-2"_s, u"conveyor-io-16"_s,
                                  u"kestro-aio4"_s,   u"kestro-dio8"_s,    u"lift-door-io"_s};
        QCOMPARE(ids(units::waitFor(api, u"/api/iotemplates"_s, 8000).json.value("templates"_L1).toArray()), onAUnit);
        QCOMPARE(logged(), QStringList({first.logLine, second.logLine}));
    }

    void skipped_data()
    {
        QTest::addColumn<QString>("ip");
        QTest::addColumn<int>("port");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("reason");
        QTest::newRow("unit without templates") << kOldUnit << 8090 << 404 << u"404 - unit does not serve templates"_s;
        QTest::newRow("nothing listening") << kUnit1 << 8099 << 0 << u"Connection refused"_s;
    }

    void skipped()
    {
        QFETCH(QString, ip);
        QFETCH(int, port);
        QFETCH(int, status);
        QFETCH(QString, reason);
        const QJsonObject one = testsupport::json(R"({"schema":"kestro.io-template/1","id":"mine","name":"Mine",
        "inputs":1,"outputs":1,"connection":{"type":"picontrol"},"updated":"2026-01-01T00:00:00Z"})");
        QVERIFY(iotemplates::saveLibrary({one}, iotemplates::libraryPath()));
        const QByteArray before = testsupport::readFile(iotemplates::libraryPath());
        QFile::remove(units::connectLogPath());

        units::Api api;
        if (status != 0) // signed in, and then refused
            QCOMPARE(signIn(api, ip, port).status, 200);
        else
            api.setUnit(ip, port, true);
        const iotemplates::SyncOutcome out = sync(api);
        QCOMPARE(out.status, status);
        QVERIFY(!out.merged);
        compareLine(out.logLine, u"iotemplates  %1:%2  sent 1  skipped (%3)  MS ms"_s.arg(ip).arg(port).arg(reason));
        QCOMPARE(logged(), QStringList{out.logLine});
        QCOMPARE(testsupport::readFile(iotemplates::libraryPath()), before);
    }
};

QTEST_MAIN(TestSync)
#include "tst_sync.moc"
