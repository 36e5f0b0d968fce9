#include "connections/discovery/ssdp_network.h"

#include "connections/discovery/ssdp_text.h"
#include "entries/log.h"

#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QPointer>
#include <QUdpSocket>

#include <algorithm>
#include <vector>

namespace CommonNOX::Connections
{

namespace
{

/// How much is read before everything else in the thread has its turn.
constexpr int DatagramsATurn = 128;
constexpr int ReceiveBufferSize = 1024 * 1024;
/// Far enough for a router in between, no further.
constexpr int TimeToLive = 2;

/// Sockets may be closed by who hears their message, so they are deleted later, at the latest with their owner.
struct CloseLater
{
    void operator()(QUdpSocket *socket) const
    {
        socket->disconnect();
        socket->close();
        socket->deleteLater();
    }
};
using SocketPtr = std::unique_ptr<QUdpSocket, CloseLater>;

struct Outlet
{
    SsdpInterface interface;
    SocketPtr socket;
    bool isFailing = false;
};

} // namespace

struct SsdpNetwork::Private
{
    explicit Private(SsdpNetwork &network) : owner(network) {}

    SocketPtr makeSocket();
    void openGroup();
    void join(const SsdpInterface &interface);
    void leave(const SsdpInterface &interface);
    bool open(const SsdpInterface &interface);
    Outlet *findOutlet(const SsdpInterface &interface);
    void receive(QUdpSocket *socket);
    void handle(const QByteArray &bytes, const QHostAddress &sender, int port, const QHostAddress &destination);

    SsdpNetwork &owner;
    SsdpInterfaceSelection selection;
    std::vector<Outlet> outlets;
    QVector<SsdpInterface> interfaces;
    QVector<SsdpInterface> failed; // told already
    SocketPtr group;
    bool isGroupFailing = false;
    bool isGarbageNoted = false; // once a refresh, however much of it comes
};

SocketPtr SsdpNetwork::Private::makeSocket()
{
    SocketPtr socket(new QUdpSocket(&owner));
    QUdpSocket *plain = socket.get();
    connect(plain, &QUdpSocket::readyRead, &owner, [this, plain] { receive(plain); });
    return socket;
}

void SsdpNetwork::Private::openGroup()
{
    SocketPtr socket = makeSocket();
    if (socket->bind(QHostAddress::AnyIPv4, Ssdp::Port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
        socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, ReceiveBufferSize);
        group = std::move(socket);
        for (const SsdpInterface &interface : qAsConst(interfaces))
            join(interface);
    } else if (!isGroupFailing) {
        qCWarning(libraryLog, "Discovery cannot listen on port %d: %s", int(Ssdp::Port),
                  qUtf8Printable(socket->errorString()));
    }
    isGroupFailing = !group;
}

void SsdpNetwork::Private::join(const SsdpInterface &interface)
{
    if (group &&
        !group->joinMulticastGroup(QHostAddress(Ssdp::Group), QNetworkInterface::interfaceFromIndex(interface.index)))
        qCWarning(libraryLog, "Discovery cannot join its group on %s: %s", qUtf8Printable(interface.name),
                  qUtf8Printable(group->errorString()));
}

void SsdpNetwork::Private::leave(const SsdpInterface &interface)
{
    const auto system = QNetworkInterface::interfaceFromIndex(interface.index);
    if (group && system.isValid())
        group->leaveMulticastGroup(QHostAddress(Ssdp::Group), system);
}

bool SsdpNetwork::Private::open(const SsdpInterface &interface)
{
    SocketPtr socket = makeSocket();
    if (!socket->bind(interface.getAddress(), 0)) {
        if (!failed.contains(interface))
            qCWarning(libraryLog, "Discovery cannot use %s: %s", qUtf8Printable(interface.name),
                      qUtf8Printable(socket->errorString()));
        return false;
    }
    socket->setMulticastInterface(QNetworkInterface::interfaceFromIndex(interface.index));
    socket->setSocketOption(QAbstractSocket::MulticastTtlOption, TimeToLive);
    // Programs on this machine are heard too.
    socket->setSocketOption(QAbstractSocket::MulticastLoopbackOption, 1);
    socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, ReceiveBufferSize);
    outlets.push_back({interface, std::move(socket)});
    join(interface);
    return true;
}

