#pragma once
// The simulated unit's HTTP/1.1 side: a request parser that works on a byte buffer (so it can be
// tested without sockets), a response value, and a small server over plain TCP or TLS.

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>
#include <QSet>
#include <QSslConfiguration>
#include <QString>
#include <QUrlQuery>
#include <functional>

class QTcpServer;
class QTcpSocket;

namespace sim {

struct Request
{
    QString method; // upper case as sent
    QString path;   // without the query
    QUrlQuery query;
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    QByteArray header(const QByteArray &name) const { return headers.value(name.toLower()); }
    // The body as a JSON object; an empty object when it is not one.
    QJsonObject json() const;
};

struct Response
{
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body;
    QList<std::pair<QByteArray, QByteArray>> headers;
    int delayMs = 0; // the server holds the answer this long; below 0 it never sends it

    static Response json(int status, const QJsonObject &o);
    static Response error(int status, const QString &text);
    static Response text(int status, const QString &text);
};

enum class ParseState { Incomplete, Done, Bad, TooLarge };

struct ParseResult
{
    ParseState state = ParseState::Incomplete;
    Request request;
    qsizetype consumed = 0; // bytes of the buffer that the request took (Done only)
};

// Limits that keep a misbehaving client from growing the buffer without bound.
inline constexpr qsizetype kMaxHeaderBytes = 16 * 1024;
inline constexpr qsizetype kMaxBodyBytes = 4 * 1024 * 1024;

// Parses the first request held in `buffer`. Bodies are taken by Content-Length only.
ParseResult parseRequest(const QByteArray &buffer);

// The bytes of a whole HTTP/1.1 answer; `keepAlive` false adds "Connection: close".
QByteArray serialise(const Response &r, bool keepAlive);

QByteArray reasonPhrase(int status);

using Handler = std::function<Response(const Request &)>;

// Listens on one address and port and answers every request through the handler. With a TLS
// configuration it speaks HTTPS only.
class HttpServer final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HttpServer)
public:
    explicit HttpServer(Handler handler, QObject *parent = nullptr);
    ~HttpServer() override;

    // Empty on success, otherwise why listening failed.
    QString listen(const QHostAddress &address, quint16 port, const QSslConfiguration *tls);
    quint16 port() const;
    void setTls(const QSslConfiguration &tls);
    // Stops listening and drops every connection (a unit switched off); listen() starts again.
    void close();
    // Drops every open connection, so that clients connect (and shake hands) afresh.
    void dropConnections();

private:
    void adopt(QTcpSocket *socket);
    void serve(QTcpSocket *socket);

    Handler m_handler;
    QTcpServer *m_server = nullptr;
    QHash<QTcpSocket *, QByteArray> m_buffers;
    QSet<QTcpSocket *> m_held; // answering late: later requests wait their turn
};

} // namespace sim
