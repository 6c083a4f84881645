// The main window end to end: kestro-unit-sim runs three units inside a private site network,
// the real Window finds them, signs in and polls, and the simulator's loopback control makes the
// units misbehave. Units have roles so that tests do not disturb each other: unit 1 for the
// session, unit 2 for refused passcodes and lock-outs, unit 3 for certificates and odd answers.

#include "app/base/modal.h"
#include "board/viewport.h"
#include "simsite.h"
#include "support/testsupport.h"
#include "units/diaglog.h"
#include "units/store.h"
#include "window/sidebar.h"
#include "window/window.h"

#include <QAbstractButton>
#include <QFile>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString kPasscode = u"site-pass-e2e"_s;
constexpr int kControlPort = 8099;

using simsite::countLog;
using simsite::kUnit1;
using simsite::kUnit2;
using simsite::kUnit3;
using simsite::kWait;
using simsite::logLines;

} // namespace

class TestWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void discoveryListsTheUnits();
    void passcodeSignsInAndDraws();
    void unchangedAnswerRebuildsNothing();
    void rebuildKeepsTheScroll();
    void pollIntervalFollowsTheUnit_data();
    void pollIntervalFollowsTheUnit();
    void expiredTokenSignsInAgain();
    void stoppedUnitIsUnreachableThenRecovers_data();
    void stoppedUnitIsUnreachableThenRecovers();
    void wrongPasscodeIsNotSentAgain();
    void lockOutCountsDown_data();
    void lockOutCountsDown();
    void answerWithoutSchemaNeedsUpdating();
    void changedCertificate();
    void manualUnitStaysAndGoes();
    void connectLogLines();

private:
    bool control(int unit, const QJsonObject &changes);
    void signInTo(const QString &key, const QString &passcode = kPasscode);
    void choose(const QString &key);
    QString bannerTitle() const { return m_window->findChild<QLabel *>(u"bannerTitle"_s)->text(); }
    QString bannerText() const { return m_window->findChild<QLabel *>(u"bannerText"_s)->text(); }
    bool bannerShown() const { return m_window->findChild<QWidget *>(u"banner"_s)->isVisible(); }
    QString status() const { return m_window->findChild<QLabel *>(u"sessionStatus"_s)->text(); }
    QString pill(const QString &key) const { return m_window->sidebar()->pill(key).text; }

    QTemporaryDir m_certs;
    QProcess m_sim;
    QNetworkAccessManager m_net;
    std::unique_ptr<window::Window> m_window;
};

void TestWindow::initTestCase()
{
    if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
        QSKIP("needs the private site network (run through tests/netns-run)");
    testsupport::isolateConfig();
    QVERIFY(m_certs.isValid());
    qputenv("KESTRO_POLL_LOG", m_certs.filePath(u"poll.log"_s).toLocal8Bit());
    const QByteArray trouble =
        simsite::start(m_sim, {u"--units"_s, u"3"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s, m_certs.path(),
                               u"--control"_s, QString::number(kControlPort), u"--poll-ms"_s, u"250"_s,
                               u"--lockout-after"_s, u"2"_s, u"--lockout-seconds"_s, u"40"_s});
    QVERIFY2(trouble.isEmpty(), trouble.constData());
}

void TestWindow::cleanupTestCase()
{
    m_window.reset();
    m_sim.terminate();
    if (!m_sim.waitForFinished(10000))
        m_sim.kill();
}

void TestWindow::init()
{
    m_window = std::make_unique<window::Window>();
    m_window->show();
    // Units known from an earlier window are loaded offline; wait until discovery hears them.
    QTRY_COMPARE_WITH_TIMEOUT(std::count_if(m_window->unitList().begin(), m_window->unitList().end(),
                                            [](const units::Unit &u) { return u.online(); }),
                              qsizetype(3), kWait);
}

void TestWindow::cleanup()
{
    m_window.reset();
    // Each test starts from well-behaved units.
    QVERIFY(control(0, {{u"schema"_s, true},
                        {u"churn"_s, false},
                        {u"retry_after"_s, true},
                        {u"hang"_s, false},
                        {u"down"_s, false},
                        {u"delay_ms"_s, 0},
                        {u"poll_ms"_s, 250}}));
}