Outlet *SsdpNetwork::Private::findOutlet(const SsdpInterface &interface)
{
    const auto found = std::find_if(outlets.begin(), outlets.end(),
                                    [&](const Outlet &outlet) { return outlet.interface == interface; });
    return found == outlets.end() ? nullptr : &*found;
}

void SsdpNetwork::Private::receive(QUdpSocket *socket)
{
    const QPointer<QUdpSocket> guard(socket);
    for (int count = 0; count < DatagramsATurn; ++count) {
        // Also when nothing is pending: a socket whose notification led to no reading is never notified again.
        const QNetworkDatagram datagram = socket->receiveDatagram(Ssdp::MaximumDatagramSize + 1);
        if (datagram.senderAddress().isNull())
            return;
        handle(datagram.data(), datagram.senderAddress(), datagram.senderPort(), datagram.destinationAddress());
        if (!guard || socket->state() != QAbstractSocket::BoundState || !socket->hasPendingDatagrams())
            return;
    }
    QMetaObject::invokeMethod(
        socket,
        [this, socket] {
            if (socket->state() == QAbstractSocket::BoundState)
                receive(socket);
        },
        Qt::QueuedConnection);
}

void SsdpNetwork::Private::handle(const QByteArray &bytes, const QHostAddress &sender, int port,
                                  const QHostAddress &destination)
{
    const SsdpInterface *interface = FindSsdpInterface(interfaces, sender);
    if (!interface || port <= 0)
        return;
    const SsdpParseResult result = ParseSsdpDatagram(bytes);
    if (result.message.getKind() == SsdpMessage::Kind::None) {
        if (!isGarbageNoted)
            qCInfo(libraryLog, "Discovery drops a datagram from %s: %s", qUtf8Printable(sender.toString()),
                   qUtf8Printable(result.error));
        isGarbageNoted = true;
        return;
    }
    emit owner.messageReceived(result.message, {sender, quint16(port), destination.isMulticast(), *interface});
}

SsdpNetwork::SsdpNetwork(const SsdpInterfaceSelection &selection, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(*this))
{
    d->selection = selection;
}

SsdpNetwork::~SsdpNetwork()
{
    close();
}

QVector<SsdpInterface> SsdpNetwork::refresh()
{
    const QVector<SsdpInterface> present = SelectSsdpInterfaces(ListSsdpInterfaces(), d->selection);
    const auto isGone = [&](const Outlet &outlet) { return !present.contains(outlet.interface); };
    for (const Outlet &outlet : d->outlets) {
        if (isGone(outlet))
            d->leave(outlet.interface);
    }
    d->outlets.erase(std::remove_if(d->outlets.begin(), d->outlets.end(), isGone), d->outlets.end());
    d->interfaces = getInterfaces();
    d->isGarbageNoted = false;
    if (!d->group && !present.isEmpty())
        d->openGroup();

    QVector<SsdpInterface> opened, failed;
    for (const SsdpInterface &interface : present) {
        if (!d->findOutlet(interface))
            (d->open(interface) ? opened : failed).append(interface);
    }
    d->failed = failed;
    d->interfaces = getInterfaces();
    return opened;
}

void SsdpNetwork::close()
{
    d->outlets.clear();
    d->interfaces.clear();
    d->failed.clear();
    d->group.reset();
}

QVector<SsdpInterface> SsdpNetwork::getInterfaces() const
{
    QVector<SsdpInterface> interfaces;
    for (const Outlet &outlet : d->outlets)
        interfaces.append(outlet.interface);
    return interfaces;
}

bool SsdpNetwork::multicast(const SsdpInterface &outlet, const QByteArray &datagram)
{
    return send(outlet, QHostAddress(Ssdp::Group), Ssdp::Port, datagram);
}

bool SsdpNetwork::send(const SsdpInterface &outlet, const QHostAddress &address, quint16 port,
                       const QByteArray &datagram)
{
    Outlet *open = d->findOutlet(outlet);
    if (!open)
        return false;
    const bool isSent = open->socket->writeDatagram(datagram, address, port) == datagram.size();
    if (!isSent && !open->isFailing)
        qCWarning(libraryLog, "Discovery cannot send on %s: %s", qUtf8Printable(outlet.name),
                  qUtf8Printable(open->socket->errorString()));
    open->isFailing = !isSent;
    return isSent;
}

} // namespace CommonNOX::Connections
