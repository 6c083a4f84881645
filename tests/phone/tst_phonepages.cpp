// The phone pages as pure functions: the escaping rule on every unit text, the card of each kind
// of unit (offline, commissioned, in progress, bars, activity), and the fixed parts of both pages.

#include "phone/pages.h"
#include "phonetest.h"
#include "support/testsupport.h"

#include <QTest>

using namespace Qt::StringLiterals;

using phonetest::unit;

namespace {

// The card of one unit: the page's text between its heading line and its footer.
QString cardOf(const units::Unit &u)
{
    const QString page = phone::statusPage({u});
    const qsizetype from = page.indexOf("<div class=c>"_L1);
    const qsizetype to = page.lastIndexOf("<p style="_L1);
    return page.mid(from, to - from);
}

} // namespace

class TestPhonePages final : public QObject
{
    Q_OBJECT

private slots:
    void escaping_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("escaped");
        QTest::newRow("markup") << u"<script>alert(1)</script>"_s << u"&lt;script&gt;alert(1)&lt;/script&gt;"_s;
        QTest::newRow("ampersand first") << u"&lt; & <"_s << u"&amp;lt; &amp; &lt;"_s;
        QTest::newRow("quotes") << u"a\"b'c"_s << u"a&quot;b'c"_s;
        QTest::newRow("attribute break") << u"x' onmouseover='y"_s << u"x' onmouseover='y"_s;
        QTest::newRow("non-latin") << u"Förderer – 搬送"_s << u"Förderer – 搬送"_s;
    }
    void escaping()
    {
        QFETCH(QString, text);
        QFETCH(QString, escaped);
        QCOMPARE(phone::escapeHtml(text), escaped);
    }

    // Every text a unit sends reaches the page only escaped, wherever the page puts it.
    void unitTextsEscaped_data()
    {
        QTest::addColumn<QString>("field");
        QTest::newRow("name") << u"name"_s;
        QTest::newRow("current_step") << u"current_step"_s;
        QTest::newRow("activity") << u"activity"_s;
        QTest::newRow("activity_detail") << u"activity_detail"_s;
    }
    void unitTextsEscaped()
    {
        QFETCH(QString, field);
        const QString hostile = u"<img src=x onerror=\"alert('&')\">"_s;
        units::Unit u = unit(u"shuttle"_s, R"({"total_count": 5, "completed_count": 1, "activity_total": 4})");
        if (field == u"name"_s)
            u.name = hostile;
        else
            u.state.insert(field, hostile);
        const QString page = phone::statusPage({u});
        QVERIFY(!page.contains("<img"_L1));
        QVERIFY(!page.contains("onerror=\""_L1));
        QVERIFY(page.contains(u"&lt;img src=x onerror=&quot;alert('&amp;')&quot;&gt;"_s));
    }

    void cards_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("card");

        QTest::newRow("offline") << u"shuttle-01"_s << u"{}"_s
                                 << u"<div class=c><b>shuttle-01</b><br><span class='p off'>OFFLINE</span></div>"_s;
        QTest::newRow("offline without a name")
            << QString() << u"{}"_s
            << u"<div class=c><b>10.77.0.21:8090</b><br><span class='p off'>OFFLINE</span></div>"_s;
        QTest::newRow("commissioned") << u"s"_s
                                      << u"{\"commissioned\": true, \"total_count\": 5, \"completed_count\": 5}"_s
                                      << u"<div class=c><b>s</b><br><span class='p ok'>COMMISSIONED</span>"
                                         "<div class=t><div class=f style='width:100%'></div></div>"
                                         "<span class=m>5 of 5 steps done (100%)</span></div>"_s;
        QTest::newRow("commissioned as text is in progress")
            << u"s"_s << u"{\"commissioned\": \"yes\"}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span></div>"_s;
        QTest::newRow("no steps, no bar") << u"s"_s << u"{\"total_count\": 0, \"completed_count\": 3}"_s
                                          << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span></div>"_s;
        QTest::newRow("rounds down") << u"s"_s << u"{\"total_count\": 3, \"completed_count\": 2}"_s
                                     << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span>"
                                        "<div class=t><div class=f style='width:66%'></div></div>"
                                        "<span class=m>2 of 3 steps done (66%)</span></div>"_s;
        QTest::newRow("more done than there are") << u"s"_s << u"{\"total_count\": 4, \"completed_count\": 9}"_s
                                                  << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span>"
                                                     "<div class=t><div class=f style='width:100%'></div></div>"
                                                     "<span class=m>9 of 4 steps done (100%)</span></div>"_s;
        QTest::newRow("negative and huge held to 0")
            << u"s"_s << u"{\"total_count\": 2147483647, \"completed_count\": -2147483647}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span>"
               "<div class=t><div class=f style='width:0%'></div></div>"
               "<span class=m>-2147483647 of 2147483647 steps done (0%)</span></div>"_s;
        QTest::newRow("step and both activity texts")
            << u"s"_s
            << u"{\"current_step\": \"IO check\", \"activity\": \"io\", \"activity_detail\": \"IO check - 3 of 16\", "
               "\"activity_current\": 3, \"activity_total\": 16}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span><br><span class=m>Now: IO check</span>"
               "<br><span class=m>io - IO check - 3 of 16</span>"
               "<div class=t><div class=f style='width:18%'></div></div><span class=m>3 of 16</span></div>"_s;
        QTest::newRow("detail alone, no total")
            << u"s"_s << u"{\"activity_detail\": \"Stopped: F-231\", \"activity_current\": 3}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span>"
               "<br><span class=m>Stopped: F-231</span></div>"_s;
        QTest::newRow("activity alone")
            << u"s"_s << u"{\"activity\": \"drive\", \"activity_current\": 30, \"activity_total\": 20}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span><br><span class=m>drive</span>"
               "<div class=t><div class=f style='width:100%'></div></div><span class=m>30 of 20</span></div>"_s;
        QTest::newRow("no activity text, no activity bar")
            << u"s"_s << u"{\"activity_current\": 3, \"activity_total\": 16}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span></div>"_s;
        QTest::newRow("wrong types read as defaults")
            << u"s"_s
            << u"{\"total_count\": \"5\", \"completed_count\": 2.5, \"current_step\": 7, \"activity\": [\"x\"]}"_s
            << u"<div class=c><b>s</b><br><span class='p bad'>IN PROGRESS</span></div>"_s;
    }
    void cards()
    {
        QFETCH(QString, name);
        QFETCH(QString, state);
        QFETCH(QString, card);
        QCOMPARE(cardOf(unit(name, state.toUtf8().constData())), card);
    }

    void statusPageWhole()
    {
        const QString empty = phone::statusPage({});
        QVERIFY(empty.startsWith(
            "<!doctype html><meta name=viewport content='width=device-width,initial-scale=1'><meta http-equiv=refresh "
            "content=10><title>Kestro Connect</title><style>"_L1));
        QVERIFY(empty.endsWith(
            "</style><h1>Site status</h1><p class=m>View only - refreshes every 10 seconds.</p>"
            "<div class=c><span class='p off'>NO UNITS</span><br><span class=m>Nothing has answered "
            "on this network.</span></div><p style='color:#6B737D'>Kestro Connect v8.9.13+cdcc16b</p>"_L1));
        // Cards follow the list's order.
        const QString two = phone::statusPage({unit(u"zeta"_s, "{}"), unit(u"alpha"_s, "{}")});
        QVERIFY(two.indexOf("zeta"_L1) < two.indexOf("alpha"_L1));
        QVERIFY(!two.contains("NO UNITS"_L1));
    }

    void signInPages()
    {
        const QString plain = phone::signInPage(false);
        const QString wrong = phone::signInPage(true);
        QVERIFY(plain.contains("<p class=m>Enter the phone password set on the commissioning PC.</p>"_L1));
        QVERIFY(wrong.contains("<p class=m>That password was not right.</p>"_L1));
        QCOMPARE(QString(wrong).replace("That password was not right."_L1,
                                        "Enter the phone password set on the commissioning PC."_L1),
                 plain);
        QVERIFY(plain.contains("<form method=post action='/'>"_L1));
        QVERIFY(plain.contains("<input type=password name=p autofocus"_L1));
        QVERIFY(!plain.contains("refresh"_L1));
        QCOMPARE(phone::signInPageBytes(true), wrong.toUtf8());
        // Both pages carry the same style block.
        QVERIFY(plain.contains(phone::styleBlock()));
        QVERIFY(phone::statusPage({}).contains(phone::styleBlock()));
    }
};

QTEST_GUILESS_MAIN(TestPhonePages)
#include "tst_phonepages.moc"
