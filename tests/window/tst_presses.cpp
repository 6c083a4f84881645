// Presses, field carry, the tool menu, typing while the screen changes and the stale mark, end to
// end: kestro-unit-sim runs two units inside a private site network and the real Window signs in
// and presses. Both start at their identity step; unit 1 leaves it when the slider test saves it
// and is walked through the rest of the script by the last test.

#include "app/base/modal.h"
#include "app/base/settings.h"
#include "app/base/sounds.h"
#include "app/base/theme.h"
#include "board/dragdrop.h"
#include "board/siteboard.h"
#include "board/viewport.h"
#include "render/steps.h"
#include "render/toast.h"
#include "simsite.h"
#include "support/testsupport.h"
#include "units/diaglog.h"
#include "window/sidebar.h"
#include "window/window.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QNetworkAccessManager>
#include <QPainter>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString kPasscode = u"press-pass-e2e"_s;
const QString kWifiKey = u"wifi-key-5531-never-stored"_s;
constexpr int kControlPort = 8098;

using simsite::countLog;
using simsite::kUnit1;
using simsite::kUnit2;
using simsite::kWait;
using simsite::logLines;

} // namespace

class TestPresses : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void pressOutcomes_data();
    void pressOutcomes();
    void samePressTwiceSendsOnce();
    void carriedValueSurvivesARestart();
    void secretIdsAreNeverCarried_data();
    void secretIdsAreNeverCarried();
    void sliderSendsItsScaledValue();
    void viewStepStaysInTheWindow();
    void toolMenuInOrder();
    void toolEntriesOpenTheirBoxes_data();
    void toolEntriesOpenTheirBoxes();
    void dailyLogIsAPress();
    void typingSurvivesRebuilds();
    void staleScreenIsMarked();
    void runningStepPatchesItsPanels();
    void wholeFlowLeavesNoSecret();

private:
    bool control(int unit, const QJsonObject &changes);
    void signInTo(const QString &key);
    QWidget *screen() const { return m_window->viewport()->screen(); }
    template<typename T> T *field(const QString &id) const
    {
        return screen() ? screen()->findChild<T *>(u"field:"_s + id) : nullptr;
    }
    QAbstractButton *button(const QString &textStart) const;
    QString toast() const { return m_window->findChild<render::ToastStrip *>()->text(); }

    QTemporaryDir m_dir;
    QProcess m_sim;
    QNetworkAccessManager m_net;
    std::unique_ptr<window::Window> m_window;
    QList<app::Sound> m_sounds;
};

void TestPresses::initTestCase()
{
    if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET"))
        QSKIP("needs the private site network (run through tests/netns-run)");
    testsupport::isolateConfig();
    QVERIFY(m_dir.isValid());
    qApp->setStyleSheet(theme::styleSheet()); // as the program runs
    // The window's poll log, read back by the running-step test (the path is read once).
    qputenv("KESTRO_POLL_LOG", m_dir.filePath(u"poll.log"_s).toLocal8Bit());
    // The updater's daily check goes nowhere.
    QFile installation(m_dir.filePath(u"installation.json"_s));
    QVERIFY(installation.open(QIODevice::WriteOnly));
    installation.write("{\"releaseBase\": \"https:/"
                       "/127.0.0.1:9/\"}");
    installation.close();
    qputenv("KESTRO_INSTALLATION", installation.fileName().toLocal8Bit());
    app::overrideSuppression(false);
    app::overrideCanPlay(true);
    app::setSoundSink([this](app::Sound s, const QString &) { m_sounds << s; });

    const QByteArray trouble = simsite::start(m_sim, {u"--units"_s, u"2"_s, u"--passcode"_s, kPasscode, u"--cert-dir"_s,
                                                      m_dir.path(), u"--control"_s, QString::number(kControlPort),
                                                      u"--poll-ms"_s, u"250"_s, u"--pace"_s, u"150"_s});
    QVERIFY2(trouble.isEmpty(), trouble.constData());
}

void TestPresses::cleanupTestCase()
{
    m_window.reset();
    app::setSoundSink({});
    m_sim.terminate();
    if (!m_sim.waitForFinished(10000))
        m_sim.kill();
}

