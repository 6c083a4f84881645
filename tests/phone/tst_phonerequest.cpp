// The phone page as pure functions: the request handling of the bytes received (when to wait or
// close, what a request carries, who is let in, a fuzz loop over random and mutated requests),
// the escaping of every unit text, the card of each kind of unit, and the page around them.

#include "phone/pages.h"
#include "phone/request.h"
#include "phonetest.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using Next = phone::Request::Next;
using phonetest::unit;

namespace {

const QString kToken = u"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"_s;
const QString kPassword = u"crane & hook = 7"_s;

QByteArray post(const QByteArray &body)
{
    return "POST / HTTP/1.1\r\nHost: pc\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

class TestPhoneRequest final : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected"); // "wait", "close", or "POST|GET cookie=... body=..."
        const QByteArray filler(16384 - 4, 'x');
        const auto row = [](const char *name, const QByteArray &bytes, const QString &expected) {
            QTest::newRow(name) << bytes << expected;
        };
        row("bare line feeds never end the headers", "GET / HTTP/1.1\n\n", u"wait"_s);
        row("16385 close", "GET " + filler + 'x', u"close"_s);
        row("post", post("p=x"), u"POST cookie= body=p=x"_s);
        row("body short of its length waits", "POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\np=abc", u"wait"_s);
        row("a body past the limit closes",
            "POST / HTTP/1.1\r\nContent-Length: 99999999\r\n\r\n" + QByteArray(phone::kRequestLimit, 'p'), u"close"_s);
    }
    void parse()
    {
        QFETCH(QByteArray, bytes);
        const phone::Request r = phone::parseRequest(bytes);
        const QString got = r.next == Next::Wait    ? u"wait"_s
                            : r.next == Next::Close ? u"close"_s
                                                    : (r.post ? u"POST"_s : u"GET"_s) + u" cookie="_s + r.cookie +
                                                          u" body="_s + QString::fromUtf8(r.body);
        QTEST(got, "expected");
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
        QTest::newRow("among others, spaced") << get("a=b;  " + sc + " ;c=d") << kPassword << true << false;
        QTest::newRow("longer token") << get(sc + "0") << kPassword << false << false;
        QTest::newRow("the cookie but no password") << get(sc) << QString() << false << false;
        QTest::newRow("right password") << post("p=crane+%26+hook+%3D+7") << kPassword << true << false;
        QTest::newRow("unencoded & splits") << post("p=crane & hook = 7") << kPassword << false << true;
        QTest::newRow("empty password lets no form in") << post("p=") << QString() << false << false;
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
        const QByteArrayList seeds = {"GET / HTTP/1.1\r\nHost: pc\r\nCookie: a=1; sc=deadbeef\r\n\r\n",
                                      post("p=hunter2&x=%zz%%41+"),
                                      "POST / HTTP/1.1\r\nContent-Length: 4\r\ncookie: sc=\r\n\r\np=%"};
        const QByteArrayList pieces = {
            "\r\n", "\r\n\r\n", "Content-Length: ",    "Cookie: ", "sc=", ";", "&", "=", "p=", "%",
            "\n",   "-1",       "99999999999999999999"};
        QRandomGenerator rng(18);
        const auto randomBytes = [&](int n) {
            QByteArray b(n, Qt::Uninitialized);
            for (char &c : b)
                c = char(rng.bounded(256));
            return b;
        };
        int answered = 0, waited = 0, closed = 0;
        for (int i = 0; i < 20000; ++i) {
            QByteArray bytes = i % 4 == 0 ? randomBytes(int(rng.bounded(600))) : seeds[rng.bounded(int(seeds.size()))];
            for (int m = i % 4 == 0 ? -1 : int(rng.bounded(6)); m >= 0; --m) {
                const int at = int(rng.bounded(int(bytes.size()) + 1));
                if (rng.bounded(3) == 0)
                    bytes.remove(at, int(rng.bounded(8)));
                else
                    bytes.insert(at, rng.bounded(2) ? pieces[rng.bounded(int(pieces.size()))]
                                                    : randomBytes(int(rng.bounded(16))));
            }
            if (i % 97 == 0)
                bytes = "GET / HTTP/1.1\r\n" + QByteArray(int(rng.bounded(30000)), 'h') + bytes;
            // Fed in pieces the way readyRead delivers it.
            for (qsizetype cut = qMin<qsizetype>(bytes.size(), rng.bounded(40)); cut < bytes.size();
                 cut += 1 + rng.bounded(64))
                if (phone::parseRequest(bytes.first(cut)).next != Next::Wait)
                    break;
            const phone::Request r = phone::parseRequest(bytes);
            if (r.next != Next::Answer) {
                ++(r.next == Next::Wait ? waited : closed);
                QVERIFY(r.next == Next::Wait ? bytes.size() < phone::kRequestLimit
                                             : bytes.size() >= phone::kHeaderLimit);
                continue;
            }
            ++answered;
            const QByteArray out = phone::respond(r, kPassword, kToken, "<status>");
            QVERIFY2(out.startsWith("HTTP/1.1 401 Unauthorized\r\n"), bytes.toPercentEncoding().constData());
            const qsizetype head = out.indexOf("\r\n\r\n");
            const QByteArray length = "\r\nContent-Length: " + QByteArray::number(out.size() - head - 4) + "\r\n";
            QVERIFY(out.first(head + 2).endsWith(length));
            QVERIFY(!out.contains("Set-Cookie"));
        }
        // The generator reached every outcome, so the loop tested what it claims to.
        QVERIFY(answered > 1000 && waited > 1000 && closed > 10);
    }

