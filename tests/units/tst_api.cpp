// The unit API client against real HTTP and HTTPS servers on 127.0.0.1 with OS-picked ports and
// self-signed certificates made by openssl at run time: every kind of reply, headers and tokens,
// time limits, and trust-on-first-use pinning, checked at the handshake so that a unit whose
// certificate changed receives nothing.

#include "units/api.h"
#include "unitstest.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

struct Canned
{
    int status = 200;
    QByteArray body = "{}";
    bool silent = false; // read the request, never answer
};

struct Seen
{
    QByteArray method, target, body;
    QHash<QByteArray, QByteArray> headers; // names in lower case
};

// Starts each TLS handshake only after a pause, for a client that gives up meanwhile.
class SlowSslServer final : public QSslServer
{
public:
    using QSslServer::QSslServer;
    int pauseMs = 0;

protected:
    void incomingConnection(qintptr socket) override
    {
        if (pauseMs <= 0)
            return QSslServer::incomingConnection(socket);
        QTimer::singleShot(pauseMs, this, [this, socket] { QSslServer::incomingConnection(socket); });
    }
};

// An HTTP/1.1 server with canned answers per path (the query is ignored) that closes each connection
// after its answer, or keeps it open as units do.
class MiniServer final : public QObject
{
public:
    explicit MiniServer(bool tls)
        : m_server(tls ? new SlowSslServer(this) : new QTcpServer(this))
    {
        connect(m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
            while (m_server->hasPendingConnections())
                serve(m_server->nextPendingConnection());
        });
    }

    bool listen() { return m_server->listen(QHostAddress::LocalHost, 0); }
    quint16 port() const { return m_server->serverPort(); }

    // New connections present this certificate from now on.
    bool useCertificate(const QString &certPath, const QString &keyPath)
    {
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setLocalCertificate(QSslCertificate(unitstest::readFile(certPath), QSsl::Pem));
        ssl.setPrivateKey(QSslKey(unitstest::readFile(keyPath), QSsl::Ec, QSsl::Pem));
        static_cast<QSslServer *>(m_server)->setSslConfiguration(ssl);
        return !ssl.localCertificate().isNull() && !ssl.privateKey().isNull();
    }

    // A unit restarting: every open connection goes.
    void dropConnections()
    {
        for (const QPointer<QTcpSocket> &socket : std::as_const(m_open)) {
            if (socket)
                socket->abort();
        }
        m_open.clear();
    }
    void pauseHandshakes(int ms) { static_cast<SlowSslServer *>(m_server)->pauseMs = ms; }

    QHash<QByteArray, Canned> routes;
    QList<Seen> seen;
    QByteArray received; // every byte that came in over any connection (after TLS), in order
    bool keepAlive = false;

private:
    void serve(QTcpSocket *socket)
    {
        socket->setParent(this);
        m_open << socket;
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            const QByteArray bytes = socket->readAll();
            received += bytes;
            *buffer += bytes;
            while (answerOne(socket, *buffer)) {
            }
        });
    }

    // Answers the first whole request in the buffer; false when there is none (or the connection closes).
    bool answerOne(QTcpSocket *socket, QByteArray &buffer)
    {
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return false;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        const QList<QByteArray> first = lines.first().trimmed().split(' ');
        Seen request{first.value(0), first.value(1), {}, {}};
        for (const QByteArray &line : lines.mid(1)) {
            if (const qsizetype colon = line.indexOf(':'); colon > 0)
                request.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer.size() < end + 4 + length)
            return false;
        request.body = buffer.mid(end + 4, length);
        buffer.remove(0, end + 4 + length);
        seen << request;
        const Canned answer = routes.value(request.target.split('?').first(), {404, R"({"error":"no such path"})"});
        if (answer.silent)
            return true;
        socket->write(
            "HTTP/1.1 " + QByteArray::number(answer.status) +
            " Canned\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(answer.body.size()) +
            "\r\nConnection: " + (keepAlive ? "keep-alive" : "close") + "\r\n\r\n" + answer.body);
        if (keepAlive)
            return true;
        socket->disconnectFromHost();
        return false;
    }

    QTcpServer *m_server;
    QList<QPointer<QTcpSocket>> m_open;
};

