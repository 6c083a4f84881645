// The unit API client against real HTTP and HTTPS servers on 127.0.0.1 with OS-picked ports and
// self-signed certificates made by openssl at run time: replies for every outcome, headers and
// tokens, query splitting, time limits, and trust-on-first-use pinning in pins.json.

#include "privatehome.h"
#include "units/api.h"
#include "units/store.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QPointer>
#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Canned
{
    int status = 200;
    QByteArray body;
    bool silent = false; // read the request, never answer
    bool held = false;   // answer only when the test releases it
};

struct Seen
{
    QByteArray method;
    QByteArray target;
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
};

// A one-request-per-connection HTTP/1.1 server with canned answers per path.
class MiniServer final : public QObject
{
public:
    explicit MiniServer(bool tls)
        : m_server(tls ? new QSslServer(this) : new QTcpServer(this))
    {
        connect(m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
            while (m_server->hasPendingConnections())
                serve(m_server->nextPendingConnection());
        });
    }

    bool listen() { return m_server->listen(QHostAddress::LocalHost, 0); }
    quint16 port() const { return m_server->serverPort(); }
    void route(const QByteArray &path, const Canned &answer) { m_routes.insert(path, answer); }

    // New connections present this certificate from now on.
    bool useCertificate(const QString &certPath, const QString &keyPath)
    {
        QFile certFile(certPath);
        QFile keyFile(keyPath);
        if (!certFile.open(QIODevice::ReadOnly) || !keyFile.open(QIODevice::ReadOnly))
            return false;
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setLocalCertificate(QSslCertificate(certFile.readAll(), QSsl::Pem));
        ssl.setPrivateKey(QSslKey(keyFile.readAll(), QSsl::Ec, QSsl::Pem));
        ssl.setPeerVerifyMode(QSslSocket::VerifyNone);
        if (ssl.localCertificate().isNull() || ssl.privateKey().isNull())
            return false;
        static_cast<QSslServer *>(m_server)->setSslConfiguration(ssl);
        return true;
    }

    // Sends the answers held back so far.
    void release()
    {
        for (const auto &[socket, answer] : std::exchange(m_held, {})) {
            if (socket)
                reply(socket, answer);
        }
    }

    QList<Seen> seen;

private:
    void serve(QTcpSocket *socket)
    {
        socket->setParent(this);
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            *buffer += socket->readAll();
            const qsizetype end = buffer->indexOf("\r\n\r\n");
            if (end < 0)
                return;
            const QList<QByteArray> lines = buffer->left(end).split('\n');
            const QList<QByteArray> first = lines.first().trimmed().split(' ');
            Seen request;
            request.method = first.value(0);
            request.target = first.value(1);
            for (qsizetype i = 1; i < lines.size(); ++i) {
                const qsizetype colon = lines[i].indexOf(':');
                if (colon > 0)
                    request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
            }
            const qsizetype length = request.headers.value("content-length", "0").toLongLong();
            if (buffer->size() < end + 4 + length)
                return;
            request.body = buffer->mid(end + 4, length);
            buffer->clear();
            seen << request;

            const QByteArray path = request.target.split('?').first();
            const Canned answer = m_routes.value(path, Canned{404, R"({"error":"no such path"})", false});
            if (answer.silent)
                return;
            if (answer.held) {
                m_held << std::make_pair(QPointer<QTcpSocket>(socket), answer);
                return;
            }
            reply(socket, answer);
        });
    }

    void reply(QTcpSocket *socket, const Canned &answer)
    {
        socket->write("HTTP/1.1 " + QByteArray::number(answer.status) + " Canned\r\n" +
                      "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(answer.body.size()) +
                      "\r\nConnection: close\r\n\r\n" + answer.body);
        socket->disconnectFromHost();
    }

    QTcpServer *m_server;
    QList<std::pair<QPointer<QTcpSocket>, Canned>> m_held;
    QHash<QByteArray, Canned> m_routes;
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

