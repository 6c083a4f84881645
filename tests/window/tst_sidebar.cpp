// The window's pieces on their own: the sidebar (pills in their order, type marks, search, footer,
// the passcode box), the poll pace an answer asks for, which field ids may be carried, the
// splash's texts, and the offline render's chrome that shows the real sidebar.

#include "app/offline.h"
#include "app/splash.h"
#include "support/testsupport.h"
#include "window/sidebar.h"
#include "window/window.h"

#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

units::Unit unitWith(const QString &state, const QString &ip = u"10.0.0.7"_s)
{
    units::Unit u;
    u.name = u"shuttle-07"_s;
    u.ip = ip;
    u.type = u"shuttle"_s;
    u.state = testsupport::json(state.toUtf8().constData());
    return u;
}

} // namespace

class TestSidebar : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void pillOrder_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<int>("lock");
        QTest::addColumn<QString>("mark");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("tone");
        const QString all = uR"({"app":"x","commissioned":true,"status":"RUNNING","total_count":5})"_s;
        const QString changed = u"CERTIFICATE CHANGED"_s;
        QTest::newRow("offline beats all") << u"{}"_s << true << 30 << changed << u"OFFLINE"_s << u"idle"_s;
        QTest::newRow("lock-out") << all << true << 42 << changed << u"LOCKED OUT 42s"_s << u"error"_s;
        QTest::newRow("session mark") << all << true << 0 << changed << changed << u"error"_s;
        QTest::newRow("not signed in") << all << false << 0 << QString() << u"PASSCODE NEEDED"_s << u"busy"_s;
        QTest::newRow("commissioned") << all << true << 0 << QString() << u"CONNECTED - COMMISSIONED"_s << u"ok"_s;
        QTest::newRow("status, its tone") << uR"({"status":"FAULT F-231","status_tone":"error"})"_s << true << 0
                                          << QString() << u"FAULT F-231"_s << u"error"_s;
        QTest::newRow("status") << uR"({"status":"RUNNING"})"_s << true << 0 << QString() << u"RUNNING"_s << u"warn"_s;
        QTest::newRow("steps") << uR"({"status":"","total_count":12,"completed_count":5})"_s << true << 0 << QString()
                               << u"NEEDS COMMISSIONING 5/12"_s << u"warn"_s;
        QTest::newRow("nothing said") << uR"({"app":"x"})"_s << true << 0 << QString() << u"NEEDS SETUP"_s << u"warn"_s;
    }
    void pillOrder()
    {
        QFETCH(QString, state);
        QFETCH(bool, signedIn);
        QFETCH(int, lock);
        QFETCH(QString, mark);
        QFETCH(QString, text);
        QFETCH(QString, tone);
        const window::Pill p = window::pillFor(unitWith(state), signedIn, lock, {mark, u"error"_s});
        QCOMPARE(p.text, text);
        QCOMPARE(p.tone, tone);
    }

    // The small rules: a type's colour (a whole word, any case), the poll pace an answer asks for
    // (clamped, a default when absent or not a number) and the field ids never carried.
    void rules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("result");
        QTest::newRow("colour, word in a name") << u"colour"_s << u"mini SHUTTLE 2"_s << u"#B79CFF"_s;
        QTest::newRow("colour, gtp") << u"colour"_s << u"gtp station"_s << u"#E8D44C"_s;
        QTest::newRow("colour, part of a word") << u"colour"_s << u"shuttles"_s << u"#5B8DB8"_s;
        QTest::newRow("poll too fast") << u"poll"_s << u"{\"poll_ms\":100}"_s << u"250"_s;
        QTest::newRow("poll too slow") << u"poll"_s << u"{\"poll_ms\":100000}"_s << u"30000"_s;
        QTest::newRow("poll zero") << u"poll"_s << u"{\"poll_ms\":0}"_s << u"3000"_s;
        QTest::newRow("poll absent") << u"poll"_s << u"{}"_s << u"3000"_s;
        QTest::newRow("poll a text") << u"poll"_s << u"{\"poll_ms\":\"900\"}"_s << u"3000"_s;
        QTest::newRow("poll in range") << u"poll"_s << u"{\"poll_ms\":1200}"_s << u"1200"_s;
        QTest::newRow("carry plain") << u"carry"_s << u"unit_name"_s << u"yes"_s;
        QTest::newRow("carry passcode") << u"carry"_s << u"site_passcode"_s << u"no"_s;
        QTest::newRow("carry psk upper") << u"carry"_s << u"WIFI_PSK"_s << u"no"_s;
        QTest::newRow("carry secret") << u"carry"_s << u"mqtt_secret"_s << u"no"_s;
        QTest::newRow("carry token") << u"carry"_s << u"apiToken"_s << u"no"_s;
        QTest::newRow("carry empty") << u"carry"_s << QString() << u"no"_s;
    }
    void rules()
    {
        QFETCH(QString, rule);
        QFETCH(QString, input);
        QFETCH(QString, result);
        if (rule == u"colour"_s)
            QCOMPARE(window::typeColour(input), result);
        else if (rule == u"poll"_s)
            QCOMPARE(QString::number(window::pollIntervalFor(testsupport::json(input.toUtf8().constData()))), result);
        else
            QCOMPARE(window::carriable(input) ? u"yes"_s : u"no"_s, result);
    }

    // One sidebar through its life: scanning, two units (one named at length, one without a name),
    // the passcode entered, a row chosen, tools, and the search.
    void sidebarWidget()
    {
        window::Sidebar bar;
        testsupport::layOut(&bar, 320, 700);
        auto *footer = bar.findChild<QLabel *>(u"unitFooter"_s);
        auto *empty = bar.findChild<QLabel *>(u"unitListEmpty"_s);
        auto *list = bar.findChild<QListWidget *>(u"unitList"_s);
        QCOMPARE(footer->text(), u"scanning..."_s);
        QVERIFY(empty->isVisible());
        QCOMPARE(bar.findChild<QLabel *>(u"unitListHint"_s)->text(),
                 u"Scanning this network - a unit\nappears here when it answers."_s);

        units::Unit named = unitWith(uR"({"app":"x"})"_s);
        named.name = u"aisle-B-north-lift-shuttle-with-a-long-name"_s;
        units::Unit silent = unitWith(u"{}"_s, u"10.0.0.8"_s);
        silent.name.clear();
        silent.type = u"gtp"_s;
        bar.setUnits({named, silent});
        bar.setScanning(false);
        QCOMPARE(footer->text(), u"1/2 online"_s);
        QCOMPARE(footer->toolTip(),
                 u"2 unit(s) known, 1 answering discovery - units appear automatically as they power on."_s);
        QCOMPARE(bar.findChild<QLabel *>(u"pill:10.0.0.7:8090"_s)->text(), u"PASSCODE NEEDED"_s);
        QCOMPARE(list->itemWidget(list->item(1))->findChild<QLabel *>(u"unitName"_s)->text(), u"10.0.0.8"_s);
        // A long name is shown whole, on more lines, inside its row.
        QLabel *name = list->itemWidget(list->item(0))->findChild<QLabel *>(u"unitName"_s);
        QCOMPARE(name->text(), named.name);
        QTRY_VERIFY2(name->height() >= name->heightForWidth(name->width()), "the name is clipped");
        QVERIFY2(name->wordWrap() || name->width() >= name->sizeHint().width(), "the name is cut at the side");
        QVERIFY(list->visualItemRect(list->item(0)).contains(name->parentWidget()->geometry()));

        // The passcode counts once entered (Enter or Unlock), never while half typed.
        QSignalSpy entered(&bar, &window::Sidebar::passcodeEntered);
        QSignalSpy chosen(&bar, &window::Sidebar::unitChosen);
        auto *box = bar.findChild<QLineEdit *>(u"passcode"_s);
        QCOMPARE(box->echoMode(), QLineEdit::Password);
        QTest::keyClicks(box, u"site-pass"_s);
        QVERIFY(bar.passcode().isEmpty());
        QTest::keyClick(box, Qt::Key_Return);
        bar.findChild<QPushButton *>(u"unlock"_s)->click();
        QCOMPARE(entered.size(), 2);
        QCOMPARE(bar.passcode(), u"site-pass"_s);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
        QCOMPARE(chosen.value(0).value(0).toString(), u"10.0.0.7:8090"_s);
        // No tools in this build: no menu.
        QVERIFY(!bar.findChild<QWidget *>(u"toolMenu"_s)->isVisible());
        bar.setTools({u"Site view"_s});
        QVERIFY(bar.findChild<QWidget *>(u"toolMenu"_s)->isVisible());

        auto *search = bar.findChild<QLineEdit *>(u"unitSearch"_s);
        search->setText(u"GTP"_s);
        QVERIFY(list->item(0)->isHidden() && !list->item(1)->isHidden());
        search->setText(u"crane"_s);
        QCOMPARE(empty->text(), u"No units match the search."_s);
        QVERIFY(empty->isVisible());
    }

    void splashTexts()
    {
        QCOMPARE(app::repliedText(1), u"1 unit answered - listening for more..."_s);
        QCOMPARE(app::repliedText(3), u"3 units answered - listening for more..."_s);
        QCOMPARE(app::foundText(2), u"2 units found"_s);
        QCOMPARE(app::repliedProgress(9), 92); // never full before the list is shown
    }

    void chromeShowsTheBundleUnits()
    {
        const QJsonArray units = QJsonDocument::fromJson(R"([
            {"hostname":"shuttle-01","ip":"10.0.0.21","product":"shuttle","total_count":5,"completed_count":2},
            {"hostname":"gtp-02","ip":"10.0.0.22","port":8443,"product":"gtp","session":true,"commissioned":true}])")
                                     .array();
        std::unique_ptr<QWidget> shell(app::chromeShell(testsupport::json(R"({"sections":[]})"), new QWidget, units));
        auto *bar = shell->findChild<window::Sidebar *>();
        QVERIFY(bar);
        QCOMPARE(bar->pill(u"10.0.0.21:8090"_s).text, u"PASSCODE NEEDED"_s);
        QCOMPARE(bar->pill(u"10.0.0.22:8443"_s).text, u"CONNECTED - COMMISSIONED"_s);
        QCOMPARE(bar->findChild<QListWidget *>(u"unitList"_s)->currentRow(), 1);
    }
};

QTEST_MAIN(TestSidebar)
#include "tst_sidebar.moc"
