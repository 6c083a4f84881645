// The phone page through real sockets: the exact bytes of every kind of answer, Apply signing
// phones out, hostile clients, and the "Phone access" dialog. It listens on
// every address, so it runs inside the private site network (tests/netns-run).

#include "app/base/modal.h"
#include "app/base/settings.h"
#include "phone/access.h"
#include "phone/pages.h"
#include "phone/phone.h"
#include "phonetest.h"
#include "support/testsupport.h"

#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

using phonetest::unit;

namespace {

// Typed by the technician on the laptop; the browser sends it URL-encoded.
const QString kPassword = u"crane & hook = 7"_s;

// Runs a program to its end while this event loop (and so the server) keeps running; its output.
QByteArray run(const QString &program, const QStringList &args, int timeoutMs = 15000)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel); // a sanitizer's report shows in the log
    p.start(program, args);
    if (!QTest::qWaitFor([&] { return p.state() == QProcess::NotRunning; }, timeoutMs)) {
        p.kill();
        p.waitForFinished(2000);
    }
    return p.readAllStandardOutput();
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

} // namespace

class TestPhoneServer final : public QObject
{
    Q_OBJECT

    QByteArray curl(const QStringList &args)
    {
        return run(u"curl"_s,
                   QStringList{u"-sS"_s, u"-i"_s, u"--max-time"_s, u"8"_s} + args + QStringList{m_base + u"/"_s});
    }
    QByteArray signIn() { return tokenIn(curl({u"--data-urlencode"_s, u"p="_s + kPassword})); }
    phone::Phone m_phone;
    QString m_base;
    QList<units::Unit> m_units;

    // Runs the dialog, sets its fields, presses Apply, and returns what it says.
    QString applyInDialog(bool enabled, int port, const QString &password)
    {
        QString status;
        app::setNextAnswer([&](QDialog *box) {
            auto *spin = box->findChild<QSpinBox *>(u"phonePort"_s);
            QCOMPARE(spin->value(), app::loadSettings().value("phonePort"_L1).toInt(phone::kDefaultPort)); // as saved
            spin->setValue(port);
            box->findChild<QCheckBox *>(u"phoneEnabled"_s)->setChecked(enabled);
            auto *field = box->findChild<QLineEdit *>(u"phonePassword"_s);
            QCOMPARE(field->echoMode(), QLineEdit::Password);
            field->setText(password);
            const QList<QPushButton *> buttons = box->findChildren<QPushButton *>();
            const bool applyFirst = buttons[0]->text() == u"Apply"_s;
            QTest::mouseClick(buttons[applyFirst ? 0 : 1], Qt::LeftButton);
            status = box->findChild<QLabel *>(u"phoneStatus"_s)->text();
            QTest::mouseClick(buttons[applyFirst ? 1 : 0], Qt::LeftButton);
        });
        QWidget parent;
        phone::phoneAccess(&parent, m_phone);
        return status;
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
        QTest::newRow("the cookie") << QStringList{u"-b"_s, u"sc=$T"_s} << u"status"_s << false;
        QTest::newRow("a made-up cookie") << QStringList{u"-b"_s, u"sc=0123456789abcdef"_s} << u"signin"_s << false;
        QTest::newRow("the password, encoded as a browser does")
            << QStringList{u"--data-urlencode"_s, encoded} << u"status"_s << true;
        QTest::newRow("the password sent raw") << QStringList{u"-d"_s, encoded} << u"wrong"_s << false;
    }