void TestPresses::init()
{
    QFile::remove(units::connectLogPath()); // each test counts its own lines
    m_window = std::make_unique<window::Window>();
    m_window->show();
    QTRY_COMPARE_WITH_TIMEOUT(std::count_if(m_window->unitList().begin(), m_window->unitList().end(),
                                            [](const units::Unit &u) { return u.online(); }),
                              qsizetype(2), kWait);
    m_sounds.clear();
}

void TestPresses::cleanup()
{
    m_window.reset();
    QVERIFY(control(0, {{u"restless"_s, false}, {u"down"_s, false}, {u"delay_ms"_s, 0}}));
}

bool TestPresses::control(int unit, const QJsonObject &changes)
{
    return simsite::control(m_net, kControlPort, unit, changes);
}

void TestPresses::signInTo(const QString &key)
{
    auto *box = m_window->findChild<QLineEdit *>(u"passcode"_s);
    box->setText(kPasscode);
    QTest::keyClick(box, Qt::Key_Return);
    m_window->selectUnit(key);
    QTRY_COMPARE_WITH_TIMEOUT(m_window->findChild<QLabel *>(u"sessionStatus"_s)->text(), u"● Live"_s, kWait);
    QTRY_VERIFY_WITH_TIMEOUT(screen() != nullptr, kWait);
}

QAbstractButton *TestPresses::button(const QString &textStart) const
{
    if (!screen())
        return nullptr;
    for (QAbstractButton *b : screen()->findChildren<QAbstractButton *>())
        if (b->text().startsWith(textStart) && b->isVisibleTo(screen()))
            return b;
    return nullptr;
}

void TestPresses::pressOutcomes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<QString>("said");
    QTest::addColumn<bool>("refused");
    QTest::newRow("accepted") << u"/api/action/lookup"_s << QJsonObject{{u"query"_s, u"F-231"_s}} << u"F-231: "_s
                              << false;
    QTest::newRow("refused") << u"/api/action/lookup"_s << QJsonObject{{u"query"_s, u"nothing like it"_s}}
                             << u"No fault matches \"nothing like it\"."_s << true;
    // A stage change is a POST of /api/view.
    QTest::newRow("stage") << u"/api/view"_s << QJsonObject{{u"stage"_s, u"drive"_s}} << u"Showing Drive calibration"_s
                           << false;
    QTest::newRow("no such stage") << u"/api/view"_s << QJsonObject{{u"stage"_s, u"attic"_s}}
                                   << u"No stage called \"attic\"."_s << true;
}

void TestPresses::pressOutcomes()
{
    QFETCH(QString, path);
    QFETCH(QJsonObject, body);
    QFETCH(QString, said);
    QFETCH(bool, refused);
    signInTo(kUnit1);
    QString boxTitle, boxText;
    app::setNextAnswer([&](QDialog *box) {
        boxTitle = box->windowTitle();
        boxText = static_cast<QMessageBox *>(box)->text();
        if (const QString dir = qEnvironmentVariable("KESTRO_SHOT_DIR"); !dir.isEmpty() && path.contains(u"view"_s)) {
            // The window with the box over its middle, as the technician sees it.
            QImage shot = m_window->grab().toImage();
            const QImage over = box->grab().toImage();
            QPainter(&shot).drawImage((shot.width() - over.width()) / 2, (shot.height() - over.height()) / 2, over);
            shot.save(dir + u"/window-refused.png"_s);
        }
        box->accept();
    });
    const render::Actions actions = m_window->actions();
    if (path == u"/api/view"_s) {
        actions.openStage(body.value(u"stage"_s).toString());
    } else {
        render::Press p;
        p.path = path;
        p.body = body;
        actions.press(p);
    }
    QTRY_VERIFY_WITH_TIMEOUT(countLog(u"reply  %1  POST %2 -> "_s.arg(kUnit1, path)) == 1, kWait);
    QVERIFY2(toast().startsWith(said), qPrintable(toast()));
    const QString sent = u"press  %1  POST %2  keys[%3]"_s.arg(kUnit1, path, body.keys().join(u","_s));
    QCOMPARE(countLog(sent), 1);
    QVERIFY(!m_sounds.isEmpty());
    if (refused) {
        QCOMPARE(boxTitle, u"The unit refused"_s);
        QCOMPARE(boxText, said); // the unit's error text, as sent
        QCOMPARE(m_sounds.last(), app::Sound::Error);
    } else {
        app::setNextAnswer({});
        QVERIFY(boxTitle.isEmpty());
        QCOMPARE(m_sounds.last(), app::Sound::Ok);
    }
}

