#pragma once
// The day summary: what every unit signed in during this run recorded today, as one plain text
// the technician edits, saves or copies into an e-mail. The text is built by a function of its
// own, so that it can be checked line by line against any answers.

#include "units/api.h"
#include "units/store.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>

#include <functional>

class QWidget;

namespace tools {

// One request of the summary to one unit: the answer's object, empty when the request failed.
using DayFetch = std::function<QJsonObject(const units::Unit &unit, const QString &path)>;

// The units that `api` holds a sign-in token for, in list order: those unlocked on this machine.
QList<units::Unit> signedInUnits(const units::Api &api, const QList<units::Unit> &units);

// Asks each unit at its own address, port and scheme, with its own token, 6000 ms per request.
DayFetch fetchFrom(units::Api &api);

// The summary of the given units (the signed-in ones), each asked for GET /api/state and GET
// /api/day/summary through `fetch`; `now` gives today's date and the written time.
QString daySummaryText(const QList<units::Unit> &units, const DayFetch &fetch, const QDateTime &now,
                       const QString &writtenBy);

// "Day summary" of the tool menu. `afterReportClosed` adds a word on why it opened; the menu
// passes false.
void daySummary(QWidget *parent, units::Api &api, const QList<units::Unit> &units, bool afterReportClosed);

} // namespace tools