bool TestWindow::control(int unit, const QJsonObject &changes)
{
    return simsite::control(m_net, kControlPort, unit, changes);
}

void TestWindow::choose(const QString &key)
{
    auto *list = m_window->findChild<QListWidget *>(u"unitList"_s);
    QVERIFY(list);
    for (int i = 0; i < list->count(); ++i) {
        if (list->item(i)->data(Qt::UserRole).toString() != key)
            continue;
        list->scrollToItem(list->item(i));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(i)).center());
        QCOMPARE(m_window->selectedKey(), key);
        return;
    }
    QFAIL(qPrintable(u"no row for "_s + key));
}

void TestWindow::signInTo(const QString &key, const QString &passcode)
{
    auto *box = m_window->findChild<QLineEdit *>(u"passcode"_s);
    box->setText(passcode);
    QTest::keyClick(box, Qt::Key_Return);
    choose(key);
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
    QTRY_VERIFY_WITH_TIMEOUT(m_window->viewport()->screen() != nullptr, kWait);
}

void TestWindow::discoveryListsTheUnits()
{
    QStringList keys;
    for (const units::Unit &u : m_window->unitList())
        keys << u.key();
    keys.sort();
    QCOMPARE(keys, (QStringList{kUnit1, kUnit2, kUnit3}));
    QTRY_COMPARE_WITH_TIMEOUT(m_window->findChild<QLabel *>(u"unitFooter"_s)->text(), u"3/3 online"_s, kWait);
    // Heard but never signed in to.
    QCOMPARE(pill(kUnit1), u"PASSCODE NEEDED"_s);
    QCOMPARE(m_window->findChild<QLabel *>(u"heading"_s)->text(), u"Select a unit"_s);
    QVERIFY(units::loadUnits().size() == 3);
}

void TestWindow::passcodeSignsInAndDraws()
{
    // Chosen before the passcode is typed: the banner asks for it, Enter in the box signs in.
    choose(kUnit1);
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"Enter the site passcode"_s, kWait);
    auto *box = m_window->findChild<QLineEdit *>(u"passcode"_s);
    box->setText(kPasscode);
    QTest::keyClick(box, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
    QTRY_VERIFY_WITH_TIMEOUT(m_window->viewport()->screen() != nullptr, kWait);
    QVERIFY(!bannerShown());
    QVERIFY(m_window->findChild<QLabel *>(u"heading"_s)->text().startsWith(u"shuttle-01 - "_s));
    QVERIFY(m_window->windowTitle().contains(u"   |   signed in as site technician"_s));
    QVERIFY2(pill(kUnit1).startsWith(u"NEEDS COMMISSIONING 0/"_s), qPrintable(pill(kUnit1)));
    // The drawn screen is the unit's: its first section is named after the unit.
    QVERIFY(!m_window->viewport()->screen()->findChildren<QLabel *>().isEmpty());
    QCOMPARE(m_window->pollInterval(), 250);
}

void TestWindow::unchangedAnswerRebuildsNothing()
{
    // "hb_age" and "_panels" change in every answer; nothing else does while no step runs.
    QVERIFY(control(1, {{u"churn"_s, true}}));
    signInTo(kUnit1);
    QFile pollLog(qEnvironmentVariable("KESTRO_POLL_LOG"));
    const auto sameLines = [&pollLog] {
        pollLog.open(QIODevice::ReadOnly);
        const qsizetype n = pollLog.readAll().count("payload SAME");
        pollLog.close();
        return n;
    };
    QTRY_VERIFY_WITH_TIMEOUT(sameLines() > 0, kWait);
    const int rebuilds = m_window->rebuildCount();
    const qsizetype before = sameLines();
    QTRY_VERIFY_WITH_TIMEOUT(sameLines() >= before + 4, kWait);
    QCOMPARE(m_window->rebuildCount(), rebuilds);
}

void TestWindow::rebuildKeepsTheScroll()
{
    signInTo(kUnit1);
    board::Viewport *view = m_window->viewport();
    view->scrollScreenBy(240);
    const int y = view->scrollY();
    QVERIFY(y > 0);
    const int rebuilds = m_window->rebuildCount();
    // Any change in the answer draws the screen afresh.
    QVERIFY(control(1, {{u"poll_ms"_s, 900}}));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->rebuildCount() > rebuilds, kWait);
    QCOMPARE(view->scrollY(), y);
}