    void answers()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, page);
        QFETCH(bool, setsCookie);
        const QByteArray token = signIn();
        QCOMPARE(token.size(), 64);
        args.replaceInStrings(u"$T"_s, QString::fromLatin1(token));

        const QByteArray body =
            page == u"status"_s ? phone::statusPage(m_units).toUtf8() : phone::signInPageBytes(page == u"wrong"_s);
        const char *status = page == u"status"_s ? "200 OK" : "401 Unauthorized";
        QCOMPARE(curl(args), head(status, setsCookie ? token : QByteArray(), body) + body);
    }

    void oldCookieAfterApply()
    {
        const QByteArray before = signIn();
        QCOMPARE(curl({u"-b"_s, u"sc="_s + QString::fromLatin1(before)}).left(15), "HTTP/1.1 200 OK");

        const QString applied = applyInDialog(true, m_phone.port(), kPassword);
        // Inside the site network the laptop's first non-loopback IPv4 address is one of 10.77.0.x.
        const QRegularExpression shown(u"^Phones browse to:  http://10\\.77\\.0\\.\\d+:%1$"_s.arg(m_phone.port()));
        QVERIFY2(shown.match(applied).hasMatch(), qPrintable(applied));

        QCOMPARE(curl({u"-b"_s, u"sc="_s + QString::fromLatin1(before)}).left(25), "HTTP/1.1 401 Unauthorized");
        const QByteArray after = signIn();
        QVERIFY(after != before);
        QCOMPARE(curl({u"-b"_s, u"sc="_s + QString::fromLatin1(after)}).left(15), "HTTP/1.1 200 OK");
    }

    // Hostile clients all at once: random bytes, hundreds of guessed cookies
    // with a length that lies, and a client trickling its request (the request tests guess passwords).
    // Nobody is let in, every answer is a 401 or none, no connection is left behind, a phone signs in.
    void hostileClients()
    {
        QRandomGenerator rng(18);
        const auto bytes = [&](int n, const char *alphabet = nullptr) {
            QByteArray b(n, Qt::Uninitialized);
            for (char &c : b)
                c = alphabet ? alphabet[rng.bounded(16)] : char(rng.bounded(256));
            return b;
        };
        QObject clients;
        auto *slow = new QTcpSocket(&clients); // never finishes its request
        connect(slow, &QTcpSocket::connected, slow, [slow] { slow->write("GET / HTTP/1.1\r\nCookie: sc="); });
        slow->connectToHost(QHostAddress::LocalHost, m_phone.port());
        for (int i = 0; i < 300; ++i) {
            QByteArray r;
            if (i % 2) {
                r = bytes(int(rng.bounded(2000))) + (i % 4 == 1 ? "\r\n\r\n" : "");
            } else {
                for (int n = int(rng.bounded(400)); n >= 0; --n)
                    r += "Cookie: sc=" + bytes(64, "0123456789abcdef") + "\r\n";
                r = "POST / HTTP/1.1\r\n" + r + "Content-Length: " + QByteArrayList{"-1", "9", "abc"}.at(i / 2 % 3) +
                    "\r\n\r\np=x";
            }
            auto *socket = new QTcpSocket(&clients);
            connect(socket, &QTcpSocket::connected, socket, [socket, r] { socket->write(r); });
            socket->connectToHost(QHostAddress::LocalHost, m_phone.port());
        }
        QTest::qWait(3000); // every quick client is answered or closed meanwhile
        int answered = 0;
        for (QTcpSocket *socket : clients.findChildren<QTcpSocket *>()) {
            const QByteArray got = socket->readAll();
            QVERIFY2(got.isEmpty() || got.startsWith("HTTP/1.1 401 Unauthorized\r\n"), got.left(100).constData());
            answered += got.isEmpty() ? 0 : 1;
        }
        QVERIFY(answered > 50);
        for (QTcpSocket *socket : clients.findChildren<QTcpSocket *>())
            socket->abort();
        QTRY_COMPARE_WITH_TIMEOUT(m_phone.findChildren<QTcpSocket *>().size(), 0, 10000);
        QCOMPARE(signIn().size(), 64);
    }

    void dialogPortTaken()
    {
        QTcpServer taken;
        QVERIFY(taken.listen(QHostAddress::Any, 0));
        const quint16 number = taken.serverPort();
        app::saveSettings(QJsonObject{{"theme"_L1, "x"_L1}, {"phonePort"_L1, 8123}});
        QCOMPARE(applyInDialog(true, number, u"pw"_s), u"Could not listen on port %1"_s.arg(number));
        QVERIFY(!m_phone.isListening());
        // Apply keeps the settings it does not own.
        QCOMPARE(app::loadSettings(), (QJsonObject{{"theme"_L1, "x"_L1},
                                                   {"phoneEnabled"_L1, true},
                                                   {"phonePort"_L1, number},
                                                   {"phonePassword"_L1, u"pw"_s}}));
    }

    // Never open without a password; with one, on the default port when none is saved.
    void startFromSettings()
    {
        m_phone.stop();
        app::saveSettings(testsupport::json(R"({"phoneEnabled": true, "phonePassword": ""})"));
        QVERIFY(!phone::startFromSettings(m_phone) && !m_phone.isListening());
        app::saveSettings(testsupport::json(R"({"phoneEnabled": true, "phonePassword": "pw"})"));
        QVERIFY(phone::startFromSettings(m_phone) && m_phone.isListening());
        QCOMPARE(m_phone.port(), phone::kDefaultPort);
    }
};

QTEST_MAIN(TestPhoneServer)
#include "tst_phoneserver.moc"
