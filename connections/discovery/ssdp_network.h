#pragma once

#include "connections/discovery/ssdp_interface.h"
#include "connections/discovery/ssdp_message.h"
#include "nox_export.h"

#include <QObject>

#include <memory>

namespace CommonNOX::Connections
{

/// Where a message came from.
struct SsdpSource
{
    QHostAddress address;
    quint16 port = 0;
    bool isMulticast = false;
    SsdpInterface interface; ///< whose subnet the address is in
};

/// The sockets of discovery: one an interface, from which messages leave and where answers to them arrive, and one
/// that hears the multicast group on port 1900, which it shares with other programs.
///
/// Whatever comes from outside the subnets of the interfaces that take part is dropped, so nothing is sent there
/// either. A burst is read in portions, so that answers and timers have their turn. Lives in the thread that made it,
/// which needs an event loop. Failures are one log line each, told again only after it worked in between.
class NOX_EXPORT SsdpNetwork : public QObject
{
    Q_OBJECT
public:
    explicit SsdpNetwork(const SsdpInterfaceSelection &selection, QObject *parent = nullptr);
    ~SsdpNetwork() override;

    /// Opens the sockets, or looks at the interfaces anew: those that vanished or changed are closed, new ones
    /// opened. Gives the interfaces that are new.
    QVector<SsdpInterface> refresh();
    void close();
    /// Those that take part now.
    QVector<SsdpInterface> getInterfaces() const;

    /// To the group, out on one interface; false when it could not be sent.
    bool multicast(const SsdpInterface &outlet, const QByteArray &datagram);
    bool send(const SsdpInterface &outlet, const QHostAddress &address, quint16 port, const QByteArray &datagram);

signals:
    void messageReceived(const CommonNOX::Connections::SsdpMessage &message,
                         const CommonNOX::Connections::SsdpSource &source);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Connections

Q_DECLARE_METATYPE(CommonNOX::Connections::SsdpSource)
