// The sidebar on its own (pills in their order, type marks, search, footer, the passcode box),
// the splash's texts, and the offline render's chrome that shows the real sidebar.

#include "app/offline.h"
#include "app/splash.h"
#include "support/testsupport.h"
#include "window/sidebar.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

units::Unit unitWith(const char *state, const QString &ip = u"10.0.0.7"_s)
{
    units::Unit u;
    u.name = u"shuttle-07"_s;
    u.ip = ip;
    u.type = u"shuttle"_s;
    u.state = testsupport::json(state);
    return u;
}

} // namespace

class TestSidebar : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void pillOrder_data();
    void pillOrder();
    void typeColours_data();
    void typeColours();
    void listSearchAndFooter();
    void longNameShownWhole();
    void passcodeAndChoice();
    void splashTexts();
    void chromeShowsTheBundleUnits();
};

void TestSidebar::pillOrder_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("signedIn");
    QTest::addColumn<int>("lock");
    QTest::addColumn<QString>("mark");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("tone");

    const QString all = uR"({"app":"x","commissioned":true,"status":"RUNNING","total_count":5})"_s;
    QTest::newRow("offline beats everything")
        << u"{}"_s << true << 30 << u"CERTIFICATE CHANGED"_s << u"OFFLINE"_s << u"idle"_s;
    QTest::newRow("lock-out") << all << true << 42 << u"CERTIFICATE CHANGED"_s << u"LOCKED OUT 42s"_s << u"error"_s;
    QTest::newRow("session mark") << all << true << 0 << u"CERTIFICATE CHANGED"_s << u"CERTIFICATE CHANGED"_s
                                  << u"error"_s;
    QTest::newRow("heard, not signed in") << all << false << 0 << QString() << u"PASSCODE NEEDED"_s << u"busy"_s;
    QTest::newRow("commissioned") << all << true << 0 << QString() << u"CONNECTED - COMMISSIONED"_s << u"ok"_s;
    QTest::newRow("status, its tone") << uR"({"status":"FAULT F-231","status_tone":"error"})"_s << true << 0
                                      << QString() << u"FAULT F-231"_s << u"error"_s;
    QTest::newRow("status, default tone")
        << uR"({"status":"RUNNING"})"_s << true << 0 << QString() << u"RUNNING"_s << u"warn"_s;
    QTest::newRow("steps") << uR"({"status":"","total_count":12,"completed_count":5})"_s << true << 0 << QString()
                           << u"NEEDS COMMISSIONING 5/12"_s << u"warn"_s;
    QTest::newRow("nothing said") << uR"({"app":"x"})"_s << true << 0 << QString() << u"NEEDS SETUP"_s << u"warn"_s;
}

void TestSidebar::pillOrder()
{
    QFETCH(QString, state);
    QFETCH(bool, signedIn);
    QFETCH(int, lock);
    QFETCH(QString, mark);
    QFETCH(QString, text);
    QFETCH(QString, tone);
    const units::Unit u = unitWith(state.toUtf8().constData());
    const window::Pill p = window::pillFor(u, signedIn, lock, {mark, u"error"_s});
    QCOMPARE(p.text, text);
    QCOMPARE(p.tone, tone);

    // The same through the widget, which shows it on the unit's row.
    window::Sidebar bar;
    bar.setUnits({u});
    bar.setSignedIn(u.key(), signedIn);
    bar.setLockSeconds(u.key(), lock);
    bar.setStatus(u.key(), mark, u"error"_s);
    QCOMPARE(bar.findChild<QLabel *>(u"pill:"_s + u.key())->text(), text);
}

void TestSidebar::typeColours_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("colour");
    QTest::newRow("shuttle") << u"Shuttle"_s << u"#B79CFF"_s;
    QTest::newRow("word inside a name") << u"mini SHUTTLE 2"_s << u"#B79CFF"_s;
    QTest::newRow("gtp") << u"gtp station"_s << u"#E8D44C"_s;
    QTest::newRow("aisle") << u"aisle-lift"_s << u"#7CC8F0"_s;
    QTest::newRow("part of a word") << u"shuttles"_s << u"#5B8DB8"_s;
    QTest::newRow("none") << QString() << u"#5B8DB8"_s;
}

void TestSidebar::typeColours()
{
    QFETCH(QString, type);
    QFETCH(QString, colour);
    QCOMPARE(window::typeColour(type), colour);
}

void TestSidebar::listSearchAndFooter()
{
    window::Sidebar bar;
    testsupport::layOut(&bar, 320, 700);
    auto *footer = bar.findChild<QLabel *>(u"unitFooter"_s);
    auto *empty = bar.findChild<QLabel *>(u"unitListEmpty"_s);
    auto *list = bar.findChild<QListWidget *>(u"unitList"_s);
    QCOMPARE(footer->text(), u"scanning..."_s);
    QCOMPARE(empty->text(), u"No units yet"_s);
    QVERIFY(empty->isVisible());
    QCOMPARE(bar.findChild<QLabel *>(u"unitListHint"_s)->text(),
             u"Scanning this network - a unit\nappears here when it answers."_s);

    units::Unit silent = unitWith("{}", u"10.0.0.8"_s);
    silent.name.clear();
    silent.type = u"gtp"_s;
    bar.setUnits({unitWith(R"({"app":"x"})"), silent});
    bar.setScanning(false);
    QCOMPARE(footer->text(), u"1/2 online"_s);
    QCOMPARE(footer->toolTip(),
             u"2 unit(s) known, 1 answering discovery - units appear automatically as they power on."_s);
    QVERIFY(list->isVisible());
    // A unit without a name shows its address.
    QCOMPARE(list->itemWidget(list->item(1))->findChild<QLabel *>(u"unitName"_s)->text(), u"10.0.0.8"_s);

    auto *search = bar.findChild<QLineEdit *>(u"unitSearch"_s);
    search->setText(u"GTP"_s);
    QVERIFY(list->item(0)->isHidden());
    QVERIFY(!list->item(1)->isHidden());
    search->setText(u"crane"_s);
    QCOMPARE(empty->text(), u"No units match the search."_s);
    QVERIFY(empty->isVisible());
    search->clear();
    QVERIFY(list->isVisible());
}

