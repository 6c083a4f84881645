// The base layer's shared pieces: theme and accent names; sounds (names, suppression, mute, the
// cached copies and the click filter on real buttons); and what an installer can set in
// installation.json.

#include "app/base/installation.h"
#include "app/base/sounds.h"
#include "app/base/theme.h"
#include "app/presssound.h"
#include "support/testsupport.h"
#include "units/store.h"

#include <QJsonObject>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using app::Sound;

class TestBase final : public QObject
{
    Q_OBJECT

    QList<Sound> m_sounds;
    QStringList m_files;

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        app::setSoundSink([this](Sound s, const QString &file) {
            m_sounds << s;
            m_files << file;
        });
    }
    void init()
    {
        theme::setTheme(u"Kestro Dark"_s);
        theme::setAccent(u"Kestro Blue"_s);
        theme::setTextScale(1.0);
        m_sounds.clear();
        m_files.clear();
        app::overrideSuppression(false);
        app::setSoundMuted(false);
    }

    // Names match in any case; an unknown theme is the dark one, an unknown accent the first.
    void namesAndSetters()
    {
        QCOMPARE(theme::themeNames(), QStringList({u"Kestro Dark"_s, u"Kestro Light"_s}));
        QCOMPARE(theme::accentNames(), QStringList({u"Kestro Blue"_s, u"Slate"_s, u"Teal"_s, u"Indigo"_s}));
        QVERIFY(!theme::setTheme(u"Kestro Dark"_s));
        QVERIFY(theme::setTheme(u"kestro light"_s) && !theme::palette().dark);
        QVERIFY(!theme::setTheme(u"KESTRO LIGHT"_s));
        QVERIFY(theme::setTheme(u"Light"_s) && theme::palette().dark);
        QVERIFY(!theme::setAccent(u"kestro blue"_s) && theme::setAccent(u"Slate"_s) && !theme::setAccent(u"slate"_s));
        QVERIFY(theme::setAccent(u"no such accent"_s));
        QCOMPARE(theme::currentAccentName(), u"Kestro Blue"_s);
    }

    void namesRoundTripAndHaveAResource()
    {
        const QStringList names = {u"click"_s,     u"selector"_s, u"action"_s, u"submit"_s, u"danger"_s,
                                   u"select"_s,    u"save"_s,     u"place"_s,  u"motion"_s, u"power_on"_s,
                                   u"power_off"_s, u"ok"_s,       u"error"_s,  u"notify"_s, u"offline"_s};
        QCOMPARE(names.size(), app::kSoundCount);
        for (int id = 0; id < app::kSoundCount; ++id) {
            QCOMPARE(app::soundName(id), names.at(id));
            QCOMPARE(int(app::soundFromName(names.at(id))), id);
            QVERIFY2(testsupport::readFile(u":/sounds/"_s + names.at(id) + u".wav"_s).startsWith("RIFF"),
                     qPrintable(names.at(id)));
        }
        QCOMPARE(app::soundName(app::kSoundCount), u"click"_s);             // out of range
        for (const QString &name : {u"power_off"_s, u"trumpet"_s, u"OK"_s}) // unknown names play the click
            app::playSoundNamed(name);
        QCOMPARE(m_sounds, (QList<Sound>{Sound::PowerOff, Sound::Click, Sound::Click}));
    }

    // Suppressed by KESTRO_NO_SOUND=1 exactly, or on the offscreen platform (as named, in lower case).
    void suppressionRule()
    {
        QVERIFY(!app::suppressedBy(QString(), u"xcb"_s) && app::suppressedBy(u"1"_s, u"xcb"_s));
        QVERIFY(!app::suppressedBy(u"yes"_s, u"wayland"_s) && app::suppressedBy(QString(), u"offscreen"_s));
        QVERIFY(!app::suppressedBy(QString(), u"Offscreen"_s));
    }

    // Suppressed or muted plays nothing; the mute is saved beside the other settings.
    void suppressedOrMuted()
    {
        QJsonObject settings = units::loadSettings();
        settings.insert("theme"_L1, "Kestro Light"_L1);
        units::saveSettings(settings);
        for (int mask = 0; mask < 4; ++mask) {
            m_sounds.clear();
            app::overrideSuppression(mask & 1);
            app::setSoundMuted(mask & 2);
            app::playSound(Sound::Ok);
            QCOMPARE(m_sounds.size(), mask ? 0 : 1);
        }
        QCOMPARE(units::loadSettings().value("soundMuted"_L1), QJsonValue(true));
        QCOMPARE(units::loadSettings().value("theme"_L1).toString(), u"Kestro Light"_s);
    }

    // The click filter on a real button: which releases make a sound.
    void pressSoundFilter_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QPoint>("releaseAt");
        QTest::addColumn<QList<Sound>>("sounds");
        QTest::newRow("release inside") << u"save"_s << true << QPoint(10, 10) << QList<Sound>{Sound::Save};
        QTest::newRow("no property clicks") << QString() << true << QPoint(10, 10) << QList<Sound>{Sound::Click};
        QTest::newRow("released outside") << u"save"_s << true << QPoint(-15, 10) << QList<Sound>();
        QTest::newRow("disabled button") << u"danger"_s << false << QPoint(10, 10) << QList<Sound>();
    }
    void pressSoundFilter()
    {
        QFETCH(QString, property);
        QFETCH(bool, enabled);
        QFETCH(QPoint, releaseAt);
        QFETCH(QList<Sound>, sounds);
        app::PressSound filter;
        qApp->installEventFilter(&filter);
        QPushButton button(u"Save"_s);
        if (!property.isEmpty())
            button.setProperty("pressSound", property);
        button.setEnabled(enabled);
        testsupport::layOut(&button, 120, 30);
        QSignalSpy clicked(&button, &QPushButton::clicked);
        QTest::mousePress(&button, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseRelease(&button, Qt::LeftButton, {}, releaseAt);
        QCOMPARE(m_sounds, sounds);
        QCOMPARE(clicked.size(), sounds.size()); // the release still reached the button
    }

    // What installation.json sets over the built-in values (an empty column: the built-in one).
    void readsOverBuiltIns_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("base");
        // (moc reads "//" inside raw strings as a comment, hence the escaped quotes.)
        QTest::newRow("both set")
            << QByteArray("{\"supportEmail\":\"help@site.example\",\"releaseBase\":\"https://r.example/kc/\"}")
            << u"help@site.example"_s << u"https://r.example/kc/"_s;
        QTest::newRow("folder without its slash")
            << QByteArray("{\"releaseBase\":\"https://r.example/kc\"}") << QString() << u"https://r.example/kc/"_s;
        QTest::newRow("plain http refused")
            << QByteArray("{\"releaseBase\":\"http://r.example/kc/\"}") << QString() << QString();
        QTest::newRow("not JSON") << QByteArray("{supportEmail") << QString() << QString();
    }
    void readsOverBuiltIns()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, email);
        QFETCH(QString, base);
        const app::Installation builtIn = app::readInstallation(u"/nonexistent"_s);
        const QTemporaryDir dir;
        QVERIFY(testsupport::writeFile(dir.filePath(u"installation.json"_s), file));
        const app::Installation in = app::readInstallation(dir.filePath(u"installation.json"_s));
        QCOMPARE(in.supportEmail, email.isEmpty() ? builtIn.supportEmail : email);
        QCOMPARE(in.releaseBase, base.isEmpty() ? builtIn.releaseBase : QUrl(base));
        QVERIFY(in.releaseBase.scheme() == "https"_L1 && in.releaseBase.path().endsWith(u'/'));
    }
};

QTEST_MAIN(TestBase)
#include "tst_base.moc"
