// Sounds: names, the suppression rule, the mute setting, the copy into the cache folder and the
// application-wide click filter on real buttons.

#include "app/base/sounds.h"
#include "app/presssound.h"
#include "support/testsupport.h"
#include "units/store.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QMouseEvent>
#include <QPushButton>
#include <QStandardPaths>
#include <QTest>

using namespace Qt::StringLiterals;
using app::Sound;

class TestSounds : public QObject
{
    Q_OBJECT

    QList<Sound> m_sounds;
    QStringList m_files;

    static QString soundFolder()
    {
        return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + u"/sounds"_s;
    }

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
        m_sounds.clear();
        m_files.clear();
        app::overrideSuppression(false);
        app::setSoundMuted(false);
    }
    void cleanupTestCase() { app::overrideSuppression(std::nullopt); }

    void namesRoundTripAndHaveAResource()
    {
        const QStringList names = {u"click"_s,     u"selector"_s, u"action"_s, u"submit"_s, u"danger"_s,
                                   u"select"_s,    u"save"_s,     u"place"_s,  u"motion"_s, u"power_on"_s,
                                   u"power_off"_s, u"ok"_s,       u"error"_s,  u"notify"_s, u"offline"_s};
        QCOMPARE(names.size(), app::kSoundCount);
        for (int id = 0; id < app::kSoundCount; ++id) {
            QCOMPARE(app::soundName(id), names.at(id));
            QCOMPARE(int(app::soundFromName(names.at(id))), id);
            QFile resource(u":/sounds/"_s + names.at(id) + u".wav"_s);
            QVERIFY2(resource.open(QIODevice::ReadOnly), qPrintable(names.at(id)));
            QCOMPARE(resource.read(4), QByteArray("RIFF"));
        }
        QCOMPARE(app::soundName(app::kSoundCount), u"click"_s); // out of range
        QCOMPARE(app::soundName(-1), u"click"_s);
    }

    void suppressionRule_data()
    {
        QTest::addColumn<QString>("noSound");
        QTest::addColumn<QString>("platform");
        QTest::addColumn<bool>("suppressed");
        QTest::newRow("nothing set") << QString() << u"xcb"_s << false;
        QTest::newRow("no sound") << u"1"_s << u"xcb"_s << true;
        QTest::newRow("no sound other value") << u"yes"_s << u"wayland"_s << false;
        QTest::newRow("offscreen") << QString() << u"offscreen"_s << true;
        QTest::newRow("offscreen differently cased") << QString() << u"Offscreen"_s << false;
    }
    void suppressionRule()
    {
        QFETCH(QString, noSound);
        QFETCH(QString, platform);
        QFETCH(bool, suppressed);
        QCOMPARE(app::suppressedBy(noSound, platform), suppressed);
    }

    void theTestEnvironmentIsSuppressed()
    {
        // CTest runs this with KESTRO_NO_SOUND=1 on the offscreen platform.
        app::overrideSuppression(std::nullopt);
        QCOMPARE(app::soundsSuppressed(),
                 app::suppressedBy(qEnvironmentVariable("KESTRO_NO_SOUND"), qEnvironmentVariable("QT_QPA_PLATFORM")));
    }

    void suppressedOrMutedPlaysNothing()
    {
        for (bool suppressed : {false, true}) {
            for (bool muted : {false, true}) {
                m_sounds.clear();
                app::overrideSuppression(suppressed);
                app::setSoundMuted(muted);
                app::playSound(Sound::Ok);
                QCOMPARE(m_sounds.size(), suppressed || muted ? 0 : 1);
            }
        }
    }

    void mutedLivesInSettings()
    {
        QJsonObject settings = units::loadSettings();
        settings.insert("theme"_L1, "Kestro Light"_L1);
        units::saveSettings(settings);
        app::setSoundMuted(true);
        QVERIFY(app::soundMuted());
        QCOMPARE(units::loadSettings().value("soundMuted"_L1), QJsonValue(true));
        QCOMPARE(units::loadSettings().value("theme"_L1).toString(), u"Kestro Light"_s); // other keys kept
        app::setSoundMuted(false);
        QVERIFY(!app::soundMuted());
    }

    // Runs first among the file tests: nothing suppressed may have created the folder.
    void suppressedNeverTouchesTheFolder()
    {
        QDir(soundFolder()).removeRecursively();
        app::overrideSuppression(true);
        for (int id = 0; id < app::kSoundCount; ++id)
            app::playSound(Sound(id));
        QVERIFY(!QDir(soundFolder()).exists());
    }

    void fileIsCopiedFromTheResource()
    {
        app::playSound(Sound::Danger);
        QCOMPARE(m_sounds, QList<Sound>{Sound::Danger});
        QCOMPARE(m_files.value(0), soundFolder() + u"/danger.wav"_s);
        QFile onDisk(m_files.value(0)), resource(u":/sounds/danger.wav"_s);
        QVERIFY(onDisk.open(QIODevice::ReadOnly) && resource.open(QIODevice::ReadOnly));
        QCOMPARE(onDisk.readAll(), resource.readAll());
    }

    void unknownNamesPlayTheClick_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("played");
        QTest::newRow("known") << u"power_off"_s << int(Sound::PowerOff);
        QTest::newRow("unknown") << u"trumpet"_s << int(Sound::Click);
        QTest::newRow("case differs") << u"OK"_s << int(Sound::Click);
    }
    void unknownNamesPlayTheClick()
    {
        QFETCH(QString, name);
        QFETCH(int, played);
        app::playSoundNamed(name);
        QCOMPARE(m_sounds, QList<Sound>{Sound(played)});
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
        QTest::newRow("dragged off and released outside") << u"save"_s << true << QPoint(-15, 10) << QList<Sound>();
        QTest::newRow("released past the right edge") << u"save"_s << true << QPoint(500, 10) << QList<Sound>();
        QTest::newRow("disabled button") << u"danger"_s << false << QPoint(10, 10) << QList<Sound>();
    }
    void pressSoundFilter()
    {
        QFETCH(QString, property);
        QFETCH(bool, enabled);
        QFETCH(QPoint, releaseAt);
        QFETCH(QList<Sound>, sounds);
        auto *filter = new app::PressSound(qApp);
        qApp->installEventFilter(filter);
        QPushButton button(u"Save"_s);
        if (!property.isEmpty())
            button.setProperty("pressSound", property);
        button.setEnabled(enabled);
        testsupport::layOut(&button, 120, 30);
        int clicked = 0;
        connect(&button, &QPushButton::clicked, &button, [&clicked] { ++clicked; });
        QTest::mousePress(&button, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseRelease(&button, Qt::LeftButton, {}, releaseAt);
        delete filter;
        QCOMPARE(m_sounds, sounds);
        // The release still reached the button: it clicked exactly when it made a sound.
        QCOMPARE(clicked, sounds.isEmpty() ? 0 : 1);

        // Only buttons make the sound, whatever property a plain widget carries.
        app::PressSound plainFilter;
        QWidget plain;
        plain.setProperty("pressSound", u"save"_s);
        QMouseEvent release(QEvent::MouseButtonRelease, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton, {}, {});
        QVERIFY(!plainFilter.eventFilter(&plain, &release));
        QCOMPARE(m_sounds, sounds);
    }
};

QTEST_MAIN(TestSounds)
#include "tst_sounds.moc"
