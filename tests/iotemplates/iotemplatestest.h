#pragma once
// What the template tests share: whole-file reads and writes, and connect.log's lines.

#include "units/diaglog.h"

#include <QFile>
#include <QStringList>
#include <QTest>

namespace iotemplatestest {

inline QByteArray readAll(const QString &path)
{
    QFile f(path);
    return !path.isEmpty() && f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline void writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size());
}

// connect.log's lines without their time stamps.
inline QStringList logged()
{
    QStringList out;
    for (const QString &line : units::tailLines(units::connectLogPath(), 50))
        out << line.section(QStringLiteral("  "), 1);
    return out;
}

} // namespace iotemplatestest
