#pragma once
// What the release location's latest.json offers this build (version, installer path, fingerprint,
// notes) and the version order that decides whether it is newer. Pure functions, so the rules can
// be tested without a server.

#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <optional>

namespace updater {

// The application's key under "apps" in latest.json.
inline constexpr auto kAppId = "kestro-connect";

// The "files" entry this build installs from.
#ifdef Q_OS_WIN
inline constexpr auto kPlatform = "windows";
#else
inline constexpr auto kPlatform = "linux";
#endif

struct Release
{
    QString version; // "files".<platform>."version", else the app's "version"
    QString path;    // of the installer below the release location, "/"-separated
    QString sha256;  // hex, either case; empty when none was published
    QString notes;
};

// The release of `appId` in a manifest, or nothing when the manifest has no (or an empty) object
// for it. Keys of the wrong JSON type read as empty.
std::optional<Release> readRelease(const QJsonObject &manifest, const QString &appId,
                                   const QString &platform = QString::fromLatin1(kPlatform));

// Orders two versions: below 0, 0 or above 0 as `a` is older than, equal to or newer than `b`.
// Both are split at "." and compared component by component as numbers, up to the longer of the
// two; a missing or non-numeric component counts as 0. A build suffix ("+" and what follows) is
// left out first: it names a commit, which has no order, and read as part of the last component
// it would make that component non-numeric, so "8.9.13+cdcc16b" would count as 8.9.0 and every
// 8.9.x release would look newer than the build that is running.
int compareVersions(const QString &a, const QString &b);
inline bool isNewer(const QString &published, const QString &current)
{
    return compareVersions(published, current) > 0;
}

// The installer's file name: the last "/"-segment of its path; empty when that cannot name a file
// in the download folder ("", ".", "..", or holding a backslash).
QString installerFileName(const QString &path);

// release location + the path, each segment percent-encoded (empty segments, as in a leading
// "/", are dropped so that the installer stays below the release location).
QUrl installerUrl(const QUrl &releaseBase, const QString &path);

} // namespace updater
