#pragma once
// The client's only way to talk to a unit: JSON requests over HTTPS or HTTP with the sign-in token,
// per-request time limits, and trust-on-first-use pinning of the unit's certificate, decided at
// the TLS handshake so that a unit whose certificate changed is sent nothing. Every outcome ends in
// exactly one Api::Reply handed to the caller's callback, from the event loop.

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <functional>
#include <utility>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace units {

// Time limits of the callers, in one place.
namespace timeouts {
inline constexpr int kLogin = 20000;
inline constexpr int kPoll = 8000;       // GET /api/ui
inline constexpr int kDataSource = 6000; // each data source a screen names
inline constexpr int kPressGet = 30000;
inline constexpr int kPressPost = 30000;
inline constexpr int kSave = 15000; // stage changes and saves
inline constexpr int kTool = 8000;  // tools and the daily-log roll
} // namespace timeouts

inline constexpr auto kCertChangedError = "this unit's certificate has changed";
inline constexpr auto kNoUnitError = "no unit selected";

class Api final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Api)

public:
    struct Reply
    {
        bool ok = false;
        int status = 0; // 0 when there was no HTTP answer
        QString error;  // empty when ok
        QJsonObject json;
        QByteArray body;
        bool certChanged = false;
    };
    using Callback = std::function<void(const Reply &)>;

    // Where a request goes: the current unit, or another unit signed in during this run (the tools
    // ask each of them in turn without moving the session off the selected one).
    struct Target
    {
        QString ip;
        int port = 8090;
        bool tls = true;
        QString key() const;
    };

    explicit Api(QObject *parent = nullptr);

    // Points at a unit; tokens of other units are kept for when the user comes back to them.
    void setUnit(const QString &ip, int port, bool tls);
    QString ip() const { return m_ip; }
    int port() const { return m_port; }
    bool tls() const { return m_tls; }
    QString key() const;
    Target target() const { return {m_ip, m_port, m_tls}; }

    void get(const QString &path, Callback callback, int timeoutMs)
    {
        get(target(), path, std::move(callback), timeoutMs);
    }
    void post(const QString &path, const QJsonObject &body, Callback callback, int timeoutMs)
    {
        post(target(), path, body, std::move(callback), timeoutMs);
    }
    // The same to a given unit, with that unit's own token and pin.
    void get(const Target &to, const QString &path, Callback callback, int timeoutMs);
    void post(const Target &to, const QString &path, const QJsonObject &body, Callback callback, int timeoutMs);
    // POST /api/login; a 200 answer stores its "token" for the current unit (or drops it when empty).
    void login(const QString &password, Callback callback);
    // True when there was a token for the key.
    bool forgetToken(const QString &key);
    bool hasToken(const QString &key) const { return !m_tokens.value(key).isEmpty(); }

    // The URL of a path on a unit (the current one by default); a "?" splits the path from the query.
    QUrl urlFor(const QString &path) const { return urlFor(target(), path); }
    static QUrl urlFor(const Target &to, const QString &path);

private:
    QNetworkRequest buildRequest(const Target &to, const QString &path, bool withToken) const;
    QNetworkAccessManager *managerFor(const QString &key);
    void track(QNetworkReply *reply, const QString &key, Callback callback, int timeoutMs);
    void release(QNetworkAccessManager *net);
    static Reply complete(QNetworkReply *reply, const QString &key, bool refused);

    QNetworkAccessManager *m_net;
    // Fingerprints that m_net's connections were let through with, per unit key: those connections
    // may carry later requests without a new handshake.
    QHash<QString, QSet<QString>> m_admitted;
    QHash<QNetworkAccessManager *, int> m_running; // replies not yet handed over, per manager
    QString m_ip;
    int m_port = 8090;
    bool m_tls = true;
    QHash<QString, QString> m_tokens; // per unit key, for this run only
};

// GET that waits in a local event loop, for dialogs that need the answer before they go on; to the
// current unit or to a given one.
Api::Reply waitFor(Api &api, const QString &path, int timeoutMs);
Api::Reply waitFor(Api &api, const Api::Target &to, const QString &path, int timeoutMs);
// POST to the current unit that waits the same way.
Api::Reply waitForPost(Api &api, const QString &path, const QJsonObject &body, int timeoutMs);

// Trust on first use, at the handshake: pins the first fingerprint seen for a key, and afterwards
// passes only for the pinned one. No certificate (plain HTTP) passes and pins nothing.
bool certificateTrusted(const QString &key, const QByteArray &leafDer);
// Lower-case hex SHA-256 of a certificate's DER bytes, the form pins.json holds.
QString fingerprint(const QByteArray &der);

} // namespace units
