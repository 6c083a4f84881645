// phone-flood: hostile clients against the phone page, from a process of their own so that the
// server's event loop is measured alone. Lanes of connections send random bytes, huge headers,
// hundreds of cookies, guessed tokens and passwords, broken lengths and mutated requests, one
// request per connection, while a few slow clients trickle one byte a second. It stops by itself.
//
//   phone-flood HOST PORT SECONDS [LANES] [SEED]
//
// Prints one line "requests N ok200 N unauthorised N closed N timedout N other N slowanswered N"
// and exits 0; an answer that is not a complete 401 counts as "other".

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QTimer>

#include <cstdio>

namespace {

struct Counts
{
    qint64 requests = 0, ok200 = 0, unauthorised = 0, closed = 0, timedOut = 0, other = 0, slowAnswered = 0;
};

class Flood final : public QObject
{
public:
    Flood(QString host, quint16 port, int lanes, quint32 seed)
        : m_host(std::move(host))
        , m_port(port)
        , m_rng(seed)
    {
        for (int i = 0; i < lanes; ++i)
            next();
        for (int i = 0; i < 4; ++i)
            slowClient();
    }

    // Sockets still open would report their end to a half-destroyed flood: silence them first.
    ~Flood() override
    {
        for (QTcpSocket *s : findChildren<QTcpSocket *>())
            s->disconnect();
    }

    void stop()
    {
        m_stopping = true;
        for (QTcpSocket *s : std::as_const(m_slow)) {
            if (s->bytesAvailable() > 0 || !s->property("got").toByteArray().isEmpty())
                ++counts.slowAnswered;
            s->abort();
        }
    }

    Counts counts;

private:
    QByteArray randomBytes(int n)
    {
        QByteArray b(n, Qt::Uninitialized);
        for (char &c : b)
            c = char(m_rng.bounded(256));
        return b;
    }

    QByteArray hex(int n)
    {
        QByteArray b;
        for (int i = 0; i < n; ++i)
            b += "0123456789abcdef"[m_rng.bounded(16)];
        return b;
    }

    QByteArray request()
    {
        switch (m_rng.bounded(8)) {
        case 0: // random bytes, half of them ended like headers
            return randomBytes(int(m_rng.bounded(2000))) + (m_rng.bounded(2) ? "\r\n\r\n" : "");
        case 1: // headers far over the limit that never end
            return "GET / HTTP/1.1\r\nX-Fill: " + QByteArray(16385 + int(m_rng.bounded(200000)), 'f');
        case 2: { // hundreds of cookies, guessed tokens among them
            QByteArray r = "GET / HTTP/1.1\r\n";
            for (int i = int(m_rng.bounded(400)); i >= 0; --i)
                r += "Cookie: sc=" + hex(64) + "; a=" + hex(8) + "\r\n";
            return r + "cookie: " + QByteArray(3000, ';') + "sc=\r\n\r\n";
        }
        case 3: { // guessed passwords, some with form characters
            const QByteArray body = "p=" + randomBytes(int(m_rng.bounded(40))).toPercentEncoding() + "&p=%zz+&=";
            return "POST / HTTP/1.1\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
        }
        case 4: { // lengths that lie
            const char *lengths[] = {"-1", "0", "99999999999999999999", "abc", "3", "1048576"};
            return "POST / HTTP/1.1\r\nContent-Length: " + QByteArray(lengths[m_rng.bounded(6)]) + "\r\n\r\np=x";
        }
        case 5: // a token of the wrong length, and an empty one
            return "GET / HTTP/1.1\r\nCookie: sc=" + hex(int(m_rng.bounded(80))) + ";sc=\r\n\r\n";
        case 6: { // a request with random bytes dropped into it
            QByteArray r =
                "POST /x HTTP/1.1\r\nHost: pc\r\nCookie: sc=" + hex(64) + "\r\nContent-Length: 6\r\n\r\np=abcd";
            for (int i = int(m_rng.bounded(5)); i >= 0; --i)
                r.insert(int(m_rng.bounded(int(r.size()))), randomBytes(int(m_rng.bounded(6))));
            return r;
        }
        default: // an ordinary visit without a cookie
            return "GET / HTTP/1.1\r\nHost: pc\r\n\r\n";
        }
    }