void TestPresses::samePressTwiceSendsOnce()
{
    signInTo(kUnit1);
    QVERIFY(control(1, {{u"delay_ms"_s, 1500}}));
    render::Press p;
    p.path = u"/api/action/lookup"_s;
    p.body = {{u"query"_s, u"F-112"_s}};
    p.then = u"none"_s;
    const render::Actions actions = m_window->actions();
    actions.press(p);
    actions.press(p);
    const QString ignored =
        u"press  %1  POST /api/action/lookup  IGNORED - the same press is still waiting for the unit"_s.arg(kUnit1);
    QCOMPARE(countLog(ignored), 1);
    QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/action/lookup -> 200"_s.arg(kUnit1)), 1, kWait);
    QCOMPARE(countLog(u"press  %1  POST /api/action/lookup  keys["_s.arg(kUnit1)), 1);
    // Answered, the same press goes again.
    actions.press(p);
    QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/action/lookup -> 200"_s.arg(kUnit1)), 2, kWait);
    QCOMPARE(countLog(ignored), 1);
}

void TestPresses::sliderSendsItsScaledValue()
{
    // The identity slider runs from 1 in steps of 0.5: position 8 is 5 m/s, which the unit warns
    // about once it has it.
    signInTo(kUnit1);
    QTRY_VERIFY_WITH_TIMEOUT(field<QSlider>(u"max_speed"_s), kWait);
    QCOMPARE(field<QSlider>(u"max_speed"_s)->property("sliderMin").toDouble(), 1.0);
    QCOMPARE(field<QSlider>(u"max_speed"_s)->property("sliderStep").toDouble(), 0.5);
    field<QSlider>(u"max_speed"_s)->setValue(8);
    QCOMPARE(m_window->pendingEdit(u"max_speed"_s).toDouble(), 5.0);
    QCOMPARE(m_window->actions().collectFields({u"max_speed"_s}).value(u"max_speed"_s).toDouble(), 5.0);
    // The unit's warnings come with the log panel's source once a screen names it.
    const auto warned = [this] {
        for (const QJsonValue &w : m_window->actions().fetch(u"/api/live/log"_s).value(u"warnings"_s).toArray())
            if (w.toString().startsWith(u"Maximum speed above 4 m/s"_s))
                return true;
        return false;
    };
    QVERIFY(!warned());
    // Without a name the unit refuses the save; the edit stays pending.
    field<QLineEdit>(u"unit_name"_s)->clear();
    app::setNextAnswer([](QDialog *box) { box->accept(); });
    button(u"Save identity"_s)->click();
    QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/save/identity -> 422"_s.arg(kUnit1)), 1, kWait);
    QCOMPARE(m_window->pendingEdit(u"max_speed"_s).toDouble(), 5.0);
    QTRY_VERIFY_WITH_TIMEOUT(warned() == false && field<QSlider>(u"max_speed"_s)->value() == 8, kWait);
    // With one, it takes the values and the edit is no longer pending.
    field<QLineEdit>(u"unit_name"_s)->setText(u"Aisle A shuttle 1"_s);
    button(u"Save identity"_s)->click();
    QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/save/identity -> 200"_s.arg(kUnit1)), 1, kWait);
    QVERIFY(!m_window->pendingEdit(u"max_speed"_s).isValid());
    QTRY_VERIFY_WITH_TIMEOUT(warned(), kWait);
}

void TestPresses::carriedValueSurvivesARestart()
{
    signInTo(kUnit1);
    QTRY_VERIFY_WITH_TIMEOUT(field<QLineEdit>(u"unit_name"_s), kWait);
    QLineEdit *name = field<QLineEdit>(u"unit_name"_s);
    name->setFocus();
    name->setText(u"Carried name 7"_s);
    QTest::keyClick(name, Qt::Key_Return);
    QCOMPARE(app::loadSettings().value(u"field_carry"_s).toObject().value(u"unit_name"_s).toString(),
             u"Carried name 7"_s);

    // A new run, another unit: the field offers the carried text.
    m_window.reset();
    init();
    signInTo(kUnit2);
    QTRY_VERIFY_WITH_TIMEOUT(field<QLineEdit>(u"unit_name"_s), kWait);
    QCOMPARE(field<QLineEdit>(u"unit_name"_s)->text(), u"Carried name 7"_s);
}

