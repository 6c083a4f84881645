#pragma once
// Gives a unit test its own home folder before the configuration is isolated, so that two runs
// of the same test (other build folders, other engineers) never share units.json or pins.json.

#include "support/testsupport.h"

#include <QTemporaryDir>

namespace unitstest {

inline QString privateHome()
{
    static QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    testsupport::isolateConfig();
    return home.path();
}

} // namespace unitstest
