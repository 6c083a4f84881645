// Presses, field carry, the tool menu, typing while the screen changes and the stale mark, end to
// end: kestro-unit-sim runs two units inside a private site network and the real Window signs in
// and presses. Both start at their identity step; unit 1 leaves it when the carry test saves it.

#include "app/base/modal.h"
#include "app/base/settings.h"
#include "app/base/sounds.h"
#include "app/base/theme.h"
#include "board/siteboard.h"
#include "render/toast.h"
#include "simsite.h"
#include "support/testsupport.h"

#include <QAbstractButton>
#include <QDirIterator>
#include <QMessageBox>
#include <QPainter>
#include <QPointer>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <functional>

using namespace Qt::StringLiterals;
using namespace simsite;

namespace {
const QString kPasscode = u"press-pass-e2e"_s;
const QString kWifiKey = u"wifi-key-5531-never-stored"_s;

// Saves the window as it stands when KESTRO_SHOT_DIR names a folder (the pictures in docs/).
void shot(const QImage &image, const QString &name)
{
    if (const QString dir = qEnvironmentVariable("KESTRO_SHOT_DIR"); !dir.isEmpty())
        image.save(dir + u'/' + name);
}
render::Press pressOf(const QString &path, const QJsonObject &body)
{
    render::Press p;
    p.path = path;
    p.body = body;
    return p;
}
} // namespace

