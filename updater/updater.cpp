#include "updater/updater.h"

#include "app/base/logging.h"
#include "app/base/modal.h"
#include "app/base/theme.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QSslConfiguration>
#include <QStandardPaths>
#include <QTimer>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace updater {

namespace {

constexpr int kDailyMs = 86400000;

// The box each outcome shows, when it shows one ("%1" takes the detail).
struct Said
{
    Outcome outcome;
    QMessageBox::Icon icon;
    const char *title;
    const char *text;
};
constexpr Said kSaid[] = {
    {Outcome::Unreachable, QMessageBox::Information, "Updates",
     "Could not reach the update server - check the internet connection and try again."},
    {Outcome::Latest, QMessageBox::Information, "Updates", "You have the latest version (%1)."},
    {Outcome::DownloadFailed, QMessageBox::Warning, "Update", "The download failed: %1"},
    {Outcome::Mismatch, QMessageBox::Warning, "Update",
     "The downloaded installer did not match its published fingerprint, so it was NOT installed. Try again "
     "later."},
    {Outcome::SaveFailed, QMessageBox::Warning, "Update", "Could not save the installer to %1"},
    {Outcome::InstallFailed, QMessageBox::Warning, "Update", "Could not open the installer: %1"},
};

// The download folder, made when missing. Elsewhere than Windows the temporary location is shared
// by every account, and whoever can write into this folder could swap the installer between its
// check and its start (as the administrator): it must be ours and closed to others.
bool prepareFolder(const QString &folder)
{
    QDir dir(folder);
    if (!dir.exists() && !QDir().mkdir(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        return false;
#ifdef Q_OS_UNIX
    const QFileInfo info(folder);
    const QFile::Permissions others = QFile::WriteGroup | QFile::WriteOther;
    if (!info.isDir() || info.ownerId() != ::getuid() || (info.permissions() & others))
        return false;
#endif
    return QFileInfo(folder).isDir();
}

} // namespace

Updater::Updater(QWidget *window, Options options)
    : QObject(window)
    , m_window(window)
    , m_options(std::move(options))
    , m_net(new QNetworkAccessManager(this))
    , m_daily(new QTimer(this))
{
    m_daily->setInterval(kDailyMs);
    connect(m_daily, &QTimer::timeout, this, [this] { check(false); });
    m_daily->start();
}

QString Updater::downloadFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::TempLocation) + u"/kestro-updates"_s;
}

QNetworkRequest Updater::request(const QUrl &url) const
{
    QNetworkRequest request(url);
    request.setTransferTimeout(m_options.transferTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QString(QString::fromLatin1(app::kAppName) + u'/' + m_options.currentVersion));
    if (!m_options.extraCaCertificates.isEmpty()) {
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.addCaCertificates(m_options.extraCaCertificates);
        request.setSslConfiguration(ssl);
    }
    return request;
}

void Updater::check(bool interactive)
{
    if (m_busy) {
        if (interactive && !m_interactive) {
            m_interactive = true;
            showProgress();
        }
        return;
    }
    m_busy = true;
    m_interactive = interactive;
    QNetworkRequest manifest = request(m_options.releaseBase.resolved(QUrl(u"latest.json"_s)));
    manifest.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    manifest.setRawHeader("Cache-Control", "no-cache"); // nor a cache on the way
    qCDebug(lcUpdater) << (interactive ? "check" : "silent check") << manifest.url();
    QNetworkReply *reply = m_net->get(manifest);
    // Queued, here and for the download: the boxes that follow spin the event loop, which is
    // better not done inside a network reply's own signal.
    connect(
        reply, &QNetworkReply::finished, this,
        [this, reply] {
            reply->deleteLater();
            const bool ok = reply->error() == QNetworkReply::NoError;
            onManifest(ok ? reply->readAll() : QByteArray(), ok ? QString() : reply->errorString());
        },
        Qt::QueuedConnection);
}

