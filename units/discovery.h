#pragma once
// Finds units on the site network: broadcasts the probe over UDP, collects the JSON answers that
// come back within a sweep, and merges each sweep's answers into the list of known units.

#include "units/store.h"

#include <QHostAddress>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QString>

#include <utility>

class QUdpSocket;

namespace units {

inline constexpr auto kProbe = "KESTRO_SHUTTLE_DISCOVER_V1";
inline constexpr quint16 kDiscoveryPort = 8091;
inline constexpr auto kAnswerApp = "shuttle-commissioning";
inline constexpr int kShortSweepMs = 400;
inline constexpr int kLongSweepMs = 2500;
inline constexpr int kProbeRepeatMs = 400;
// A discovered unit goes after this many silent sweeps in a row; manual units stay.
inline constexpr int kMaxMisses = 30;

class Discovery final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Discovery)

public:
    // (sender address, answer) in order of arrival, one pair per unit identity.
    using Found = QList<std::pair<QString, QJsonObject>>;

    explicit Discovery(QObject *parent = nullptr);

    // Starts one sweep and returns at once; sweeps are independent and may overlap.
    void sweep(bool longSweep);

    // Broadcast address of every IPv4 entry of every running non-loopback interface, in
    // interface order without repeats, then 255.255.255.255.
    static QList<QHostAddress> probeTargets();
    // Whether a datagram's object is an answer from a unit at all.
    static bool validAnswer(const QJsonObject &answer);
    // The unit's identity within one sweep: its "unit_id", else "sender:port" (port 0 when absent).
    static QString identity(const QString &sender, const QJsonObject &answer);
    // IPv4 dotted form for IPv4 and IPv4-mapped IPv6 senders, the address's own text otherwise.
    static QString senderText(const QHostAddress &address);

signals:
    void swept(const units::Discovery::Found &found);
    void replied(int count);

private:
    static void sendProbes(QUdpSocket *socket);
};

// Applies one sweep to the unit list: answering units are found by "unit_id", else by address and
// port, and updated or appended; silent ones count a miss and discovered ones age out.
void mergeSweep(QList<Unit> &units, const Discovery::Found &found);

} // namespace units