void TestWindow::pollIntervalFollowsTheUnit_data()
{
    QTest::addColumn<QJsonValue>("pollMs");
    QTest::addColumn<int>("interval");
    QTest::newRow("too fast") << QJsonValue(100) << 250;
    QTest::newRow("too slow") << QJsonValue(100000) << 30000;
    QTest::newRow("zero") << QJsonValue(0) << 3000;
    QTest::newRow("absent") << QJsonValue(QJsonValue::Null) << 3000;
    QTest::newRow("in range") << QJsonValue(1200) << 1200;
}

void TestWindow::pollIntervalFollowsTheUnit()
{
    QFETCH(QJsonValue, pollMs);
    QFETCH(int, interval);
    signInTo(kUnit1);
    QVERIFY(control(1, {{u"poll_ms"_s, pollMs}}));
    // Poll now rather than at the old pace.
    QTRY_VERIFY_WITH_TIMEOUT((m_window->refresh(), m_window->pollInterval() == interval), kWait);
}

void TestWindow::expiredTokenSignsInAgain()
{
    signInTo(kUnit1);
    const qsizetype logins = countLog(u"login  "_s + kUnit1 + u" -> 200"_s);
    QVERIFY(control(1, {{u"drop_tokens"_s, true}}));
    QTRY_COMPARE_WITH_TIMEOUT(
        countLog(u"poll  "_s + kUnit1 + u"  GET /api/ui -> 401, session expired; signing in again"_s), qsizetype(1),
        kWait);
    QTRY_COMPARE_WITH_TIMEOUT(countLog(u"login  "_s + kUnit1 + u" -> 200"_s), logins + 1, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
}

void TestWindow::stoppedUnitIsUnreachableThenRecovers_data()
{
    QTest::addColumn<QString>("quirk");
    QTest::newRow("switched off") << u"down"_s;
    QTest::newRow("hanging") << u"hang"_s; // unreachable once the poll's time limit passes
}

void TestWindow::stoppedUnitIsUnreachableThenRecovers()
{
    QFETCH(QString, quirk);
    signInTo(kUnit1);
    QVERIFY(control(1, {{quirk, true}}));
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"Unit unreachable"_s, kWait);
    QVERIFY(bannerText().startsWith(kUnit1 + u" - "_s));
    QCOMPARE(status(), u"● No answer"_s);
    QCOMPARE(pill(kUnit1), u"OFFLINE"_s);
    QVERIFY(m_window->findChild<QPushButton *>(u"bannerRetry"_s)->isVisible());

    QVERIFY(control(1, {{quirk, false}}));
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
    QVERIFY(!bannerShown());
    QVERIFY(countLog(u"poll OK again  "_s + kUnit1 + u"  after "_s) >= 1);
}

void TestWindow::wrongPasscodeIsNotSentAgain()
{
    auto *box = m_window->findChild<QLineEdit *>(u"passcode"_s);
    box->setText(u"not-the-passcode"_s);
    QTest::keyClick(box, Qt::Key_Return);
    choose(kUnit2);
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"That passcode was not accepted"_s, kWait);
    QCOMPARE(bannerText(), u"This unit rejected the passcode in the box on the left."_s);
    const QString refused = u"login  "_s + kUnit2 + u" -> 401"_s;
    QCOMPARE(countLog(refused), qsizetype(1));
    for (int i = 0; i < 5; ++i) {
        m_window->refresh();
        QTest::qWait(100);
    }
    m_window->findChild<QPushButton *>(u"bannerRetry"_s)->click();
    QCOMPARE(countLog(refused), qsizetype(1));
    QCOMPARE(pill(kUnit2), u"PASSCODE NEEDED"_s);
}

void TestWindow::lockOutCountsDown_data()
{
    QTest::addColumn<bool>("retryAfter");
    QTest::addColumn<int>("seconds");
    QTest::newRow("as the unit says") << true << 40;
    QTest::newRow("without retry_after") << false << 300;
}

