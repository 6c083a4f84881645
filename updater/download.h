#pragma once
// One installer download. The bytes go to a save file beside the target and through a SHA-256 as
// they arrive, so a large installer never sits whole in memory; the file takes the target's name
// only when the transfer ended well and the fingerprint (when one was published) matches, so a
// damaged or forged installer never appears under the name that would be started.

#include <QCryptographicHash>
#include <QObject>
#include <QPointer>
#include <QSaveFile>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace updater {

class Download final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Download)

public:
    enum class Result { Saved, Cancelled, Failed, Mismatch, SaveFailed };
    Q_ENUM(Result)

    // `sha256` is hex in either case; empty skips the check.
    Download(const QString &target, const QString &sha256, QObject *parent);

    // Sends the request; `finished` follows exactly once, never from inside this call.
    void start(QNetworkAccessManager *net, const QNetworkRequest &request);
    // Aborts the transfer; it then finishes as Cancelled.
    void cancel();

    QString target() const { return m_target; }

signals:
    void progress(qint64 received, qint64 total); // total is -1 while unknown
    // `error` is the transfer's error text for Failed, the file's for SaveFailed.
    void finished(updater::Download::Result result, const QString &error);

private:
    void take();
    void land();
    void finish(Result result, const QString &error);

    QString m_target;
    QString m_sha256;
    QSaveFile m_file;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    QPointer<QNetworkReply> m_reply;
    qint64 m_received = 0;
    int m_timeoutMs = 0;
    bool m_cancelled = false;
    bool m_writeFailed = false;
    bool m_done = false;
};

// Lower-case hex SHA-256 of a file, read in pieces; empty when it cannot be read.
QString fileSha256(const QString &path);

// Two hex fingerprints name the same bytes (case does not matter; empty never matches).
bool sameFingerprint(const QString &a, const QString &b);

} // namespace updater