void TestPresses::secretIdsAreNeverCarried_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("carried");
    QTest::newRow("plain") << u"unit_name"_s << true;
    QTest::newRow("passcode") << u"site_passcode"_s << false;
    QTest::newRow("psk upper") << u"WIFI_PSK"_s << false;
    QTest::newRow("secret") << u"mqtt_secret"_s << false;
    QTest::newRow("token") << u"apiToken"_s << false;
    QTest::newRow("empty") << QString() << false;
}

void TestPresses::secretIdsAreNeverCarried()
{
    QFETCH(QString, id);
    QFETCH(bool, carried);
    const render::Actions actions = m_window->actions();
    actions.carry(id, u"value-of-%1"_s.arg(id));
    QCOMPARE(app::loadSettings().value(u"field_carry"_s).toObject().contains(id), carried);
    QCOMPARE(actions.carried(id).isEmpty(), !carried);
}

void TestPresses::viewStepStaysInTheWindow()
{
    // Unit 1 is at its drive calibration since the slider test saved its identity.
    signInTo(kUnit1);
    QTRY_VERIFY_WITH_TIMEOUT(button(u"Run Drive calibration"_s), kWait);
    const qsizetype presses = countLog(u"press  "_s);
    const int rebuilds = m_window->rebuildCount();
    m_window->actions().press(render::viewStepPress(u"identity"_s));
    QCOMPARE(m_window->viewedStep(), u"identity"_s);
    QVERIFY(m_window->rebuildCount() > rebuilds);
    QCOMPARE(m_window->actions().viewedStep, u"identity"_s);
    const auto shows = [this](const QString &start) {
        for (QLabel *l : screen()->findChildren<QLabel *>())
            if (l->text().startsWith(start))
                return true;
        return false;
    };
    QVERIFY(shows(u"Identity and site was completed at "_s));
    QVERIFY(!button(u"Run Drive calibration"_s));
    // Back to the current step: still nothing sent, nothing in flight.
    m_window->actions().press(render::viewStepPress(QString()));
    QTRY_VERIFY_WITH_TIMEOUT(button(u"Run Drive calibration"_s), kWait);
    QCOMPARE(countLog(u"press  "_s), presses);
    QVERIFY(m_window->viewedStep().isEmpty());
}

void TestPresses::toolMenuInOrder()
{
    const QStringList expected{
        u"Site view"_s,
        u"Stats"_s,
        u"Day summary"_s,
        u"Report"_s,
        u"Start a new daily log..."_s,
        u"Explain a fault"_s,
        u"Report problem"_s,
        u"Appearance..."_s,
        u"Your name..."_s,
        u"Change site passcode..."_s,
        u"Uninstall this app..."_s,
        u"Open diagnostics folder"_s,
        u"Copy diagnostics summary"_s,
        u"Phone access"_s,
        u"IO module templates"_s,
        u"Check for updates..."_s,
    };
    QCOMPARE(m_window->toolNames(), expected);
    QStringList shown;
    for (QAction *a : m_window->findChild<QToolButton *>(u"toolMenu"_s)->menu()->actions())
        if (!a->isSeparator())
            shown << a->text();
    QCOMPARE(shown, expected);
}

// Each entry, run from the window against the simulated site, opens its own box first (every box
// after it is closed too, so that no tool waits for a person).
void TestPresses::toolEntriesOpenTheirBoxes_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("title");
    const std::pair<const char *, const char *> rows[] = {
        {"Site view", "Site view"},
        {"Stats", "Commissioning stats"},
        {"Day summary", "Commissioning day summary"},
        {"Report", "Commissioning report"},
        {"Explain a fault", "What does this fault mean?"},
        {"Appearance...", "Appearance"},
        {"Change site passcode...", "Change site passcode"},
        {"Phone access", "Phone access"},
        {"IO module templates", "IO module templates"},
    };
    for (const auto &[entry, title] : rows)
        QTest::newRow(entry) << QString::fromUtf8(entry) << QString::fromUtf8(title);
}

