#include "units/api.h"

#include "app/base/version.h"
#include "units/store.h"

#include <QCryptographicHash>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace units {

QString fingerprint(const QByteArray &der)
{
    return QString::fromLatin1(QCryptographicHash::hash(der, QCryptographicHash::Sha256).toHex());
}

bool certificateTrusted(const QString &key, const QByteArray &leafDer)
{
    if (leafDer.isEmpty())
        return true;
    const QString seen = fingerprint(leafDer);
    const QString pinned = pinFor(key);
    if (pinned.isEmpty()) {
        setPin(key, seen);
        return true;
    }
    return pinned == seen;
}

Api::Api(QObject *parent)
    : QObject(parent)
    , m_net(new QNetworkAccessManager(this))
{}

void Api::setUnit(const QString &ip, int port, bool tls)
{
    m_ip = ip;
    m_port = port;
    m_tls = tls;
}

QString Api::key() const
{
    return unitKey(m_ip, m_port);
}

QString Api::Target::key() const
{
    return unitKey(ip, port);
}

bool Api::forgetToken(const QString &key)
{
    return m_tokens.remove(key) > 0;
}

QUrl Api::urlFor(const Target &to, const QString &path)
{
    QUrl url;
    url.setScheme(to.tls ? u"https"_s : u"http"_s);
    url.setHost(to.ip);
    url.setPort(to.port);
    const qsizetype mark = path.indexOf(u'?');
    if (mark < 0) {
        url.setPath(path);
    } else {
        url.setPath(path.left(mark));
        url.setQuery(path.mid(mark + 1));
    }
    return url;
}

QNetworkRequest Api::buildRequest(const Target &to, const QString &path, bool withToken) const
{
    QNetworkRequest request(urlFor(to, path));
    request.setRawHeader("X-Kestro-Client", QByteArray("qt/") + app::kVersion);
    request.setRawHeader("Accept", "application/json");
    if (withToken) {
        const QString token = m_tokens.value(to.key());
        if (!token.isEmpty())
            request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    }
    if (to.tls) {
        // Units carry self-signed certificates: trust is decided by the pin, never by certificate
        // authorities or host names. With no authority trusted, every handshake stops at sslErrors
        // and goes on only when track() lets it, so that even a connection opened for a request
        // that was given up meanwhile cannot complete with a certificate nobody checked.
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setCaCertificates({});
        ssl.setPeerVerifyMode(QSslSocket::VerifyPeer);
        request.setSslConfiguration(ssl);
        // HTTP/1.1, whose request is written only after the encrypted() slot has returned (the
        // tests check that an abort there sends nothing); Qt 6.4's HTTP/2 path is not relied on.
        request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    }
    return request;
}

QNetworkAccessManager *Api::managerFor(const QString &key)
{
    // A kept-alive connection carries the next request without a handshake, so without a check.
    // Once the pin differs from what a connection was let through with (the user accepted a new
    // certificate), no connection of this manager may carry anything more: new requests go
    // through a fresh manager, and the old one goes when its last reply is handed over.
    const auto admitted = m_admitted.constFind(key);
    if (admitted != m_admitted.cend() && *admitted != QSet<QString>{pinFor(key)}) {
        QNetworkAccessManager *old = std::exchange(m_net, new QNetworkAccessManager(this));
        m_admitted.clear();
        if (!m_running.contains(old))
            old->deleteLater();
    }
    return m_net;
}

void Api::get(const Target &to, const QString &path, Callback callback, int timeoutMs)
{
    if (to.ip.isEmpty()) {
        Reply reply;
        reply.error = QString::fromLatin1(kNoUnitError);
        if (callback)
            callback(reply);
        return;
    }
    track(managerFor(to.key())->get(buildRequest(to, path, true)), to.key(), std::move(callback), timeoutMs);
}

void Api::post(const Target &to, const QString &path, const QJsonObject &body, Callback callback, int timeoutMs)
{
    QNetworkRequest request = buildRequest(to, path, true);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    track(managerFor(to.key())->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact)), to.key(),
          std::move(callback), timeoutMs);
}

void Api::login(const QString &password, Callback callback)
{
    QNetworkRequest request = buildRequest(target(), u"/api/login"_s, false);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const QByteArray body = QJsonDocument(QJsonObject{{"password"_L1, password}}).toJson(QJsonDocument::Compact);
    auto signIn = [this, callback = std::move(callback)](const Reply &reply) {
        if (reply.status == 200) {
            // The key as it is now: the answer belongs to whichever unit is current when it lands.
            const QString token = reply.json.value("token"_L1).toString();
            if (token.isEmpty())
                m_tokens.remove(key());
            else
                m_tokens.insert(key(), token);
        }
        if (callback)
            callback(reply);
    };
    track(managerFor(key())->post(request, body), key(), std::move(signIn), timeouts::kLogin);
}

