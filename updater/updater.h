#pragma once
// The self-updater: asks the release location what the newest release is, downloads a newer
// installer into the temporary "kestro-updates" folder, checks its SHA-256 and offers to restart
// into it. It checks by itself once a day without a word unless an installer is ready, and on
// demand ("Check for updates...") with an answer in a box whatever the outcome.

#include "app/base/installation.h"
#include "app/base/version.h"
#include "updater/download.h"
#include "updater/installer.h"
#include "updater/release.h"

#include <QCoreApplication>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSslCertificate>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class QNetworkRequest;
class QProgressBar;
class QProgressDialog;
class QTimer;
class QWidget;

namespace updater {
Q_NAMESPACE

// Where and how the updater works. The defaults are the product's; tests replace the seams.
struct Options
{
    QUrl releaseBase = app::installation().releaseBase; // HTTPS, ends in "/"
    QString appId = QString::fromLatin1(kAppId);
    QString currentVersion = QString::fromLatin1(app::kVersion);
    int transferTimeoutMs = 60000; // a transfer that sends nothing for this long fails
    // Certificate authorities trusted on top of the system's (a test's own release server).
    // Verification itself is never switched off.
    QList<QSslCertificate> extraCaCertificates;
    std::function<bool(const QString &installer)> launch = startInstaller;
    std::function<void()> quit = [] { QCoreApplication::quit(); };
};

// How a check ended (finished() carries it; the debug log names it).
enum class Outcome {
    Unreachable,    // no answer, not JSON, no release for this app, or none for this platform
    Latest,         // the published version is not newer
    DownloadFailed, // transfer error or time-out
    Cancelled,      // the technician pressed "Cancel"
    Mismatch,       // fingerprint differs: nothing was written
    SaveFailed,     // the folder or the file could not be written
    Postponed,      // "Later": the installer is kept (readyInstaller)
    Installing,     // the installer was started and the application told to quit
    InstallFailed,  // the installer could not be started
};
Q_ENUM_NS(Outcome)

class Updater final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Updater)

public:
    // `window` parents the boxes and this object; the daily silent check starts at once.
    explicit Updater(QWidget *window, Options options = {});

    // Fetches latest.json from the network (never a cache). Interactive checks answer in boxes
    // and show the download's progress; silent ones only ever show the ready prompt. A check
    // while one runs joins it (an interactive request makes the running one interactive).
    void check(bool interactive);
    bool busy() const { return m_busy; }

    // The installer that is downloaded but was put off with "Later"; empty when none.
    QString readyInstaller() const { return m_ready; }

    // The folder downloads go to: the system temporary location + "/kestro-updates".
    static QString downloadFolder();

signals:
    void finished(updater::Outcome outcome);

private:
    QNetworkRequest request(const QUrl &url) const;
    void onManifest(const QByteArray &body, const QString &error);
    void download(const Release &release);
    void showProgress();
    void onDownloaded(Download::Result result, const QString &error);
    void promptInstall(const QString &installer);
    void install(const QString &installer);
    // Ends the check in progress, with its box when there is one to show.
    void finish(Outcome outcome, const QString &detail = {});

    QPointer<QWidget> m_window;
    Options m_options;
    QNetworkAccessManager *m_net;
    QTimer *m_daily;
    bool m_busy = false;
    bool m_interactive = false;
    Release m_release;             // being downloaded or offered
    QPointer<Download> m_download; // while one runs
    QPointer<QProgressDialog> m_progress;
    QPointer<QProgressBar> m_bar;
    QString m_ready; // postponed installer
    QString m_readyVersion;
};

} // namespace updater