void TestPresses::toolEntriesOpenTheirBoxes()
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
    m_window->runTool(entry);
    app::setNextAnswer({});
    QVERIFY2(!titles.isEmpty(), qPrintable(entry));
    QCOMPARE(titles.first(), title);
}

void TestPresses::dailyLogIsAPress()
{
    // Without a unit it only says so; with one, Yes sends the roll as a press.
    QString said;
    app::setNextAnswer([&said](QDialog *box) {
        said = static_cast<QMessageBox *>(box)->text();
        box->accept();
    });
    m_window->runTool(u"Start a new daily log..."_s);
    QCOMPARE(said, u"Select a unit first."_s);
    signInTo(kUnit1);
    app::setNextAnswer([](QDialog *box) { static_cast<QMessageBox *>(box)->button(QMessageBox::Yes)->click(); });
    m_window->runTool(u"Start a new daily log..."_s);
    QCOMPARE(countLog(u"press  %1  POST /api/day  keys[action]"_s.arg(kUnit1)), 1);
    QTRY_COMPARE_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/day -> 200"_s.arg(kUnit1)), 1, kWait);
}

void TestPresses::typingSurvivesRebuilds()
{
    signInTo(kUnit2);
    QVERIFY(control(2, {{u"restless"_s, true}}));
    QTRY_VERIFY_WITH_TIMEOUT(field<QLineEdit>(u"unit_name"_s), kWait);
    m_window->activateWindow();
    field<QLineEdit>(u"unit_name"_s)->setFocus();
    field<QLineEdit>(u"unit_name"_s)->clear();
    QTest::keyClicks(field<QLineEdit>(u"unit_name"_s), u"abcdef"_s);
    QTest::keyClick(field<QLineEdit>(u"unit_name"_s), Qt::Key_Home);
    QTest::keyClick(field<QLineEdit>(u"unit_name"_s), Qt::Key_Right);
    QTest::keyClick(field<QLineEdit>(u"unit_name"_s), Qt::Key_Right);

    // Each key goes to whichever input has the focus now; a screen rebuilt in between must have
    // handed the focus, the text and the caret on.
    const int rebuilds = m_window->rebuildCount();
    QString expected = u"abcdef"_s;
    int caret = 2;
    const QString typed = u"XYZ-0123456789"_s;
    for (const QChar c : typed) {
        QWidget *focus = screen()->window()->focusWidget();
        QVERIFY(focus);
        QCOMPARE(focus->objectName(), u"field:unit_name"_s);
        QCOMPARE(static_cast<QLineEdit *>(focus)->cursorPosition(), caret);
        QTest::keyClick(focus, c.toLatin1());
        expected.insert(caret++, c);
        QCOMPARE(static_cast<QLineEdit *>(focus)->text(), expected);
        QTest::qWait(90);
    }
    QVERIFY2(m_window->rebuildCount() >= rebuilds + 4,
             qPrintable(QString::number(m_window->rebuildCount() - rebuilds)));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->rebuildCount() >= rebuilds + 6, kWait);
    QCOMPARE(field<QLineEdit>(u"unit_name"_s)->text(), u"abXYZ-0123456789cdef"_s);
    QCOMPARE(field<QLineEdit>(u"unit_name"_s)->cursorPosition(), caret);

    // A selection made backwards is kept as it was, through more rebuilds.
    QTest::keyClick(field<QLineEdit>(u"unit_name"_s), Qt::Key_Left, Qt::ShiftModifier);
    QTest::keyClick(field<QLineEdit>(u"unit_name"_s), Qt::Key_Left, Qt::ShiftModifier);
    const int before = m_window->rebuildCount();
    QTRY_VERIFY_WITH_TIMEOUT(m_window->rebuildCount() >= before + 2, kWait);
    QCOMPARE(field<QLineEdit>(u"unit_name"_s)->selectedText(), u"89"_s);
    QCOMPARE(field<QLineEdit>(u"unit_name"_s)->cursorPosition(), caret - 2);
    QCOMPARE(screen()->window()->focusWidget(), field<QLineEdit>(u"unit_name"_s));
    // Typing over the selection replaces it.
    QTest::keyClick(field<QLineEdit>(u"unit_name"_s), 'q');
    QCOMPARE(field<QLineEdit>(u"unit_name"_s)->text(), u"abXYZ-01234567qcdef"_s);
}

