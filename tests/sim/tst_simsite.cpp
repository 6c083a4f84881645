// The simulator as a client meets it: kestro-unit-sim runs as its own process inside a private
// site network, and real sockets talk to it (a UDP probe, HTTPS through QNetworkAccessManager
// trusting exactly the certificate that the unit generated).

#include "support/simprocess.h"
#include "support/testsupport.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkDatagram>
#include <QNetworkReply>
#include <QProcess>
#include <QSignalSpy>
#include <QSslCertificate>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUdpSocket>

using namespace Qt::StringLiterals;

namespace {

const QString kUnit1 = u"10.77.0.21"_s;
const QString kUnit2 = u"10.77.0.22"_s;
const QString kPasscode = u"site-pass-1"_s;

struct Reply
{
    int status = 0;
    QJsonObject json;
    QByteArray body;
    QString error;
    QSslCertificate peer;
};

// A simulator process that is stopped when the test lets go of it.
class Sim : public testsupport::SimProcess
{
public:
    Sim()
        : SimProcess(QStringLiteral(KESTRO_UNIT_SIM))
    {}
};

QSslCertificate certificateIn(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return QSslCertificate();
    const QList<QSslCertificate> list = QSslCertificate::fromData(f.readAll(), QSsl::Pem);
    return list.value(0);
}

} // namespace

class TestSimSite : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();

    void discovery_data();
    void discovery();
    void signInAndScreen();
    void eachUnitHasItsOwnCertificate();
    void routes_data();
    void routes();
    void stepRunsWhilePolled();
    void lockOut();
    void tokenExpires();
    void otherCertificate();
    void addressInUse();
    void badOptionsExit();
    void stopsCleanlyOnSignal();

private:
    Reply call(const QString &method, const QString &url, const QJsonObject &body = {}, const QString &token = {},
               const QSslCertificate &trust = QSslCertificate());
    QString signIn(const QString &address, const QString &passcode = kPasscode);
    QSslCertificate unitCert(int n) const { return certificateIn(m_certs.filePath(u"KU-0420%1.crt"_s.arg(n))); }
    QString url(const QString &address, const QString &path) const { return u"https://%1:8090%2"_s.arg(address, path); }

    QTemporaryDir m_certs;
    Sim m_sim;
    QNetworkAccessManager m_net;
};

void TestSimSite::initTestCase()
{
    if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
        QSKIP("needs the private site network (run through tests/netns-run)");
    testsupport::isolateConfig();
    QVERIFY(m_certs.isValid());
    QVERIFY2(m_sim.start({u"--units"_s, u"2"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s, m_certs.path(),
                          u"--pace"_s, u"30"_s, u"--lockout-after"_s, u"3"_s, u"--lockout-seconds"_s, u"30"_s}),
             m_sim.output().constData());
    QVERIFY(m_sim.output().contains("https://10.77.0.22:8090"));
}

void TestSimSite::cleanupTestCase()
{
    m_sim.stop();
}

Reply TestSimSite::call(const QString &method, const QString &address, const QJsonObject &body, const QString &token,
                        const QSslCertificate &trust)
{
    // A fresh connection every time: a cached one would skip the certificate check under test,
    // or point at a simulator that has been restarted since.
    m_net.clearConnectionCache();
    QNetworkRequest req{QUrl(address)};
    req.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    if (!token.isEmpty())
        req.setRawHeader("Authorization", "Bearer " + token.toLatin1());
    if (address.startsWith(u"https"_s)) {
        // Trust exactly the certificate the unit wrote, nothing else; the address is in it.
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        const QSslCertificate cert = trust.isNull() ? unitCert(address.contains(kUnit2) ? 2 : 1) : trust;
        tls.setCaCertificates({cert});
        req.setSslConfiguration(tls);
    }
    QNetworkReply *reply =
        method == u"GET"_s ? m_net.get(req) : m_net.post(req, QJsonDocument(body).toJson(QJsonDocument::Compact));
    QEventLoop loop;
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(15000, reply, &QNetworkReply::abort);
    if (!reply->isFinished())
        loop.exec();
    Reply r;
    r.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    r.body = reply->readAll();
    r.json = QJsonDocument::fromJson(r.body).object();
    r.error = reply->error() == QNetworkReply::NoError ? QString() : reply->errorString();
    r.peer = reply->sslConfiguration().peerCertificate();
    reply->deleteLater();
    return r;
}

QString TestSimSite::signIn(const QString &address, const QString &passcode)
{
    const Reply r = call(u"POST"_s, url(address, u"/api/login"_s), {{u"password"_s, passcode}});
    return r.json.value(u"token"_s).toString();
}

