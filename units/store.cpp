#include "units/store.h"

#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QSet>

using namespace Qt::StringLiterals;

namespace units {

namespace {

int readPort(const QJsonValue &v)
{
    if (!v.isDouble())
        return 8090;
    const double d = v.toDouble();
    return (d >= 1 && d <= 65535) ? int(d) : 8090;
}

// Pins set during this run. A pin that pins.json did not take (a full disk, a read-only folder)
// still holds until the program ends, so a unit cannot swap its certificate just because the
// first one was never written down.
QHash<QString, QString> &heldPins()
{
    static QHash<QString, QString> pins;
    return pins;
}

} // namespace

QString Unit::key() const
{
    return unitKey(ip, port);
}

QString unitKey(const QString &ip, int port)
{
    return u"%1:%2"_s.arg(ip).arg(port);
}

QList<Unit> loadUnits()
{
    QList<Unit> list;
    QSet<QString> seen;
    const QJsonArray array = readJsonFile(configPath(u"units.json"_s)).array();
    for (const QJsonValue &v : array) {
        const QJsonObject o = v.toObject();
        Unit u;
        u.name = o.value("name"_L1).toString();
        u.ip = o.value("ip"_L1).toString();
        u.port = readPort(o.value("port"_L1));
        u.type = o.value("type"_L1).toString();
        u.unit_id = o.value("unit_id"_L1).toString();
        u.manual = o.value("manual"_L1).toBool(false);
        u.misses = o.value("misses"_L1).toInt(0);
        if (u.ip.isEmpty())
            continue;
        const QString key = u.key();
        if (seen.contains(key))
            continue;
        seen.insert(key);
        list << u;
    }
    return list;
}

void saveUnits(const QList<Unit> &units)
{
    QJsonArray array;
    for (const Unit &u : units) {
        array.append(QJsonObject{
            {"name"_L1, u.name},
            {"ip"_L1, u.ip},
            {"port"_L1, u.port},
            {"type"_L1, u.type},
            {"unit_id"_L1, u.unit_id},
            {"manual"_L1, u.manual},
            {"misses"_L1, u.misses},
        });
    }
    writeJsonFile(configPath(u"units.json"_s), QJsonDocument(array));
}

QString pinFor(const QString &key)
{
    if (const auto held = heldPins().constFind(key); held != heldPins().cend())
        return *held;
    return readJsonFile(configPath(u"pins.json"_s)).object().value(key).toString();
}

void setPin(const QString &key, const QString &fingerprint)
{
    heldPins().insert(key, fingerprint);
    const QString path = configPath(u"pins.json"_s);
    QJsonObject pins = readJsonFile(path).object();
    pins.insert(key, fingerprint);
    writeJsonFile(path, QJsonDocument(pins));
}

void forgetPin(const QString &key)
{
    heldPins().remove(key);
    const QString path = configPath(u"pins.json"_s);
    QJsonObject pins = readJsonFile(path).object();
    pins.remove(key);
    writeJsonFile(path, QJsonDocument(pins));
}

QJsonObject loadStats()
{
    return readJsonFile(configPath(u"stats.json"_s)).object();
}

void recordCommissioned(const QJsonObject &answer)
{
    const QJsonValue commissioned = answer.value("commissioned"_L1);
    if (!commissioned.isBool() || !commissioned.toBool())
        return;
    const QString uid = answer.value("unit_id"_L1).toString();
    QJsonObject stats = loadStats();
    QJsonArray entries = stats.value("commissioned"_L1).toArray();
    if (!uid.isEmpty()) {
        for (const QJsonValue &e : entries) {
            if (e.toObject().value("uid"_L1).toString() == uid)
                return;
        }
    }
    const QJsonValue steps = answer.value("total_count"_L1);
    entries.append(QJsonObject{
        {"uid"_L1, uid},
        {"host"_L1, answer.value("hostname"_L1).toString()},
        {"product"_L1, answer.value("product"_L1).toString()},
        {"steps"_L1, steps.isUndefined() ? QJsonValue(QJsonValue::Null) : steps},
        {"at"_L1, QDateTime::currentDateTime().toString(Qt::ISODate)},
    });
    stats.insert("commissioned"_L1, entries);
    writeJsonFile(configPath(u"stats.json"_s), QJsonDocument(stats));
}

} // namespace units
