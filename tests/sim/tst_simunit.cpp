// The simulated unit without sockets: its request parser, command line, sign-in rules, routes,
// the commissioning script and the screens it serves.

#include "app/offline.h"
#include "render/screen.h"
#include "sim/flow.h"
#include "sim/options.h"
#include "sim/screens.h"
#include "sim/site.h"
#include "sim/unit.h"
#include "support/testsupport.h"

#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

sim::UnitConfig config()
{
    sim::UnitConfig c;
    c.info = {u"shuttle-01"_s, u"KU-04201"_s, u"shuttle"_s, u"127.0.0.1"_s, 8090, true, u"tech"_s};
    c.passcode = u"right-pass"_s;
    c.lockoutAfter = 3;
    c.lockoutSec = 45;
    return c;
}

sim::Request request(const QString &method, const QString &path, const QJsonObject &body = {},
                     const QByteArray &token = {})
{
    sim::Request r;
    r.method = method;
    const qsizetype q = path.indexOf(u'?');
    r.path = q < 0 ? path : path.left(q);
    if (q >= 0)
        r.query = QUrlQuery(path.mid(q + 1));
    if (!body.isEmpty())
        r.body = QJsonDocument(body).toJson(QJsonDocument::Compact);
    if (!token.isEmpty())
        r.headers.insert("authorization", "Bearer " + token);
    return r;
}

QJsonObject bodyOf(const sim::Response &r)
{
    return QJsonDocument::fromJson(r.body).object();
}

QByteArray tokenFor(sim::Unit &unit)
{
    const sim::Response r = unit.handle(request(u"POST"_s, u"/api/login"_s, {{u"password"_s, u"right-pass"_s}}));
    return bodyOf(r).value(u"token"_s).toString().toLatin1();
}

void runToEnd(sim::Flow &flow)
{
    for (int i = 0; i < 100 && flow.running(); ++i)
        flow.tick();
}

} // namespace