void Updater::onManifest(const QByteArray &body, const QString &error)
{
    const std::optional<Release> release =
        error.isEmpty() ? readRelease(QJsonDocument::fromJson(body).object(), m_options.appId) : std::nullopt;
    if (!release) {
        qCDebug(lcUpdater) << "no release:" << (error.isEmpty() ? u"manifest unusable"_s : error);
        finish(Outcome::Unreachable);
        return;
    }
    qCDebug(lcUpdater) << "published" << release->version << "running" << m_options.currentVersion;
    if (!isNewer(release->version, m_options.currentVersion)) {
        finish(Outcome::Latest, m_options.currentVersion);
        return;
    }
    // A newer version without an installer for this platform is a manifest we cannot act on.
    if (installerFileName(release->path).isEmpty()) {
        qCDebug(lcUpdater) << "no installer for" << kPlatform;
        finish(Outcome::Unreachable);
        return;
    }
    download(*release);
}

void Updater::download(const Release &release)
{
    m_release = release;
    const QString folder = downloadFolder();
    const QString target = folder + u'/' + installerFileName(release.path);
    if (!prepareFolder(folder)) {
        finish(Outcome::SaveFailed, target);
        return;
    }
    // Already here: downloaded on an earlier day (its fingerprint says so), or earlier in this
    // run and put off.
    const bool verified = !release.sha256.isEmpty() && sameFingerprint(fileSha256(target), release.sha256);
    const bool postponed = target == m_ready && release.version == m_readyVersion && QFileInfo(target).isFile();
    if (verified || postponed) {
        qCDebug(lcUpdater) << "already downloaded" << target;
        return promptInstall(target);
    }
    m_download = new Download(target, release.sha256, this);
    connect(m_download, &Download::finished, this, &Updater::onDownloaded, Qt::QueuedConnection);
    m_download->start(m_net, request(installerUrl(m_options.releaseBase, release.path)));
    if (m_interactive)
        showProgress();
}

void Updater::showProgress()
{
    if (!m_download || m_progress || !m_window)
        return;
    m_progress = new QProgressDialog(m_window);
    m_progress->setObjectName(u"updateProgress"_s);
    m_progress->setWindowTitle(u"Downloading %1 %2..."_s.arg(QString::fromLatin1(app::kAppName), m_release.version));
    m_progress->setWindowModality(Qt::WindowModal);
    m_progress->setMinimumWidth(380);
    // The dialog's own setValue() spins the event loop when modal; the bar itself does not.
    m_bar = new QProgressBar(m_progress);
    // The application style sheet leaves progress bars alone, and in the dark theme the plain
    // groove vanishes into the dialog.
    const theme::Palette &colours = theme::palette();
    m_bar->setStyleSheet(
        u"QProgressBar { background: %1; border: 1px solid %2; border-radius: 4px;"
        " color: %3; text-align: center; min-height: 18px; }"
        " QProgressBar::chunk { background: %4; border-radius: 3px; }"_s.arg(
            colours.surface.name(), colours.controlEdge.name(), colours.ink.name(), colours.accent.name()));
    m_progress->setBar(m_bar);
    m_progress->setRange(0, 0);
    m_progress->setLabelText(QLocale().formattedDataSize(0));
    m_progress->setCancelButtonText(u"Cancel"_s);
    m_progress->setAutoClose(false);
    m_progress->setAutoReset(false);
    m_progress->setMinimumDuration(0);
    connect(m_progress, &QProgressDialog::canceled, m_download, &Download::cancel);
    connect(m_download, &Download::progress, m_progress, [this](qint64 received, qint64 total) {
        const QLocale locale;
        QString text = locale.formattedDataSize(received);
        if (total > 0) {
            text = u"%1 of %2"_s.arg(text, locale.formattedDataSize(total));
            m_bar->setRange(0, 1000);
            m_bar->setValue(int(received * 1000 / total));
        }
        m_progress->setLabelText(text);
    });
    m_progress->show();
}

