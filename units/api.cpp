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

bool Api::forgetToken(const QString &key)
{
    return m_tokens.remove(key) > 0;
}

QUrl Api::urlFor(const QString &path) const
{
    QUrl url;
    url.setScheme(m_tls ? u"https"_s : u"http"_s);
    url.setHost(m_ip);
    url.setPort(m_port);
    const qsizetype mark = path.indexOf(u'?');
    if (mark < 0) {
        url.setPath(path);
    } else {
        url.setPath(path.left(mark));
        url.setQuery(path.mid(mark + 1));
    }
    return url;
}

QNetworkRequest Api::buildRequest(const QString &path, bool withToken) const
{
    QNetworkRequest request(urlFor(path));
    request.setRawHeader("X-Kestro-Client", QByteArray("qt/") + app::kVersion);
    request.setRawHeader("Accept", "application/json");
    if (withToken) {
        const QString token = m_tokens.value(key());
        if (!token.isEmpty())
            request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    }
    if (m_tls) {
        // Units carry self-signed certificates: trust is decided afterwards by the pin, never by
        // certificate authorities or host names.
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setPeerVerifyMode(QSslSocket::VerifyNone);
        request.setSslConfiguration(ssl);
    }
    return request;
}

void Api::get(const QString &path, Callback callback, int timeoutMs)
{
    if (m_ip.isEmpty()) {
        Reply reply;
        reply.error = QString::fromLatin1(kNoUnitError);
        if (callback)
            callback(reply);
        return;
    }
    track(m_net->get(buildRequest(path, true)), key(), std::move(callback), timeoutMs);
}

void Api::post(const QString &path, const QJsonObject &body, Callback callback, int timeoutMs)
{
    QNetworkRequest request = buildRequest(path, true);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    track(m_net->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact)), key(), std::move(callback),
          timeoutMs);
}

void Api::login(const QString &password, Callback callback)
{
    QNetworkRequest request = buildRequest(u"/api/login"_s, false);
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
    track(m_net->post(request, body), key(), std::move(signIn), timeouts::kLogin);
}

void Api::track(QNetworkReply *reply, const QString &key, Callback callback, int timeoutMs)
{
    auto *limit = new QTimer(reply);
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, reply, [reply] {
        if (reply->isRunning())
            reply->abort();
    });
    limit->start(std::max(timeoutMs, 0));

    connect(reply, &QNetworkReply::finished, this, [reply, key, callback = std::move(callback)] {
        const Reply result = complete(reply, key);
        reply->deleteLater();
        if (callback)
            callback(result);
    });
}

Api::Reply Api::complete(QNetworkReply *reply, const QString &key)
{
    Reply r;
    const QList<QSslCertificate> chain = reply->sslConfiguration().peerCertificateChain();
    const bool trusted = certificateTrusted(key, chain.isEmpty() ? QByteArray() : chain.first().toDer());
    r.certChanged = !trusted;
    r.body = reply->readAll();
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

Api::Reply waitFor(Api &api, const QString &path, int timeoutMs)
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
    api.get(
        path,
        [wait](const Api::Reply &reply) {
            wait->reply = reply;
            wait->done = true;
            wait->loop.quit();
        },
        timeoutMs);
    if (!wait->done)
        wait->loop.exec();
    return wait->reply;
}

} // namespace units
