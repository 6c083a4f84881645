// The simulator as a client meets it: kestro-unit-sim runs as its own process inside a private
// site network, and real sockets talk to it (a UDP probe, HTTPS through QNetworkAccessManager
// trusting exactly the certificate that the unit generated). The routes one by one are in
// tst_simunit; here what only sockets show: certificates, tokens, discovery, the process itself.

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
    QString error;
    QSslCertificate peer;
};

QSslCertificate certificateIn(const QString &file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? QSslCertificate::fromData(f.readAll(), QSsl::Pem).value(0) : QSslCertificate();
}

QString url(const QString &address, const QString &path)
{
    return u"https://%1:8090%2"_s.arg(address, path);
}

QJsonObject login(const QString &passcode)
{
    return {{u"password"_s, passcode}};
}

} // namespace

class TestSimSite : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certs;
    testsupport::SimProcess m_sim{QStringLiteral(KESTRO_UNIT_SIM)};
    QNetworkAccessManager m_net;

    QSslCertificate unitCert(int n) const { return certificateIn(m_certs.filePath(u"KU-0420%1.crt"_s.arg(n))); }

    Reply call(const QString &method, const QString &address, const QJsonObject &body = {}, const QString &token = {},
               const QSslCertificate &trust = QSslCertificate())
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
            tls.setCaCertificates({trust.isNull() ? unitCert(address.contains(kUnit2) ? 2 : 1) : trust});
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
        r.json = QJsonDocument::fromJson(reply->readAll()).object();
        r.error = reply->error() == QNetworkReply::NoError ? QString() : reply->errorString();
        r.peer = reply->sslConfiguration().peerCertificate();
        reply->deleteLater();
        return r;
    }

    QString signIn(const QString &address)
    {
        return call(u"POST"_s, url(address, u"/api/login"_s), login(kPasscode)).json.value(u"token"_s).toString();
    }

private slots:
    void initTestCase()
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
    void cleanupTestCase() { m_sim.stop(); }

    // A subnet broadcast reaches both units; each answers from its own address.
    void discovery()
    {
        const QStringList senders{kUnit1, kUnit2};
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
        QVERIFY(socket.writeDatagram("KESTRO_SHUTTLE_DISCOVER_V1", QHostAddress(u"10.77.0.255"_s), 8091) > 0);
        QTRY_COMPARE_WITH_TIMEOUT(answers.size(), senders.size(), 5000);
        for (const QString &sender : senders) {
            QVERIFY2(answers.contains(sender), qPrintable(answers.keys().join(u", "_s)));
            const QJsonObject a = answers.value(sender);
            QCOMPARE(a.value(u"app"_s).toString(), u"shuttle-commissioning"_s);
            QCOMPARE(a.value(u"tls"_s).toBool(), true);
            QCOMPARE(a.value(u"hostname"_s).toString(), sender == kUnit1 ? u"shuttle-01"_s : u"shuttle-02"_s);
        }
    }

    void signInAndScreen()
    {
        QCOMPARE(call(u"POST"_s, url(kUnit1, u"/api/login"_s), login(u"not-it"_s)).status, 401);
        const Reply one = call(u"POST"_s, url(kUnit1, u"/api/login"_s), login(kPasscode));
        QCOMPARE(one.status, 200);
        QCOMPARE(one.peer, unitCert(1));
        const QString token = one.json.value(u"token"_s).toString();
        // A token belongs to the unit that gave it.
        QCOMPARE(call(u"GET"_s, url(kUnit2, u"/api/ui"_s), {}, token).status, 401);
        const Reply ui = call(u"GET"_s, url(kUnit1, u"/api/ui"_s), {}, token);
        QCOMPARE(ui.status, 200);
        QCOMPARE(ui.json.value(u"screen"_s).toObject().value(u"steps"_s).toArray().size(), 5);

        // Each unit has its own certificate: trusting unit 1's does not get a client into unit 2.
        const Reply two = call(u"POST"_s, url(kUnit2, u"/api/login"_s), login(kPasscode));
        QVERIFY(!two.peer.isNull() && two.peer != one.peer);
        const Reply wrongTrust = call(u"POST"_s, url(kUnit2, u"/api/login"_s), login(kPasscode), {}, unitCert(1));
        QCOMPARE(wrongTrust.status, 0);
        QVERIFY(!wrongTrust.error.isEmpty());
    }

    void lockOutIsPerUnit()
    {
        QList<int> statuses;
        for (const QString &passcode : {u"a"_s, u"b"_s, u"c"_s, kPasscode})
            statuses << call(u"POST"_s, url(kUnit2, u"/api/login"_s), login(passcode)).status;
        QCOMPARE(statuses, (QList<int>{401, 401, 429, 429}));
        QVERIFY(!signIn(kUnit1).isEmpty());
    }

    void otherCertificate()
    {
        // What a client that pinned the usual one must refuse.
        testsupport::SimProcess sim(QStringLiteral(KESTRO_UNIT_SIM));
        QVERIFY2(sim.start(
                     {u"--port"_s, u"8290"_s, u"--no-discovery"_s, u"--cert-dir"_s, m_certs.path(), u"--other-cert"_s}),
                 sim.output().constData());
        const Reply r = call(u"POST"_s, u"https://10.77.0.21:8290/api/login"_s, login(u"kestro-site"_s), {},
                             certificateIn(m_certs.filePath(u"KU-04201-other.crt"_s)));
        QCOMPARE(r.status, 200);
        QVERIFY(!r.peer.isNull() && r.peer != unitCert(1));
    }

    // A second simulator on the same address says why it cannot start.
    void addressInUseExits()
    {
        QProcess p;
        p.start(QStringLiteral(KESTRO_UNIT_SIM),
                {u"--units"_s, u"1"_s, u"--no-discovery"_s, u"--cert-dir"_s, m_certs.path()});
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitCode(), 1);
        const QByteArray err = p.readAllStandardError();
        QVERIFY2(err.contains("cannot listen on 10.77.0.21:8090"), err.constData());
    }

    void stopsCleanlyOnSignal()
    {
        m_sim.process().terminate();
        QVERIFY(m_sim.process().waitForFinished(10000));
        QCOMPARE(m_sim.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_sim.process().exitCode(), 0);
        QVERIFY(m_sim.process().readAllStandardOutput().contains("stopping"));
    }
};

QTEST_GUILESS_MAIN(TestSimSite)
#include "tst_simsite.moc"
