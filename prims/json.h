#pragma once
// The JSON readers that every builder uses to read element keys: a malformed value never fails a
// screen, it takes the key's default. No builder reads a key any other way.

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>

namespace prims {

// A number clamped to [min(lo,hi), max(lo,hi)]; NaN and infinities count as -2e9.
int readInt(const QJsonObject &o, QLatin1StringView key, int def, int lo, int hi);
// A JSON number as it is; anything else gives the default.
double readNumber(const QJsonValue &v, double def);
double readNumber(const QJsonObject &o, QLatin1StringView key, double def);
// Like readInt, for a key that does something only when it is given: nothing unless a number.
std::optional<int> readOptionalInt(const QJsonObject &o, QLatin1StringView key, int lo, int hi);
// A string as it is; a bool as "true"/"false"; a missing key gives the default.
QString readText(const QJsonObject &o, QLatin1StringView key, const QString &def = {});
// A string as it is; anything else gives the default. For names (tones, types) that a bool's
// word would only turn into a name that means nothing.
QString readName(const QJsonObject &o, QLatin1StringView key, const QString &def = {});
// Whether the value is JSON true itself; anything else, even a word for it, is not.
bool readTrue(const QJsonObject &o, QLatin1StringView key);
// A bool, a number (non-zero), or "true"/"yes"/"1" and "false"/"no"/"0" in any case.
bool readFlag(const QJsonObject &o, QLatin1StringView key, bool def);
// The array cut from the end to at most `cap` elements; anything else gives an empty array.
QJsonArray readArray(const QJsonObject &o, QLatin1StringView key, int cap);
// The object, or an empty one.
QJsonObject readObject(const QJsonObject &o, QLatin1StringView key);

// Clamps any double into an int range the same way readInt does.
int clampToInt(double value, int lo, int hi);

} // namespace prims
