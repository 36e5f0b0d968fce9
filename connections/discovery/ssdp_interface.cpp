#include "connections/discovery/ssdp_interface.h"

#include <QNetworkInterface>

#include <algorithm>

namespace CommonNOX::Connections
{

namespace
{

bool isSelected(const SsdpInterface &candidate, const SsdpInterfaceSelection &selection)
{
    if (!candidate.isUp || candidate.getAddress().isNull())
        return false;
    if (!selection.name.isEmpty())
        return candidate.name == selection.name || candidate.humanReadableName == selection.name;
    return (selection.withLoopback || !candidate.isLoopback) &&
           !candidate.humanReadableName.contains(QLatin1String("VirtualBox"));
}

} // namespace

QHostAddress SsdpInterface::getAddress() const
{
    const auto found = std::find_if(addresses.begin(), addresses.end(), [](const QNetworkAddressEntry &entry) {
        return entry.ip().protocol() == QAbstractSocket::IPv4Protocol;
    });
    return found == addresses.end() ? QHostAddress() : found->ip();
}

QVector<SsdpInterface> ListSsdpInterfaces()
{
    QVector<SsdpInterface> interfaces;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &one : all) {
        const auto flags = one.flags();
        interfaces.append({one.index(), one.name(), one.humanReadableName(),
                           flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning),
                           flags.testFlag(QNetworkInterface::IsLoopBack), one.addressEntries().toVector()});
    }
    return interfaces;
}

QVector<SsdpInterface> SelectSsdpInterfaces(const QVector<SsdpInterface> &interfaces,
                                            const SsdpInterfaceSelection &selection)
{
    QVector<SsdpInterface> selected;
    std::copy_if(interfaces.begin(), interfaces.end(), std::back_inserter(selected),
                 [&](const SsdpInterface &candidate) { return isSelected(candidate, selection); });
    return selected;
}

const SsdpInterface *FindSsdpInterface(const QVector<SsdpInterface> &interfaces, const QHostAddress &sender)
{
    const auto found = std::find_if(interfaces.begin(), interfaces.end(), [&](const SsdpInterface &candidate) {
        return std::any_of(candidate.addresses.begin(), candidate.addresses.end(), [&](const auto &entry) {
            // An entry whose length is not known would take everybody in.
            return entry.prefixLength() >= 0 && sender.isInSubnet(entry.ip(), entry.prefixLength());
        });
    });
    return found == interfaces.end() ? nullptr : &*found;
}

} // namespace CommonNOX::Connections
