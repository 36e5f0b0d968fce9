#include "connections/discovery/ssdp_location.h"

#include <mutex>

namespace CommonNOX::Connections
{

namespace
{

struct ConnectableSchemes
{
    std::mutex mutex;
    QStringList schemes{QStringLiteral("tcp")};
};

ConnectableSchemes &connectableSchemes()
{
    static ConnectableSchemes instance;
    return instance;
}

bool isUnspecified(const QHostAddress &host)
{
    return host == QHostAddress::AnyIPv4 || host == QHostAddress::AnyIPv6;
}

} // namespace

void SetConnectableSchemes(const QStringList &schemes)
{
    QStringList lowered;
    for (const QString &scheme : schemes)
        lowered.append(scheme.toLower());
    const std::lock_guard guard(connectableSchemes().mutex);
    connectableSchemes().schemes = lowered;
}

QStringList GetConnectableSchemes()
{
    const std::lock_guard guard(connectableSchemes().mutex);
    return connectableSchemes().schemes;
}

QUrl ReadSsdpLocation(const QString &text, const QHostAddress &sender, bool acceptForeignHost)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty())
        return {};
    if (url.scheme() != QLatin1String("http") && !GetConnectableSchemes().contains(url.scheme()))
        return {};
    if (acceptForeignHost || sender.isEqual(QHostAddress(url.host()), QHostAddress::ConvertV4MappedToIPv4))
        return url;
    return {};
}

QUrl MakeSsdpLocation(const QUrl &location, const SsdpInterface &outlet)
{
    const QHostAddress host(location.host());
    if (isUnspecified(host)) {
        QUrl filled = location;
        filled.setHost(outlet.getAddress().toString());
        return filled;
    }
    const bool isLocal = host.isLoopback() || location.host() == QLatin1String("localhost");
    return isLocal && !outlet.isLoopback ? QUrl() : location;
}

} // namespace CommonNOX::Connections
