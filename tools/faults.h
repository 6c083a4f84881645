#pragma once
// Fault lookup: asks the selected unit what a fault number or a few words mean and shows the
// unit's explanation (description, section and type, why it happens, what to check).

#include "units/api.h"

#include <QString>

class QWidget;

namespace units {
struct Unit;
}

namespace tools {

inline constexpr int kFaultTimeoutMs = 12000;

// "/api/faults?q=" and the query as UTF-8, percent-encoded.
QString faultPath(const QString &query);

// What the dialog shows for a lookup's reply: the failure, the no-match note, or the results one
// after another, each ending in an empty line.
QString faultText(const units::Api::Reply &reply, const QString &query);

// The fault dialog, asking the selected unit through `api`. Without a selected unit (null) it is
// the information box "Fault lookup" instead.
void faultLookup(QWidget *parent, units::Api &api, const units::Unit *selected);

} // namespace tools
