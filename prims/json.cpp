#include "prims/json.h"

#include <algorithm>
#include <cmath>

namespace prims {

int clampToInt(double value, int lo, int hi)
{
    if (!std::isfinite(value))
        value = -2e9;
    value = std::clamp(value, -2e9, 2e9);
    const int low = std::min(lo, hi);
    const int high = std::max(lo, hi);
    return std::clamp(int(std::trunc(value)), low, high);
}

int readInt(const QJsonObject &o, QLatin1StringView key, int def, int lo, int hi)
{
    return clampToInt(readNumber(o.value(key), def), lo, hi);
}

std::optional<int> readOptionalInt(const QJsonObject &o, QLatin1StringView key, int lo, int hi)
{
    const QJsonValue v = o.value(key);
    if (!v.isDouble())
        return std::nullopt;
    return clampToInt(v.toDouble(), lo, hi);
}

double readNumber(const QJsonValue &v, double def)
{
    return v.isDouble() ? v.toDouble() : def;
}

double readNumber(const QJsonObject &o, QLatin1StringView key, double def)
{
    return readNumber(o.value(key), def);
}

QString readText(const QJsonObject &o, QLatin1StringView key, const QString &def)
{
    const QJsonValue v = o.value(key);
    if (v.isString())
        return v.toString();
    if (v.isBool())
        return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return def;
}

QString readName(const QJsonObject &o, QLatin1StringView key, const QString &def)
{
    const QJsonValue v = o.value(key);
    return v.isString() ? v.toString() : def;
}

bool readTrue(const QJsonObject &o, QLatin1StringView key)
{
    return o.value(key) == QJsonValue(true);
}

bool readFlag(const QJsonObject &o, QLatin1StringView key, bool def)
{
    const QJsonValue v = o.value(key);
    if (v.isBool())
        return v.toBool();
    if (v.isDouble())
        return v.toDouble() != 0;
    if (v.isString()) {
        const QString s = v.toString().toLower();
        if (s == QLatin1String("true") || s == QLatin1String("yes") || s == QLatin1String("1"))
            return true;
        if (s == QLatin1String("false") || s == QLatin1String("no") || s == QLatin1String("0"))
            return false;
    }
    return def;
}

QJsonArray readArray(const QJsonObject &o, QLatin1StringView key, int cap)
{
    const QJsonValue v = o.value(key);
    if (!v.isArray())
        return {};
    QJsonArray a = v.toArray();
    const qsizetype limit = std::max(0, cap);
    while (a.size() > limit)
        a.removeLast();
    return a;
}

QJsonObject readObject(const QJsonObject &o, QLatin1StringView key)
{
    return o.value(key).toObject();
}

} // namespace prims
