#include "sim/templates.h"

#include <QDateTime>
#include <QRegularExpression>

#include <cmath>

using namespace Qt::StringLiterals;

namespace sim {

namespace {

const QString kSchema = u"kestro.io-template/1"_s;

QJsonObject make(const QString &id, const QString &name, const QString &maker, int inputs, int outputs,
                 const QJsonObject &connection, const QString &updated, const QJsonObject &pinout = {})
{
    QJsonObject t{{u"schema"_s, kSchema},        {u"id"_s, id},          {u"name"_s, name},
                  {u"maker"_s, maker},           {u"inputs"_s, inputs},  {u"outputs"_s, outputs},
                  {u"connection"_s, connection}, {u"updated"_s, updated}};
    if (!pinout.isEmpty())
        t.insert(u"pinout"_s, pinout);
    return t;
}

QJsonObject modbus(const QString &host)
{
    return {{u"type"_s, u"modbus_tcp"_s}, {u"host"_s, host}, {u"port"_s, 502}};
}

bool wholeIn(const QJsonValue &v, int lo, int hi)
{
    return v.isDouble() && v.toDouble() == std::floor(v.toDouble()) && v.toDouble() >= lo && v.toDouble() <= hi;
}

bool valid(const QJsonObject &t)
{
    static const QRegularExpression idPattern(QRegularExpression::anchoredPattern(u"[A-Za-z0-9_-]{1,64}"_s));
    return t.value(u"schema"_s).toString() == kSchema && idPattern.match(t.value(u"id"_s).toString()).hasMatch() &&
           !t.value(u"name"_s).toString().trimmed().isEmpty() && wholeIn(t.value(u"inputs"_s), 0, 64) &&
           wholeIn(t.value(u"outputs"_s), 0, 64) &&
           !t.value(u"connection"_s).toObject().value(u"type"_s).toString().isEmpty() &&
           (!t.contains(u"pinout"_s) || t.value(u"pinout"_s).isObject());
}

// "updated" as a time; invalid when it is not ISO 8601. Offsets count, so the text order is not
// the time order ("13:00+02:00" is before "12:00Z").
QDateTime updatedAt(const QJsonObject &t)
{
    const QString text = t.value(u"updated"_s).toString();
    QDateTime at = QDateTime::fromString(text, Qt::ISODateWithMs);
    return at.isValid() ? at : QDateTime::fromString(text, Qt::ISODate);
}

} // namespace

QList<QJsonObject> builtinTemplates()
{
    QJsonObject dio = make(u"kestro-dio8"_s, u"Kestro DIO-8"_s, u"Kestro"_s, 8, 8, {{u"type"_s, u"picontrol"_s}},
                           u"2026-01-10T08:00:00Z"_s);
    QJsonObject aio = make(u"kestro-aio4"_s, u"Kestro AIO-4"_s, u"Kestro"_s, 4, 4, {{u"type"_s, u"picontrol"_s}},
                           u"2026-01-10T08:00:00Z"_s);
    dio.insert(u"builtin"_s, true);
    aio.insert(u"builtin"_s, true);
    return {dio, aio};
}

QList<QJsonObject> siteTemplates(int index)
{
    switch (index % 3) {
    case 0:
        return {make(u"aisle-relay-4"_s, u"Aisle relay 4"_s, u"Site electrics"_s, 0, 4, modbus(u"10.77.0.90"_s),
                     u"2026-10-01T12:00:00Z"_s),
                make(u"lift-door-io"_s, u"Lift door sensors"_s, u"Site electrics"_s, 6, 2, modbus(u"10.77.0.91"_s),
                     u"2026-09-14T07:30:00.250+02:00"_s,
                     {{u"DI1"_s, u"door closed"_s}, {u"DI2"_s, u"door open"_s}, {u"DO1"_s, u"door lamp"_s}})};
    case 1:
        return {make(u"conveyor-io-16"_s, u"Conveyor IO-16"_s, u"Rollway"_s, 16, 16, {{u"type"_s, u"picontrol"_s}},
                     u"2026-10-12T09:15:00Z"_s),
                make(u"beacon-relay-2"_s, u"Beacon relay 2"_s, u"Site electrics"_s, 0, 2, modbus(u"10.77.0.92"_s),
                     u"2026-08-30T16:40:00+01:00"_s)};
    default:
        return {make(u"charger-io"_s, u"Charger contacts"_s, u"Voltwerk"_s, 2, 1, {{u"type"_s, u"picontrol"_s}},
                     u"2026-07-02T11:00:00Z"_s)};
    }
}

TemplateMerge mergeTemplates(QMap<QString, QJsonObject> &set, const QJsonArray &incoming)
{
    TemplateMerge m;
    for (const QJsonValue &v : incoming) {
        const QJsonObject t = v.toObject();
        if (t.value(u"builtin"_s).toBool())
            continue;
        if (!valid(t)) {
            m.rejected.append(t.value(u"id"_s).toString(u"?"_s));
            continue;
        }
        const QString id = t.value(u"id"_s).toString();
        const auto it = set.constFind(id);
        if (it == set.cend()) {
            set.insert(id, t);
            ++m.added;
            continue;
        }
        if (it->value(u"builtin"_s).toBool())
            continue;
        const QDateTime theirs = updatedAt(t);
        const QDateTime ours = updatedAt(*it);
        if (theirs.isValid() && (!ours.isValid() || theirs > ours)) {
            set.insert(id, t);
            ++m.updated;
        }
    }
    return m;
}

} // namespace sim
