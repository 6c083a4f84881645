#pragma once
// Answers discovery probes for every simulated unit: one listening socket on the wildcard address
// hears the broadcast (a socket bound to a unit's own address would not), and each unit answers
// from a socket bound to its own address so that the client sees the right sender.

#include <QHostAddress>
#include <QList>
#include <QObject>

class QUdpSocket;

namespace sim {

class Unit;

inline constexpr char kProbe[] = "KESTRO_SHUTTLE_DISCOVER_V1";

class Responder final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Responder)
public:
    explicit Responder(QObject *parent = nullptr);

    // Binds the listener and one answering socket per unit; empty on success, else why not.
    QString start(const QList<Unit *> &units, quint16 port);

    int answered() const { return m_answered; }

private:
    void readProbes();

    QUdpSocket *m_listener = nullptr;
    QList<std::pair<Unit *, QUdpSocket *>> m_units;
    int m_answered = 0;
};

} // namespace sim
