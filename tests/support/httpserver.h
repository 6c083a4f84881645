#pragma once
// A small HTTP/1.1 server on 127.0.0.1 for client tests: canned answers per path (the query is
// ignored), every request recorded, plain or TLS with a certificate that can change mid-test.

#include <QPointer>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QTcpSocket>

#include <memory>

namespace testsupport {

struct Canned
{
    int status = 200;
    QByteArray body = "{}";
    bool silent = false;       // read the request, never answer
    qsizetype stallAfter = -1; // announce the whole body, send this much of it, then go quiet
};

struct Seen
{
    QByteArray method, target, body;
    QHash<QByteArray, QByteArray> headers; // names in lower case
};

class HttpServer final : public QObject
{
public:
    explicit HttpServer(bool tls)
        : m_server(tls ? new QSslServer : new QTcpServer(this))
    {
        m_server->setParent(this);
        connect(m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
            while (m_server->hasPendingConnections())
                serve(m_server->nextPendingConnection());
        });
    }

    bool listen() { return m_server->listen(QHostAddress::LocalHost, 0); }
    quint16 port() const { return m_server->serverPort(); }

    // New connections present this certificate from now on.
    bool useCertificate(const QSslCertificate &cert, const QSslKey &key)
    {
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setLocalCertificate(cert);
        ssl.setPrivateKey(key);
        static_cast<QSslServer *>(m_server)->setSslConfiguration(ssl);
        return !cert.isNull() && !key.isNull();
    }

    // A unit restarting: every open connection goes.
    void dropConnections()
    {
        for (const QPointer<QTcpSocket> &socket : std::as_const(m_open))
            if (socket)
                socket->abort();
        m_open.clear();
    }

    QHash<QByteArray, Canned> routes;
    QList<Seen> seen;
    QByteArray received; // every byte that came in (after TLS), in order

private:
    void serve(QTcpSocket *socket)
    {
        socket->setParent(this);
        m_open << socket;
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            const QByteArray bytes = socket->readAll();
            received += bytes;
            *buffer += bytes;
            while (answerOne(socket, *buffer)) {
            }
        });
    }

    // Answers the first whole request in the buffer; false when there is none or the connection ends.
    bool answerOne(QTcpSocket *socket, QByteArray &buffer)
    {
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return false;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        const QList<QByteArray> first = lines.first().trimmed().split(' ');
        Seen request{first.value(0), first.value(1), {}, {}};
        for (const QByteArray &line : lines.mid(1))
            if (const qsizetype colon = line.indexOf(':'); colon > 0)
                request.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer.size() < end + 4 + length)
            return false;
        request.body = buffer.mid(end + 4, length);
        buffer.remove(0, end + 4 + length);
        seen << request;
        const Canned answer = routes.value(request.target.split('?').first(), {404, R"({"error":"no such path"})"});
        if (answer.silent)
            return true;
        const bool stall = answer.stallAfter >= 0;
        socket->write(
            "HTTP/1.1 " + QByteArray::number(answer.status) +
            " Canned\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(answer.body.size()) +
            "\r\nConnection: close\r\n\r\n" + (stall ? answer.body.left(answer.stallAfter) : answer.body));
        if (stall)
            return false;
        socket->disconnectFromHost();
        return false;
    }

    QTcpServer *m_server;
    QList<QPointer<QTcpSocket>> m_open;
};

} // namespace testsupport