// Runs one request through a callback and waits until the callback has run.
units::Api::Reply run(const std::function<void(units::Api::Callback)> &send)
{
    units::Api::Reply out;
    bool done = false;
    send([&](const units::Api::Reply &r) {
        out = r;
        done = true;
    });
    if (!QTest::qWaitFor([&] { return done; }, 30000))
        qWarning("no reply arrived");
    return out;
}

QString pinsPath()
{
    return units::configPath(u"pins.json"_s);
}

void aim(units::Api &api, const MiniServer *server, bool tls)
{
    api.setUnit(u"127.0.0.1"_s, server->port(), tls);
}

} // namespace

class TestApi final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certs;
    QString m_fingerprint[2];
    QStringList m_keys; // of every server made, so that no pin outlives its test

    QString cert(int i) const { return m_certs.filePath(u"unit%1.pem"_s.arg(i)); }
    QString key(int i) const { return m_certs.filePath(u"unit%1.key"_s.arg(i)); }

    std::unique_ptr<MiniServer> server(bool tls, int certificate = 0)
    {
        auto s = std::make_unique<MiniServer>(tls);
        if ((tls && !s->useCertificate(cert(certificate), key(certificate))) || !s->listen())
            return nullptr;
        m_keys << units::unitKey(u"127.0.0.1"_s, s->port());
        return s;
    }

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        for (int i = 0; i < 2; ++i) {
            QVERIFY2(testsupport::makeCertificate(m_certs.path(), u"unit%1"_s.arg(i)),
                     "openssl could not make a self-signed certificate");
            // Qt's own digest, to check ours against something we did not compute.
            const QSslCertificate made(unitstest::readFile(cert(i)), QSsl::Pem);
            m_fingerprint[i] = QString::fromLatin1(made.digest(QCryptographicHash::Sha256).toHex());
        }
        QVERIFY(!m_fingerprint[0].isEmpty() && m_fingerprint[0] != m_fingerprint[1]);
    }
    void init()
    {
        QDir(pinsPath()).removeRecursively();
        QFile::remove(pinsPath());
    }
    void cleanup()
    {
        for (const QString &key : std::as_const(m_keys))
            units::forgetPin(key);
        m_keys.clear();
    }

    void replies_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error"); // "*": the network layer's own text
        QTest::newRow("200 JSON") << 200 << QByteArray(R"({"stage":"io"})") << QString();
        QTest::newRow("200 not JSON") << 200 << QByteArray("plain words") << QString();
        QTest::newRow("401 with error") << 401 << QByteArray(R"({"error":"wrong passcode"})") << u"wrong passcode"_s;
        QTest::newRow("401 without error") << 401 << QByteArray(R"({"why":"x"})") << u"*"_s;
        QTest::newRow("429 with error") << 429 << QByteArray(R"({"error":"locked","retry_after":60})") << u"locked"_s;
        QTest::newRow("429 not JSON") << 429 << QByteArray("slow down") << u"*"_s;
        QTest::newRow("500 with error") << 500 << QByteArray(R"({"error":"stage failed"})") << u"stage failed"_s;
        QTest::newRow("500 error not text") << 500 << QByteArray(R"({"error":5})") << u"*"_s;
        QTest::newRow("500 empty") << 500 << QByteArray() << u"*"_s;
    }
    void replies()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        for (const bool tls : {true, false}) {
            auto s = server(tls);
            QVERIFY(s);
            s->routes["/api/state"] = {status, body};
            units::Api api;
            aim(api, s.get(), tls);
            const units::Api::Reply r = units::waitFor(api, u"/api/state"_s, units::timeouts::kTool);
            QCOMPARE(r.status, status);
            QCOMPARE(r.ok, status == 200);
            QCOMPARE(r.body, body);
            QCOMPARE(r.json, QJsonDocument::fromJson(body).object());
            QCOMPARE(r.certChanged, false);
            if (error != u"*"_s)
                QCOMPARE(r.error, error);
            else
                QVERIFY(!r.error.isEmpty() && (body.isEmpty() || !r.error.contains(QString::fromUtf8(body))));
        }
    }

    void requestsAndSignIn()
    {
        auto s = server(false);
        QVERIFY(s);
        s->routes["/api/view"] = s->routes["/api/day"] = {};
        units::Api api;
        aim(api, s.get(), false);
        const auto signIn = [&](const QByteArray &answer, int status = 200) {
            s->routes["/api/login"] = {status, answer};
            return run([&](units::Api::Callback cb) { api.login(u"s3cret"_s, cb); });
        };
        const auto bearer = [&] {
            units::waitFor(api, u"/api/day"_s, units::timeouts::kPoll);
            return s->seen.last().headers.value("authorization");
        };
        const QJsonObject body{{"action"_L1, "start"_L1}, {"fields"_L1, QJsonObject{{"speed"_L1, 2}}}};
        QVERIFY(units::waitForPost(api, u"/api/view"_s, body, 8000).ok);
        QVERIFY(signIn(R"({"token":"t-1"})").ok);
        // Only the first "?" splits the path from the query; one left in the path would give a 404.
        QVERIFY(units::waitFor(api, u"/api/day?date=2026-11-21&x=1?y"_s, 8000).ok);
        QCOMPARE(s->seen.size(), 3);
        const Seen &post = s->seen.at(0);
        QCOMPARE(QByteArray(post.method + ' ' + post.target), "POST /api/view");
        QCOMPARE(post.headers.value("content-type"), "application/json");
        QVERIFY(!post.headers.contains("authorization"));
        QCOMPARE(post.body, R"({"action":"start","fields":{"speed":2}})");
        const Seen &login = s->seen.at(1);
        QCOMPARE(QByteArray(login.method + ' ' + login.target), "POST /api/login");
        QCOMPARE(login.body, R"({"password":"s3cret"})");
        const Seen &get = s->seen.at(2);
        QCOMPARE(QByteArray(get.method + ' ' + get.target), "GET /api/day?date=2026-11-21&x=1?y");
        QCOMPARE(get.headers.value("authorization"), "Bearer t-1");
        for (const Seen &request : std::as_const(s->seen)) {
            QCOMPARE(request.headers.value("x-kestro-client"), "qt/8.9.13+cdcc16b");
            QCOMPARE(request.headers.value("accept"), "application/json");
        }

        // A failed sign-in keeps the token and goes without it; a 200 without one drops it.
        QCOMPARE(signIn(R"({"error":"wrong passcode"})", 401).status, 401);
        QVERIFY(!s->seen.last().headers.contains("authorization"));
        QCOMPARE(bearer(), "Bearer t-1");
        QVERIFY(signIn(R"({"ok":true})").ok);
        QCOMPARE(bearer(), QByteArray());
        QVERIFY(!api.hasToken(api.key()));
    }

    void tokenPerUnitKey()
    {
        auto a = server(true);
        auto b = server(true);
        QVERIFY(a && b);
        const QString keyA = units::unitKey(u"127.0.0.1"_s, a->port());
        const QString keyB = units::unitKey(u"127.0.0.1"_s, b->port());
        a->routes["/api/login"] = {200, R"({"token":"for-a"})"};
        units::Api api;
        aim(api, a.get(), true);
        QVERIFY(run([&](units::Api::Callback cb) { api.login(u"p"_s, cb); }).ok);
        aim(api, b.get(), true);
        units::waitFor(api, u"/api/ui"_s, 8000);
        QVERIFY(!b->seen.last().headers.contains("authorization"));

        // Another unit reached at its own address while b stays current: a's token, b untouched.
        const units::Api::Target toA{u"127.0.0.1"_s, a->port(), true};
        const qsizetype seenByB = b->seen.size();
        a->routes["/api/state"] = {200, R"({"commissioned":true})"};
        QVERIFY(units::waitFor(api, toA, u"/api/state"_s, 8000).json.value("commissioned"_L1).toBool());
        run([&](units::Api::Callback cb) { api.post(toA, u"/api/day"_s, {{"action"_L1, "roll"_L1}}, cb, 8000); });
        QCOMPARE(a->seen.size(), 3);
        for (const Seen &request : a->seen.mid(1))
            QCOMPARE(request.headers.value("authorization"), "Bearer for-a");
        QCOMPARE(a->seen.last().body, R"({"action":"roll"})");
        QCOMPARE(b->seen.size(), seenByB);
        QCOMPARE(api.key(), keyB);
        aim(api, a.get(), true);
        units::waitFor(api, u"/api/ui"_s, 8000);
        QCOMPARE(a->seen.last().headers.value("authorization"), "Bearer for-a");
        QVERIFY(api.forgetToken(keyA));
        QVERIFY(!api.forgetToken(keyA));
        units::waitFor(api, u"/api/ui"_s, 8000);
        QVERIFY(!a->seen.last().headers.contains("authorization"));

        // A sign-in answer belongs to whichever unit is selected when it lands.
        bool done = false;
        api.login(u"p"_s, [&](const units::Api::Reply &) { done = true; });
        aim(api, b.get(), true);
        QVERIFY(QTest::qWaitFor([&] { return done; }, 30000));
        QVERIFY(api.hasToken(keyB) && !api.hasToken(keyA));
    }

    void failures()
    {
        units::Api api;
        units::Api::Reply r = units::waitFor(api, u"/api/ui"_s, 1000);
        QCOMPARE(r.error, u"no unit selected"_s);
        QVERIFY(!r.ok && r.status == 0);
        r = run([&](units::Api::Callback cb) { api.post(u"/api/view"_s, {}, cb, 1000); }); // no such check
        QVERIFY(!r.ok && !r.error.isEmpty());

        // Asked and kept silent: a time-out; then the port closed: a refusal.
        auto s = server(true);
        QVERIFY(s);
        s->routes["/api/ui"] = {200, "{}", true};
        aim(api, s.get(), true);
        for (const bool listening : {true, false}) {
            if (!listening)
                s.reset();
            r = units::waitFor(api, u"/api/ui"_s, 1000);
            QVERIFY(!r.ok && !r.error.isEmpty() && !r.certChanged);
            QCOMPARE(r.status, 0);
            if (listening)
                QCOMPARE(s->seen.size(), 1);
        }
    }

    void pinning()
    {
        auto s = server(true, 0);
        auto other = server(true, 1);
        QVERIFY(s && other);
        s->routes["/api/ui"] = other->routes["/api/ui"] = {200, R"({"screen":"x"})"};
        s->routes["/api/wait"] = {200, "{}", true};
        const auto pins = [] { return QJsonDocument::fromJson(unitstest::readFile(pinsPath())).object(); };
        units::Api api;
        aim(api, s.get(), true);
        const QString first = api.key();

        // First contact pins at the handshake, before any answer.
        bool answered = false;
        api.get(
            u"/api/wait"_s, [&](const units::Api::Reply &) { answered = true; }, 1000);
        QVERIFY(QTest::qWaitFor([&] { return !s->seen.isEmpty(); }, 8000));
        QCOMPARE(pins(), (QJsonObject{{first, m_fingerprint[0]}}));
        QVERIFY(!answered);
        QVERIFY(QTest::qWaitFor([&] { return answered; }, 8000));
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).ok);

        // Another certificate is refused (changedCertificateGetsNothing says how), and the pin stays
        // until the user accepts.
        QVERIFY(s->useCertificate(cert(1), key(1)));
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).certChanged);
        QCOMPARE(pins(), (QJsonObject{{first, m_fingerprint[0]}}));

        // Pins are per unit key: another unit with that certificate is pinned beside the first.
        aim(api, other.get(), true);
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).ok);
        QCOMPARE(pins(), (QJsonObject{{first, m_fingerprint[0]}, {api.key(), m_fingerprint[1]}}));

        // Accepting the new certificate: the next handshake pins it.
        aim(api, s.get(), true);
        units::forgetPin(first);
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).ok);
        QCOMPARE(units::pinFor(first), m_fingerprint[1]);
    }

    void changedCertificateGetsNothing_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("the unit restarted with another certificate") << u"restart"_s;
        QTest::newRow("the pin changed, a connection with the old one kept alive") << u"repin"_s;
        QTest::newRow("the pin changed while the requests waited for a connection") << u"repin-late"_s;
        QTest::newRow("a connection left by a request given up in its handshake") << u"given-up"_s;
    }
    void changedCertificateGetsNothing()
    {
        QFETCH(QString, change);
        auto s = server(true, 0);
        QVERIFY(s);
        // Kept alive as units do, except where the next requests must open new connections.
        s->keepAlive = change != u"repin-late"_s;
        s->routes["/api/login"] = {200, R"({"token":"token-secret"})"};
        s->routes["/api/ui"] = s->routes["/api/view"] = {};
        units::Api api;
        aim(api, s.get(), true);
        QVERIFY(run([&](units::Api::Callback cb) { api.login(u"first-passcode"_s, cb); }).ok);
        const auto repin = [&] {
            units::forgetPin(api.key());
            units::setPin(api.key(), m_fingerprint[1]);
        };
        if (change == u"restart"_s || change == u"given-up"_s) {
            QVERIFY(s->useCertificate(cert(1), key(1)));
            s->dropConnections();
        }
        if (change == u"repin"_s)
            repin();
        if (change == u"given-up"_s) {
            s->pauseHandshakes(600);
            QVERIFY(!units::waitFor(api, u"/api/ui"_s, 100).ok);
            QTest::qWait(1000); // the server ends that handshake meanwhile
            s->pauseHandshakes(0);
        }
        s->received.clear();

        // All at once: the passcode of a sign-in, the bearer token, a field value.
        QList<units::Api::Reply> replies;
        const auto collect = [&](const units::Api::Reply &r) { replies << r; };
        api.login(u"second-passcode"_s, collect);
        api.get(u"/api/ui"_s, collect, 8000);
        api.post(u"/api/view"_s, {{"fields"_L1, QJsonObject{{"serial"_L1, "field-secret"_L1}}}}, collect, 8000);
        if (change == u"repin-late"_s)
            repin();
        QVERIFY(QTest::qWaitFor([&] { return replies.size() == 3; }, 30000));
        for (const units::Api::Reply &r : std::as_const(replies)) {
            QVERIFY(!r.ok && r.certChanged);
            QCOMPARE(r.error, u"this unit's certificate has changed"_s);
            QCOMPARE(r.status, 0);
            QCOMPARE(r.body, QByteArray());
        }
        QCOMPARE(s->received, QByteArray()); // not one byte after the handshakes
        const bool repinned = change.startsWith(u"repin"_s);
        QCOMPARE(units::pinFor(api.key()), m_fingerprint[repinned ? 1 : 0]);
    }

    void pinHeldWhenItCannotBeWritten()
    {
        QVERIFY(QDir().mkpath(pinsPath())); // a folder where pins.json would go
        auto s = server(true, 0);
        QVERIFY(s);
        s->routes["/api/ui"] = {};
        units::Api api;
        aim(api, s.get(), true);
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).ok);
        QVERIFY(QFileInfo(pinsPath()).isDir());
        QVERIFY(s->useCertificate(cert(1), key(1)));
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).certChanged);
        // Accepting forgets the held pin too; the next certificate seen is held instead.
        units::forgetPin(api.key());
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).ok);
        QCOMPARE(units::pinFor(api.key()), m_fingerprint[1]);
        QVERIFY(s->useCertificate(cert(0), key(0)));
        QVERIFY(units::waitFor(api, u"/api/ui"_s, 8000).certChanged);
    }

    void plainHttpNeverTouchesPins()
    {
        auto s = server(false);
        QVERIFY(s);
        s->routes["/api/ui"] = {};
        units::Api api;
        aim(api, s.get(), false);
        units::Api::Reply r = units::waitFor(api, u"/api/ui"_s, 8000);
        QVERIFY(r.ok && !r.certChanged);
        QVERIFY(!QFile::exists(pinsPath()));
        QCOMPARE(units::pinFor(api.key()), QString());

        // Nor does a pin for the same key fail a plain answer or get rewritten by it.
        const QByteArray pins = "{\"" + api.key().toLatin1() + "\": \"" + QByteArray(64, 'f') + "\"}";
        QVERIFY(unitstest::writeFile(pinsPath(), pins));
        r = units::waitFor(api, u"/api/ui"_s, 8000);
        QVERIFY(r.ok && !r.certChanged);
        QCOMPARE(unitstest::readFile(pinsPath()), pins);
    }
};

QTEST_GUILESS_MAIN(TestApi)
#include "tst_api.moc"
