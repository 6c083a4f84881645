// The phone page's request handling as a pure function of the bytes received: when to wait, when
// to close without a word, what a request carries, who is let in, and a fuzz loop over random
// and mutated requests.

#include "phone/request.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using Next = phone::Request::Next;
Q_DECLARE_METATYPE(phone::Request::Next)

namespace {

const QString kToken = u"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"_s;
const QString kPassword = u"crane & hook = 7"_s;

QByteArray post(const QByteArray &body, const QByteArray &extra = {})
{
    return "POST / HTTP/1.1\r\nHost: pc\r\n" + extra + "Content-Length: " + QByteArray::number(body.size()) +
           "\r\n\r\n" + body;
}

} // namespace

class TestPhoneRequest final : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Next>("next");
        QTest::addColumn<bool>("isPost");
        QTest::addColumn<QString>("cookie");
        QTest::addColumn<QByteArray>("body");

        const QByteArray filler(16384 - 4, 'x');
        QTest::newRow("nothing yet") << QByteArray() << Next::Wait << false << QString() << QByteArray();
        QTest::newRow("headers not ended")
            << "GET / HTTP/1.1\r\nHost: pc\r\n"_ba << Next::Wait << false << QString() << QByteArray();
        QTest::newRow("bare line feeds never end the headers")
            << "GET / HTTP/1.1\n\n"_ba << Next::Wait << false << QString() << QByteArray();
        QTest::newRow("16384 bytes without an end wait")
            << "GET " + filler << Next::Wait << false << QString() << QByteArray();
        QTest::newRow("16385 close") << "GET " + filler + 'x' << Next::Close << false << QString() << QByteArray();
        QTest::newRow("long headers that end are read") << "GET / HTTP/1.1\r\nX: " + filler + filler + "\r\n\r\n"
                                                        << Next::Answer << false << QString() << QByteArray();
        QTest::newRow("get") << "GET /anything?x=1 HTTP/1.1\r\nHost: pc\r\n\r\n"_ba << Next::Answer << false
                             << QString() << QByteArray();
        QTest::newRow("post") << post("p=x") << Next::Answer << true << QString() << "p=x"_ba;
        QTest::newRow("lower-case post is not a post")
            << "post / HTTP/1.1\r\n\r\np=x"_ba << Next::Answer << false << QString() << "p=x"_ba;
        QTest::newRow("body short of its length waits") << "POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\np=abc"_ba
                                                        << Next::Wait << false << QString() << QByteArray();
        QTest::newRow("body past its length is all body") << "POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\np=abcdef"_ba
                                                          << Next::Answer << true << QString() << "p=abcdef"_ba;
        QTest::newRow("length in another case is not a length")
            << "POST / HTTP/1.1\r\ncontent-length: 10\r\n\r\np=abc"_ba << Next::Answer << true << QString()
            << "p=abc"_ba;
        QTest::newRow("length that is not a number")
            << "POST / HTTP/1.1\r\nContent-Length: ten\r\n\r\n"_ba << Next::Answer << true << QString() << QByteArray();
        QTest::newRow("the last length counts")
            << "POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 9\r\n\r\np=x"_ba << Next::Wait << false
            << QString() << QByteArray();
        QTest::newRow("a body past the request limit closes")
            << "POST / HTTP/1.1\r\nContent-Length: 99999999\r\n\r\n" + QByteArray(phone::kRequestLimit, 'p')
            << Next::Close << false << QString() << QByteArray();
        QTest::newRow("cookie in any case, trimmed") << "GET / HTTP/1.1\r\ncOOkIe:   a=1; sc=z  \r\n\r\n"_ba
                                                     << Next::Answer << false << u"a=1; sc=z"_s << QByteArray();
        QTest::newRow("the last cookie line counts") << "GET / HTTP/1.1\r\nCookie: a=1\r\nCookie: b=2\r\n\r\n"_ba
                                                     << Next::Answer << false << u"b=2"_s << QByteArray();
        QTest::newRow("cookie as UTF-8") << "GET / HTTP/1.1\r\nCookie: n=\xc3\xa9\r\n\r\n"_ba << Next::Answer << false
                                         << u"n=é"_s << QByteArray();
    }
    void parse()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(Next, next);
        const phone::Request r = phone::parseRequest(bytes);
        QCOMPARE(r.next, next);
        if (next != Next::Answer)
            return;
        QTEST(r.post, "isPost");
        QTEST(r.cookie, "cookie");
        QTEST(r.body, "body");
    }

    void authorise_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("authorised");
        QTest::addColumn<bool>("wrong");

        const QByteArray sc = "sc=" + kToken.toLatin1();
        const auto get = [](const QByteArray &cookie) -> QByteArray {
            return "GET / HTTP/1.1\r\nCookie: " + cookie + "\r\n\r\n";
        };
        QTest::newRow("no cookie") << "GET / HTTP/1.1\r\n\r\n"_ba << kPassword << false << false;
        QTest::newRow("the cookie") << get(sc) << kPassword << true << false;
        QTest::newRow("among others, spaced") << get("a=b;  " + sc + " ;c=d") << kPassword << true << false;
        QTest::newRow("longer token") << get(sc + "0") << kPassword << false << false;
        QTest::newRow("shorter token") << get(sc.chopped(1)) << kPassword << false << false;
        QTest::newRow("other cookie name") << get("SC=" + kToken.toLatin1()) << kPassword << false << false;
        QTest::newRow("two cookies in one piece") << get(sc + ",x=1") << kPassword << false << false;
        QTest::newRow("the cookie but no password") << get(sc) << QString() << false << false;
        QTest::newRow("right password") << post("p=crane+%26+hook+%3D+7") << kPassword << true << false;
        QTest::newRow("percent-encoded spaces") << post("p=crane%20%26%20hook%20%3D%207") << kPassword << true << false;
        QTest::newRow("among other fields") << post("x=1&p=crane+%26+hook+%3D+7&y") << kPassword << true << false;
        QTest::newRow("the first p counts") << post("p=nope&p=crane+%26+hook+%3D+7") << kPassword << false << true;
        QTest::newRow("unencoded & splits") << post("p=crane & hook = 7") << kPassword << false << true;
        QTest::newRow("wrong password") << post("p=crane") << kPassword << false << true;
        QTest::newRow("no field") << post("q=1") << kPassword << false << true;
        QTest::newRow("empty body") << post("") << kPassword << false << true;
        QTest::newRow("UTF-8 password") << post("p=%C3%A9t%C3%A9") << u"été"_s << true << false;
        QTest::newRow("case matters") << post("p=CRANE+%26+HOOK+%3D+7") << kPassword << false << true;
        QTest::newRow("empty password lets no form in") << post("p=") << QString() << false << false;
        QTest::newRow("cookie wins over a wrong form")
            << post("p=nope", "Cookie: " + sc + "\r\n") << kPassword << true << false;
        QTest::newRow("a GET's body signs nobody in")
            << "GET / HTTP/1.1\r\nContent-Length: 22\r\n\r\np=crane+%26+hook+%3D+7"_ba << kPassword << false << false;
    }
    void authorise()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, password);
        const phone::Request r = phone::parseRequest(bytes);
        QCOMPARE(r.next, Next::Answer);
        const phone::Access a = phone::authorise(r, password, kToken);
        QTEST(a.authorised, "authorised");
        QTEST(a.wrongPassword, "wrong");
    }

    // Random bytes and mutated requests, whole and fed in pieces: nothing crashes, nobody is let
    // in without the token or the password, and every answer is well formed.
    void fuzz()
    {
        const QList<QByteArray> seeds = {
            "GET / HTTP/1.1\r\nHost: pc\r\nCookie: a=1; sc=deadbeef\r\n\r\n",
            post("p=hunter2&x=%zz%%41+"),
            "POST / HTTP/1.1\r\nContent-Length: 4\r\ncookie: sc=\r\n\r\np=%",
        };
        const QByteArray statusPage = "<status>";
        QRandomGenerator rng(18);
        const auto randomBytes = [&](int n) {
            QByteArray b(n, Qt::Uninitialized);
            for (char &c : b)
                c = char(rng.bounded(256));
            return b;
        };
        const char *pieces[] = {
            "\r\n", "\r\n\r\n", "Content-Length: ",    "Cookie: ", "sc=", ";", "&", "=", "p=", "%", "+", "POST",
            "\n",   "-1",       "99999999999999999999"};
        int answered = 0, waited = 0, closed = 0;
        for (int i = 0; i < 20000; ++i) {
            QByteArray bytes;
            if (i % 4 == 0) {
                bytes = randomBytes(int(rng.bounded(600)));
            } else {
                bytes = seeds[rng.bounded(int(seeds.size()))];
                for (int m = int(rng.bounded(6)); m >= 0; --m) {
                    const int at = int(rng.bounded(int(bytes.size()) + 1));
                    switch (rng.bounded(4)) {
                    case 0:
                        bytes.insert(at, pieces[rng.bounded(int(std::size(pieces)))]);
                        break;
                    case 1:
                        bytes.remove(at, int(rng.bounded(8)));
                        break;
                    case 2:
                        bytes.insert(at, randomBytes(int(rng.bounded(16))));
                        break;
                    default:
                        if (at < bytes.size())
                            bytes[at] = char(rng.bounded(256));
                    }
                }
            }
            if (i % 97 == 0)
                bytes = "GET / HTTP/1.1\r\n" + QByteArray(int(rng.bounded(30000)), 'h') + bytes;

            // Fed in pieces the way readyRead delivers it: answered or closed at most once.
            for (qsizetype cut = qMin<qsizetype>(bytes.size(), rng.bounded(40)); cut < bytes.size();
                 cut += 1 + rng.bounded(64)) {
                const phone::Request r = phone::parseRequest(bytes.first(cut));
                if (r.next != Next::Wait)
                    break;
            }
            const phone::Request r = phone::parseRequest(bytes);
            if (r.next == Next::Wait) {
                ++waited;
                QVERIFY(bytes.size() < phone::kRequestLimit);
                continue;
            }
            if (r.next == Next::Close) {
                ++closed;
                QVERIFY(bytes.size() >= phone::kHeaderLimit);
                continue;
            }
            ++answered;
            QVERIFY(bytes.contains("\r\n\r\n"));
            const QByteArray out = phone::respond(r, kPassword, kToken, statusPage);
            QVERIFY2(out.startsWith("HTTP/1.1 401 Unauthorized\r\n"), bytes.toPercentEncoding().constData());
            const qsizetype head = out.indexOf("\r\n\r\n");
            QVERIFY(head > 0);
            QVERIFY(
                out.contains(QByteArray("\r\nContent-Length: " + QByteArray::number(out.size() - head - 4) + "\r\n")));
            QVERIFY(!out.contains("Set-Cookie"));
        }
        // The generator reached every outcome, so the loop tested what it claims to.
        QVERIFY(answered > 1000);
        QVERIFY(waited > 1000);
        QVERIFY(closed > 10);
    }
};

QTEST_GUILESS_MAIN(TestPhoneRequest)
#include "tst_phonerequest.moc"
