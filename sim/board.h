#pragma once
// The simulated aisle as the site board draws it: two racks of storage positions, the lifts at
// the rail's ends, the carriage in the lane nearest to where it stands, and the rail itself; and
// the unit's answer to a press on it (a tap on a position, a tile dropped on a rack).

#include <QJsonObject>

namespace sim {

class Flow;

// The "diagram" payload for the flow's present state.
QJsonObject boardPayload(const Flow &flow);
// The toast text for a press on the board ("/api/action/board" with its body).
QString boardPressText(const QJsonObject &body);

} // namespace sim
