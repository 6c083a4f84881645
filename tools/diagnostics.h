#pragma once
// What this computer keeps, from the tool menu: the diagnostics folder opened in the file browser,
// a summary for a support call copied to the clipboard (with the end of connect.log, and never a
// passcode, token or secret-named field), and the uninstall note naming the configuration folder.

#include "units/store.h"

#include <QList>
#include <QString>
#include <QStringList>

class QWidget;

namespace tools {

inline constexpr int kSummaryLogLines = 40;

// The line with every secret taken out: JSON members and key=value or key: value pairs whose name
// holds "pass", "psk", "secret" or "token", bearer tokens, and each of `secrets` (such as the
// passcode in the sidebar) wherever it appears.
QString scrubSecrets(QString line, const QStringList &secrets = {});

// The summary: version, machine, system, folders, the known units, and "Last 40 log lines:" with the
// end of connect.log, scrubbed.
QString diagnosticsSummary(const QList<units::Unit> &list, const QStringList &secrets = {});

// "Copy diagnostics summary": puts the summary on the clipboard and returns it.
QString copyDiagnosticsSummary(const QList<units::Unit> &list, const QStringList &secrets = {});

// "Open diagnostics folder": the file browser on the diagnostics folder; false when none opened.
bool openDiagnosticsFolder();

// "Uninstall this app...": the information box "Uninstall" naming the configuration folder.
void uninstallNote(QWidget *parent);

} // namespace tools
