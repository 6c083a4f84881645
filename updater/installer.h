#pragma once
// Hands a downloaded installer to the system, detached, so that it outlives this process.

#include <QString>

namespace updater {

// Windows: starts the installer itself, without arguments. Elsewhere (Debian): the package goes
// to apt-get through pkexec, which asks for an administrator's password in the desktop's own
// dialog; apt-get fetches what the package depends on. A small shell waits for it and then opens
// this program again, the new version, or the old one when the install was refused or failed.
// False when nothing could be started (no pkexec or apt-get, the file gone, no shell).
bool startInstaller(const QString &installer);

} // namespace updater