void TestSimSite::discovery_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("senders");

    QTest::newRow("subnet broadcast") << u"10.77.0.255"_s << QStringList{kUnit1, kUnit2};
    QTest::newRow("limited broadcast") << u"255.255.255.255"_s << QStringList{kUnit1, kUnit2};
    QTest::newRow("straight to one unit") << kUnit2 << QStringList{kUnit2};
}

void TestSimSite::discovery()
{
    QFETCH(QString, target);
    QFETCH(QStringList, senders);
    QUdpSocket socket;
    QVERIFY(socket.bind(QHostAddress::AnyIPv4, 0, QUdpSocket::ShareAddress));
    QMap<QString, QJsonObject> answers;
    connect(&socket, &QUdpSocket::readyRead, this, [&] {
        while (socket.hasPendingDatagrams()) {
            const QNetworkDatagram d = socket.receiveDatagram();
            answers.insert(QHostAddress(d.senderAddress().toIPv4Address()).toString(),
                           QJsonDocument::fromJson(d.data()).object());
        }
    });
    QVERIFY(socket.writeDatagram("KESTRO_SHUTTLE_DISCOVER_V1", QHostAddress(target), 8091) > 0);
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), senders.size(), 5000);
    for (const QString &sender : senders) {
        QVERIFY2(answers.contains(sender), qPrintable(answers.keys().join(u", "_s)));
        const QJsonObject a = answers.value(sender);
        QCOMPARE(a.value(u"app"_s).toString(), u"shuttle-commissioning"_s);
        QCOMPARE(a.value(u"port"_s).toInt(), 8090);
        QCOMPARE(a.value(u"tls"_s).toBool(), true);
        QCOMPARE(a.value(u"total_count"_s).toInt(), 5);
        QCOMPARE(a.value(u"hostname"_s).toString(), sender == kUnit1 ? u"shuttle-01"_s : u"shuttle-02"_s);
        QVERIFY(a.value(u"unit_id"_s).toString().startsWith(u"KU-"_s));
        for (const QString &key :
             {u"status"_s, u"status_tone"_s, u"activity"_s, u"activity_detail"_s, u"activity_current"_s,
              u"activity_total"_s, u"current_step"_s, u"commissioned"_s, u"completed_count"_s, u"product"_s})
            QVERIFY2(a.contains(key), qPrintable(key));
    }
}

void TestSimSite::signInAndScreen()
{
    const Reply refused = call(u"POST"_s, url(kUnit1, u"/api/login"_s), {{u"password"_s, u"not-it"_s}});
    QCOMPARE(refused.status, 401);
    QVERIFY(!refused.json.value(u"error"_s).toString().isEmpty());

    const Reply login = call(u"POST"_s, url(kUnit1, u"/api/login"_s), {{u"password"_s, kPasscode}});
    QCOMPARE(login.status, 200);
    QVERIFY2(login.error.isEmpty(), qPrintable(login.error));
    QCOMPARE(login.peer, unitCert(1));
    const QString token = login.json.value(u"token"_s).toString();
    QVERIFY(!token.isEmpty());

    const Reply anonymous = call(u"GET"_s, url(kUnit1, u"/api/ui"_s));
    QCOMPARE(anonymous.status, 401);
    QCOMPARE(call(u"GET"_s, url(kUnit1, u"/api/ui"_s), {}, u"made-up"_s).status, 401);
    // A token belongs to the unit that gave it.
    QCOMPARE(call(u"GET"_s, url(kUnit2, u"/api/ui"_s), {}, token).status, 401);

    const Reply ui = call(u"GET"_s, url(kUnit1, u"/api/ui"_s), {}, token);
    QCOMPARE(ui.status, 200);
    QCOMPARE(ui.json.value(u"schema"_s).toInt(), 1);
    QVERIFY(ui.json.value(u"poll_ms"_s).toInt() >= 250);
    for (const QString &key : {u"title"_s, u"subtitle"_s, u"signed_in_as"_s, u"badge"_s})
        QVERIFY2(ui.json.contains(key), qPrintable(key));
    const QJsonObject screen = ui.json.value(u"screen"_s).toObject();
    QCOMPARE(screen.value(u"steps"_s).toArray().size(), 5);
    QVERIFY(!screen.value(u"sections"_s).toArray().isEmpty());
}

