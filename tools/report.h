#pragma once
// The commissioning report of the selected unit: whether one is open, starting and ending it with
// a note, and the report text the unit generates, to read, edit and download. Also the question
// before a new daily log, whose request the window sends as one of its presses.

#include "units/api.h"

#include <QJsonObject>
#include <QString>

class QWidget;

namespace tools {

// "Report" of the tool menu, for the unit `api` points at. `unitLabel` is its name, or "ip:port"
// when it has none; an empty label means no unit is selected and only says so.
void reportCentre(QWidget *parent, units::Api &api, const QString &unitLabel);

// "Start a new daily log...": says so when no unit is selected (`unitKey` empty), else asks
// whether to go on. On No it writes the "confirm cancelled" line to the connection log. True when
// the window is to send POST /api/day with dayRollBody() as a press.
bool confirmDayRoll(QWidget *parent, const QString &unitLabel, const QString &unitKey);
QJsonObject dayRollBody();

} // namespace tools
