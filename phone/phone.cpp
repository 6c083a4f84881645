#include "phone/phone.h"

#include "app/base/logging.h"
#include "phone/pages.h"
#include "phone/request.h"

#include <QCryptographicHash>
#include <QNetworkInterface>
#include <QRandomGenerator>
#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace phone {

QString newToken()
{
    QRandomGenerator *random = QRandomGenerator::system();
    const quint64 a = random->generate64();
    const quint64 b = random->generate64();
    const QByteArray seed = QByteArray::number(a) + QByteArray::number(b);
    return QString::fromLatin1(QCryptographicHash::hash(seed, QCryptographicHash::Sha256).toHex());
}

Phone::Phone(QObject *parent)
    : QObject(parent)
{
    connect(&m_server, &QTcpServer::pendingConnectionAvailable, this, &Phone::acceptAll);
}

bool Phone::start(quint16 port, const QString &password)
{
    if (m_server.isListening())
        m_server.close();
    m_token.clear();
    m_password = password;
    m_port = port;
    m_token = newToken();
    if (!m_server.listen(QHostAddress::Any, port)) {
        qCDebug(lcPhone) << "cannot listen on port" << port << m_server.errorString();
        m_token.clear();
        return false;
    }
    m_port = m_server.serverPort();
    qCDebug(lcPhone) << "listening on port" << m_port;
    return true;
}

void Phone::stop()
{
    m_server.close();
    m_token.clear();
}

void Phone::setUnits(const QList<units::Unit> &list)
{
    m_units = list;
    m_page.clear();
}

QString Phone::url() const
{
    QString host = u"127.0.0.1"_s;
    const QList<QHostAddress> all = QNetworkInterface::allAddresses();
    for (const QHostAddress &a : all) {
        if (a.protocol() == QAbstractSocket::IPv4Protocol && !a.isLoopback()) {
            host = a.toString();
            break;
        }
    }
    return u"http://%1:%2"_s.arg(host).arg(m_port);
}

void Phone::acceptAll()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this); // outlives a restart of the server; deleted when it disconnects
        m_received.insert(socket, {});
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { drop(socket); });
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        if (socket->bytesAvailable() > 0)
            read(socket);
    }
}

void Phone::read(QTcpSocket *socket)
{
    const auto it = m_received.find(socket);
    if (it == m_received.end()) {
        socket->readAll(); // answered already; whatever else comes is dropped
        return;
    }
    it.value() += socket->readAll();
    const Request request = parseRequest(it.value());
    if (request.next == Request::Next::Wait)
        return;
    m_received.erase(it);
    if (request.next == Request::Next::Close) {
        qCDebug(lcPhone) << "closing a request that is too large";
        socket->abort();
        drop(socket);
        return;
    }
    if (m_page.isEmpty())
        m_page = statusPage(m_units).toUtf8();
    socket->write(respond(request, m_password, m_token, m_page));
    socket->disconnectFromHost();
}

void Phone::drop(QTcpSocket *socket)
{
    m_received.remove(socket);
    socket->deleteLater();
}

} // namespace phone
