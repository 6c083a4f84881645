#pragma once
// The phone status server: a view-only web page on "phonePort" that shows phones on the site
// network the progress of every known unit, behind the phone password and a session cookie.
// It lives on the interface thread; each connection is one request, one answer, then closed.

#include "units/store.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QTcpServer>

class QTcpSocket;

namespace phone {

inline constexpr auto kEnabledKey = "phoneEnabled";
inline constexpr auto kPortKey = "phonePort";
inline constexpr auto kPasswordKey = "phonePassword";
inline constexpr quint16 kDefaultPort = 8095;

class Phone final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Phone)

public:
    explicit Phone(QObject *parent = nullptr);

    // (Re)starts on `port` of every address with a fresh session token, which signs every phone
    // out. Port 0 lets the system pick one. False when the port cannot be listened on.
    bool start(quint16 port, const QString &password);
    void stop();
    bool isListening() const { return m_server.isListening(); }
    // The listening port (the one picked for port 0).
    quint16 port() const { return m_port; }

    // The list the page shows, replaced whole.
    void setUnits(const QList<units::Unit> &list);

    // "http://ADDRESS:PORT" with this computer's first non-loopback IPv4 address.
    QString url() const;

private:
    void acceptAll();
    void read(QTcpSocket *socket);
    void drop(QTcpSocket *socket);

    QTcpServer m_server;
    QString m_token; // 64 lowercase hex digits; empty while stopped
    QString m_password;
    quint16 m_port = 0;
    QList<units::Unit> m_units;
    QByteArray m_page; // the status page for m_units, made when first asked for
    QHash<QTcpSocket *, QByteArray> m_received;
};

// A new session token: SHA-256 of two 64-bit values from the system's cryptographic random
// source written in decimal one after the other, as lowercase hex.
QString newToken();

} // namespace phone