void TestSidebar::longNameShownWhole()
{
    window::Sidebar bar;
    units::Unit u = unitWith(R"({"app":"x"})");
    u.name = u"aisle-B-north-lift-shuttle-with-a-long-name"_s;
    bar.setUnits({u});
    testsupport::layOut(&bar, 320, 700);
    QLabel *name = bar.findChild<QLabel *>(u"unitName"_s);
    QVERIFY(name);
    QCOMPARE(name->text(), u.name);
    QTRY_VERIFY2(name->height() >= name->heightForWidth(name->width()), "the name is clipped");
    QVERIFY2(name->wordWrap() || name->width() >= name->sizeHint().width(), "the name is cut at the side");
    const QListWidget *list = bar.findChild<QListWidget *>(u"unitList"_s);
    QVERIFY(list->visualItemRect(list->item(0)).contains(name->parentWidget()->geometry()));
}

void TestSidebar::passcodeAndChoice()
{
    window::Sidebar bar;
    bar.setUnits({unitWith(R"({"app":"x"})")});
    testsupport::layOut(&bar, 320, 700);
    QSignalSpy entered(&bar, &window::Sidebar::passcodeEntered);
    QSignalSpy chosen(&bar, &window::Sidebar::unitChosen);
    auto *box = bar.findChild<QLineEdit *>(u"passcode"_s);
    QCOMPARE(box->echoMode(), QLineEdit::Password);
    QCOMPARE(box->placeholderText(), u"Passcode"_s);
    QTest::keyClicks(box, u"site-pass"_s);
    QVERIFY(bar.passcode().isEmpty()); // typed, not yet entered
    QTest::keyClick(box, Qt::Key_Return);
    bar.findChild<QPushButton *>(u"unlock"_s)->click();
    QCOMPARE(entered.size(), 2);
    QCOMPARE(bar.passcode(), u"site-pass"_s);

    auto *list = bar.findChild<QListWidget *>(u"unitList"_s);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
    QCOMPARE(chosen.size(), 1);
    QCOMPARE(chosen.first().first().toString(), u"10.0.0.7:8090"_s);
    // No tools in this build: no menu.
    QVERIFY(!bar.findChild<QWidget *>(u"toolMenu"_s)->isVisible());
    bar.setTools({u"Site view"_s});
    QVERIFY(bar.findChild<QWidget *>(u"toolMenu"_s)->isVisible());
}

void TestSidebar::splashTexts()
{
    QCOMPARE(app::repliedText(1), u"1 unit answered - listening for more..."_s);
    QCOMPARE(app::repliedText(3), u"3 units answered - listening for more..."_s);
    QCOMPARE(app::repliedProgress(1), 68);
    QCOMPARE(app::repliedProgress(4), 92);
    QCOMPARE(app::repliedProgress(9), 92);
    QCOMPARE(app::foundText(1), u"1 unit found"_s);
    QCOMPARE(app::foundText(2), u"2 units found"_s);
    app::SplashCard card;
    card.setStatus(u"Looking for units on the network..."_s, 160);
    QCOMPARE(card.progress(), 100);
}

void TestSidebar::chromeShowsTheBundleUnits()
{
    const QJsonArray units = testsupport::json(R"({"u":[
        {"hostname":"shuttle-01","ip":"10.0.0.21","product":"shuttle","total_count":5,"completed_count":2},
        {"hostname":"gtp-02","ip":"10.0.0.22","port":8443,"product":"gtp","session":true,"commissioned":true}]})")
                                 .value(u"u"_s)
                                 .toArray();
    const QJsonObject description = testsupport::json(R"({"title":"Unit","sections":[]})");
    std::unique_ptr<QWidget> shell(app::chromeShell(description, new QWidget, units));
    auto *bar = shell->findChild<window::Sidebar *>();
    QVERIFY(bar);
    QCOMPARE(bar->pill(u"10.0.0.21:8090"_s).text, u"PASSCODE NEEDED"_s);
    QCOMPARE(bar->pill(u"10.0.0.22:8443"_s).text, u"CONNECTED - COMMISSIONED"_s);
    auto *list = bar->findChild<QListWidget *>(u"unitList"_s);
    QCOMPARE(list->currentRow(), 1);
    QCOMPARE(bar->findChild<QLabel *>(u"unitFooter"_s)->text(), u"2/2 online"_s);
}

QTEST_MAIN(TestSidebar)
#include "tst_sidebar.moc"
