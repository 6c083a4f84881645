#pragma once
// What the template tests share: connect.log's lines.

#include "support/testsupport.h"
#include "units/diaglog.h"

#include <QStringList>

namespace iotemplatestest {

// connect.log's lines without their time stamps.
inline QStringList logged()
{
    QStringList out;
    for (const QString &line : units::tailLines(units::connectLogPath(), 50))
        out << line.section(QStringLiteral("  "), 1);
    return out;
}

} // namespace iotemplatestest
