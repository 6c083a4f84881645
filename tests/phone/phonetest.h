#pragma once
// What the phone tests share: a unit at the first simulated address with a discovery state.

#include "support/testsupport.h"
#include "units/store.h"

namespace phonetest {

inline units::Unit unit(const QString &name, const char *state)
{
    units::Unit u;
    u.name = name;
    u.ip = QStringLiteral("10.77.0.21");
    u.state = testsupport::json(state);
    return u;
}

} // namespace phonetest