    void next()
    {
        if (m_stopping)
            return;
        auto *socket = new QTcpSocket(this);
        auto *got = new QByteArray;
        auto *timeout = new QTimer(socket);
        timeout->setSingleShot(true);
        ++counts.requests;
        const QByteArray payload = request();
        connect(socket, &QTcpSocket::connected, socket, [socket, payload, timeout] {
            socket->write(payload);
            timeout->start(800); // a request the server waits on is given up by the client
        });
        connect(socket, &QTcpSocket::readyRead, socket, [socket, got] { *got += socket->readAll(); });
        auto finish = [this, socket, got, timeout](bool timedOut) {
            if (socket->property("done").toBool())
                return;
            socket->setProperty("done", true);
            if (socket->isOpen())
                *got += socket->readAll();
            if (timedOut && got->isEmpty())
                ++counts.timedOut;
            else if (got->isEmpty())
                ++counts.closed;
            else if (isComplete401(*got))
                ++counts.unauthorised;
            else if (got->startsWith("HTTP/1.1 200"))
                ++counts.ok200;
            else
                ++counts.other;
            timeout->stop();
            delete got;
            socket->abort();
            socket->deleteLater();
            QTimer::singleShot(0, this, [this] { next(); });
        };
        connect(timeout, &QTimer::timeout, socket, [finish] { finish(true); });
        connect(socket, &QTcpSocket::disconnected, socket, [finish] { finish(false); });
        connect(socket, &QTcpSocket::errorOccurred, socket, [finish] { finish(false); });
        socket->connectToHost(m_host, m_port);
    }

    static bool isComplete401(const QByteArray &got)
    {
        const qsizetype head = got.indexOf("\r\n\r\n");
        return got.startsWith("HTTP/1.1 401 Unauthorized\r\n") && head > 0 &&
               got.contains(QByteArray("\r\nContent-Length: " + QByteArray::number(got.size() - head - 4) + "\r\n"));
    }

    void slowClient()
    {
        auto *socket = new QTcpSocket(this);
        m_slow << socket;
        const QByteArray payload = "GET / HTTP/1.1\r\nHost: pc\r\nCookie: sc=" + hex(64) + "\r\n\r\n";
        auto *tick = new QTimer(socket);
        connect(tick, &QTimer::timeout, socket, [socket, payload, tick] {
            const int sent = socket->property("sent").toInt();
            if (sent >= payload.size() || socket->state() != QAbstractSocket::ConnectedState)
                return tick->stop();
            socket->write(payload.mid(sent, 1));
            socket->setProperty("sent", sent + 1);
        });
        connect(socket, &QTcpSocket::readyRead, socket, [socket] {
            socket->setProperty("got", QByteArray(socket->property("got").toByteArray() + socket->readAll()));
        });
        connect(socket, &QTcpSocket::connected, tick, [tick] { tick->start(1000); });
        socket->connectToHost(m_host, m_port);
    }

    QString m_host;
    quint16 m_port;
    QRandomGenerator m_rng;
    QList<QTcpSocket *> m_slow;
    bool m_stopping = false;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: phone-flood HOST PORT SECONDS [LANES] [SEED]\n");
        return 2;
    }
    Flood flood(args[1], quint16(args[2].toUInt()), args.value(4, QStringLiteral("32")).toInt(),
                args.value(5, QStringLiteral("18")).toUInt());
    QTimer::singleShot(int(args[3].toDouble() * 1000), &app, [&] {
        flood.stop();
        QTimer::singleShot(100, &app, &QCoreApplication::quit);
    });
    app.exec();
    const Counts &c = flood.counts;
    std::printf("requests %lld ok200 %lld unauthorised %lld closed %lld timedout %lld other %lld slowanswered %lld\n",
                c.requests, c.ok200, c.unauthorised, c.closed, c.timedOut, c.other, c.slowAnswered);
    std::fflush(stdout);
    return 0;
}