class TestSimUnit : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void options_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("error"); // a piece of the error, empty for none
        QTest::addColumn<QString>("lastAddress");

        QTest::newRow("defaults") << QStringList{} << QString() << u"10.77.0.21"_s;
        QTest::newRow("bad address") << QStringList{u"--address"_s, u"unit.local"_s} << u"IPv4"_s << QString();
    }

    void options()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, error);
        QFETCH(QString, lastAddress);
        const sim::ParsedOptions p = sim::parseOptions(QStringList{u"kestro-unit-sim"_s} + args);
        if (error.isEmpty()) {
            QVERIFY2(p.error.isEmpty(), qPrintable(p.error));
            QCOMPARE(p.options.unitAddress(p.options.units - 1).toString(), lastAddress);
        } else {
            QVERIFY2(p.error.contains(error), qPrintable(p.error));
        }
    }

    void siteDealsOutUnits()
    {
        const sim::ParsedOptions p =
            sim::parseOptions({u"kestro-unit-sim"_s, u"--units"_s, u"3"_s, u"--product"_s, u"shuttle, lift"_s,
                               u"--start-at"_s, u"io,commissioned"_s, u"--address"_s, u"127.0.0.9"_s, u"--http"_s});
        QVERIFY2(p.error.isEmpty(), qPrintable(p.error));
        sim::Site site(p.options);
        site.build();
        QCOMPARE(site.units().size(), 3);
        QStringList steps;
        for (sim::Unit *u : site.units())
            steps << (u->flow().commissioned() ? u"commissioned"_s : u->flow().current().id);
        QCOMPARE(steps, QStringList({u"io"_s, u"commissioned"_s, u"io"_s}));
        // Products in turn, names and addresses counted on.
        QCOMPARE(site.describe().value(1), u"unit  lift-02  KU-04202  http://127.0.0.10:8090  lift"_s);
    }

    void signInLocksOut()
    {
        sim::Unit unit(config());
        QVERIFY(tokenFor(unit).size() >= 20); // and a success starts the count again
        QList<int> statuses;
        QJsonObject last;
        for (const QString &passcode : {u"a"_s, u"b"_s, u"c"_s, u"right-pass"_s}) {
            const sim::Response r = unit.handle(request(u"POST"_s, u"/api/login"_s, {{u"password"_s, passcode}}));
            statuses << r.status;
            last = bodyOf(r);
        }
        QCOMPARE(statuses, (QList<int>{401, 401, 429, 429}));
        const int retry = last.value(u"retry_after"_s).toInt();
        QVERIFY2(retry > 0 && retry <= 45, qPrintable(QString::number(retry)));
    }

    void routes_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("key"); // a key the JSON answer must hold

        QTest::newRow("ui") << u"GET"_s << u"/api/ui"_s << true << 200 << u"screen"_s;
        QTest::newRow("ui unsigned") << u"GET"_s << u"/api/ui"_s << false << 401 << u"error"_s;
        QTest::newRow("unknown api path") << u"GET"_s << u"/api/nothing"_s << true << 404 << u"error"_s;
    }

    void routes()
    {
        QFETCH(QString, method);
        QFETCH(QString, path);
        QFETCH(bool, signedIn);
        QFETCH(int, status);
        QFETCH(QString, key);
        sim::Unit unit(config());
        const QByteArray token = signedIn ? tokenFor(unit) : QByteArray();
        const sim::Response r = unit.handle(request(method, path, {}, token));
        QCOMPARE(r.status, status);
        QVERIFY2(bodyOf(r).contains(key), r.body.constData());
    }

    void scriptedFlow()
    {
        sim::Flow flow(10, false);
        QCOMPARE(flow.current().id, u"identity"_s);
        QCOMPARE(flow.saveIdentity({{u"unit_name"_s, u"  Aisle A 1 "_s}}).status, 200);
        QCOMPARE(flow.identity().value(u"unit_name"_s).toString(), u"Aisle A 1"_s);
        QCOMPARE(flow.current().id, u"drive"_s);

        QCOMPARE(flow.start().status, 200);
        flow.tick();
        QVERIFY(flow.positionMm() > 0);
        runToEnd(flow);
        QCOMPARE(flow.current().id, u"io"_s);
        QCOMPARE(flow.positionMm(), 0.0); // the calibration sweep ends where it began

        // The IO check stops with a fault on its ninth tick.
        QCOMPARE(flow.start().status, 200);
        runToEnd(flow);
        QCOMPARE(flow.progress(), 9);
        QVERIFY(flow.fault().startsWith(u"F-231"_s));
        QCOMPARE(flow.start().status, 409);
        QCOMPARE(flow.clearFault().status, 200);
        QCOMPARE(flow.start().status, 200);
        runToEnd(flow);
        QCOMPARE(flow.current().id, u"load"_s);
        QVERIFY(flow.fault().isEmpty());

        QVERIFY(flow.startAt(u"handover"_s));
        QCOMPARE(flow.finish().status, 200);
        QVERIFY(flow.commissioned());

        QCOMPARE(flow.reset().status, 200);
        QVERIFY(!flow.commissioned());
        QCOMPARE(flow.completedCount(), 0);
        QCOMPARE(flow.current().id, u"identity"_s);
    }

    // While a step runs only the sources move; the screen itself changes when the step starts,
    // faults or ends, so a client patches its panels instead of rebuilding on every tick.
    void tickMovesOnlyTheSources()
    {
        sim::Flow flow(10, false);
        QVERIFY(flow.startAt(u"drive"_s));
        const sim::UnitInfo info = config().info;
        QCOMPARE(flow.start().status, 200);
        const QJsonObject started = sim::screenFor(flow, info);
        const QJsonObject progress = sim::sourcePayload(flow, u"/api/live/progress"_s);
        for (int i = 0; i < 3; ++i)
            flow.tick();
        QCOMPARE(sim::screenFor(flow, info), started);
        QVERIFY(sim::sourcePayload(flow, u"/api/live/progress"_s) != progress);
        runToEnd(flow); // a fault or the end of the step shows on the screen
        QVERIFY(sim::screenFor(flow, info) != started);
    }

    void refusedPresses_data()
    {
        QTest::addColumn<QString>("startAt");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QJsonObject>("body");
        QTest::addColumn<int>("status");

        QTest::newRow("save without a name")
            << u"identity"_s << u"/api/save/identity"_s << QJsonObject{{u"unit_name"_s, u"  "_s}} << 422;
        QTest::newRow("finish too early") << u"drive"_s << u"/api/action/finish"_s << QJsonObject{} << 409;
        QTest::newRow("jog too far") << u"load"_s << u"/api/action/jog"_s << QJsonObject{{u"mm"_s, 9000}} << 422;
        QTest::newRow("start when commissioned") << u"commissioned"_s << u"/api/action/start"_s << QJsonObject{} << 409;
    }

    void refusedPresses()
    {
        QFETCH(QString, startAt);
        QFETCH(QString, path);
        QFETCH(QJsonObject, body);
        QFETCH(int, status);
        sim::Unit unit(config());
        QVERIFY(unit.flow().startAt(startAt));
        const sim::Response r = unit.handle(request(u"POST"_s, path, body, tokenFor(unit)));
        QCOMPARE(r.status, status);
        const QJsonObject answer = bodyOf(r);
        // A refusal carries its reason both as the error and as an error-toned toast.
        QVERIFY(answer.value(u"refused"_s).toBool());
        QVERIFY(!answer.value(u"error"_s).toString().isEmpty());
        QCOMPARE(answer.value(u"toast"_s).toObject().value(u"tone"_s).toString(), u"error"_s);
    }

    // Every bundle the simulator dumps, at every step, draws in this client: only the panels (drawn by
    // the board layer) may still show the needs-update placeholder.
    void bundlesDrawWithoutPlaceholders()
    {
        const QStringList starts{u"identity"_s, u"drive"_s, u"io"_s, u"load"_s, u"handover"_s, u"commissioned"_s};
        for (const QString &at : starts) {
            for (int ticks : {0, 9}) {
                sim::Flow flow(10, false);
                QVERIFY(flow.startAt(at));
                if (ticks > 0 && flow.start().status == 200)
                    for (int i = 0; i < ticks && flow.running(); ++i)
                        flow.tick();
                const QJsonObject bundle = sim::renderBundle(flow, config().info);
                const std::unique_ptr<QWidget> root(render::screen(
                    bundle.value(u"screen"_s).toObject(), app::bundleActions(bundle.value(u"endpoints"_s).toObject())));
                for (const QFrame *frame : root->findChildren<QFrame *>(u"needsUpdate"_s)) {
                    QStringList texts;
                    for (const QLabel *l : frame->findChildren<QLabel *>())
                        texts << l->text();
                    QVERIFY2(texts.join(u' ').contains(u"element 'panel'"_s),
                             qPrintable(u"%1 after %2 ticks: %3"_s.arg(at).arg(ticks).arg(texts.join(u' '))));
                }
            }
        }
    }

    void bundleCarriesEveryNamedSource()
    {
        sim::Flow flow(10, false);
        flow.startAt(u"drive"_s);
        flow.start();
        flow.tick();
        const QJsonObject bundle = sim::renderBundle(flow, config().info);
        const QJsonObject endpoints = bundle.value(u"endpoints"_s).toObject();
        const QStringList served = endpoints.keys();
        QCOMPARE(QSet<QString>(served.begin(), served.end()),
                 QSet<QString>({u"/api/live/progress"_s, u"/api/live/log"_s, u"/api/live/position"_s,
                                u"/api/live/drawing"_s, u"/api/live/board"_s}));
        // The board's carriage stands where the flow says.
        QCOMPARE(sim::sourcePayload(flow, u"/api/live/board"_s).value(u"track"_s).toObject().value(u"carriage_mm"_s),
                 flow.positionMm());
    }
};

QTEST_MAIN(TestSimUnit) // widgets: the bundles are drawn by the client
#include "tst_simunit.moc"
