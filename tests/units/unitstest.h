#pragma once
// What the unit tests share: a private configuration folder (so two runs, in other build folders
// or by other engineers, never share units.json or pins.json) and small file and JSON helpers.

#include "support/testsupport.h"
#include "units/store.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

namespace unitstest {

using testsupport::readFile;
using testsupport::writeFile;

// "key|name|type|unit_id|misses" per unit, then "|manual", "|http" and "|online" where they apply.
inline QStringList describe(const QList<units::Unit> &list)
{
    using namespace Qt::StringLiterals;
    QStringList out;
    for (const units::Unit &u : list) {
        out << QStringList{u.key(), u.name, u.type, u.unit_id, QString::number(u.misses)}.join(u'|') +
                   (u.manual ? "|manual"_L1 : ""_L1) + (u.tls ? ""_L1 : "|http"_L1) +
                   (u.online() ? "|online"_L1 : ""_L1);
    }
    return out;
}

inline QJsonArray jsonArray(const QByteArray &text)
{
    return QJsonDocument::fromJson(text).array();
}

} // namespace unitstest