void TestWindow::lockOutCountsDown()
{
    QFETCH(bool, retryAfter);
    QFETCH(int, seconds);
    QVERIFY(control(2, {{u"retry_after"_s, retryAfter}}));
    auto *box = m_window->findChild<QLineEdit *>(u"passcode"_s);
    box->setText(u"wrong-one"_s);
    QTest::keyClick(box, Qt::Key_Return);
    choose(kUnit2);
    QTRY_VERIFY_WITH_TIMEOUT(bannerTitle() == u"That passcode was not accepted"_s ||
                                 bannerTitle() == u"This unit has locked this machine out"_s,
                             kWait);
    // A different passcode is sent; the second wrong one in a row locks this machine out.
    box->setText(u"wrong-two"_s);
    QTest::keyClick(box, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"This unit has locked this machine out"_s, kWait);
    static const QRegularExpression wait(
        u"^Too many failed attempts\\. Wait about (\\d+) more second\\(s\\), then try again\\.$"_s);
    const QRegularExpressionMatch m = wait.match(bannerText());
    QVERIFY2(m.hasMatch(), qPrintable(bannerText()));
    const int left = m.captured(1).toInt();
    QVERIFY2(left <= seconds && left > seconds - 15, qPrintable(bannerText()));
    QVERIFY2(pill(kUnit2).startsWith(u"LOCKED OUT "_s), qPrintable(pill(kUnit2)));
    // The countdown moves by itself.
    QTRY_VERIFY_WITH_TIMEOUT(wait.match(bannerText()).captured(1).toInt() < left, kWait);
    QVERIFY(countLog(u"login  "_s + kUnit2 + u" -> 429  "_s) >= 1);
}

void TestWindow::answerWithoutSchemaNeedsUpdating()
{
    signInTo(kUnit3);
    QVERIFY(control(3, {{u"schema"_s, false}}));
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"This unit needs updating"_s, kWait);
    QCOMPARE(bannerText(), u"It answered, but it did not describe a screen this app can draw."_s);
    QVERIFY(countLog(u"poll  "_s + kUnit3 + u"  answered without a schema (\"needs updating\" shown)"_s) >= 1);
    QVERIFY(control(3, {{u"schema"_s, true}}));
    QTRY_VERIFY_WITH_TIMEOUT(!bannerShown(), kWait);
}

void TestWindow::changedCertificate()
{
    signInTo(kUnit3);
    const QString firstPin = units::pinFor(kUnit3);
    QCOMPARE(firstPin.size(), 64);
    QVERIFY(control(3, {{u"other_cert"_s, true}}));
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"This unit's certificate has changed"_s, kWait);
    QCOMPARE(bannerText(), u"Not a passcode problem. The unit at %1 is showing a different certificate from the one "
                           u"this machine trusted."_s.arg(kUnit3));
    QCOMPARE(pill(kUnit3), u"CERTIFICATE CHANGED"_s);
    auto *trust = m_window->findChild<QPushButton *>(u"bannerTrust"_s);
    QVERIFY(trust->isVisible());
    QVERIFY(!m_window->findChild<QPushButton *>(u"bannerRetry"_s)->isVisible());

    // Saying no keeps things as they are.
    app::setNextAnswer([](QDialog *box) { box->done(QMessageBox::No); });
    trust->click();
    QCOMPARE(bannerTitle(), u"This unit's certificate has changed"_s);
    QCOMPARE(units::pinFor(kUnit3), firstPin);

    app::setNextAnswer([](QDialog *box) {
        auto *ask = qobject_cast<QMessageBox *>(box);
        QVERIFY(ask);
        QCOMPARE(ask->windowTitle(), u"Trust the new certificate?"_s);
        ask->button(QMessageBox::Yes)->click();
    });
    trust->click();
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
    QVERIFY(!bannerShown());
    QCOMPARE(pill(kUnit3), u"NEEDS COMMISSIONING 0/5"_s);
    QVERIFY(units::pinFor(kUnit3) != firstPin);

    // Back to the first certificate, and this time left alone: the unit is let go.
    QVERIFY(control(3, {{u"other_cert"_s, false}}));
    QTRY_COMPARE_WITH_TIMEOUT(bannerTitle(), u"This unit's certificate has changed"_s, kWait);
    m_window->findChild<QPushButton *>(u"bannerLeave"_s)->click();
    QCOMPARE(m_window->selectedKey(), QString());
    QCOMPARE(m_window->findChild<QLabel *>(u"heading"_s)->text(), u"Select a unit"_s);
    units::forgetPin(kUnit3);
}

