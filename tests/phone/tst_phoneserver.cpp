// The phone page through real sockets, as phones and curl meet it: the exact bytes of every kind
// of answer, the cookie, the password with form characters, Apply signing phones out, requests
// that are too large or not finished, a flood of hostile clients from another process while a
// 10 ms timer has to keep firing here, and the "Phone access" dialog on its real widgets. It runs
// inside a private network namespace (tests/netns-run), since the server listens on every address.

#include "app/base/modal.h"
#include "app/base/settings.h"
#include "phone/access.h"
#include "phone/pages.h"
#include "phone/phone.h"
#include "phonetest.h"
#include "support/testsupport.h"

#include <QCheckBox>
#include <QDialog>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

using phonetest::unit;

namespace {

// Typed by the technician on the laptop; the browser sends it URL-encoded.
const QString kPassword = u"crane & hook = 7"_s;

struct Run
{
    int exitCode = -1;
    QByteArray out;
};

// Runs a program to its end while this event loop (and so the server) keeps running.
Run run(const QString &program, const QStringList &args, int timeoutMs = 15000)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel); // a sanitizer's report shows in the log
    p.start(program, args);
    if (!QTest::qWaitFor([&] { return p.state() == QProcess::NotRunning; }, timeoutMs)) {
        p.kill();
        p.waitForFinished(2000);
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardOutput()};
}

QByteArray head(const char *status, const QByteArray &setCookieToken, const QByteArray &body)
{
    QByteArray h = "HTTP/1.1 "_ba + status + "\r\nContent-Type: text/html; charset=utf-8\r\n";
    if (!setCookieToken.isEmpty())
        h += "Set-Cookie: sc=" + setCookieToken + "; Path=/; HttpOnly; SameSite=Strict\r\n";
    return h + "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nConnection: close\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n";
}

QByteArray tokenIn(const QByteArray &answer)
{
    static const QRegularExpression re(u"\r\nSet-Cookie: sc=([0-9a-f]{64}); "_s);
    return re.match(QString::fromLatin1(answer)).captured(1).toLatin1();
}

// A free port on every address, found by listening on it once.
quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::Any, 0);
    return probe.serverPort();
}

struct DialogResult
{
    QString status;
    bool enabled = false;
    int port = 0;
    QString password;
};

} // namespace

class TestPhoneServer final : public QObject
{
    Q_OBJECT

    Run curl(const QStringList &args)
    {
        return run(u"curl"_s,
                   QStringList{u"-sS"_s, u"-i"_s, u"--max-time"_s, u"8"_s} + args + QStringList{m_base + u"/"_s});
    }
    QByteArray signIn() { return tokenIn(curl({u"--data-urlencode"_s, u"p="_s + kPassword}).out); }
    phone::Phone m_phone;
    QString m_base;
    QList<units::Unit> m_units;

