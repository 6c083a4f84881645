#include "sim/discovery.h"

#include "sim/unit.h"

#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QUdpSocket>

using namespace Qt::StringLiterals;

namespace sim {

Responder::Responder(QObject *parent)
    : QObject(parent)
{}

QString Responder::start(const QList<Unit *> &units, quint16 port)
{
    m_listener = new QUdpSocket(this);
    if (!m_listener->bind(QHostAddress::AnyIPv4, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint))
        return u"cannot listen for discovery on UDP port %1: %2"_s.arg(port).arg(m_listener->errorString());
    for (Unit *unit : units) {
        auto *socket = new QUdpSocket(this);
        const QHostAddress address(unit->config().info.address);
        if (!socket->bind(address, 0))
            return u"cannot answer discovery from %1: %2"_s.arg(address.toString(), socket->errorString());
        m_units.append({unit, socket});
    }
    connect(m_listener, &QUdpSocket::readyRead, this, &Responder::readProbes);
    return {};
}

void Responder::readProbes()
{
    while (m_listener->hasPendingDatagrams()) {
        const QNetworkDatagram probe = m_listener->receiveDatagram();
        if (probe.data() != QByteArray(kProbe))
            continue; // anything but the exact probe goes unanswered
        // A probe sent straight to one unit's address is answered by that unit only; a broadcast
        // (or a probe to any other address) by all of them.
        const QHostAddress to = probe.destinationAddress();
        bool direct = false;
        for (const auto &[unit, socket] : std::as_const(m_units))
            direct = direct || QHostAddress(unit->config().info.address).isEqual(to, QHostAddress::TolerantConversion);
        for (const auto &[unit, socket] : std::as_const(m_units)) {
            if (direct && !QHostAddress(unit->config().info.address).isEqual(to, QHostAddress::TolerantConversion))
                continue;
            const QByteArray answer = QJsonDocument(unit->discoveryAnswer()).toJson(QJsonDocument::Compact);
            socket->writeDatagram(answer, probe.senderAddress(), quint16(probe.senderPort()));
            ++m_answered;
        }
    }
}

} // namespace sim
