#pragma once
// Debug traces, one logging category per subsystem plus three that a technician switches on by
// environment variable: KESTRO_FRAME_DEBUG turns on "kestro.frame" (layout of shots and of the
// viewport's room), KESTRO_PAN_DEBUG "kestro.pan" and KESTRO_INPUT_DEBUG "kestro.input". They
// are all off by default; QT_LOGGING_RULES (for example "kestro.*.debug=true") overrides both.
// The technician's connection log is another thing: units/diaglog.h.

#include <QLoggingCategory>

namespace app {

// Reads the KESTRO_*_DEBUG switches into logging rules. Runs by itself when the application
// object is made; call it again after changing the environment (tests do).
void applyDebugSwitches();

} // namespace app

Q_DECLARE_LOGGING_CATEGORY(lcFrame)
Q_DECLARE_LOGGING_CATEGORY(lcPan)
Q_DECLARE_LOGGING_CATEGORY(lcInput)

Q_DECLARE_LOGGING_CATEGORY(lcApp)
Q_DECLARE_LOGGING_CATEGORY(lcPrims)
Q_DECLARE_LOGGING_CATEGORY(lcRender)
Q_DECLARE_LOGGING_CATEGORY(lcUnits)
Q_DECLARE_LOGGING_CATEGORY(lcBoard)
Q_DECLARE_LOGGING_CATEGORY(lcTools)
Q_DECLARE_LOGGING_CATEGORY(lcPhone)
Q_DECLARE_LOGGING_CATEGORY(lcTemplates)
Q_DECLARE_LOGGING_CATEGORY(lcUpdater)
Q_DECLARE_LOGGING_CATEGORY(lcWindow)
