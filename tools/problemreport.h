#pragma once
// The problem report: what the technician says went wrong, with the client's own details (version,
// machine, system, the units on the network, the selected unit's report, the recent error log),
// saved as problem-report.txt in the configuration folder and mailed to the installation's support
// address through the desktop's mail client.

#include "units/store.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

class QWidget;

namespace units {
class Api;
}

namespace tools {

inline constexpr int kMailBodyLimit = 1500; // mail clients refuse or cut longer mailto URLs
inline constexpr int kRecentErrorLines = 40;
inline constexpr int kUnitReportTimeoutMs = 10000;

// The last `count` non-empty lines of a text file split at line feeds; none when the file cannot
// be opened for reading.
std::optional<QStringList> lastNonEmptyLines(const QString &path, int count);

// The report's lines. `unitReport` is the selected unit's own report (empty when it did not come);
// it and its heading are left out when no unit is selected. The recent errors come from
// `errorsLog` when it can be read.
QStringList problemReportLines(const QString &whatHappened, const QList<units::Unit> &units, const QString &selectedKey,
                               const QString &unitReport, const QString &errorsLog);

// mailto:ADDRESS?subject=...&body=... with the subject "Kestro Connect problem - <from>" and the
// report's first kMailBodyLimit characters, both percent-encoded.
QUrl problemMailUrl(const QString &address, const QString &from, const QString &report);

// The whole tool: asks what happened, builds and saves the report, opens the mail and says where
// the file is. False when the technician cancelled or typed nothing.
bool problemReport(QWidget *parent, units::Api &api, const QList<units::Unit> &units, const QString &selectedKey);

} // namespace tools