void Api::track(QNetworkReply *reply, const QString &key, Callback callback, int timeoutMs)
{
    QNetworkAccessManager *net = reply->manager();
    ++m_running[net];
    auto *limit = new QTimer(reply);
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, reply, [reply] {
        if (reply->isRunning())
            reply->abort();
    });
    limit->start(std::max(timeoutMs, 0));

    // The pin is checked at the handshake, before a byte of the request is written: a passcode, a
    // token or a field value never reaches a unit whose certificate changed. A new connection
    // stops at sslErrors (see buildRequest); one whose errors Qt already had leave to pass (the
    // same certificate as before on a channel that reconnects) is checked once encrypted.
    auto refused = std::make_shared<bool>(false);
    const auto admit = [this, reply, key, net, refused] {
        const QList<QSslCertificate> chain = reply->sslConfiguration().peerCertificateChain();
        const QByteArray leaf = chain.isEmpty() ? QByteArray() : chain.first().toDer();
        if (!leaf.isEmpty() && certificateTrusted(key, leaf)) {
            if (net == m_net)
                m_admitted[key].insert(fingerprint(leaf));
            return true;
        }
        *refused = true;
        return false;
    };
    connect(reply, &QNetworkReply::sslErrors, this, [reply, admit](const QList<QSslError> &errors) {
        if (admit())
            reply->ignoreSslErrors(errors); // only these, so another certificate stops here again
    });
    connect(reply, &QNetworkReply::encrypted, this, [reply, admit] {
        if (!admit())
            reply->abort();
    });

    // Queued: abort() in a slot above finishes the reply at once, while the network thread waits for
    // that slot; a callback that waited for another reply there would wait for ever.
    connect(
        reply, &QNetworkReply::finished, this,
        [this, reply, key, net, refused, callback = std::move(callback)] {
            const Reply result = complete(reply, key, *refused);
            reply->deleteLater();
            release(net);
            if (callback)
                callback(result);
        },
        Qt::QueuedConnection);
}

void Api::release(QNetworkAccessManager *net)
{
    if (--m_running[net] > 0)
        return;
    m_running.remove(net);
    if (net != m_net)
        net->deleteLater();
}

Api::Reply Api::complete(QNetworkReply *reply, const QString &key, bool refused)
{
    Reply r;
    // A reply that got past the handshake is checked once more against the pin as it stands now,
    // without pinning: a pin forgotten meanwhile is left for the next handshake to set.
    const QList<QSslCertificate> chain = reply->sslConfiguration().peerCertificateChain();
    const QString pinned = chain.isEmpty() ? QString() : pinFor(key);
    const bool trusted = !refused && (pinned.isEmpty() || pinned == fingerprint(chain.first().toDer()));
    r.certChanged = !trusted;
    r.body = reply->isOpen() ? reply->readAll() : QByteArray(); // an aborted reply is closed
    r.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QJsonDocument doc = QJsonDocument::fromJson(r.body);
    if (doc.isObject())
        r.json = doc.object();
    r.ok = reply->error() == QNetworkReply::NoError && trusted;
    if (!r.ok) {
        if (r.certChanged) {
            r.error = QString::fromLatin1(kCertChangedError);
        } else {
            r.error = r.json.value("error"_L1).toString();
            if (r.error.isEmpty())
                r.error = reply->errorString();
        }
    }
    return r;
}

namespace {

// Sends one request through `send` and runs a local event loop until its reply is in.
Api::Reply waitOn(Api &api, const std::function<void(Api::Callback)> &send)
{
    // Shared with the callback so that a late answer never writes into a finished frame.
    struct Wait
    {
        Api::Reply reply;
        bool done = false;
        QEventLoop loop;
    };
    auto wait = std::make_shared<Wait>();
    Api::Reply gone;
    gone.error = u"the connection to the unit was closed"_s;
    wait->reply = gone;
    QObject::connect(&api, &QObject::destroyed, &wait->loop, &QEventLoop::quit);
    send([wait](const Api::Reply &reply) {
        wait->reply = reply;
        wait->done = true;
        wait->loop.quit();
    });
    if (!wait->done)
        wait->loop.exec();
    return wait->reply;
}

} // namespace

Api::Reply waitFor(Api &api, const QString &path, int timeoutMs)
{
    return waitFor(api, api.target(), path, timeoutMs);
}

Api::Reply waitFor(Api &api, const Api::Target &to, const QString &path, int timeoutMs)
{
    return waitOn(api, [&](Api::Callback done) { api.get(to, path, std::move(done), timeoutMs); });
}

Api::Reply waitForPost(Api &api, const QString &path, const QJsonObject &body, int timeoutMs)
{
    return waitOn(api, [&](Api::Callback done) { api.post(path, body, std::move(done), timeoutMs); });
}

} // namespace units
