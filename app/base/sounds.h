#pragma once
// Short sound effects: a click when a press lands and distinct sounds for what a unit answers.
// The WAV files are compiled in under ":/sounds/", copied once into the cache folder and played
// from there asynchronously; a new sound cuts off the one playing.

#include <QString>

#include <functional>
#include <optional>

namespace app {

enum class Sound {
    Click = 0,
    Selector = 1,
    Action = 2,
    Submit = 3,
    Danger = 4,
    Select = 5,
    Save = 6,
    Place = 7,
    Motion = 8,
    PowerOn = 9,
    PowerOff = 10,
    Ok = 11,
    Error = 12,
    Notify = 13,
    Offline = 14,
};

inline constexpr int kSoundCount = 15;

// The resource name of an identifier; any value outside the table is "click".
QString soundName(int id);
inline QString soundName(Sound sound)
{
    return soundName(int(sound));
}
// The identifier of a name (exact, case-sensitive); an empty or unknown name is the click.
Sound soundFromName(const QString &name);

// Plays the sound unless sounds are suppressed or the technician muted them.
void playSound(Sound sound);
// The same, by name, for buttons and unit answers that carry the name as text.
void playSoundNamed(const QString &name);

// Whether the environment forbids sound: KESTRO_NO_SOUND=1 or the headless offscreen platform.
// Decided once per process.
bool soundsSuppressed();
// The rule behind soundsSuppressed, given the two environment values.
bool suppressedBy(const QString &noSound, const QString &platform);

bool soundMuted();
void setSoundMuted(bool muted);

// Whether this computer has any audio output to play a sound on.
bool canPlaySounds();

// The file on disk that holds the named sound, copied from the resources when missing or
// different; empty when there is no such resource.
QString soundFile(const QString &name);

// Test seams: force the suppression decision and whether an audio output is there, and take the
// sounds that would reach the player (the sound and its file) instead of playing them. Empty/none
// restores the normal behaviour.
void overrideSuppression(std::optional<bool> suppressed);
void overrideCanPlay(std::optional<bool> canPlay);
void setSoundSink(std::function<void(Sound, const QString &file)> sink);

} // namespace app
