#pragma once
// Settings of the installation rather than of the technician: where problem reports are mailed
// and where new releases are published. An installer writes them into installation.json beside
// the executable, for example
//     {"supportEmail": "commissioning-support@example.com",
//      "releaseBase": "https://releases.example.com/kestro-connect/"}
// Keys that are missing or malformed keep the values built in (the CMake cache variables
// KESTRO_SUPPORT_EMAIL and KESTRO_RELEASE_BASE). KESTRO_INSTALLATION names another file to read
// instead, for tests and for trying a release server.

#include <QString>
#include <QUrl>

namespace app {

struct Installation
{
    QString supportEmail;
    QUrl releaseBase; // HTTPS, ends in "/"
};

// The installation in force, read once per run.
const Installation &installation();

// The installation that the file at `path` describes, over the built-in values.
Installation readInstallation(const QString &path);

} // namespace app
