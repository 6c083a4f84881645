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

void collectTypes(const QJsonValue &v, QSet<QString> &types)
{
    if (v.isArray()) {
        for (const QJsonValue &x : v.toArray())
            collectTypes(x, types);
    } else if (v.isObject()) {
        const QJsonObject o = v.toObject();
        if (o.value(u"type"_s).isString())
            types.insert(o.value(u"type"_s).toString());
        for (const QJsonValue &x : o)
            collectTypes(x, types);
    }
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
        QTest::newRow("loopback") << QStringList{u"--units"_s, u"3"_s, u"--address"_s, u"127.0.0.5"_s} << QString()
                                  << u"127.0.0.7"_s;
        QTest::newRow("zero units") << QStringList{u"--units"_s, u"0"_s} << u"--units"_s << QString();
        QTest::newRow("bad address") << QStringList{u"--address"_s, u"unit.local"_s} << u"IPv4"_s << QString();
        QTest::newRow("unknown option") << QStringList{u"--colour"_s} << u"colour"_s << QString();
        QTest::newRow("fixed passcode on unit 2")
            << QStringList{u"--units"_s, u"2"_s, u"--fixed-passcode"_s, u"2"_s} << QString() << u"10.77.0.22"_s;
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
        QCOMPARE(site.describe().value(2), u"unit  shuttle-03  KU-04203  http://127.0.0.11:8090  shuttle"_s);
    }

    void signIn_data()
    {
        // A sequence of passcodes; the expected status of each attempt.
        QTest::addColumn<QStringList>("attempts");
        QTest::addColumn<QList<int>>("statuses");

        QTest::newRow("right") << QStringList{u"right-pass"_s} << QList<int>{200};
        QTest::newRow("locked even with the right one")
            << QStringList{u"a"_s, u"b"_s, u"c"_s, u"right-pass"_s} << QList<int>{401, 401, 429, 429};
        QTest::newRow("success resets the count")
            << QStringList{u"a"_s, u"b"_s, u"right-pass"_s, u"c"_s, u"d"_s} << QList<int>{401, 401, 200, 401, 401};
    }

    void signIn()
    {
        QFETCH(QStringList, attempts);
        QFETCH(QList<int>, statuses);
        sim::Unit unit(config());
        for (int i = 0; i < attempts.size(); ++i) {
            const sim::Response r = unit.handle(request(u"POST"_s, u"/api/login"_s, {{u"password"_s, attempts[i]}}));
            QCOMPARE(r.status, statuses[i]);
            const QJsonObject body = bodyOf(r);
            if (r.status == 200)
                QVERIFY(body.value(u"token"_s).toString().size() >= 20);
            if (r.status == 401)
                QVERIFY(!body.value(u"error"_s).toString().isEmpty());
            if (r.status == 429) {
                const int retry = body.value(u"retry_after"_s).toInt();
                QVERIFY2(retry > 0 && retry <= 45, qPrintable(QString::number(retry)));
            }
        }
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
        QTest::newRow("state") << u"GET"_s << u"/api/state"_s << true << 200 << u"stages"_s;
        QTest::newRow("faults") << u"GET"_s << u"/api/faults?q=231"_s << true << 200 << u"results"_s;
        QTest::newRow("templates") << u"POST"_s << u"/api/iotemplates"_s << true << 200 << u"templates"_s;
        QTest::newRow("unknown api path") << u"GET"_s << u"/api/nothing"_s << true << 404 << u"error"_s;
        QTest::newRow("unknown action") << u"POST"_s << u"/api/action/dance"_s << true << 404 << u"error"_s;
        QTest::newRow("login by GET") << u"GET"_s << u"/api/login"_s << false << 405 << u"error"_s;
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
        QVERIFY(flow.running());
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

        QCOMPARE(flow.start().status, 200);
        runToEnd(flow);
        QCOMPARE(flow.current().id, u"handover"_s);
        QCOMPARE(flow.completedCount(), 4);
        QCOMPARE(flow.finish().status, 200);
        QVERIFY(flow.commissioned());
        QCOMPARE(flow.completedCount(), 5);

        QCOMPARE(flow.reset().status, 200);
        QVERIFY(!flow.commissioned());
        QCOMPARE(flow.completedCount(), 0);
        QCOMPARE(flow.current().id, u"identity"_s);
    }

    // While a step runs only the sources move; the screen itself changes when the step starts,
    // faults or ends, so a client patches its panels instead of rebuilding on every tick.
    void tickMovesOnlyTheSources_data()
    {
        QTest::addColumn<QString>("step");
        QTest::newRow("drive") << u"drive"_s;
        QTest::newRow("load") << u"load"_s;
    }
    void tickMovesOnlyTheSources()
    {
        QFETCH(QString, step);
        sim::Flow flow(10, false);
        QVERIFY(flow.startAt(step));
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
        QTest::newRow("identity does not run") << u"identity"_s << u"/api/action/start"_s << QJsonObject{} << 409;
        QTest::newRow("finish too early") << u"drive"_s << u"/api/action/finish"_s << QJsonObject{} << 409;
        QTest::newRow("no fault to clear") << u"io"_s << u"/api/action/clear_fault"_s << QJsonObject{} << 409;
        QTest::newRow("jog too far") << u"load"_s << u"/api/action/jog"_s << QJsonObject{{u"mm"_s, 9000}} << 422;
        QTest::newRow("view unknown stage") << u"load"_s << u"/api/view"_s << QJsonObject{{u"stage"_s, u"x"_s}} << 422;
        QTest::newRow("finish") << u"handover"_s << u"/api/action/finish"_s << QJsonObject{} << 200;
        QTest::newRow("start when commissioned") << u"commissioned"_s << u"/api/action/start"_s << QJsonObject{} << 409;
        QTest::newRow("password too short")
            << u"drive"_s << u"/api/password"_s << QJsonObject{{u"current"_s, u"right-pass"_s}, {u"new"_s, u"short"_s}}
            << 422;
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
        if (path == u"/api/password"_s) {
            QCOMPARE(answer.value(u"ok"_s).toBool(), status == 200);
        } else if (status == 409 || status == 422) {
            // A refusal carries its reason both as the error and as an error-toned toast.
            QVERIFY(answer.value(u"refused"_s).toBool());
            QVERIFY(!answer.value(u"error"_s).toString().isEmpty());
            QCOMPARE(answer.value(u"toast"_s).toObject().value(u"tone"_s).toString(), u"error"_s);
        } else {
            QVERIFY(!answer.value(u"toast"_s).toObject().value(u"text"_s).toString().isEmpty());
        }
    }

    void discoveryAnswerFollowsTheFlow()
    {
        sim::Unit unit(config());
        QJsonObject a = unit.discoveryAnswer();
        QCOMPARE(a.value(u"app"_s).toString() + u' ' + a.value(u"hostname"_s).toString(),
                 u"shuttle-commissioning shuttle-01"_s);

        unit.flow().startAt(u"io"_s);
        unit.flow().start();
        a = unit.discoveryAnswer();
        QCOMPARE(a.value(u"status_tone"_s).toString(), u"busy"_s);
        QVERIFY(a.value(u"activity_detail"_s).toString().startsWith(u"IO check"_s));
        runToEnd(unit.flow());
        a = unit.discoveryAnswer();
        QCOMPARE(a.value(u"status"_s).toString(), u"FAULT F-231"_s);
        QCOMPARE(a.value(u"status_tone"_s).toString(), u"error"_s);

        unit.flow().startAt(u"handover"_s);
        unit.flow().finish();
        a = unit.discoveryAnswer();
        QVERIFY(a.value(u"commissioned"_s).toBool());
    }

    void screensUseEveryElementType()
    {
        // Walk the whole sequence, as a technician would, and gather every element type served.
        sim::Flow flow(10, false);
        const sim::UnitInfo info = config().info;
        QSet<QString> types;
        const auto look = [&] { collectTypes(sim::screenFor(flow, info), types); };
        look();
        flow.saveIdentity({{u"unit_name"_s, u"A1"_s}});
        for (int step = 0; step < 3; ++step) {
            look();
            flow.start();
            flow.tick();
            look();
            runToEnd(flow);
            if (!flow.fault().isEmpty()) {
                look();
                flow.clearFault();
                flow.start();
                runToEnd(flow);
            }
        }
        look();
        flow.finish();
        look();

        const QStringList expected{
            u"heading"_s, u"text"_s,      u"fact"_s,      u"chips"_s,    u"strip"_s,    u"shape"_s,    u"rows"_s,
            u"cards"_s,   u"canvas"_s,    u"divider"_s,   u"spacer"_s,   u"group"_s,    u"column"_s,   u"row"_s,
            u"action"_s,  u"field"_s,     u"panel"_s,     u"shapes"_s,   u"layout"_s,   u"scroll"_s,   u"tabs"_s,
            u"split"_s,   u"dialog"_s,    u"wizard"_s,    u"tooltip"_s,  u"alert"_s,    u"gauge"_s,    u"dial"_s,
            u"ring"_s,    u"meter"_s,     u"sparkline"_s, u"chart"_s,    u"timeline"_s, u"led"_s,      u"badge"_s,
            u"kpi"_s,     u"stat_grid"_s, u"table"_s,     u"tree"_s,     u"list"_s,     u"keyvalue"_s, u"log"_s,
            u"image"_s,   u"toggle"_s,    u"search"_s,    u"datetime"_s, u"spinner"_s};
        QStringList missing;
        for (const QString &t : expected)
            if (!types.contains(t))
                missing << t;
        // "shapes" is served as a panel kind rather than an element type; count it through the panel.
        missing.removeAll(u"shapes"_s);
        QVERIFY2(missing.isEmpty(), qPrintable(u"never served: "_s + missing.join(u", "_s)));
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
                if (ticks > 0 && flow.start().status == 200) {
                    for (int i = 0; i < ticks && flow.running(); ++i)
                        flow.tick();
                }
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
        // The board's carriage stands where the flow says, and moves with it while the step runs.
        const auto carriageMm = [&flow] {
            return sim::sourcePayload(flow, u"/api/live/board"_s).value(u"track"_s).toObject().value(u"carriage_mm"_s);
        };
        QCOMPARE(carriageMm().toDouble(), flow.positionMm());
        const double before = flow.positionMm();
        flow.tick();
        QVERIFY(flow.positionMm() != before);
        QCOMPARE(carriageMm().toDouble(), flow.positionMm());
        // The offline render takes its header from the screen itself.
        QCOMPARE(bundle.value(u"screen"_s).toObject().value(u"badge"_s).toObject().value(u"label"_s).toString(),
                 u"STEP 2 OF 5"_s);
    }

    void toastIsSaidOnce()
    {
        sim::Unit unit(config());
        const QByteArray token = tokenFor(unit);
        unit.flow().startAt(u"load"_s);
        unit.flow().start();
        for (int i = 0; i < 12; ++i)
            unit.flow().tick();
        const QJsonObject first = bodyOf(unit.handle(request(u"GET"_s, u"/api/ui"_s, {}, token)));
        QCOMPARE(first.value(u"toast"_s).toObject().value(u"text"_s).toString(), u"Load test done"_s);
        const QJsonObject second = bodyOf(unit.handle(request(u"GET"_s, u"/api/ui"_s, {}, token)));
        QVERIFY(!second.contains(u"toast"_s));
        QCOMPARE(second.value(u"schema"_s).toInt(), 1);
    }
};

QTEST_MAIN(TestSimUnit) // widgets: the bundles are drawn by the client
#include "tst_simunit.moc"
