#include "updater/download.h"

#include "app/base/logging.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace updater {

namespace {

// What the network may hold for us before we have taken it: when the disk is slower than the
// line, the socket waits instead of the installer piling up in memory.
constexpr qint64 kReadBuffer = 1 << 20;

} // namespace

QString fileSha256(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return {};
    return QString::fromLatin1(hash.result().toHex());
}

bool sameFingerprint(const QString &a, const QString &b)
{
    return !a.isEmpty() && a.compare(b, Qt::CaseInsensitive) == 0;
}

Download::Download(const QString &target, const QString &sha256, QObject *parent)
    : QObject(parent)
    , m_target(target)
    , m_sha256(sha256)
    , m_file(target)
{}

void Download::start(QNetworkAccessManager *net, const QNetworkRequest &request)
{
    if (!m_file.open(QIODevice::WriteOnly)) {
        QTimer::singleShot(0, this, [this, error = m_file.errorString()] { finish(Result::SaveFailed, error); });
        return;
    }
    m_timeoutMs = request.transferTimeout();
    m_reply = net->get(request);
    m_reply->setReadBufferSize(kReadBuffer);
    connect(m_reply, &QNetworkReply::readyRead, this, &Download::take);
    connect(m_reply, &QNetworkReply::finished, this, &Download::land);
}

void Download::cancel()
{
    if (m_done || !m_reply)
        return;
    m_cancelled = true;
    m_reply->abort();
}

void Download::take()
{
    if (m_writeFailed || !m_reply->isReadable())
        return;
    const QByteArray piece = m_reply->readAll();
    if (piece.isEmpty())
        return;
    m_hash.addData(piece);
    if (m_file.write(piece) != piece.size()) {
        m_writeFailed = true;
        m_reply->abort();
        return;
    }
    // Counted here rather than taken from the reply's own progress signal, which the network
    // layer holds back for a while after the transfer starts.
    m_received += piece.size();
    const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
    emit progress(m_received, length.isValid() ? length.toLongLong() : -1);
}

void Download::land()
{
    take();
    m_reply->deleteLater();
    const QNetworkReply::NetworkError error = m_reply->error();
    const QString actual = QString::fromLatin1(m_hash.result().toHex());
    if (m_writeFailed) {
        finish(Result::SaveFailed, m_file.errorString());
    } else if (m_cancelled) {
        finish(Result::Cancelled, {});
    } else if (error == QNetworkReply::OperationCanceledError || error == QNetworkReply::TimeoutError) {
        // Nobody here cancelled: the transfer timeout aborted a line that went quiet, and the
        // network layer's own words for that ("Operation canceled") would mislead.
        finish(Result::Failed, u"no data arrived for %1 seconds"_s.arg(m_timeoutMs / 1000.0));
    } else if (error != QNetworkReply::NoError) {
        finish(Result::Failed, m_reply->errorString());
    } else if (!m_sha256.isEmpty() && !sameFingerprint(actual, m_sha256)) {
        qCDebug(lcUpdater) << "fingerprint" << actual << "published" << m_sha256;
        finish(Result::Mismatch, {});
    } else if (!m_file.commit()) {
        finish(Result::SaveFailed, m_file.errorString());
    } else {
        finish(Result::Saved, {});
    }
}

void Download::finish(Result result, const QString &error)
{
    if (m_done)
        return;
    m_done = true;
    // Whatever did not end in Saved leaves nothing behind, not even the partial file.
    if (result != Result::Saved && m_file.isOpen()) {
        m_file.cancelWriting();
        m_file.commit(); // after cancelWriting, this discards the temporary file
    }
    qCDebug(lcUpdater) << "download" << m_target << result << error;
    emit finished(result, error);
}

} // namespace updater
