// The main window end to end: kestro-unit-sim runs three units inside a private site network,
// the real Window finds them, signs in and polls, and the simulator's loopback control makes the
// units misbehave. Units have roles so that tests do not disturb each other: unit 1 for the
// session, unit 2 for refused passcodes and lock-outs, unit 3 for certificates.

#include "app/base/modal.h"
#include "simsite.h"
#include "support/testsupport.h"
#include "units/store.h"
#include "window/sidebar.h"

#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace simsite;

namespace {
const QString kPasscode = u"site-pass-e2e"_s;
} // namespace

class TestWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
            QSKIP("needs the private site network (run through tests/netns-run)");
        QVERIFY(m_certs.isValid());
        const QByteArray trouble = m_site.start(8099, 3, kPasscode, m_certs.path(),
                                                {u"--lockout-after"_s, u"2"_s, u"--lockout-seconds"_s, u"40"_s});
        QVERIFY2(trouble.isEmpty(), trouble.constData());
    }

    void init() { m_site.open(3); }
    void cleanup()
    {
        m_site.window.reset();
        // Each test starts from well-behaved units.
        QVERIFY(control(
            0, testsupport::json(
                   R"({"schema":true,"churn":false,"retry_after":true,"hang":false,"down":false,"poll_ms":250})")));
    }

    void discoverySignsInAndDraws()
    {
        for (const QString &key : {kUnit1, kUnit2, kUnit3}) // heard, never signed in to
            QCOMPARE(pill(key), u"PASSCODE NEEDED"_s);
        // Chosen before the passcode is typed: the banner asks for it, Enter in the box signs in.
        win()->selectUnit(kUnit1);
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Enter the site passcode"_s, kWait);
        m_site.enterPasscode(kPasscode);
        QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
        QTRY_VERIFY_WITH_TIMEOUT(win()->viewport()->screen() != nullptr, kWait);
        QVERIFY(!bannerShown());
        QVERIFY(m_site.label("heading").startsWith(u"shuttle-01 - "_s));
        QVERIFY(win()->windowTitle().contains(u"   |   signed in as site technician"_s));
    }

    void onlyAChangedAnswerRebuilds()
    {
        // "hb_age" and "_panels" change in every answer; nothing else does while no step runs.
        QVERIFY(control(1, {{u"churn"_s, true}}));
        signInTo(kUnit1);
        const auto sameLines = [] {
            return testsupport::readFile(qEnvironmentVariable("KESTRO_POLL_LOG")).count("payload SAME");
        };
        QTRY_VERIFY_WITH_TIMEOUT(sameLines() > 0, kWait);
        const int rebuilds = win()->rebuildCount();
        const qsizetype before = sameLines();
        QTRY_VERIFY_WITH_TIMEOUT(sameLines() >= before + 4, kWait);
        QCOMPARE(win()->rebuildCount(), rebuilds);
        // A new "poll_ms" is a change: drawn afresh, at the new pace, where the screen stood.
        board::Viewport *view = win()->viewport();
        view->scrollScreenBy(240);
        const int y = view->scrollY();
        QVERIFY(y > 0);
        QVERIFY(control(1, {{u"poll_ms"_s, 1200}}));
        QTRY_VERIFY_WITH_TIMEOUT(win()->rebuildCount() > rebuilds, kWait);
        QCOMPARE(view->scrollY(), y);
        QCOMPARE(win()->pollInterval(), 1200);
    }

    void expiredTokenSignsInAgain()
    {
        signInTo(kUnit1);
        const QString login = u"login  "_s + kUnit1 + u" -> 200"_s;
        const qsizetype logins = countLog(login);
        QVERIFY(control(1, {{u"drop_tokens"_s, true}}));
        QTRY_COMPARE_WITH_TIMEOUT(countLog(kUnit1 + u"  GET /api/ui -> 401, session expired; signing in again"_s),
                                  qsizetype(1), kWait);
        QTRY_COMPARE_WITH_TIMEOUT(countLog(login), logins + 1, kWait);
        QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
    }

    void troubleShowsItsBannerThenRecovers_data()
    {
        QTest::addColumn<QString>("quirk");
        QTest::addColumn<bool>("on");
        QTest::addColumn<QString>("banner");
        QTest::addColumn<QString>("lead"); // how the banner's text starts
        const QString gone = u"Unit unreachable"_s;
        QTest::newRow("switched off") << u"down"_s << true << gone << kUnit1 + u" - "_s;
        // Unreachable once the poll's time limit passes.
        QTest::newRow("hanging") << u"hang"_s << true << gone << kUnit1 + u" - "_s;
        QTest::newRow("no schema") << u"schema"_s << false << u"This unit needs updating"_s
                                   << u"It answered, but it did not describe a screen this app can draw."_s;
    }
    void troubleShowsItsBannerThenRecovers()
    {
        QFETCH(QString, quirk);
        QFETCH(bool, on);
        QFETCH(QString, banner);
        QFETCH(QString, lead);
        signInTo(kUnit1);
        QVERIFY(control(1, {{quirk, on}}));
        QTRY_COMPARE_WITH_TIMEOUT(title(), banner, kWait);
        QVERIFY2(text().startsWith(lead), qPrintable(text()));
        if (on) // no answer at all
            QCOMPARE(status(), u"● No answer"_s);
        QVERIFY(control(1, {{quirk, !on}}));
        QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
        QTRY_VERIFY_WITH_TIMEOUT(!bannerShown(), kWait);
    }

    void refusedThenLockedOut_data()
    {
        QTest::addColumn<bool>("retryAfter");
        QTest::addColumn<int>("seconds");
        QTest::newRow("as the unit says") << true << 40;
        QTest::newRow("without retry_after") << false << 300;
    }
    void refusedThenLockedOut()
    {
        QFETCH(bool, retryAfter);
        QFETCH(int, seconds);
        const QString refused = u"That passcode was not accepted"_s,
                      locked = u"This unit has locked this machine out"_s;
        QVERIFY(control(2, {{u"retry_after"_s, retryAfter}}));
        m_site.enterPasscode(u"wrong-one"_s);
        win()->selectUnit(kUnit2);
        QTRY_VERIFY_WITH_TIMEOUT(title() == refused || title() == locked, kWait);
        // The first row meets a unit that refused nothing yet; a refused passcode is not sent again,
        // by the poll or Retry.
        QVERIFY(title() == refused || !retryAfter);
        if (title() == refused) {
            QCOMPARE(text(), u"This unit rejected the passcode in the box on the left."_s);
            const qsizetype sent = countLog(u"login  "_s + kUnit2 + u" -> 401"_s);
            for (int i = 0; i < 5; ++i, QTest::qWait(100))
                win()->refresh();
            win()->findChild<QPushButton *>(u"bannerRetry"_s)->click();
            QCOMPARE(countLog(u"login  "_s + kUnit2 + u" -> 401"_s), sent);
            QCOMPARE(pill(kUnit2), u"PASSCODE NEEDED"_s);
        }
        // A different passcode is sent; the second wrong one in a row locks this machine out.
        m_site.enterPasscode(u"wrong-two"_s);
        QTRY_COMPARE_WITH_TIMEOUT(title(), locked, kWait);
        static const QRegularExpression wait(
            u"^Too many failed attempts\\. Wait about (\\d+) more second\\(s\\), then try again\\.$"_s);
        const QRegularExpressionMatch m = wait.match(text());
        QVERIFY2(m.hasMatch(), qPrintable(text()));
        const int left = m.captured(1).toInt();
        QVERIFY2(left <= seconds && left > seconds - 15, qPrintable(text()));
        QVERIFY2(pill(kUnit2).startsWith(u"LOCKED OUT "_s), qPrintable(pill(kUnit2)));
        // The countdown moves by itself.
        QTRY_VERIFY_WITH_TIMEOUT(wait.match(text()).captured(1).toInt() < left, kWait);
    }

    void changedCertificate()
    {
        signInTo(kUnit3);
        const QString firstPin = units::pinFor(kUnit3);
        QVERIFY(control(3, {{u"other_cert"_s, true}}));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"This unit's certificate has changed"_s, kWait);
        QCOMPARE(text(), u"Not a passcode problem. The unit at %1 is showing a different certificate from the one "
                         u"this machine trusted."_s.arg(kUnit3));
        QCOMPARE(pill(kUnit3), u"CERTIFICATE CHANGED"_s);
        auto *trust = win()->findChild<QPushButton *>(u"bannerTrust"_s);
        // Saying no keeps things as they are; yes trusts the new certificate and signs in.
        app::setNextAnswer([](QDialog *box) { box->done(QMessageBox::No); });
        trust->click();
        QCOMPARE(title(), u"This unit's certificate has changed"_s);
        QCOMPARE(units::pinFor(kUnit3), firstPin);
        app::setNextAnswer([](QDialog *box) {
            QCOMPARE(box->windowTitle(), u"Trust the new certificate?"_s);
            qobject_cast<QMessageBox *>(box)->button(QMessageBox::Yes)->click();
        });
        trust->click();
        QTRY_COMPARE_WITH_TIMEOUT(status(), u"● Live"_s, kWait);
        QVERIFY(!bannerShown());
        QVERIFY(units::pinFor(kUnit3) != firstPin);
    }

    void manualUnitStaysAndGoes()
    {
        // Nothing answers at this address: the unit is kept, offline, until removed.
        const QString key = u"10.77.0.99:8443"_s;
        app::setNextAnswer([&key](QDialog *box) {
            box->findChild<QLineEdit *>()->setText(key);
            box->accept();
        });
        win()->findChild<QPushButton *>(u"addUnit"_s)->click();
        QCOMPARE(win()->selectedKey(), key);
        QCOMPARE(pill(key), u"OFFLINE"_s);
        win()->findChild<QPushButton *>(u"removeUnit"_s)->click();
        QCOMPARE(win()->unitList().size(), 3);
    }

    void connectLogLines()
    {
        // Every line in its exact format, each format seen, and never a passcode or a token.
        const QString key = u"\\d+\\.\\d+\\.\\d+\\.\\d+:\\d+"_s;
        const QStringList formats{
            u"select  {K}  name=\\S* type=\\S* (online|not-seen-by-discovery) (https|http)"_s,
            u"login  {K} -> (\\d+|no reply)  \\d+ ms(  CERTIFICATE CHANGED|  passcode refused|  locked out, "
            u"retry_after "
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
            const auto which =
                std::ranges::find_if(patterns, [&line](const auto &p) { return p.match(line).hasMatch(); });
            QVERIFY2(which != patterns.end(), qPrintable(u"unexpected line: "_s + line));
            ++seen[which - patterns.begin()];
            for (const QString &secret : {kPasscode, u"wrong-one"_s, u"wrong-two"_s})
                QVERIFY2(!line.contains(secret), qPrintable(line));
            QVERIFY2(!tokenLike.match(line).hasMatch(), qPrintable(line));
        }
        for (int i = 0; i < formats.size(); ++i)
            QVERIFY2(seen[i] > 0, qPrintable(u"never logged: "_s + formats[i]));
    }

private:
    window::Window *win() const { return m_site.window.get(); }
    bool control(int unit, const QJsonObject &changes) { return m_site.control(unit, changes); }
    void signInTo(const QString &key) { m_site.signIn(key, kPasscode); }
    QString title() const { return m_site.label("bannerTitle"); }
    QString text() const { return m_site.label("bannerText"); }
    QString status() const { return m_site.label("sessionStatus"); }
    bool bannerShown() const { return win()->findChild<QWidget *>(u"banner"_s)->isVisible(); }
    QString pill(const QString &key) const { return win()->sidebar()->pill(key).text; }

    QTemporaryDir m_certs;
    Site m_site;
};

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