    // Runs the dialog, sets its fields, presses Apply, and reads what it says.
    DialogResult applyInDialog(bool enabled, int port, const QString &password)
    {
        DialogResult result;
        app::setNextAnswer([&](QDialog *box) {
            QCOMPARE(box->windowTitle(), u"Phone access"_s);
            box->findChild<QCheckBox *>(u"phoneEnabled"_s)->setChecked(enabled);
            box->findChild<QSpinBox *>(u"phonePort"_s)->setValue(port);
            auto *field = box->findChild<QLineEdit *>(u"phonePassword"_s);
            QCOMPARE(field->echoMode(), QLineEdit::Password);
            field->setText(password);
            QPushButton *apply = nullptr;
            QPushButton *close = nullptr;
            for (QPushButton *b : box->findChildren<QPushButton *>())
                (b->text() == u"Apply"_s ? apply : close) = b;
            QVERIFY(apply && close && close->text() == u"Close"_s);
            QTest::mouseClick(apply, Qt::LeftButton);
            result.status = box->findChild<QLabel *>(u"phoneStatus"_s)->text();
            QTest::mouseClick(close, Qt::LeftButton);
        });
        QWidget parent;
        phone::phoneAccess(&parent, m_phone);
        const QJsonObject saved = app::loadSettings();
        result.enabled = saved.value("phoneEnabled"_L1).toBool();
        result.port = saved.value("phonePort"_L1).toInt();
        result.password = saved.value("phonePassword"_L1).toString();
        return result;
    }

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariable("KESTRO_SITE_NET") != u"1"_s)
            QSKIP("listens on every address: run inside the private site network (tests/netns-run)");
        testsupport::isolateConfig();
        m_units = {
            unit(u"shuttle-01 <A&B>"_s, R"({"total_count": 5, "completed_count": 2, "current_step": "IO check"})"),
            unit(u"shuttle-02"_s, "{}")};
        m_phone.setUnits(m_units);
    }

    void init()
    {
        QVERIFY(m_phone.start(0, kPassword));
        m_base = u"http://127.0.0.1:%1"_s.arg(m_phone.port());
    }

    // Every answer, byte for byte. "$T" in the cookie stands for the token a sign-in just gave. Where
    // in a header or form the cookie or password sits is tst_phonerequest's authorise table.
    void answers_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("page"); // signin, wrong or status
        QTest::addColumn<bool>("setsCookie");

        const QString encoded = u"p="_s + kPassword;
        QTest::newRow("visit") << QStringList() << u"signin"_s << false;
        QTest::newRow("any path, any method")
            << QStringList{u"-X"_s, u"DELETE"_s, u"--path-as-is"_s, u"-H"_s, u"X-Path: /../etc"_s} << u"signin"_s
            << false;
        QTest::newRow("the cookie") << QStringList{u"-b"_s, u"sc=$T"_s} << u"status"_s << false;
        QTest::newRow("a made-up cookie") << QStringList{u"-b"_s, u"sc=0123456789abcdef"_s} << u"signin"_s << false;
        QTest::newRow("the password, encoded as a browser does")
            << QStringList{u"--data-urlencode"_s, encoded} << u"status"_s << true;
        QTest::newRow("the password sent raw") << QStringList{u"-d"_s, encoded} << u"wrong"_s << false;
        QTest::newRow("a wrong password") << QStringList{u"-d"_s, u"p=crane"_s} << u"wrong"_s << false;
        QTest::newRow("a POST with the cookie")
            << QStringList{u"-b"_s, u"sc=$T"_s, u"-d"_s, u"x=1"_s} << u"status"_s << true;
        QTest::newRow("the cookie and a wrong password")
            << QStringList{u"-b"_s, u"sc=$T"_s, u"-d"_s, u"p=nope"_s} << u"status"_s << true;
    }

    void answers()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, page);
        QFETCH(bool, setsCookie);
        const QByteArray token = signIn();
        QCOMPARE(token.size(), 64);
        args.replaceInStrings(u"$T"_s, QString::fromLatin1(token));

        const Run r = curl(args);
        QCOMPARE(r.exitCode, 0);
        const QByteArray body =
            page == u"status"_s ? phone::statusPage(m_units).toUtf8() : phone::signInPageBytes(page == u"wrong"_s);
        const char *status = page == u"status"_s ? "200 OK" : "401 Unauthorized";
        QCOMPARE(r.out, head(status, setsCookie ? token : QByteArray(), body) + body);
    }

    void oldCookieAfterApply()
    {
        const QByteArray before = signIn();
        QCOMPARE(curl({u"-b"_s, u"sc="_s + QString::fromLatin1(before)}).out.left(15), "HTTP/1.1 200 OK");

        const DialogResult applied = applyInDialog(true, m_phone.port(), kPassword);
        QVERIFY2(applied.status.startsWith(u"Phones browse to:  "_s), qPrintable(applied.status));

        QCOMPARE(curl({u"-b"_s, u"sc="_s + QString::fromLatin1(before)}).out.left(25), "HTTP/1.1 401 Unauthorized");
        const QByteArray after = signIn();
        QCOMPARE(after.size(), 64);
        QVERIFY(after != before);
        QCOMPARE(curl({u"-b"_s, u"sc="_s + QString::fromLatin1(after)}).out.left(15), "HTTP/1.1 200 OK");
    }

    void oversizedHeadersClosed()
    {
        // Headers that never end: closed once 16385 bytes have come, with nothing sent back.
        QTcpSocket raw;
        raw.connectToHost(QHostAddress::LocalHost, m_phone.port());
        QVERIFY(raw.waitForConnected(5000));
        raw.write("GET / HTTP/1.1\r\nX-Fill: " + QByteArray(16384 - 24, 'f'));
        QVERIFY(QTest::qWaitFor([&] { return raw.bytesToWrite() == 0; }, 5000));
        QTest::qWait(200);
        QCOMPARE(raw.state(), QAbstractSocket::ConnectedState); // 16384 bytes: still waiting
        raw.write("f");
        QTRY_COMPARE_WITH_TIMEOUT(raw.state(), QAbstractSocket::UnconnectedState, 5000);
        QCOMPARE(raw.readAll(), QByteArray());
    }

    void shortBodyWaits()
    {
        // curl promises more body than it sends: the server waits, so curl gives up with nothing.
        QElapsedTimer clock;
        clock.start();
        const Run r = run(u"curl"_s, {u"-sS"_s, u"-i"_s, u"--max-time"_s, u"2"_s, u"-H"_s, u"Content-Length: 40"_s,
                                      u"--data-urlencode"_s, u"p="_s + kPassword, m_base + u"/"_s});
        QCOMPARE(r.exitCode, 28); // timed out
        QCOMPARE(r.out, QByteArray());

        // A client that sends the rest later gets its answer then.
        const QByteArray body = "p=" + kPassword.toUtf8().toPercentEncoding();
        QTcpSocket raw;
        raw.connectToHost(QHostAddress::LocalHost, m_phone.port());
        QVERIFY(raw.waitForConnected(5000));
        raw.write("POST / HTTP/1.1\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body.left(5));
        QTest::qWait(500);
        QCOMPARE(raw.bytesAvailable(), 0);
        QCOMPARE(raw.state(), QAbstractSocket::ConnectedState);
        raw.write(body.mid(5));
        QTRY_COMPARE_WITH_TIMEOUT(raw.state(), QAbstractSocket::UnconnectedState, 5000);
        const QByteArray answer = raw.readAll();
        QVERIFY2(answer.startsWith("HTTP/1.1 200 OK\r\n"), answer.left(200).constData());
        QCOMPARE(tokenIn(answer).size(), 64);
    }

    void hostileFlood()
    {
        // The interface thread's own clock: a 10 ms timer that must keep firing through the flood.
        QList<qint64> gaps;
        QElapsedTimer clock;
        clock.start();
        qint64 last = 0;
        QTimer tick;
        tick.setTimerType(Qt::PreciseTimer);
        connect(&tick, &QTimer::timeout, this, [&] {
            const qint64 now = clock.elapsed();
            gaps << now - last;
            last = now;
        });
        tick.start(10);

        const Run flood = run(QStringLiteral(KESTRO_PHONE_FLOOD),
                              {u"127.0.0.1"_s, QString::number(m_phone.port()), u"6"_s, u"48"_s}, 60000);
        tick.stop();
        qInfo("%s", flood.out.trimmed().constData());
        QCOMPARE(flood.exitCode, 0);

        QHash<QString, qint64> counts;
        const QStringList words = QString::fromLatin1(flood.out).split(u' ', Qt::SkipEmptyParts);
        for (qsizetype i = 0; i + 1 < words.size(); i += 2)
            counts.insert(words[i], words[i + 1].trimmed().toLongLong());
        QVERIFY2(counts.value(u"requests"_s) >= 1000, "the flood sent too little to mean anything");
        QCOMPARE(counts.value(u"ok200"_s), 0);
        QCOMPARE(counts.value(u"other"_s), 0);
        QCOMPARE(counts.value(u"slowanswered"_s), 0);
        QVERIFY(counts.value(u"unauthorised"_s) > 0);
        QVERIFY(counts.value(u"closed"_s) > 0);

        std::sort(gaps.begin(), gaps.end());
        qInfo("timer during the flood: %lld ticks, median gap %lld ms, longest %lld ms", qint64(gaps.size()),
              gaps.value(gaps.size() / 2), gaps.value(gaps.size() - 1));
        QVERIFY2(gaps.size() > 60, "the 10 ms timer hardly fired"); // 600 were due
        QVERIFY2(gaps.last() < 1000, "the event loop stalled for a second or more");

        // Every hostile connection is gone, and a phone still signs in.
        QTRY_COMPARE_WITH_TIMEOUT(m_phone.findChildren<QTcpSocket *>().size(), 0, 10000);
        QCOMPARE(signIn().size(), 64);
    }

    void dialog_data()
    {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QString>("port"); // "free" or "taken"
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("status"); // a pattern, %1 the port
        QTest::addColumn<bool>("listening");

        // Inside the site network the laptop's first non-loopback IPv4 address is one of 10.77.0.x.
        QTest::newRow("on") << true << u"free"_s << u"pw 1"_s << u"Phones browse to:  http://10\\.77\\.0\\.\\d+:%1"_s
                            << true;
        QTest::newRow("on without a password")
            << true << u"free"_s << QString() << u"Set a phone passcode first"_s << true; // left as it was
        QTest::newRow("port taken") << true << u"taken"_s << u"pw"_s << u"Could not listen on port %1"_s << false;
        QTest::newRow("off") << false << u"free"_s << u"pw"_s << u"Phone access off"_s << false;
    }

    void dialog()
    {
        QFETCH(bool, enabled);
        QFETCH(QString, port);
        QFETCH(QString, password);
        QFETCH(QString, status);
        QTcpServer taken;
        quint16 number = freePort();
        if (port == u"taken"_s) {
            QVERIFY(taken.listen(QHostAddress::Any, 0));
            number = taken.serverPort();
        }
        const DialogResult r = applyInDialog(enabled, number, password);
        const QString expected = status.contains(u"%1"_s) ? status.arg(number) : status;
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(expected)).match(r.status).hasMatch(),
                 qPrintable(r.status));
        QTEST(m_phone.isListening(), "listening");
        QCOMPARE(r.enabled, enabled);
        QCOMPARE(r.port, int(number));
        QCOMPARE(r.password, password);
        if (r.status.startsWith(u"Phones"_s))
            QCOMPARE(m_phone.port(), number);
    }

    void dialogShowsSavedSettings()
    {
        for (const auto &[saved, port] : {std::pair{u"{}"_s, 8095},
                                          {u"{\"phoneEnabled\": true, \"phonePort\": 8123, "
                                           "\"phonePassword\": \"s3cret\", \"theme\": \"x\"}"_s,
                                           8123}}) {
            app::saveSettings(testsupport::json(saved.toUtf8().constData()));
            app::setNextAnswer([&, port = port](QDialog *box) {
                QCOMPARE(box->findChild<QSpinBox *>(u"phonePort"_s)->value(), port);
                QCOMPARE(box->findChild<QCheckBox *>(u"phoneEnabled"_s)->isChecked(), port != 8095);
                QCOMPARE(box->findChild<QLineEdit *>(u"phonePassword"_s)->text(),
                         port != 8095 ? u"s3cret"_s : QString());
                QVERIFY(box->minimumWidth() >= 500);
                box->reject();
            });
            phone::phoneAccess(nullptr, m_phone);
        }
        // Apply keeps the settings it does not own.
        applyInDialog(false, 8123, u"s3cret"_s);
        QCOMPARE(app::loadSettings().value("theme"_L1).toString(), u"x"_s);
    }

    void startFromSettings_data()
    {
        QTest::addColumn<QString>("settings"); // %1 a free port
        QTest::addColumn<bool>("starts");
        QTest::newRow("on with a password")
            << u"{\"phoneEnabled\": true, \"phonePort\": %1, \"phonePassword\": \"pw\"}"_s << true;
        QTest::newRow("default port") << u"{\"phoneEnabled\": true, \"phonePassword\": \"pw\"}"_s << true;
        QTest::newRow("no password") << u"{\"phoneEnabled\": true, \"phonePort\": %1, \"phonePassword\": \"\"}"_s
                                     << false;
        QTest::newRow("off") << u"{\"phoneEnabled\": false, \"phonePort\": %1, \"phonePassword\": \"pw\"}"_s << false;
        QTest::newRow("enabled as text") << u"{\"phoneEnabled\": \"true\", \"phonePassword\": \"pw\"}"_s << false;
    }

    void startFromSettings()
    {
        QFETCH(QString, settings);
        QFETCH(bool, starts);
        m_phone.stop();
        const quint16 port = freePort();
        if (settings.contains(u"%1"_s))
            settings = settings.arg(port);
        app::saveSettings(testsupport::json(settings.toUtf8().constData()));
        QCOMPARE(phone::startFromSettings(m_phone), starts);
        QCOMPARE(m_phone.isListening(), starts);
        if (starts)
            QCOMPARE(m_phone.port(), settings.contains("phonePort"_L1) ? port : phone::kDefaultPort);
    }
};

QTEST_MAIN(TestPhoneServer)
#include "tst_phoneserver.moc"