void TestWindow::manualUnitStaysAndGoes()
{
    // Nothing answers at this address: the unit is kept, offline, and can be removed.
    app::setNextAnswer([](QDialog *box) {
        box->findChild<QLineEdit *>()->setText(u"10.77.0.99:8443"_s);
        box->accept();
    });
    m_window->findChild<QPushButton *>(u"addUnit"_s)->click();
    const QString key = u"10.77.0.99:8443"_s;
    QCOMPARE(m_window->selectedKey(), key);
    QCOMPARE(pill(key), u"OFFLINE"_s);
    // Survives sweeps that do not hear it, and a restart.
    const auto manualOnDisk = [&key] {
        for (const units::Unit &u : units::loadUnits())
            if (u.key() == key)
                return u.manual;
        return false;
    };
    QVERIFY(manualOnDisk());
    m_window = std::make_unique<window::Window>();
    m_window->show();
    QCOMPARE(m_window->unitList().size(), 4);
    choose(key);
    m_window->findChild<QPushButton *>(u"removeUnit"_s)->click();
    QCOMPARE(m_window->unitList().size(), 3);
    QCOMPARE(m_window->selectedKey(), QString());
    QVERIFY(!manualOnDisk());
}

void TestWindow::connectLogLines()
{
    // Every line in its exact format, and never a passcode or a token.
    const QString key = u"\\d+\\.\\d+\\.\\d+\\.\\d+:\\d+"_s;
    const QStringList formats{
        u"select  {K}  name=\\S* type=\\S* (online|not-seen-by-discovery) (https|http)"_s,
        u"login  {K} -> (\\d+|no reply)  \\d+ ms(  CERTIFICATE CHANGED|  passcode refused|  locked out, retry_after "
        u"\\d+ s|  error: .+)?"_s,
        u"poll FAIL  {K}  GET /\\S* -> (\\d+|no reply)  \\d+ ms  \\(#\\d+ in a row\\)  .+"_s,
        u"poll OK again  {K}  after \\d+ failed poll\\(s\\) over \\d+ s"_s,
        u"poll  {K}  GET /api/ui -> 401, session expired; signing in again"_s,
        u"poll  {K}  CERTIFICATE CHANGED"_s,
        u"poll  {K}  answered without a schema \\(\"needs updating\" shown\\)"_s,
        u"certificate  {K}  new certificate trusted by the user"_s,
        u"discovery: online now \\[({K}(, {K})*)?\\]"_s,
        u"unit  {K}  (added by hand|removed from the list)"_s,
        // Each sign-in shares the IO module templates (the sharing has its own tests).
        u"iotemplates  {K}  sent \\d+(, unit added .+|  skipped \\(.+\\))  \\d+ ms"_s,
    };
    QList<QRegularExpression> patterns;
    QList<int> seen(formats.size(), 0);
    for (const QString &f : formats)
        patterns << QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}  "_s +
                                       QString(f).replace(u"{K}"_s, key) + u'$');
    static const QRegularExpression tokenLike(u"[A-Za-z0-9_-]{32}"_s);
    const QStringList lines = logLines();
    QVERIFY(lines.size() > 20);
    for (const QString &line : lines) {
        int which = -1;
        for (int i = 0; i < patterns.size() && which < 0; ++i)
            if (patterns[i].match(line).hasMatch())
                which = i;
        QVERIFY2(which >= 0, qPrintable(u"unexpected line: "_s + line));
        ++seen[which];
        for (const QString &secret : {kPasscode, u"not-the-passcode"_s, u"wrong-one"_s, u"wrong-two"_s})
            QVERIFY2(!line.contains(secret), qPrintable(line));
        QVERIFY2(!tokenLike.match(line).hasMatch(), qPrintable(line));
    }
    for (int i = 0; i < formats.size(); ++i)
        QVERIFY2(seen[i] > 0, qPrintable(u"never logged: "_s + formats[i]));
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