    // Every text a unit sends reaches the page only escaped, wherever the page puts it.
    void unitTextsEscaped()
    {
        const QString hostile = u"<img src=x onerror=\"alert('&')\">"_s;
        units::Unit u = unit(u"shuttle"_s, R"({"total_count": 5, "completed_count": 1, "activity_total": 4})");
        u.name = hostile;
        for (const char *field : {"current_step", "activity", "activity_detail"})
            u.state.insert(QLatin1StringView(field), hostile);
        const QString page = phone::statusPage({u});
        QVERIFY(!page.contains("<img"_L1));
        QCOMPARE(page.count(u"&lt;img src=x onerror=&quot;alert('&amp;')&quot;&gt;"_s), 4);
    }

    void cards_data()
    {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QString>("card"); // between "<div class=c><b>s</b><br>" and "</div>"
        const QString bar = u"<div class=t><div class=f style='width:%1%'></div></div>"_s;
        const QString busy = u"<span class='p bad'>IN PROGRESS</span>"_s;
        QTest::newRow("offline") << "{}"_ba << u"<span class='p off'>OFFLINE</span>"_s;
        QTest::newRow("commissioned") << R"({"commissioned": true, "total_count": 5, "completed_count": 5})"_ba
                                      << u"<span class='p ok'>COMMISSIONED</span>"_s + bar.arg(100) +
                                             u"<span class=m>5 of 5 steps done (100%)</span>"_s;
        QTest::newRow("step and both activity texts")
            << R"({"current_step": "IO check", "activity": "io", "activity_detail": "IO check - 3 of 16",
                  "activity_current": 3, "activity_total": 16})"_ba
            << busy + u"<br><span class=m>Now: IO check</span><br><span class=m>io - IO check - 3 of 16</span>"_s +
                   bar.arg(18) + u"<span class=m>3 of 16</span>"_s;
    }
    void cards()
    {
        QFETCH(QByteArray, state);
        QFETCH(QString, card);
        const QString page = phone::statusPage({unit(u"s"_s, state.constData())});
        QVERIFY2(page.contains(u"<div class=c><b>s</b><br>"_s + card + u"</div><p"_s), qPrintable(page));
    }

    void statusPageWhole()
    {
        const QString empty = phone::statusPage({});
        QVERIFY(empty.contains("<meta http-equiv=refresh content=10>"_L1) && empty.contains("NO UNITS"_L1));
    }
};

QTEST_GUILESS_MAIN(TestPhoneRequest)
#include "tst_phonerequest.moc"