void TestPresses::staleScreenIsMarked()
{
    signInTo(kUnit1);
    auto *mark = m_window->findChild<QLabel *>(u"staleMark"_s);
    QVERIFY(!mark->isVisible());
    QVERIFY(control(1, {{u"down"_s, true}}));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->isStale(), kWait);
    QVERIFY(mark->isVisible());
    QVERIFY2(QRegularExpression(u"^NOT LIVE - last seen \\d\\d:\\d\\d:\\d\\d \\(\\d+ s ago\\)$"_s)
                 .match(mark->text())
                 .hasMatch(),
             qPrintable(mark->text()));
    auto *veil = m_window->findChild<QWidget *>(u"staleVeil"_s);
    QVERIFY(veil && veil->isVisible());
    QCOMPARE(veil->geometry(), m_window->viewport()->rect());
    QVERIFY(screen()); // the last screen stays readable
    if (const QString shot = qEnvironmentVariable("KESTRO_SHOT_DIR"); !shot.isEmpty())
        m_window->grab().save(shot + u"/window-stale.png"_s);

    // Back in contact: the mark goes only with a screen drawn afresh.
    const int rebuilds = m_window->rebuildCount();
    QVERIFY(control(1, {{u"down"_s, false}}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_window->isStale(), kWait);
    QVERIFY(m_window->rebuildCount() > rebuilds);
    QVERIFY(!mark->isVisible());
    QVERIFY(!veil->isVisible());
}

