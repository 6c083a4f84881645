#pragma once
// The connection log a technician reads afterwards (diagnostics/connect.log, rotated at 1 MiB,
// never holding passcodes, tokens or field values) and the last-screen cache beside it.

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace units {

inline constexpr qint64 kLogRotateBytes = 1024 * 1024;
inline constexpr int kLogFieldLimit = 200;

// configDir() + "/diagnostics", created when first needed; computed once per run.
QString diagnosticsDir();
QString connectLogPath();

// Appends "<local ISO time with ms>  <text>" as one line; line breaks in the text become spaces.
// Silent when the log cannot be opened.
void logLine(const QString &text);

// One line, trimmed, cut to `limit` characters followed by "..." when longer.
QString shorten(const QString &text, int limit = kLogFieldLimit);

// Member names joined by ",", leaving out any whose name hints at a secret or a free-text note.
QString keysOf(const QJsonObject &object);

// The last `count` lines of a text file; none when it cannot be read.
QStringList tailLines(const QString &path, int count);

// Copies a screen answer to the diagnostics folder when KESTRO_DUMP_UI is set (read once per run).
// `unitKey` names the file; an empty key stands for "no unit selected".
void saveLastScreen(const QJsonObject &answer, const QString &unitKey);
QString lastScreenPath(const QString &unitKey);

} // namespace units
