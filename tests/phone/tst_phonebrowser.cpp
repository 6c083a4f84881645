// A phone's view of the status page: headless Chromium, driven through
// chromedriver's WebDriver API, signs in through the form, keeps the cookie, reads the status of
// the simulated units (kestro-unit-sim, found by real discovery broadcasts in the private site
// network).
//
// Chromium and chromedriver are Debian packages that scripts/test installs; without them the test
// skips, except under CI (CI=true), where a run must never pass without it.

#include "phone/phone.h"
#include "support/simprocess.h"
#include "support/testsupport.h"
#include "units/discovery.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

class TestPhoneBrowser final : public QObject
{
    Q_OBJECT

    const QString kPassword = u"yard = 4 & gate"_s;
    QNetworkAccessManager m_net;
    testsupport::SimProcess m_sim{QStringLiteral(KESTRO_UNIT_SIM)};
    QProcess m_driver;
    QTemporaryDir m_work;
    QString m_driverUrl, m_session;
    phone::Phone m_phone;
    units::Discovery m_discovery;
    QList<units::Unit> m_units;
    QTimer m_sweeps;

    // One call of chromedriver; the event loop (and so the phone server and
    // discovery) keeps running while it waits.
    QJsonObject call(const QString &method, const QString &url, const QJsonObject &body = {})
    {
        QNetworkRequest req{QUrl(url)};
        req.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
        req.setTransferTimeout(60000);
        QNetworkReply *reply = method == u"GET"_s      ? m_net.get(req)
                               : method == u"DELETE"_s ? m_net.deleteResource(req)
                                                       : m_net.post(req, QJsonDocument(body).toJson());
        if (!QTest::qWaitFor([&] { return reply->isFinished(); }, 65000))
            reply->abort();
        reply->deleteLater();
        return QJsonDocument::fromJson(reply->readAll()).object();
    }
    QJsonValue wd(const QString &method, const QString &path, const QJsonObject &body = {})
    {
        return call(method, m_driverUrl + u"/session/"_s + m_session + path, body).value("value"_L1);
    }
    QJsonValue run(const QString &script)
    {
        return wd(u"POST"_s, u"/execute/sync"_s, {{u"script"_s, script}, {u"args"_s, QJsonArray()}});
    }
    bool waitForText(const QString &text)
    {
        return QTest::qWaitFor([&] { return run(u"return document.body.innerText"_s).toString().contains(text); },
                               20000);
    }
    QString element(const QString &css)
    {
        const QJsonValue found = wd(u"POST"_s, u"/element"_s, {{u"using"_s, u"css selector"_s}, {u"value"_s, css}});
        return u"/element/"_s + found["element-6066-11e4-a52e-4f735466cecf"_L1].toString();
    }

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariable("KESTRO_SITE_NET") != u"1"_s)
            QSKIP("needs the private site network (run through tests/netns-run)");
        const QString chromium = QStandardPaths::findExecutable(u"chromium"_s);
        const QString driver = QStandardPaths::findExecutable(u"chromedriver"_s);
        if (chromium.isEmpty() || driver.isEmpty()) {
            const char *why = "chromium and chromedriver are not installed (scripts/test installs them)";
            if (qEnvironmentVariable("CI") == u"true"_s)
                QFAIL(why);
            QSKIP(why);
        }
        testsupport::isolateConfig();

        // Two units: the first half-way through, the second already commissioned.
        QVERIFY(m_sim.start({u"--units"_s, u"2"_s, u"--http"_s, u"--passcode"_s, u"site-pass-1"_s, u"--start-at"_s,
                             u"drive,commissioned"_s}));
        // The window's part, in small: every sweep's answers go into the list and the list to the phone.
        connect(&m_discovery, &units::Discovery::swept, this, [this](const units::Discovery::Found &found) {
            units::mergeSweep(m_units, found);
            m_phone.setUnits(m_units);
        });
        connect(&m_sweeps, &QTimer::timeout, this, [this] { m_discovery.sweep(false); });
        m_sweeps.start(1000);
        QVERIFY(m_phone.start(0, kPassword));
        QVERIFY(m_phone.url().startsWith(u"http://10.77.0."_s)); // the site address, as a phone sees it

        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 port = probe.serverPort();
        probe.close();
        m_driverUrl = u"http://127.0.0.1:%1"_s.arg(port);
        m_driver.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_driver.start(driver, {u"--port=%1"_s.arg(port)});
        QVERIFY(QTest::qWaitFor(
            [&] { return call(u"GET"_s, m_driverUrl + u"/status"_s)["value"_L1]["ready"_L1].toBool(); }, 30000));

        const QStringList args = u"--headless --no-sandbox --disable-gpu --disable-background-networking "
                                 "--disable-component-update --disable-sync --no-first-run"_s.split(u' ') +
                                 QStringList{u"--user-data-dir="_s + m_work.filePath(u"profile"_s)};
        const QJsonObject chrome = {{u"binary"_s, chromium}, {u"args"_s, QJsonArray::fromStringList(args)}};
        const QJsonObject caps = {{u"alwaysMatch"_s, QJsonObject{{u"goog:chromeOptions"_s, chrome}}}};
        const QJsonObject session = call(u"POST"_s, m_driverUrl + u"/session"_s, {{u"capabilities"_s, caps}});
        m_session = session["value"_L1]["sessionId"_L1].toString();
        QVERIFY2(!m_session.isEmpty(), QJsonDocument(session).toJson().constData());
    }

    void cleanupTestCase()
    {
        if (!m_session.isEmpty())
            call(u"DELETE"_s, m_driverUrl + u"/session/"_s + m_session);
        m_driver.kill();
        m_driver.waitForFinished();
    }

    void signInAndWatch()
    {
        // Both units are on the page's list before the phone comes.
        QVERIFY(
            QTest::qWaitFor([&] { return m_units.size() == 2 && m_units[0].online() && m_units[1].online(); }, 20000));
        wd(u"POST"_s, u"/url"_s, {{u"url"_s, QString(m_phone.url() + u"/"_s)}});
        QVERIFY(waitForText(u"Enter the phone password set on the commissioning PC."_s));
        // The password typed into the form and sent with its button.
        wd(u"POST"_s, element(u"input[name=p]"_s) + u"/value"_s, {{u"text"_s, kPassword}});
        wd(u"POST"_s, element(u"button"_s) + u"/click"_s);
        QVERIFY(waitForText(u"View only - refreshes every 10 seconds."_s));
        QCOMPARE(wd(u"GET"_s, u"/cookie"_s).toArray().size(), 1); // its attributes are tst_phoneserver's
        const QString first = run(u"return document.body.innerText"_s).toString();
        QVERIFY2(first.contains(u"shuttle-01\nIN PROGRESS"_s) && first.contains(u"shuttle-02\nCOMMISSIONED"_s),
                 qPrintable(first));
    }
};

QTEST_MAIN(TestPhoneBrowser)
#include "tst_phonebrowser.moc"