void TestSimSite::eachUnitHasItsOwnCertificate()
{
    const Reply one = call(u"POST"_s, url(kUnit1, u"/api/login"_s), {{u"password"_s, kPasscode}});
    const Reply two = call(u"POST"_s, url(kUnit2, u"/api/login"_s), {{u"password"_s, kPasscode}});
    QVERIFY(!one.peer.isNull());
    QVERIFY(!two.peer.isNull());
    QVERIFY(one.peer != two.peer);
    // Trusting unit 1's certificate does not get a client into unit 2.
    const Reply wrongTrust =
        call(u"POST"_s, url(kUnit2, u"/api/login"_s), {{u"password"_s, kPasscode}}, {}, unitCert(1));
    QCOMPARE(wrongTrust.status, 0);
    QVERIFY(!wrongTrust.error.isEmpty());
}

void TestSimSite::routes_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("key");

    QTest::newRow("position") << u"GET"_s << u"/api/live/position"_s << QJsonObject{} << 200 << u"x_mm"_s;
    QTest::newRow("drawing") << u"GET"_s << u"/api/live/drawing"_s << QJsonObject{} << 200 << u"items"_s;
    QTest::newRow("state") << u"GET"_s << u"/api/state"_s << QJsonObject{} << 200 << u"day"_s;
    QTest::newRow("fault by number") << u"GET"_s << u"/api/faults?q=F-231"_s << QJsonObject{} << 200 << u"results"_s;
    QTest::newRow("day start") << u"POST"_s << u"/api/day"_s
                               << QJsonObject{{u"action"_s, u"start"_s}, {u"who"_s, u"Ana"_s}} << 200 << u"toast"_s;
    QTest::newRow("view") << u"POST"_s << u"/api/view"_s << QJsonObject{{u"stage"_s, u"identity"_s}} << 200
                          << u"toast"_s;
    QTest::newRow("templates") << u"POST"_s << u"/api/iotemplates"_s << QJsonObject{{u"templates"_s, QJsonArray{}}}
                               << 200 << u"templates"_s;
    QTest::newRow("unknown") << u"GET"_s << u"/api/unknown"_s << QJsonObject{} << 404 << u"error"_s;
    QTest::newRow("not the api") << u"GET"_s << u"/favicon.ico"_s << QJsonObject{} << 404 << u"error"_s;
}

void TestSimSite::routes()
{
    QFETCH(QString, method);
    QFETCH(QString, path);
    QFETCH(QJsonObject, body);
    QFETCH(int, status);
    QFETCH(QString, key);
    const Reply r = call(method, url(kUnit1, path), body, signIn(kUnit1));
    QCOMPARE(r.status, status);
    QVERIFY2(r.json.contains(key), r.body.constData());
}