void Updater::onDownloaded(Download::Result result, const QString &error)
{
    const QString target = m_download->target();
    m_download->deleteLater();
    if (m_progress) {
        m_progress->disconnect();
        m_progress->hide();
        m_progress->deleteLater();
    }
    switch (result) {
    case Download::Result::Saved:
        return promptInstall(target);
    case Download::Result::Cancelled:
        return finish(Outcome::Cancelled);
    case Download::Result::Failed:
        return finish(Outcome::DownloadFailed, error);
    case Download::Result::Mismatch:
        return finish(Outcome::Mismatch);
    case Download::Result::SaveFailed:
        qCDebug(lcUpdater) << "cannot save:" << error;
        return finish(Outcome::SaveFailed, target);
    }
}

void Updater::promptInstall(const QString &installer)
{
    m_ready = installer;
    m_readyVersion = m_release.version;
    if (!m_window)
        return finish(Outcome::Postponed);
    const QString appName = QString::fromLatin1(app::kAppName);
    auto *box = new QMessageBox(
        QMessageBox::Information, u"Update ready"_s,
        u"<b>%1 %2</b> is downloaded and ready - you have %3."_s.arg(
            appName.toHtmlEscaped(), m_release.version.toHtmlEscaped(), m_options.currentVersion.toHtmlEscaped()),
        QMessageBox::NoButton, m_window);
    box->setObjectName(u"updateReady"_s);
    box->setTextFormat(Qt::RichText);
    const QString closing = u"Installing closes the app and reopens the new version."_s;
    box->setInformativeText(m_release.notes.isEmpty() ? closing : m_release.notes + u"\n\n"_s + closing);
    // The notes are shown as written, never read as markup.
    if (auto *notes = box->findChild<QLabel *>(u"qt_msgbox_informativelabel"_s))
        notes->setTextFormat(Qt::PlainText);
    auto *restart = new QPushButton(u"Restart to install"_s);
    restart->setProperty("kind", u"primary"_s); // before the box polishes it
    box->addButton(restart, QMessageBox::AcceptRole);
    box->addButton(u"Later"_s, QMessageBox::RejectRole);
    box->setDefaultButton(restart);

    QPointer<Updater> self(this);
    QPointer<QMessageBox> guard(box);
    app::execModal(box);
    const bool accepted = guard && guard->clickedButton() == restart;
    delete guard;
    if (!self)
        return; // the window closed under the prompt, and took this with it
    if (accepted)
        install(installer);
    else
        finish(Outcome::Postponed);
}

void Updater::install(const QString &installer)
{
    if (!m_options.launch(installer))
        return finish(Outcome::InstallFailed, installer);
    m_ready.clear();
    finish(Outcome::Installing);
    m_options.quit();
}

void Updater::finish(Outcome outcome, const QString &detail)
{
    qCDebug(lcUpdater) << "check ended" << outcome << detail;
    // Silent checks say nothing; a failed start follows the prompt the technician answered.
    const bool speak = m_window && (m_interactive || outcome == Outcome::InstallFailed);
    const auto said =
        std::find_if(std::begin(kSaid), std::end(kSaid), [&](const Said &s) { return s.outcome == outcome; });
    if (speak && said != std::end(kSaid)) {
        QString text = QString::fromLatin1(said->text);
        if (text.contains("%1"_L1))
            text = text.arg(detail);
        auto *box = new QMessageBox(said->icon, QString::fromLatin1(said->title), text, QMessageBox::Ok, m_window);
        box->setTextFormat(Qt::PlainText);
        QPointer<Updater> self(this);
        QPointer<QMessageBox> guard(box);
        app::execModal(box);
        delete guard;
        if (!self)
            return;
    }
    m_busy = false;
    m_interactive = false;
    emit finished(outcome);
}

} // namespace updater
