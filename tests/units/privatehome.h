#pragma once
// Gives a unit test its own home folder before the configuration is isolated, so that two runs
// of the same test (other build folders, other engineers) never share units.json or pins.json.

#include "support/testsupport.h"

namespace unitstest {

inline QString privateHome()
{
    testsupport::isolateConfig();
    return qEnvironmentVariable("HOME");
}

} // namespace unitstest
