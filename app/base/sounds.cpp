#include "app/base/sounds.h"

#include "app/base/settings.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QMediaDevices>
#include <QPointer>
#include <QSaveFile>
#include <QSoundEffect>
#include <QStandardPaths>
#include <QUrl>

#include <array>

using namespace Qt::StringLiterals;

namespace app {

namespace {

constexpr std::array<const char *, kSoundCount> kNames = {
    "click",  "selector", "action",    "submit", "danger", "select", "save",    "place",
    "motion", "power_on", "power_off", "ok",     "error",  "notify", "offline",
};

struct SoundState
{
    std::optional<bool> forcedSuppression;
    std::optional<bool> forcedCanPlay;
    std::function<void(Sound, const QString &)> sink;
    QHash<QString, QString> files; // name -> file on disk; empty when the resource is missing
    QHash<QString, QPointer<QSoundEffect>> effects;
    QPointer<QSoundEffect> playing;
};

SoundState &state()
{
    static SoundState s;
    return s;
}

QString soundFolder()
{
    static const QString folder = []() -> QString {
        QString base = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
        if (base.isEmpty())
            base = QDir::tempPath();
        return base + u"/sounds"_s;
    }();
    return folder;
}

// One loaded effect per sound, so a click starts without a decode; only one plays at a time.
void play(const QString &file)
{
    SoundState &s = state();
    QPointer<QSoundEffect> &effect = s.effects[file];
    if (!effect) {
        effect = new QSoundEffect(qApp);
        effect->setSource(QUrl::fromLocalFile(file));
    }
    if (s.playing && s.playing != effect)
        s.playing->stop();
    effect->stop();
    effect->play();
    s.playing = effect;
}

} // namespace

QString soundName(int id)
{
    if (id < 0 || id >= kSoundCount)
        return QString::fromLatin1(kNames[0]);
    return QString::fromLatin1(kNames[size_t(id)]);
}

Sound soundFromName(const QString &name)
{
    for (int i = 0; i < kSoundCount; ++i) {
        if (name == QLatin1StringView(kNames[size_t(i)]))
            return Sound(i);
    }
    return Sound::Click;
}

bool suppressedBy(const QString &noSound, const QString &platform)
{
    return noSound == "1"_L1 || platform == "offscreen"_L1;
}

bool soundsSuppressed()
{
    if (state().forcedSuppression)
        return *state().forcedSuppression;
    static const bool suppressed =
        suppressedBy(qEnvironmentVariable("KESTRO_NO_SOUND"), qEnvironmentVariable("QT_QPA_PLATFORM"));
    return suppressed;
}

bool soundMuted()
{
    return app::loadSettings().value("soundMuted"_L1).toBool(false);
}

void setSoundMuted(bool muted)
{
    QJsonObject settings = app::loadSettings();
    settings.insert("soundMuted"_L1, muted);
    app::saveSettings(settings);
}

bool canPlaySounds()
{
    if (state().forcedCanPlay)
        return *state().forcedCanPlay;
    return !QMediaDevices::audioOutputs().isEmpty();
}

QString soundFile(const QString &name)
{
    SoundState &s = state();
    if (const auto it = s.files.constFind(name); it != s.files.cend())
        return *it;

    QFile resource(u":/sounds/"_s + name + u".wav"_s);
    if (!resource.open(QIODevice::ReadOnly)) {
        s.files.insert(name, QString());
        return {};
    }
    const QByteArray bytes = resource.readAll();
    const QString folder = soundFolder();
    QDir().mkpath(folder);
    const QString path = folder + u'/' + name + u".wav"_s;
    QFile existing(path);
    const bool same = existing.open(QIODevice::ReadOnly) && existing.readAll() == bytes;
    existing.close();
    if (!same) {
        // A half-written file would play as noise, so it goes through a save file.
        QSaveFile out(path);
        if (out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size())
            out.commit();
    }
    s.files.insert(name, path);
    return path;
}

void playSound(Sound sound)
{
    if (soundsSuppressed() || soundMuted())
        return;
    const QString file = soundFile(soundName(int(sound)));
    if (file.isEmpty())
        return;
    if (state().sink) {
        state().sink(sound, file);
        return;
    }
    play(file);
}

void playSoundNamed(const QString &name)
{
    playSound(soundFromName(name));
}

void overrideSuppression(std::optional<bool> suppressed)
{
    state().forcedSuppression = suppressed;
}

void overrideCanPlay(std::optional<bool> canPlay)
{
    state().forcedCanPlay = canPlay;
}

void setSoundSink(std::function<void(Sound, const QString &)> sink)
{
    state().sink = std::move(sink);
}

} // namespace app
