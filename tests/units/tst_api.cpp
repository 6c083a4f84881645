// The unit API client against HTTP and HTTPS servers on 127.0.0.1 with openssl-made certificates:
// replies, headers and tokens, time limits, and pinning checked at the handshake, so that a unit
// whose certificate changed receives nothing.

#include "support/httpserver.h"
#include "support/testsupport.h"
#include "units/api.h"
#include "units/store.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using testsupport::Seen;

units::Api::Reply run(const std::function<void(units::Api::Callback)> &send)
{
    std::optional<units::Api::Reply> out;
    send([&](const units::Api::Reply &r) { out = r; });
    if (!QTest::qWaitFor([&] { return out.has_value(); }, 30000))
        qWarning("no reply arrived");
    return out.value_or(units::Api::Reply{});
}

QString pinsPath()
{
    return units::configPath(u"pins.json"_s);
}

} // namespace

class TestApi final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certs;
    QString m_fingerprint[2];
    QStringList m_keys; // of every server made, so that no pin outlives its test

    QSslCertificate m_cert[2];
    QSslKey m_key[2];

    std::unique_ptr<testsupport::HttpServer> server(bool tls, int certificate = 0)
    {
        auto s = std::make_unique<testsupport::HttpServer>(tls);
        if ((tls && !s->useCertificate(m_cert[certificate], m_key[certificate])) || !s->listen())
            return nullptr;
        m_keys << units::unitKey(u"127.0.0.1"_s, s->port());
        s->routes["/api/ui"] = {};
        return s;
    }
    static void aim(units::Api &api, const testsupport::HttpServer *server, bool tls = true)
    {
        api.setUnit(u"127.0.0.1"_s, server->port(), tls);
    }
    static units::Api::Reply get(units::Api &api, const char *path = "/api/ui")
    {
        return units::waitFor(api, QString::fromLatin1(path), 8000);
    }

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        for (int i = 0; i < 2; ++i) {
            QVERIFY(testsupport::makeCertificate(m_certs.path(), u"unit%1"_s.arg(i)));
            m_cert[i] = QSslCertificate(testsupport::readFile(m_certs.filePath(u"unit%1.pem"_s.arg(i))), QSsl::Pem);
            m_key[i] = QSslKey(testsupport::readFile(m_certs.filePath(u"unit%1.key"_s.arg(i))), QSsl::Ec, QSsl::Pem);
            // Qt's own digest, to check ours against something we did not compute.
            m_fingerprint[i] = QString::fromLatin1(m_cert[i].digest(QCryptographicHash::Sha256).toHex());
        }
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
        QTest::addColumn<QString>("error");
        QTest::newRow("200 not JSON") << 200 << QByteArray("plain words") << QString();
        QTest::newRow("401 with error") << 401 << QByteArray(R"({"error":"wrong passcode"})") << u"wrong passcode"_s;
    }
    void replies()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        for (const bool tls : {false, true}) {
            auto s = server(tls);
            QVERIFY(s);
            s->routes["/api/state"] = {status, body};
            units::Api api;
            aim(api, s.get(), tls);
            const units::Api::Reply r = get(api, "/api/state");
            QCOMPARE(r.status, status);
            QCOMPARE(r.ok, status == 200);
            QCOMPARE(r.body, body);
            QCOMPARE(r.json, QJsonDocument::fromJson(body).object());
            QCOMPARE(QFile::exists(pinsPath()), tls); // plain HTTP never touches the pins
            QCOMPARE(r.error, error);
        }
    }

    void requestsAndSignIn()
    {
        auto s = server(false);
        QVERIFY(s);
        s->routes["/api/view"] = s->routes["/api/day"] = {};
        units::Api api;
        aim(api, s.get(), false);
        const auto signIn = [&](const QByteArray &answer) {
            s->routes["/api/login"] = {200, answer};
            return run([&](units::Api::Callback cb) { api.login(u"s3cret"_s, cb); });
        };
        const QJsonObject body{{"action"_L1, "start"_L1}, {"fields"_L1, QJsonObject{{"speed"_L1, 2}}}};
        QVERIFY(units::waitForPost(api, u"/api/view"_s, body, 8000).ok);
        QVERIFY(signIn(R"({"token":"t-1"})").ok);
        // Only the first "?" splits the path from the query; one left in the path would give a 404.
        QVERIFY(get(api, "/api/day?date=2026-11-21&x=1?y").ok);
        QCOMPARE(s->seen.size(), 3);
        const Seen &post = s->seen.at(0), &login = s->seen.at(1), &day = s->seen.at(2);
        QCOMPARE(post.method + ' ' + post.target + ' ' + post.body,
                 R"(POST /api/view {"action":"start","fields":{"speed":2}})");
        QVERIFY(!post.headers.contains("authorization"));
        QCOMPARE(login.method + ' ' + login.target + ' ' + login.body, R"(POST /api/login {"password":"s3cret"})");
        QCOMPARE(day.method + ' ' + day.target, "GET /api/day?date=2026-11-21&x=1?y");
        QCOMPARE(day.headers.value("authorization"), "Bearer t-1");
        // A 200 without a token drops the one held.
        QVERIFY(signIn(R"({"ok":true})").ok);
        QVERIFY(!api.hasToken(api.key()));
    }

    void failures()
    {
        // Asked and kept silent: a time-out; then the port closed: a refusal.
        units::Api api;
        auto s = server(true);
        QVERIFY(s);
        s->routes["/api/ui"] = {200, "{}", true};
        aim(api, s.get());
        for (const bool listening : {true, false}) {
            if (!listening)
                s.reset();
            const units::Api::Reply r = units::waitFor(api, u"/api/ui"_s, 1000);
            QVERIFY(!r.ok && !r.error.isEmpty() && !r.certChanged && r.status == 0);
        }
    }

    void pinning_data()
    {
        QTest::addColumn<bool>("writable");
        QTest::newRow("pins.json written") << true;
        QTest::newRow("pins.json cannot be written: pins held in memory") << false;
    }
    void pinning()
    {
        QFETCH(bool, writable);
        if (!writable)
            QVERIFY(QDir().mkpath(pinsPath())); // a folder where pins.json would go
        auto s = server(true, 0), other = server(true, 1);
        QVERIFY(s && other);
        s->routes["/api/wait"] = {200, "{}", true};
        units::Api api;
        aim(api, s.get());
        const QString first = api.key();

        // First contact pins at the handshake, before any answer.
        bool answered = false;
        api.get(
            u"/api/wait"_s, [&](const units::Api::Reply &) { answered = true; }, 1000);
        QVERIFY(QTest::qWaitFor([&] { return !s->seen.isEmpty(); }, 8000));
        QCOMPARE(units::pinFor(first), m_fingerprint[0]);
        QVERIFY(!answered);
        QVERIFY(s->useCertificate(m_cert[1], m_key[1])); // refused: the changed-certificate test
        // Pins are per unit key: another unit with that certificate is pinned beside the first.
        aim(api, other.get());
        QVERIFY(get(api).ok);
        const QJsonObject pins{{first, m_fingerprint[0]}, {api.key(), m_fingerprint[1]}};
        if (writable)
            QCOMPARE(QJsonDocument::fromJson(testsupport::readFile(pinsPath())).object(), pins);
        else
            QVERIFY(QFileInfo(pinsPath()).isDir());
        // Accepting the new certificate (forgetting the old pin, held or written): the next handshake pins it.
        aim(api, s.get());
        units::forgetPin(first);
        QVERIFY(get(api).ok);
        QCOMPARE(units::pinFor(first), m_fingerprint[1]);
    }

    void changedCertificateGetsNothing_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("the unit restarted with another certificate") << u"restart"_s;
        QTest::newRow("the pin changed, a connection with the old one kept alive") << u"repin"_s;
    }
    void changedCertificateGetsNothing()
    {
        QFETCH(QString, change);
        auto s = server(true, 0);
        QVERIFY(s);
        s->routes["/api/login"] = {200, R"({"token":"token-secret"})"};
        s->routes["/api/view"] = {};
        units::Api api;
        aim(api, s.get());
        QVERIFY(run([&](units::Api::Callback cb) { api.login(u"first-passcode"_s, cb); }).ok);
        const auto repin = [&] {
            units::forgetPin(api.key());
            units::setPin(api.key(), m_fingerprint[1]);
        };
        if (change == u"restart"_s) {
            QVERIFY(s->useCertificate(m_cert[1], m_key[1]));
            s->dropConnections();
        }
        if (change == u"repin"_s)
            repin();
        s->received.clear();

        // All at once: the passcode of a sign-in, the bearer token, a field value.
        QList<units::Api::Reply> replies;
        const auto collect = [&](const units::Api::Reply &r) { replies << r; };
        api.login(u"second-passcode"_s, collect);
        api.get(u"/api/ui"_s, collect, 8000);
        api.post(u"/api/view"_s, {{"fields"_L1, QJsonObject{{"serial"_L1, "field-secret"_L1}}}}, collect, 8000);
        QVERIFY(QTest::qWaitFor([&] { return replies.size() == 3; }, 30000));
        for (const units::Api::Reply &r : std::as_const(replies)) {
            QVERIFY(!r.ok && r.certChanged && r.body.isEmpty());
            QCOMPARE(r.error, u"this unit's certificate has changed"_s);
        }
        QCOMPARE(s->received, QByteArray()); // not one byte after the handshakes
        QCOMPARE(units::pinFor(api.key()), m_fingerprint[change.startsWith(u"repin"_s) ? 1 : 0]);
    }
};

QTEST_GUILESS_MAIN(TestApi)
#include "tst_api.moc"