QByteArray pinsFile()
{
    QFile f(units::configPath(u"pins.json"_s));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestApi final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certs;
    QString m_fingerprint[2];

    QString cert(int i) const { return m_certs.filePath(u"unit%1.pem"_s.arg(i)); }
    QString key(int i) const { return m_certs.filePath(u"unit%1.key"_s.arg(i)); }

    static bool openssl(const QStringList &args, QByteArray *out = nullptr)
    {
        QProcess p;
        p.start(u"openssl"_s, args);
        if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
            return false;
        if (out)
            *out = p.readAllStandardOutput();
        return true;
    }

    std::unique_ptr<MiniServer> httpsServer(int certificate)
    {
        auto server = std::make_unique<MiniServer>(true);
        if (!server->useCertificate(cert(certificate), key(certificate)) || !server->listen())
            return nullptr;
        return server;
    }

private slots:
    void initTestCase()
    {
        unitstest::privateHome();
        QVERIFY(QSslSocket::supportsSsl());
        for (int i = 0; i < 2; ++i) {
            QVERIFY2(openssl({u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s,
                              u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s, u"-days"_s, u"2"_s, u"-subj"_s,
                              u"/CN=unit-%1"_s.arg(i), u"-keyout"_s, key(i), u"-out"_s, cert(i)}),
                     "openssl could not make a self-signed certificate");
            // openssl's own fingerprint, to check ours against something we did not compute.
            QByteArray out;
            QVERIFY(openssl({u"x509"_s, u"-in"_s, cert(i), u"-noout"_s, u"-fingerprint"_s, u"-sha256"_s}, &out));
            m_fingerprint[i] = QString::fromLatin1(out.mid(out.indexOf('=') + 1).trimmed()).remove(u':').toLower();
            QCOMPARE(m_fingerprint[i].size(), 64);
        }
        QVERIFY(m_fingerprint[0] != m_fingerprint[1]);
    }
    void init() { QFile::remove(units::configPath(u"pins.json"_s)); }

    void urlFor_data()
    {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("urlPath");
        QTest::addColumn<QString>("query");
        QTest::newRow("https path") << true << u"/api/ui"_s << u"https://10.0.0.7:8443/api/ui"_s << u"/api/ui"_s
                                    << QString();
        QTest::newRow("http path") << false << u"/api/ui"_s << u"http://10.0.0.7:8443/api/ui"_s << u"/api/ui"_s
                                   << QString();
        QTest::newRow("query split") << true << u"/api/day?date=2026-11-21&x=1"_s
                                     << u"https://10.0.0.7:8443/api/day?date=2026-11-21&x=1"_s << u"/api/day"_s
                                     << u"date=2026-11-21&x=1"_s;
        QTest::newRow("only the first ? splits")
            << true << u"/a?b?c"_s << u"https://10.0.0.7:8443/a?b?c"_s << u"/a"_s << u"b?c"_s;
        QTest::newRow("empty query") << true << u"/a?"_s << u"https://10.0.0.7:8443/a?"_s << u"/a"_s << QString();
    }
    void urlFor()
    {
        QFETCH(bool, tls);
        QFETCH(QString, path);
        QFETCH(QString, url);
        QFETCH(QString, urlPath);
        QFETCH(QString, query);
        units::Api api;
        api.setUnit(u"10.0.0.7"_s, 8443, tls);
        const QUrl built = api.urlFor(path);
        QCOMPARE(built.toString(), url);
        QCOMPARE(built.path(), urlPath);
        QCOMPARE(built.query(), query);
    }

    void replies_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("error"); // "*": the network layer's own text
        QTest::addColumn<QJsonObject>("json");
        QTest::newRow("200 JSON") << 200 << QByteArray(R"({"stage":"io"})") << true << QString()
                                  << QJsonObject{{"stage"_L1, "io"_L1}};
        QTest::newRow("200 not JSON") << 200 << QByteArray("plain words") << true << QString() << QJsonObject();
        QTest::newRow("200 JSON array") << 200 << QByteArray("[1,2]") << true << QString() << QJsonObject();
        QTest::newRow("200 empty") << 200 << QByteArray() << true << QString() << QJsonObject();
        QTest::newRow("401 with error") << 401 << QByteArray(R"({"error":"wrong passcode"})") << false
                                        << u"wrong passcode"_s << QJsonObject{{"error"_L1, "wrong passcode"_L1}};
        QTest::newRow("401 without error")
            << 401 << QByteArray(R"({"why":"x"})") << false << u"*"_s << QJsonObject{{"why"_L1, "x"_L1}};
        QTest::newRow("429 with error") << 429 << QByteArray(R"({"error":"locked","retry_after":60})") << false
                                        << u"locked"_s
                                        << QJsonObject{{"error"_L1, "locked"_L1}, {"retry_after"_L1, 60}};
        QTest::newRow("429 without error") << 429 << QByteArray("slow down") << false << u"*"_s << QJsonObject();
        QTest::newRow("500 with error") << 500 << QByteArray(R"({"error":"stage failed"})") << false
                                        << u"stage failed"_s << QJsonObject{{"error"_L1, "stage failed"_L1}};
        QTest::newRow("500 error not text")
            << 500 << QByteArray(R"({"error":5})") << false << u"*"_s << QJsonObject{{"error"_L1, 5}};
        QTest::newRow("500 without body") << 500 << QByteArray() << false << u"*"_s << QJsonObject();
    }
    void replies()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, ok);
        QFETCH(QString, error);
        QFETCH(QJsonObject, json);
        for (const bool tls : {true, false}) {
            auto server = tls ? httpsServer(0) : std::make_unique<MiniServer>(false);
            QVERIFY(server && (tls || server->listen()));
            server->route("/api/state", Canned{status, body, false});
            units::Api api;
            api.setUnit(u"127.0.0.1"_s, server->port(), tls);
            const units::Api::Reply r =
                run([&](units::Api::Callback cb) { api.get(u"/api/state"_s, cb, units::timeouts::kTool); });
            QCOMPARE(r.status, status);
            QCOMPARE(r.ok, ok);
            QCOMPARE(r.body, body);
            QCOMPARE(r.json, json);
            QCOMPARE(r.certChanged, false);
            if (error == u"*"_s) {
                QVERIFY(!r.error.isEmpty());
                QVERIFY(!r.error.contains(QString::fromUtf8(body)) || body.isEmpty());
            } else {
                QCOMPARE(r.error, error);
            }
        }
    }

    void headersAndBody()
    {
        MiniServer server(false);
        QVERIFY(server.listen());
        server.route("/api/view", Canned{200, "{}", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server.port(), false);
        const QJsonObject body{{"action"_L1, "start"_L1}, {"fields"_L1, QJsonObject{{"speed"_L1, 2}}}};
        QVERIFY(
            run([&](units::Api::Callback cb) { api.post(u"/api/view"_s, body, cb, units::timeouts::kPressPost); }).ok);
        QVERIFY(run([&](units::Api::Callback cb) { api.get(u"/api/view?x=1"_s, cb, units::timeouts::kPressGet); }).ok);
        QCOMPARE(server.seen.size(), 2);
        const Seen &post = server.seen.at(0);
        QCOMPARE(post.method, "POST");
        QCOMPARE(post.headers.value("x-kestro-client"), "qt/8.9.13+cdcc16b");
        QCOMPARE(post.headers.value("accept"), "application/json");
        QCOMPARE(post.headers.value("content-type"), "application/json");
        QVERIFY(!post.headers.contains("authorization"));
        QCOMPARE(post.body, QJsonDocument(body).toJson(QJsonDocument::Compact));
        const Seen &get = server.seen.at(1);
        QCOMPARE(get.method, "GET");
        QCOMPARE(get.target, "/api/view?x=1");
        QCOMPARE(get.headers.value("x-kestro-client"), "qt/8.9.13+cdcc16b");
    }

    void pathWithQuery_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("one pair") << u"/api/day?date=2026-11-21"_s << QByteArray("/api/day?date=2026-11-21");
        QTest::newRow("two pairs") << u"/api/day?date=2026-11-21&unit=3"_s
                                   << QByteArray("/api/day?date=2026-11-21&unit=3");
        QTest::newRow("no query") << u"/api/day"_s << QByteArray("/api/day");
    }
    void pathWithQuery()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, target);
        auto server = httpsServer(0);
        QVERIFY(server);
        server->route("/api/day", Canned{200, R"({"day":1})", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server->port(), true);
        const units::Api::Reply r = run([&](units::Api::Callback cb) { api.get(path, cb, 8000); });
        QVERIFY2(r.ok, qPrintable(r.error)); // routed by path alone, so a "?" kept in the path would give 404
        QCOMPARE(server->seen.size(), 1);
        QCOMPARE(server->seen.first().target, target);
    }

    void login_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QByteArray>("authorization"); // on the next GET; empty: none
        QTest::newRow("token stored") << 200 << QByteArray(R"({"token":"t-123"})") << QByteArray("Bearer t-123");
        QTest::newRow("200 without token drops it") << 200 << QByteArray(R"({"ok":true})") << QByteArray();
        QTest::newRow("200 empty token drops it") << 200 << QByteArray(R"({"token":""})") << QByteArray();
        QTest::newRow("200 not JSON drops it") << 200 << QByteArray("welcome") << QByteArray();
        QTest::newRow("401 keeps the old token")
            << 401 << QByteArray(R"({"error":"wrong passcode"})") << QByteArray("Bearer old");
        QTest::newRow("429 keeps the old token")
            << 429 << QByteArray(R"({"retry_after":300})") << QByteArray("Bearer old");
    }
    void login()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, answer);
        QFETCH(QByteArray, authorization);
        auto server = httpsServer(0);
        QVERIFY(server);
        server->route("/api/ui", Canned{200, "{}", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server->port(), true);

        server->route("/api/login", Canned{200, R"({"token":"old"})", false});
        QVERIFY(run([&](units::Api::Callback cb) { api.login(u"first-pass"_s, cb); }).ok);
        server->route("/api/login", Canned{status, answer, false});
        const units::Api::Reply r = run([&](units::Api::Callback cb) { api.login(u"s3cret"_s, cb); });
        QCOMPARE(r.status, status);
        run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, units::timeouts::kPoll); });

        QCOMPARE(server->seen.size(), 3);
        const Seen &signIn = server->seen.at(1);
        QCOMPARE(signIn.target, "/api/login");
        QVERIFY2(!signIn.headers.contains("authorization"), "sign-in must go without a token");
        QCOMPARE(QJsonDocument::fromJson(signIn.body).object(), (QJsonObject{{"password"_L1, "s3cret"_L1}}));
        QCOMPARE(server->seen.at(2).headers.value("authorization"), authorization);
        QCOMPARE(api.hasToken(api.key()), !authorization.isEmpty());
    }

    void loginAnswerBelongsToTheCurrentUnit()
    {
        // The token goes to whichever unit is selected when the answer lands.
        auto a = httpsServer(0);
        auto b = httpsServer(0);
        QVERIFY(a && b);
        a->route("/api/login", Canned{200, R"({"token":"late"})", false, true});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, a->port(), true);
        bool done = false;
        api.login(u"p"_s, [&](const units::Api::Reply &) { done = true; });
        QVERIFY(QTest::qWaitFor([&] { return a->seen.size() == 1; }, 30000));
        api.setUnit(u"127.0.0.1"_s, b->port(), true);
        a->release();
        QVERIFY(QTest::qWaitFor([&] { return done; }, 30000));
        QVERIFY(api.hasToken(units::unitKey(u"127.0.0.1"_s, b->port())));
        QVERIFY(!api.hasToken(units::unitKey(u"127.0.0.1"_s, a->port())));
    }

    void tokenPerUnitKey()
    {
        auto a = httpsServer(0);
        auto b = httpsServer(0);
        QVERIFY(a && b);
        for (MiniServer *s : {a.get(), b.get()}) {
            s->route("/api/login", Canned{200, R"({"token":"for-a"})", false});
            s->route("/api/ui", Canned{200, "{}", false});
        }
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, a->port(), true);
        QVERIFY(run([&](units::Api::Callback cb) { api.login(u"p"_s, cb); }).ok);
        api.setUnit(u"127.0.0.1"_s, b->port(), true);
        run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, 8000); });
        api.setUnit(u"127.0.0.1"_s, a->port(), true);
        run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, 8000); });
        QVERIFY(!b->seen.last().headers.contains("authorization"));
        QCOMPARE(a->seen.last().headers.value("authorization"), "Bearer for-a");

        const QString keyA = units::unitKey(u"127.0.0.1"_s, a->port());
        QVERIFY(api.forgetToken(keyA));
        QVERIFY(!api.forgetToken(keyA));
        QVERIFY(!api.forgetToken(units::unitKey(u"127.0.0.1"_s, b->port())));
        run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, 8000); });
        QVERIFY(!a->seen.last().headers.contains("authorization"));
    }

    void noUnitSelected()
    {
        units::Api api;
        bool called = false;
        units::Api::Reply got;
        api.get(
            u"/api/ui"_s,
            [&](const units::Api::Reply &r) {
                called = true;
                got = r;
            },
            8000);
        QVERIFY2(called, "the callback runs before get returns");
        QCOMPARE(got.ok, false);
        QCOMPARE(got.status, 0);
        QCOMPARE(got.error, u"no unit selected"_s);
        // POST has no such check, but still ends in a reply.
        const units::Api::Reply post =
            run([&](units::Api::Callback cb) { api.post(u"/api/view"_s, {}, cb, units::timeouts::kTool); });
        QCOMPARE(post.ok, false);
        QVERIFY(!post.error.isEmpty());
    }

    void networkFailures_data()
    {
        QTest::addColumn<bool>("listening"); // false: the port refuses connections
        QTest::addColumn<bool>("tls");
        QTest::newRow("time-out https") << true << true;
        QTest::newRow("time-out http") << true << false;
        QTest::newRow("refused https") << false << true;
        QTest::newRow("refused http") << false << false;
    }
    void networkFailures()
    {
        QFETCH(bool, listening);
        QFETCH(bool, tls);
        auto server = tls ? httpsServer(0) : std::make_unique<MiniServer>(false);
        QVERIFY(server && (tls || server->listen()));
        server->route("/api/ui", Canned{200, "{}", true});
        quint16 port = server->port();
        if (!listening)
            server.reset(); // the port is closed again: nothing listens there now
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, port, tls);
        const units::Api::Reply r = run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, 300); });
        QCOMPARE(r.ok, false);
        QCOMPARE(r.status, 0);
        QVERIFY(!r.error.isEmpty());
        QCOMPARE(r.json, QJsonObject());
        QCOMPARE(r.certChanged, false);
        if (listening)
            QCOMPARE(server->seen.size(), 1); // it was asked and kept silent: a time-out, not a refusal
    }

    void firstContactPins()
    {
        auto server = httpsServer(0);
        QVERIFY(server);
        server->route("/api/ui", Canned{200, R"({"a":1})", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server->port(), true);
        QVERIFY(run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, 8000); }).ok);
        const QJsonObject pins = QJsonDocument::fromJson(pinsFile()).object();
        QCOMPARE(pins.keys(), QStringList{api.key()});
        QCOMPARE(pins.value(api.key()).toString(), m_fingerprint[0]);
        QCOMPARE(units::pinFor(api.key()), m_fingerprint[0]);
    }

    void certificateChange_data()
    {
        QTest::addColumn<bool>("post");
        QTest::newRow("get") << false;
        QTest::newRow("post") << true;
    }
    void certificateChange()
    {
        QFETCH(bool, post);
        auto server = httpsServer(0);
        QVERIFY(server);
        server->route("/api/ui", Canned{200, R"({"screen":"x"})", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server->port(), true);
        const auto ask = [&] {
            return run([&](units::Api::Callback cb) {
                if (post)
                    api.post(u"/api/ui"_s, {}, cb, 8000);
                else
                    api.get(u"/api/ui"_s, cb, 8000);
            });
        };
        QVERIFY(ask().ok);
        const QByteArray pinned = pinsFile();

        QVERIFY(server->useCertificate(cert(1), key(1)));
        const units::Api::Reply changed = ask();
        QCOMPARE(changed.ok, false);
        QCOMPARE(changed.certChanged, true);
        QCOMPARE(changed.error, u"this unit's certificate has changed"_s);
        QCOMPARE(changed.status, 200);
        QCOMPARE(changed.body, "{\"screen\":\"x\"}");
        QCOMPARE(pinsFile(), pinned);
        QVERIFY(ask().certChanged); // every request fails until the user accepts

        // Accepting the new certificate: the next answer pins it.
        units::forgetPin(api.key());
        const units::Api::Reply accepted = ask();
        QVERIFY2(accepted.ok, qPrintable(accepted.error));
        QCOMPARE(units::pinFor(api.key()), m_fingerprint[1]);
    }

    void pinsArePerUnitKey()
    {
        auto a = httpsServer(0);
        auto b = httpsServer(1);
        QVERIFY(a && b);
        a->route("/x", Canned{200, "{}", false});
        b->route("/x", Canned{200, "{}", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, a->port(), true);
        QVERIFY(run([&](units::Api::Callback cb) { api.get(u"/x"_s, cb, 8000); }).ok);
        api.setUnit(u"127.0.0.1"_s, b->port(), true);
        QVERIFY(run([&](units::Api::Callback cb) { api.get(u"/x"_s, cb, 8000); }).ok);
        QCOMPARE(units::pinFor(units::unitKey(u"127.0.0.1"_s, a->port())), m_fingerprint[0]);
        QCOMPARE(units::pinFor(units::unitKey(u"127.0.0.1"_s, b->port())), m_fingerprint[1]);
    }

    void plainHttpNeverTouchesPins_data()
    {
        QTest::addColumn<QByteArray>("pinsBefore"); // null: no file
        QTest::newRow("no pins file") << QByteArray();
        QTest::newRow("a pin for the same key") << QByteArray("{\"KEY\": \"" + QByteArray(64, 'f') + "\"}");
    }
    void plainHttpNeverTouchesPins()
    {
        QFETCH(QByteArray, pinsBefore);
        MiniServer server(false);
        QVERIFY(server.listen());
        server.route("/api/ui", Canned{200, R"({"a":1})", false});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server.port(), false);
        if (!pinsBefore.isNull()) {
            pinsBefore.replace("KEY", api.key().toLatin1());
            QFile f(units::configPath(u"pins.json"_s));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(pinsBefore);
        }
        const QDateTime stamp = QFileInfo(units::configPath(u"pins.json"_s)).lastModified();
        const units::Api::Reply r = run([&](units::Api::Callback cb) { api.get(u"/api/ui"_s, cb, 8000); });
        QVERIFY(r.ok);
        QCOMPARE(r.certChanged, false);
        QCOMPARE(QFile::exists(units::configPath(u"pins.json"_s)), !pinsBefore.isNull());
        if (!pinsBefore.isNull()) {
            QCOMPARE(pinsFile(), pinsBefore);
            QCOMPARE(QFileInfo(units::configPath(u"pins.json"_s)).lastModified(), stamp);
        }
    }

    void waitForReturnsTheReply_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("status");
        QTest::newRow("answer") << QByteArray("/api/faults") << 8000 << true << 200;
        QTest::newRow("404") << QByteArray("/nowhere") << 8000 << false << 404;
        QTest::newRow("time-out") << QByteArray("/slow") << 200 << false << 0;
    }
    void waitForReturnsTheReply()
    {
        QFETCH(QByteArray, path);
        QFETCH(int, timeoutMs);
        QFETCH(bool, ok);
        QFETCH(int, status);
        auto server = httpsServer(0);
        QVERIFY(server);
        server->route("/api/faults", Canned{200, R"({"faults":[]})", false});
        server->route("/slow", Canned{200, "{}", true});
        units::Api api;
        api.setUnit(u"127.0.0.1"_s, server->port(), true);
        const units::Api::Reply r = units::waitFor(api, QString::fromLatin1(path), timeoutMs);
        QCOMPARE(r.ok, ok);
        QCOMPARE(r.status, status);
        QCOMPARE(r.error.isEmpty(), ok);
    }

    void waitForWithoutUnit()
    {
        units::Api api;
        const units::Api::Reply r = units::waitFor(api, u"/api/faults"_s, 1000);
        QCOMPARE(r.error, u"no unit selected"_s);
    }
};

QTEST_GUILESS_MAIN(TestApi)
#include "tst_api.moc"
