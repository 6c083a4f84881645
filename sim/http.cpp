#include "sim/http.h"

#include <QPointer>
#include <QTimer>

#include <QJsonDocument>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace sim {

QJsonObject Request::json() const
{
    const QJsonDocument doc = QJsonDocument::fromJson(body);
    return doc.isObject() ? doc.object() : QJsonObject{};
}

Response Response::json(int status, const QJsonObject &o)
{
    Response r;
    r.status = status;
    r.body = QJsonDocument(o).toJson(QJsonDocument::Compact);
    return r;
}

Response Response::error(int status, const QString &text)
{
    return json(status, QJsonObject{{u"error"_s, text}});
}

Response Response::text(int status, const QString &text)
{
    Response r;
    r.status = status;
    r.contentType = "text/plain; charset=utf-8";
    r.body = text.toUtf8();
    return r;
}

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 409:
        return "Conflict";
    case 413:
        return "Payload Too Large";
    case 422:
        return "Unprocessable Entity";
    case 429:
        return "Too Many Requests";
    default:
        return status < 400 ? "OK" : "Error";
    }
}

ParseResult parseRequest(const QByteArray &buffer)
{
    ParseResult out;
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        if (buffer.size() > kMaxHeaderBytes)
            out.state = ParseState::TooLarge;
        return out;
    }
    if (headEnd > kMaxHeaderBytes) {
        out.state = ParseState::TooLarge;
        return out;
    }
    const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
    if (first.size() != 3 || !first[2].startsWith("HTTP/1.") || first[0].isEmpty() || !first[1].startsWith('/')) {
        out.state = ParseState::Bad;
        return out;
    }
    Request &req = out.request;
    req.method = QString::fromLatin1(first[0]);
    const QByteArray target = first[1];
    const qsizetype q = target.indexOf('?');
    req.path = QUrl::fromPercentEncoding(q < 0 ? target : target.left(q));
    if (q >= 0)
        req.query = QUrlQuery(QString::fromUtf8(target.mid(q + 1)));
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0) {
            out.state = ParseState::Bad;
            return out;
        }
        req.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
    }
    qsizetype length = 0;
    if (req.headers.contains("content-length")) {
        bool ok = false;
        length = req.headers.value("content-length").toLongLong(&ok);
        if (!ok || length < 0) {
            out.state = ParseState::Bad;
            return out;
        }
        if (length > kMaxBodyBytes) {
            out.state = ParseState::TooLarge;
            return out;
        }
    }
    const qsizetype bodyStart = headEnd + 4;
    if (buffer.size() - bodyStart < length)
        return out; // Incomplete
    req.body = buffer.mid(bodyStart, length);
    out.consumed = bodyStart + length;
    out.state = ParseState::Done;
    return out;
}

QByteArray serialise(const Response &r, bool keepAlive)
{
    QByteArray out = "HTTP/1.1 " + QByteArray::number(r.status) + ' ' + reasonPhrase(r.status) + "\r\n";
    out += "Content-Type: " + r.contentType + "\r\n";
    out += "Content-Length: " + QByteArray::number(r.body.size()) + "\r\n";
    out += "Cache-Control: no-store\r\n";
    for (const auto &[name, value] : r.headers)
        out += name + ": " + value + "\r\n";
    if (!keepAlive)
        out += "Connection: close\r\n";
    out += "\r\n";
    out += r.body;
    return out;
}

HttpServer::HttpServer(Handler handler, QObject *parent)
    : QObject(parent)
    , m_handler(std::move(handler))
{}

HttpServer::~HttpServer() = default;

QString HttpServer::listen(const QHostAddress &address, quint16 port, const QSslConfiguration *tls)
{
    if (m_server) {
        // Listening again after close(): the same server, as a unit switched back on.
        if (auto *ssl = qobject_cast<QSslServer *>(m_server); ssl && tls)
            ssl->setSslConfiguration(*tls);
        return m_server->listen(address, port) ? QString() : m_server->errorString();
    }
    if (tls) {
        auto *ssl = new QSslServer(this);
        ssl->setSslConfiguration(*tls);
        m_server = ssl;
        // A client that gives up on the handshake (an untrusted certificate) is no error here.
        connect(ssl, &QSslServer::pendingConnectionAvailable, this, [this] {
            while (m_server->hasPendingConnections())
                adopt(m_server->nextPendingConnection());
        });
    } else {
        m_server = new QTcpServer(this);
        connect(m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
            while (m_server->hasPendingConnections())
                adopt(m_server->nextPendingConnection());
        });
    }
    if (!m_server->listen(address, port))
        return m_server->errorString();
    return {};
}

quint16 HttpServer::port() const
{
    return m_server ? m_server->serverPort() : 0;
}

void HttpServer::setTls(const QSslConfiguration &tls)
{
    if (auto *ssl = qobject_cast<QSslServer *>(m_server))
        ssl->setSslConfiguration(tls);
}

void HttpServer::close()
{
    if (m_server)
        m_server->close();
    dropConnections();
}

void HttpServer::dropConnections()
{
    const QList<QTcpSocket *> sockets = m_buffers.keys();
    for (QTcpSocket *socket : sockets) {
        m_buffers.remove(socket);
        m_held.remove(socket);
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
}

void HttpServer::adopt(QTcpSocket *socket)
{
    if (!socket)
        return;
    m_buffers.insert(socket, {});
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
    connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
        m_buffers.remove(socket);
        m_held.remove(socket);
        socket->deleteLater();
    });
    if (socket->bytesAvailable() > 0)
        serve(socket);
}

void HttpServer::serve(QTcpSocket *socket)
{
    if (!m_buffers.contains(socket))
        return;
    QByteArray &buffer = m_buffers[socket];
    buffer += socket->readAll();
    while (!m_held.contains(socket)) {
        const ParseResult parsed = parseRequest(buffer);
        if (parsed.state == ParseState::Incomplete)
            return;
        if (parsed.state != ParseState::Done) {
            const Response r = parsed.state == ParseState::TooLarge ? Response::error(413, u"request too large"_s)
                                                                    : Response::error(400, u"malformed request"_s);
            socket->write(serialise(r, false));
            socket->disconnectFromHost();
            buffer.clear();
            return;
        }
        buffer.remove(0, parsed.consumed);
        const bool keepAlive = parsed.request.header("connection").toLower() != "close";
        const Response response = m_handler(parsed.request);
        if (response.delayMs != 0) {
            // A late (or never) answer holds the connection; requests behind it wait their turn.
            m_held.insert(socket);
            if (response.delayMs > 0) {
                QPointer<QTcpSocket> guard(socket);
                QTimer::singleShot(response.delayMs, this, [this, guard, response, keepAlive] {
                    if (!guard || !m_held.remove(guard))
                        return;
                    guard->write(serialise(response, keepAlive));
                    if (!keepAlive)
                        guard->disconnectFromHost();
                    else
                        serve(guard);
                });
            }
            return;
        }
        socket->write(serialise(response, keepAlive));
        if (!keepAlive) {
            socket->disconnectFromHost();
            return;
        }
    }
}

} // namespace sim