void TestSimSite::stepRunsWhilePolled()
{
    const QString token = signIn(kUnit1);
    const Reply saved =
        call(u"POST"_s, url(kUnit1, u"/api/save/identity"_s), {{u"unit_name"_s, u"Aisle A 1"_s}}, token);
    QCOMPARE(saved.status, 200);
    QCOMPARE(saved.json.value(u"toast"_s).toObject().value(u"text"_s).toString(), u"Saved Aisle A 1"_s);

    const Reply started = call(u"POST"_s, url(kUnit1, u"/api/action/start"_s), {}, token);
    QCOMPARE(started.status, 200);
    // Pressing start again while it runs is refused, with the reason.
    const Reply again = call(u"POST"_s, url(kUnit1, u"/api/action/start"_s), {}, token);
    QCOMPARE(again.status, 409);
    QVERIFY(again.json.value(u"refused"_s).toBool());

    const auto progress = [&] {
        return call(u"GET"_s, url(kUnit1, u"/api/live/progress"_s), {}, token).json.value(u"current"_s).toInt();
    };
    QTRY_VERIFY_WITH_TIMEOUT(progress() >= 3, 10000);
    const Reply log = call(u"GET"_s, url(kUnit1, u"/api/live/log"_s), {}, token);
    QVERIFY(log.json.value(u"log"_s).toArray().size() >= 3);

    // Discovery tells the same story: the unit is running its calibration.
    const auto detail = [&] {
        QUdpSocket probe;
        probe.bind(QHostAddress::AnyIPv4, 0);
        probe.writeDatagram("KESTRO_SHUTTLE_DISCOVER_V1", QHostAddress(kUnit1), 8091);
        if (!probe.waitForReadyRead(3000))
            return QString();
        return QJsonDocument::fromJson(probe.receiveDatagram().data()).object().value(u"current_step"_s).toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(detail(), u"Drive calibration"_s, 10000);
    QCOMPARE(call(u"POST"_s, url(kUnit1, u"/api/action/stop"_s), {}, token).status, 200);
}

void TestSimSite::lockOut()
{
    QCOMPARE(call(u"POST"_s, url(kUnit2, u"/api/login"_s), {{u"password"_s, u"a"_s}}).status, 401);
    QCOMPARE(call(u"POST"_s, url(kUnit2, u"/api/login"_s), {{u"password"_s, u"b"_s}}).status, 401);
    const Reply locked = call(u"POST"_s, url(kUnit2, u"/api/login"_s), {{u"password"_s, u"c"_s}});
    QCOMPARE(locked.status, 429);
    QCOMPARE(locked.json.value(u"retry_after"_s).toInt(), 30);
    const Reply stillLocked = call(u"POST"_s, url(kUnit2, u"/api/login"_s), {{u"password"_s, kPasscode}});
    QCOMPARE(stillLocked.status, 429);
    QVERIFY(stillLocked.json.value(u"retry_after"_s).toInt() > 0);
    // The other unit keeps its own count.
    QVERIFY(!signIn(kUnit1).isEmpty());
}

void TestSimSite::tokenExpires()
{
    // A plain-HTTP unit of its own on another port, with two-second tokens.
    Sim shortLived;
    QVERIFY2(shortLived.start({u"--http"_s, u"--port"_s, u"8190"_s, u"--no-discovery"_s, u"--passcode"_s, kPasscode,
                               u"--token-ttl"_s, u"2"_s}),
             shortLived.output().constData());
    const QString base = u"http://10.77.0.21:8190"_s;
    const Reply login = call(u"POST"_s, base + u"/api/login"_s, {{u"password"_s, kPasscode}});
    QCOMPARE(login.status, 200);
    QVERIFY(login.peer.isNull()); // no certificate over plain HTTP
    const QString token = login.json.value(u"token"_s).toString();
    QTRY_COMPARE_WITH_TIMEOUT(call(u"GET"_s, base + u"/api/ui"_s, {}, token).status, 401, 15000);
    QVERIFY(call(u"GET"_s, base + u"/api/ui"_s, {}, token).json.value(u"error"_s).toString().contains(u"expired"_s));
}

void TestSimSite::otherCertificate()
{
    const QStringList args{u"--port"_s, u"8290"_s, u"--no-discovery"_s, u"--cert-dir"_s, m_certs.path()};
    QSslCertificate other;
    {
        Sim sim;
        QVERIFY2(sim.start(args + QStringList{u"--other-cert"_s}), sim.output().constData());
        const QSslCertificate trust = certificateIn(m_certs.filePath(u"KU-04201-other.crt"_s));
        const Reply r =
            call(u"POST"_s, u"https://10.77.0.21:8290/api/login"_s, {{u"password"_s, u"kestro-site"_s}}, {}, trust);
        QCOMPARE(r.status, 200);
        other = r.peer;
    }
    QVERIFY(!other.isNull());
    QVERIFY(other != unitCert(1));
    // Without the option the unit goes back to its usual certificate, kept from the first start.
    Sim usual;
    QVERIFY2(usual.start(args), usual.output().constData());
    const Reply r = call(u"POST"_s, u"https://10.77.0.21:8290/api/login"_s, {{u"password"_s, u"kestro-site"_s}});
    QCOMPARE(r.status, 200);
    QCOMPARE(r.peer, unitCert(1));
}

void TestSimSite::addressInUse()
{
    QProcess second;
    second.start(QStringLiteral(KESTRO_UNIT_SIM),
                 {u"--units"_s, u"1"_s, u"--no-discovery"_s, u"--cert-dir"_s, m_certs.path()});
    QVERIFY(second.waitForFinished(30000));
    QCOMPARE(second.exitCode(), 1);
    const QByteArray err = second.readAllStandardError();
    QVERIFY2(err.contains("cannot listen on 10.77.0.21:8090"), err.constData());
}

void TestSimSite::badOptionsExit()
{
    QProcess bad;
    bad.start(QStringLiteral(KESTRO_UNIT_SIM), {u"--units"_s, u"many"_s});
    QVERIFY(bad.waitForFinished(10000));
    QCOMPARE(bad.exitCode(), 2);
    QVERIFY(bad.readAllStandardError().contains("--units"));
}

void TestSimSite::stopsCleanlyOnSignal()
{
    m_sim.process().terminate();
    QVERIFY(m_sim.process().waitForFinished(10000));
    QCOMPARE(m_sim.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_sim.process().exitCode(), 0);
    QVERIFY(m_sim.process().readAllStandardOutput().contains("stopping"));
}

QTEST_GUILESS_MAIN(TestSimSite)
#include "tst_simsite.moc"
