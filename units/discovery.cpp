#include "units/discovery.h"

#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QUdpSocket>

#include <algorithm>
#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace units {

namespace {

bool hostnameChar(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') || u == u'.' || u == u'_' ||
           u == u'-';
}

// The announced API port: 8090 unless a number in 1..65535.
int answerPort(const QJsonObject &answer)
{
    const QJsonValue v = answer.value("port"_L1);
    if (!v.isDouble())
        return 8090;
    const double d = v.toDouble();
    return (d >= 1 && d <= 65535) ? int(d) : 8090;
}

} // namespace

Discovery::Discovery(QObject *parent)
    : QObject(parent)
{}

QList<QHostAddress> Discovery::probeTargets()
{
    QList<QHostAddress> targets;
    const auto interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &iface : interfaces) {
        const auto flags = iface.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp) || !flags.testFlag(QNetworkInterface::IsRunning) ||
            flags.testFlag(QNetworkInterface::IsLoopBack))
            continue;
        const auto entries = iface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().protocol() != QAbstractSocket::IPv4Protocol)
                continue;
            const QHostAddress broadcast = entry.broadcast();
            if (broadcast.isNull() || targets.contains(broadcast))
                continue;
            targets << broadcast;
        }
    }
    // The limited broadcast always goes last, even when it was already listed.
    targets << QHostAddress(QHostAddress::Broadcast);
    return targets;
}

bool Discovery::validAnswer(const QJsonObject &answer)
{
    if (answer.value("app"_L1).toString() != QLatin1StringView(kAnswerApp))
        return false;
    const QString host = answer.value("hostname"_L1).toString();
    if (host.isEmpty() || host.size() > 63)
        return false;
    return std::all_of(host.cbegin(), host.cend(), hostnameChar);
}

QString Discovery::identity(const QString &sender, const QJsonObject &answer)
{
    const QJsonValue id = answer.value("unit_id"_L1);
    if (id.isString() && !id.toString().isEmpty())
        return id.toString();
    return unitKey(sender, answer.value("port"_L1).toInt(0));
}

QString Discovery::senderText(const QHostAddress &address)
{
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    return isV4 ? QHostAddress(v4).toString() : address.toString();
}

void Discovery::sendProbes(QUdpSocket *socket)
{
    const QByteArray probe(kProbe);
    const QList<QHostAddress> targets = probeTargets();
    for (int pass = 0; pass < 2; ++pass) {
        for (const QHostAddress &target : targets)
            socket->writeDatagram(probe, target, kDiscoveryPort); // a failed send is just a missed target
    }
}

void Discovery::sweep(bool longSweep)
{
    auto *socket = new QUdpSocket(this);
    if (!socket->bind(QHostAddress::AnyIPv4, 0, QUdpSocket::ShareAddress)) {
        delete socket;
        // A sweep that cannot listen ends empty after its usual time, never at once: the window
        // answers an empty sweep with another, so while binding keeps failing an immediate answer
        // would recurse (from in here) or spin the event loop (queued).
        QTimer::singleShot(longSweep ? kLongSweepMs : kShortSweepMs, this, [this] { emit swept({}); });
        return;
    }

    auto found = std::make_shared<Found>();
    auto identities = std::make_shared<QSet<QString>>();
    connect(socket, &QUdpSocket::readyRead, socket, [this, socket, found, identities] {
        while (socket->hasPendingDatagrams()) {
            const QNetworkDatagram datagram = socket->receiveDatagram();
            if (!datagram.isValid())
                break;
            const QJsonObject answer = QJsonDocument::fromJson(datagram.data()).object();
            if (!validAnswer(answer))
                continue;
            const QString sender = senderText(datagram.senderAddress());
            const QString id = identity(sender, answer);
            if (identities->contains(id))
                continue; // the first answer of a unit in a sweep wins
            identities->insert(id);
            found->append({sender, answer});
            emit replied(int(found->size()));
        }
    });

    sendProbes(socket);
    QTimer *repeat = nullptr;
    if (longSweep) {
        repeat = new QTimer(socket);
        connect(repeat, &QTimer::timeout, socket, [socket] { sendProbes(socket); });
        repeat->start(kProbeRepeatMs);
    }

    QTimer::singleShot(longSweep ? kLongSweepMs : kShortSweepMs, socket, [this, socket, found, repeat] {
        // Nothing more is read or sent once the result is out, even if a slot runs a nested event
        // loop: the socket goes later, and a write on a closed socket would bind it again.
        if (repeat)
            repeat->stop();
        socket->disconnect(socket);
        socket->close();
        QPointer<QUdpSocket> guard(socket);
        emit swept(*found);
        if (guard)
            guard->deleteLater();
    });
}

void mergeSweep(QList<Unit> &units, const Discovery::Found &found)
{
    for (Unit &u : units)
        u.state = QJsonObject();

    for (const auto &[host, answer] : found) {
        const QString id = answer.value("unit_id"_L1).toString();
        const int port = answerPort(answer);

        qsizetype at = -1;
        if (!id.isEmpty()) {
            for (qsizetype i = 0; i < units.size() && at < 0; ++i) {
                if (units.at(i).unit_id == id)
                    at = i;
            }
        }
        for (qsizetype i = 0; i < units.size() && at < 0; ++i) {
            if (units.at(i).ip == host && units.at(i).port == port)
                at = i;
        }
        if (at < 0) {
            units.append(Unit{});
            at = units.size() - 1;
        }

        Unit &u = units[at];
        u.ip = host;
        u.port = port;
        u.unit_id = id;
        if (const QString name = answer.value("hostname"_L1).toString(); !name.isEmpty())
            u.name = name;
        if (const QString type = answer.value("product"_L1).toString(); !type.isEmpty())
            u.type = type;
        const QJsonValue tls = answer.value("tls"_L1);
        u.tls = tls.isBool() ? tls.toBool() : true;
        u.misses = 0;
        u.state = answer;

        recordCommissioned(answer);
    }

    for (qsizetype i = units.size() - 1; i >= 0; --i) {
        Unit &u = units[i];
        if (u.online())
            continue;
        if (u.misses < std::numeric_limits<qint32>::max())
            ++u.misses;
        if (!u.manual && u.misses > kMaxMisses)
            units.removeAt(i);
    }
}

} // namespace units
