#pragma once
// The session's trace of each applied poll (payload SAME or CHANGED, what changed, rebuild
// times): appended to the file named by KESTRO_POLL_LOG when it is set, and to the window's debug
// category. The technician's connection log is units::logLine.

#include <QString>

namespace window {

void pollTrace(const QString &line);

} // namespace window