void TestPresses::runningStepPatchesItsPanels()
{
    signInTo(kUnit1);
    if (button(u"Save identity"_s)) { // run on its own, unit 1 still stands at its identity
        field<QLineEdit>(u"unit_name"_s)->setText(u"Board unit"_s);
        button(u"Save identity"_s)->click();
    }
    QTRY_VERIFY_WITH_TIMEOUT(button(u"Run Drive calibration"_s), kWait);
    button(u"Run Drive calibration"_s)->click();
    // Starting the step changes the screen itself (Stop, the spinner): one rebuild.
    QTRY_VERIFY_WITH_TIMEOUT(button(u"Stop"_s), kWait);
    // The board sits in its own zoomable view, not among the screen's children.
    const auto drawnBoard = [this]() -> board::SiteBoard * {
        auto *view = screen()->findChild<board::Viewport *>(u"viewport"_s);
        return view ? qobject_cast<board::SiteBoard *>(view->screen()) : nullptr;
    };
    QVERIFY(drawnBoard());
    const int rebuilds = m_window->rebuildCount();
    QPointer<QWidget> siteBoard = drawnBoard();
    QPointer<QWidget> carriage = siteBoard->findChild<QWidget *>(u"tile:carriage"_s);
    QVERIFY(carriage);
    const int lane0 = carriage->x();

    QFile log(m_dir.filePath(u"poll.log"_s));
    const auto patchedLines = [&log] {
        QStringList out;
        if (log.open(QIODevice::ReadOnly | QIODevice::Text)) {
            for (const QString &l : QString::fromUtf8(log.readAll()).split(u'\n'))
                if (l.contains(u"PATCHED in place"_s))
                    out << l;
            log.close();
        }
        return out;
    };
    const qsizetype before = patchedLines().size();
    // The step runs 20 ticks of 150 ms, the window polls every 250 ms: the ticks are patches.
    QTRY_VERIFY_WITH_TIMEOUT(patchedLines().size() >= before + 2 && carriage && carriage->x() != lane0, kWait);
    QVERIFY2(button(u"Stop"_s), "the step ended before its patches were seen");
    QCOMPARE(m_window->rebuildCount(), rebuilds);
    QVERIFY(siteBoard); // the same board, its carriage moved in place
    QVERIFY2(patchedLines().last().contains(u"/api/live/"_s), qPrintable(patchedLines().last()));
    if (const QString dir = qEnvironmentVariable("KESTRO_SHOT_DIR"); !dir.isEmpty()) {
        m_window->grab().save(dir + u"/window-board-running.png"_s);
    }
    button(u"Stop"_s)->click(); // the step waits at its place for the last test
    QTRY_VERIFY_WITH_TIMEOUT(button(u"Run Drive calibration"_s), kWait);

    // A tote dragged onto the lower rack: the unit gets the rack's body with the tile's keys.
    QVERIFY(drawnBoard());
    auto *tile = drawnBoard()->findChild<board::Draggable *>(u"tile:U-01"_s);
    auto *lower = drawnBoard()->findChild<board::DropRow *>(u"row:lower"_s);
    QVERIFY(tile && lower);
    QMimeData mime;
    mime.setData(QLatin1StringView(board::kDragMime), QJsonDocument(tile->dragPayload()).toJson());
    QDragEnterEvent enter(QPoint(10, 10), Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(lower, &enter);
    QDropEvent drop(QPointF(10, 10), Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(lower, &drop);
    QTRY_VERIFY_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/action/board -> "_s.arg(kUnit1)) == 1, kWait);
    QCOMPARE(countLog(u"press  %1  POST /api/action/board  keys[do,from,to]"_s.arg(kUnit1)), 1);
    QCOMPARE(toast(), u"Moving U-01 to the lower rack."_s); // the unit's answer names both halves
}

void TestPresses::wholeFlowLeavesNoSecret()
{
    // The scripted commissioning of unit 1, through the window's own buttons.
    signInTo(kUnit1);
    m_window->runTool(u"Copy diagnostics summary"_s);
    const auto press = [this](const QString &label) {
        QTRY_VERIFY_WITH_TIMEOUT(button(label) && button(label)->isEnabled(), kWait);
        button(label)->click();
    };
    // Unit 2, still at its first step: its identity saved with a password field typed in.
    QVERIFY(control(2, {{u"restless"_s, false}}));
    signInTo(kUnit2);
    QTRY_VERIFY_WITH_TIMEOUT(field<QLineEdit>(u"service_wifi_key"_s), kWait);
    field<QLineEdit>(u"unit_name"_s)->setText(u"Secret unit"_s);
    QTest::keyClicks(field<QLineEdit>(u"service_wifi_key"_s), kWifiKey);
    press(u"Save identity"_s);
    QTRY_VERIFY_WITH_TIMEOUT(countLog(u"reply  %1  POST /api/save/identity -> 200"_s.arg(kUnit2)) > 0, kWait);
    signInTo(kUnit1);
    if (button(u"Save identity"_s)) {
        field<QLineEdit>(u"unit_name"_s)->setText(u"Flow unit"_s);
        press(u"Save identity"_s);
    }
    press(u"Run Drive calibration"_s);
    press(u"Run IO check"_s);
    press(u"Clear fault"_s);
    press(u"Run IO check"_s);
    press(u"Run Load test"_s);
    app::setNextAnswer([](QDialog *box) {
        for (QAbstractButton *b : box->findChildren<QAbstractButton *>())
            if (b->text() == u"Finish commissioning"_s)
                b->click();
    });
    press(u"Finish commissioning"_s);
    const auto handedOver = [this] {
        for (QLabel *l : screen()->findChildren<QLabel *>())
            if (l->text().startsWith(u"Handed over."_s))
                return true;
        return false;
    };
    QTRY_VERIFY_WITH_TIMEOUT(handedOver(), kWait);

    // Nothing the client wrote holds the passcode or a sign-in token.
    m_window.reset();
    const QRegularExpression token(u"(^|[^A-Za-z0-9_-])[A-Za-z0-9_-]{32}($|[^A-Za-z0-9_-])"_s);
    int files = 0;
    QDirIterator it(app::configDir(), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile f(it.next());
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(f.readAll());
        ++files;
        QVERIFY2(!text.contains(kPasscode), qPrintable(f.fileName()));
        QVERIFY2(!text.contains(kWifiKey), qPrintable(f.fileName()));
        QVERIFY2(!text.contains(u"Bearer"_s), qPrintable(f.fileName()));
        QVERIFY2(!token.match(text).hasMatch(), qPrintable(f.fileName() + u": "_s + token.match(text).captured()));
    }
    QVERIFY(files >= 4); // units, pins, settings, connect.log at least
}

QTEST_MAIN(TestPresses)
#include "tst_presses.moc"
