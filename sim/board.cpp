#include "sim/board.h"

#include "sim/flow.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace sim {

namespace {

constexpr int kLanes = 8;
const QString kPressPath = u"/api/action/board"_s;

// Which positions hold a tote: a fixed pattern, so screens are the same run to run.
bool occupied(const QString &level, int lane)
{
    return level == u"upper"_s ? (lane % 3 != 1) : (lane % 2 == 0);
}

QJsonObject position(const QString &level, int lane)
{
    const QString id = u"%1-%2"_s.arg(level == u"upper"_s ? u"U"_s : u"L"_s).arg(lane + 1, 2, 10, QChar(u'0'));
    const bool full = occupied(level, lane);
    QJsonObject tile{{u"id"_s, id},
                     {u"kind"_s, u"position"_s},
                     {u"lane"_s, lane},
                     {u"label"_s, id},
                     {u"note"_s, full ? u"tote %1"_s.arg(4400 + lane * 7 + (level == u"upper"_s ? 0 : 3)) : u"empty"_s},
                     {u"state"_s, full ? u"ok"_s : u"idle"_s},
                     {u"path"_s, kPressPath},
                     {u"body"_s, QJsonObject{{u"do"_s, u"show"_s}, {u"at"_s, id}}}};
    if (full)
        tile.insert(u"drag"_s, QJsonObject{{u"from"_s, id}});
    return tile;
}

QJsonObject rack(const QString &level, const QString &label)
{
    QJsonArray tiles;
    for (int lane = 0; lane < kLanes; ++lane)
        tiles.append(position(level, lane));
    return {{u"id"_s, level},
            {u"label"_s, label},
            {u"tiles"_s, tiles},
            {u"drop"_s,
             QJsonObject{{u"path"_s, kPressPath}, {u"body"_s, QJsonObject{{u"do"_s, u"store"_s}, {u"to"_s, level}}}}},
            {u"actions"_s,
             QJsonArray{QJsonObject{
                 {u"label"_s, u"↻"_s},
                 {u"tone"_s, u"accent"_s},
                 {u"tip"_s, u"Scan every position of this rack again"_s},
                 {u"path"_s, kPressPath},
                 {u"body"_s, QJsonObject{{u"do"_s, u"rescan"_s}, {u"to"_s, level}}},
                 {u"confirm"_s, QJsonObject{{u"title"_s, u"Scan %1 again?"_s.arg(label)},
                                            {u"detail"_s, u"The carriage drives past every position."_s}}}}}}};
}

} // namespace

QJsonObject boardPayload(const Flow &flow)
{
    const double length = flow.identity().value(u"rail_length_mm"_s).toDouble(48000);
    const double at = std::clamp(flow.positionMm(), 0.0, length);
    const int lane = std::clamp(int(std::lround(at / length * (kLanes - 1))), 0, kLanes - 1);
    const QString state = !flow.fault().isEmpty() ? u"error"_s : flow.running() ? u"busy"_s : u"ok"_s;
    const QJsonObject carriage{{u"id"_s, u"carriage"_s},
                               {u"kind"_s, u"carriage"_s},
                               {u"lane"_s, lane},
                               {u"label"_s, u"Shuttle"_s},
                               {u"note"_s, flow.running() ? u"moving"_s : u"standing"_s},
                               {u"state"_s, state},
                               {u"path"_s, kPressPath},
                               {u"body"_s, QJsonObject{{u"do"_s, u"show"_s}, {u"at"_s, u"carriage"_s}}},
                               {u"drag"_s, QJsonObject{{u"from"_s, u"carriage"_s}}}};
    const auto lift = [](int n, int atLane) {
        return QJsonObject{{u"id"_s, u"lift-%1"_s.arg(n)},    {u"kind"_s, u"lift"_s},    {u"lane"_s, atLane},
                           {u"label"_s, u"Lift %1"_s.arg(n)}, {u"note"_s, u"level 1"_s}, {u"state"_s, u"idle"_s}};
    };
    return {
        {u"title"_s, u"Aisle %1"_s.arg(flow.identity().value(u"aisle"_s).toString(u"A"_s))},
        {u"lanes"_s, kLanes},
        {u"rows"_s,
         QJsonArray{rack(u"upper"_s, u"Upper rack"_s),
                    QJsonObject{{u"id"_s, u"rail"_s}, {u"label"_s, u"Carriage"_s}, {u"tiles"_s, QJsonArray{carriage}}},
                    QJsonObject{{u"id"_s, u"lifts"_s},
                                {u"label"_s, u"Lifts"_s},
                                {u"tiles"_s, QJsonArray{lift(1, 0), lift(2, kLanes - 1)}}},
                    rack(u"lower"_s, u"Lower rack"_s)}},
        {u"track"_s,
         QJsonObject{{u"label"_s, u"Rail"_s},
                     {u"length_mm"_s, length},
                     {u"carriage_mm"_s, at},
                     {u"state"_s, state},
                     {u"marks"_s, QJsonArray{QJsonObject{{u"at_mm"_s, 0}, {u"label"_s, u"Lift 1"_s}},
                                             QJsonObject{{u"at_mm"_s, length}, {u"label"_s, u"Lift 2"_s}}}}}},
    };
}

QString boardPressText(const QJsonObject &body)
{
    const QString what = body.value(u"do"_s).toString();
    const QString to = body.value(u"to"_s).toString() == u"lower"_s ? u"the lower rack"_s : u"the upper rack"_s;
    if (what == u"store"_s)
        return u"Moving %1 to %2."_s.arg(body.value(u"from"_s).toString(u"a tote"_s), to);
    if (what == u"rescan"_s)
        return u"Scanning %1 again."_s.arg(to);
    return u"%1 selected."_s.arg(body.value(u"at"_s).toString(u"Nothing"_s));
}

} // namespace sim