class TestPresses : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
            QSKIP("needs the private site network (run through tests/netns-run)");
        QVERIFY(m_dir.isValid());
        qApp->setStyleSheet(theme::styleSheet()); // as the program runs
        // The updater's daily check goes nowhere.
        const QString installation = m_dir.filePath(u"installation.json"_s);
        QVERIFY(testsupport::writeFile(installation, "{\"releaseBase\": \"https:/"
                                                     "/127.0.0.1:9/\"}"));
        qputenv("KESTRO_INSTALLATION", installation.toLocal8Bit());
        app::overrideSuppression(false);
        app::overrideCanPlay(true);
        app::setSoundSink([this](app::Sound s, const QString &) { m_sounds << s; });
        const QByteArray trouble = m_site.start(8098, 2, kPasscode, m_dir.path(), {u"--pace"_s, u"150"_s});
        QVERIFY2(trouble.isEmpty(), trouble.constData());
    }

    void init()
    {
        QFile::remove(units::connectLogPath()); // each test counts its own lines
        m_site.open(2);
        m_sounds.clear();
    }

    void cleanup()
    {
        m_site.window.reset();
        app::setNextAnswer({});
        QVERIFY(m_site.control(0, {{u"restless"_s, false}, {u"down"_s, false}, {u"delay_ms"_s, 0}}));
    }

    // A stage change is a POST of /api/view; a refusal's text is shown as the unit sent it.
    void pressOutcomes_data()
    {
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QString>("said");
        QTest::newRow("accepted") << false << u"F-231: "_s;
        QTest::newRow("no such stage") << true << u"No stage called \"attic\"."_s;
    }
    void pressOutcomes()
    {
        QFETCH(bool, refused);
        QFETCH(QString, said);
        const QString path = refused ? u"/api/view"_s : u"/api/action/lookup"_s;
        signInTo(kUnit1);
        QString boxTitle, boxText;
        app::setNextAnswer([&](QDialog *box) {
            boxTitle = box->windowTitle();
            boxText = static_cast<QMessageBox *>(box)->text();
            // The window with the box over its middle, as the technician sees it.
            QImage image = win()->grab().toImage();
            const QImage over = box->grab().toImage();
            QPainter(&image).drawImage((image.width() - over.width()) / 2, (image.height() - over.height()) / 2, over);
            shot(image, u"window-refused.png"_s);
            box->accept();
        });
        if (refused)
            win()->actions().openStage(u"attic"_s);
        else
            win()->actions().press(pressOf(path, {{u"query"_s, u"F-231"_s}}));
        QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST %2 -> "_s.arg(kUnit1, path)), 1, kWait);
        const QString toast = win()->findChild<render::ToastStrip *>()->text();
        QVERIFY2(toast.startsWith(said), qPrintable(toast));
        QCOMPARE(countLog(u"press  %1  POST %2  keys[%3]"_s.arg(kUnit1, path, refused ? u"stage"_s : u"query"_s)), 1);
        QCOMPARE(boxTitle, refused ? u"The unit refused"_s : QString());
        QCOMPARE(boxText, refused ? said : QString());
        QCOMPARE(m_sounds.value(m_sounds.size() - 1, app::Sound(-1)), refused ? app::Sound::Error : app::Sound::Ok);
    }

    void samePressTwiceSendsOnce()
    {
        signInTo(kUnit1);
        QVERIFY(m_site.control(1, {{u"delay_ms"_s, 1500}}));
        render::Press p = pressOf(u"/api/action/lookup"_s, {{u"query"_s, u"F-112"_s}});
        p.then = u"none"_s;
        const render::Actions actions = win()->actions();
        actions.press(p);
        actions.press(p);
        const QString ignored = u"POST /api/action/lookup  IGNORED - the same press is still waiting for the unit"_s;
        const QString replied = u"reply  %1  POST /api/action/lookup -> 200"_s.arg(kUnit1);
        QCOMPARE(countLog(ignored), 1);
        QTRY_COMPARE_WITH_TIMEOUT(countLog(replied), 1, kWait);
        QCOMPARE(countLog(u"POST /api/action/lookup  keys["_s), 1);
        // Answered, the same press goes again.
        actions.press(p);
        QTRY_COMPARE_WITH_TIMEOUT(countLog(replied), 2, kWait);
        QCOMPARE(countLog(ignored), 1);
    }

    void carriedValueSurvivesARestartNoSecretWritten()
    {
        // Unit 1's identity saved with its password field typed in: it leaves for drive calibration.
        signInTo(kUnit1);
        QTRY_VERIFY_WITH_TIMEOUT(field(u"service_wifi_key"_s), kWait);
        field(u"unit_name"_s)->setFocus();
        field(u"unit_name"_s)->setText(u"Carried name 7"_s);
        QTest::keyClick(field(u"unit_name"_s), Qt::Key_Return);
        QTest::keyClicks(field(u"service_wifi_key"_s), kWifiKey);
        button(u"Save identity"_s)->click();
        QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/save/identity -> 200"_s.arg(kUnit1)), 1, kWait);

        // A secret id is not carried either. Nothing the client wrote holds the passcode, the Wi-Fi key
        // or a sign-in token.
        win()->actions().carry(u"WIFI_PSK"_s, kWifiKey);
        m_site.window.reset();
        const QRegularExpression token(u"(^|[^A-Za-z0-9_-])[A-Za-z0-9_-]{32}($|[^A-Za-z0-9_-])"_s);
        int files = 0;
        for (QDirIterator it(app::configDir(), QDir::Files, QDirIterator::Subdirectories); it.hasNext(); ++files) {
            const QString name = it.next();
            const QString text = QString::fromUtf8(testsupport::readFile(name));
            for (const QString &secret : {kPasscode, kWifiKey, u"Bearer"_s})
                QVERIFY2(!text.contains(secret), qPrintable(name));
            QVERIFY2(!token.match(text).hasMatch(), qPrintable(name + u": "_s + token.match(text).captured()));
        }
        QVERIFY(files >= 4); // units, pins, settings, connect.log at least

        // A new run, another unit: the field offers the carried text.
        init();
        signInTo(kUnit2);
        QTRY_VERIFY_WITH_TIMEOUT(field(u"unit_name"_s), kWait);
        QCOMPARE(field(u"unit_name"_s)->text(), u"Carried name 7"_s);
    }

    // Each entry of the tool menu, run from the window against the simulated site, opens its own
    // box first (every box after it is closed too, so that no tool waits for a person).
    void toolEntriesOpenTheirBoxes_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("title");
        const std::pair<const char *, const char *> rows[] = {{"Site view", "Site view"},
                                                              {"Stats", "Commissioning stats"},
                                                              {"Day summary", "Commissioning day summary"},
                                                              {"Report", "Commissioning report"},
                                                              {"Start a new daily log...", "Start a new daily log?"},
                                                              {"Explain a fault", "What does this fault mean?"},
                                                              {"Appearance...", "Appearance"},
                                                              {"Change site passcode...", "Change site passcode"},
                                                              {"Phone access", "Phone access"},
                                                              {"IO module templates", "IO module templates"}};
        for (const auto &[entry, title] : rows)
            QTest::newRow(entry) << QString::fromUtf8(entry) << QString::fromUtf8(title);
    }
    void toolEntriesOpenTheirBoxes()
    {
        QFETCH(QString, entry);
        QFETCH(QString, title);
        signInTo(kUnit1);
        QStringList titles;
        std::function<void(QDialog *)> closeAll = [&titles, &closeAll](QDialog *box) {
            titles << box->windowTitle();
            app::setNextAnswer(closeAll);
            box->reject();
        };
        app::setNextAnswer(closeAll);
        win()->runTool(entry);
        app::setNextAnswer({});
        QVERIFY2(!titles.isEmpty(), qPrintable(entry));
        QCOMPARE(titles.first(), title);
    }

    // Yes to "Start a new daily log?" sends the roll as a press, and the unit takes it.
    void dailyLogIsSentAsAPress()
    {
        signInTo(kUnit1);
        app::setNextAnswer([](QDialog *box) {
            auto *question = qobject_cast<QMessageBox *>(box);
            QVERIFY(question);
            question->button(QMessageBox::Yes)->click();
        });
        win()->runTool(u"Start a new daily log..."_s);
        app::setNextAnswer({});
        QTRY_VERIFY_WITH_TIMEOUT(logLines().filter(u"reply  %1  POST /api/day -> 200"_s.arg(kUnit1)).size() == 1,
                                 kWait);
        QCOMPARE(logLines().filter(u"press  %1  POST /api/day  keys["_s.arg(kUnit1)).size(), 1);
    }

    void typingSurvivesRebuilds()
    {
        signInTo(kUnit2);
        QVERIFY(m_site.control(2, {{u"restless"_s, true}}));
        QTRY_VERIFY_WITH_TIMEOUT(field(u"unit_name"_s), kWait);
        win()->activateWindow();
        const auto name = [this] { return field(u"unit_name"_s); };
        name()->setFocus();
        name()->clear();
        QTest::keyClicks(name(), u"abcdef"_s);
        name()->setCursorPosition(2);

        // Each key goes to whichever input has the focus now; a screen rebuilt in between must have
        // handed the focus, the text and the caret on.
        const int rebuilds = win()->rebuildCount();
        QString expected = u"abcdef"_s;
        int caret = 2;
        for (const QChar c : u"XYZ-0123456789"_s) {
            auto *focus = qobject_cast<QLineEdit *>(screen()->window()->focusWidget());
            QVERIFY(focus);
            QCOMPARE(focus->objectName(), u"field:unit_name"_s);
            QCOMPARE(focus->cursorPosition(), caret);
            QTest::keyClick(focus, c.toLatin1());
            expected.insert(caret++, c);
            QCOMPARE(focus->text(), expected);
            QTest::qWait(90);
        }
        QVERIFY2(win()->rebuildCount() >= rebuilds + 4, qPrintable(QString::number(win()->rebuildCount() - rebuilds)));

        // A selection made backwards is kept as it was, through more rebuilds; typing replaces it.
        QTest::keyClick(name(), Qt::Key_Left, Qt::ShiftModifier);
        QTest::keyClick(name(), Qt::Key_Left, Qt::ShiftModifier);
        const int before = win()->rebuildCount();
        QTRY_VERIFY_WITH_TIMEOUT(win()->rebuildCount() >= before + 2, kWait);
        QCOMPARE(name()->selectedText(), u"89"_s);
        QCOMPARE(name()->cursorPosition(), caret - 2);
        QCOMPARE(screen()->window()->focusWidget(), name());
        QTest::keyClick(name(), 'q');
        QCOMPARE(name()->text(), u"abXYZ-01234567qcdef"_s);
    }

    void staleScreenIsMarked()
    {
        signInTo(kUnit1);
        auto *mark = win()->findChild<QLabel *>(u"staleMark"_s);
        QVERIFY(!mark->isVisible());
        QVERIFY(m_site.control(1, {{u"down"_s, true}}));
        QTRY_VERIFY_WITH_TIMEOUT(win()->isStale(), kWait);
        auto *veil = win()->findChild<QWidget *>(u"staleVeil"_s);
        QVERIFY(mark->isVisible() && veil && veil->isVisible());
        static const QRegularExpression seen(u"^NOT LIVE - last seen \\d\\d:\\d\\d:\\d\\d \\(\\d+ s ago\\)$"_s);
        QVERIFY2(seen.match(mark->text()).hasMatch(), qPrintable(mark->text()));
        QCOMPARE(veil->geometry(), win()->viewport()->rect());
        QVERIFY(screen()); // the last screen stays readable
        shot(win()->grab().toImage(), u"window-stale.png"_s);

        // Back in contact: the mark goes only with a screen drawn afresh.
        const int rebuilds = win()->rebuildCount();
        QVERIFY(m_site.control(1, {{u"down"_s, false}}));
        QTRY_VERIFY_WITH_TIMEOUT(!win()->isStale(), kWait);
        QVERIFY(win()->rebuildCount() > rebuilds);
        QVERIFY(!mark->isVisible() && !veil->isVisible());
    }

    void runningStepPatchesItsPanels()
    {
        signInTo(kUnit1);
        // Unit 1 stands at its drive calibration once its identity is saved (the carry test saves
        // it; run on its own, this test does).
        QTRY_VERIFY_WITH_TIMEOUT(button(u"Run Drive calibration"_s) || button(u"Save identity"_s), kWait);
        if (button(u"Save identity"_s)) {
            field(u"unit_name"_s)->setText(u"Board unit"_s);
            button(u"Save identity"_s)->click();
        }
        QTRY_VERIFY_WITH_TIMEOUT(button(u"Run Drive calibration"_s), kWait);
        button(u"Run Drive calibration"_s)->click();
        // Starting the step changes the screen itself (Stop, the spinner): one rebuild.
        QTRY_VERIFY_WITH_TIMEOUT(button(u"Stop"_s), kWait);
        // The board sits in its own zoomable view, not among the screen's children.
        auto *view = screen()->findChild<board::Viewport *>(u"viewport"_s);
        QPointer<QWidget> siteBoard = view ? qobject_cast<board::SiteBoard *>(view->screen()) : nullptr;
        QVERIFY(siteBoard);
        QPointer<QWidget> carriage = siteBoard->findChild<QWidget *>(u"tile:carriage"_s);
        QVERIFY(carriage);
        const int lane0 = carriage->x();
        const int rebuilds = win()->rebuildCount();
        const auto patched = [this] {
            return testsupport::readFile(m_dir.filePath(u"poll.log"_s)).count("PATCHED in place");
        };
        const qsizetype before = patched();
        // The step runs 20 ticks of 150 ms, the window polls every 250 ms: the ticks are patches.
        QTRY_VERIFY_WITH_TIMEOUT(patched() >= before + 2 && carriage && carriage->x() != lane0, kWait);
        QVERIFY2(button(u"Stop"_s), "the step ended before its patches were seen");
        QCOMPARE(win()->rebuildCount(), rebuilds);
        QVERIFY(siteBoard); // the same board, its carriage moved in place
        shot(win()->grab().toImage(), u"window-board-running.png"_s);
    }

private:
    window::Window *win() const { return m_site.window.get(); }
    void signInTo(const QString &key) { m_site.signIn(key, kPasscode); }
    QWidget *screen() const { return win()->viewport()->screen(); }
    QLineEdit *field(const QString &id) const
    {
        return screen() ? screen()->findChild<QLineEdit *>(u"field:"_s + id) : nullptr;
    }

    QAbstractButton *button(const QString &textStart) const
    {
        if (!screen())
            return nullptr;
        for (QAbstractButton *b : screen()->findChildren<QAbstractButton *>())
            if (b->text().startsWith(textStart) && b->isVisibleTo(screen()))
                return b;
        return nullptr;
    }

    QTemporaryDir m_dir;
    Site m_site;
    QList<app::Sound> m_sounds;
};

QTEST_MAIN(TestPresses)
#include "tst_presses.moc"
