#pragma once

#include <QLatin1String>

#include <string_view>

/// Words of the discovery protocol, its group and its bounds. A contract with every other stack on the network.
namespace CommonNOX::Connections::Ssdp
{

/// A longer datagram is dropped whole; nothing sensible comes near it.
inline constexpr int MaximumDatagramSize = 8 * 1024;
/// Further headers of a datagram are ignored.
inline constexpr int MaximumHeaderCount = 64;
/// More seconds than anybody waits for an answer (MX); a search that asks for more gets this.
inline constexpr int MaximumWait = 5;
/// Seconds that an announcement holds when it does not say how long.
inline constexpr int DefaultMaximumAge = 1800;

// QLatin1String measures a plain literal with strlen, which is no constant expression everywhere.
constexpr QLatin1String text(std::string_view words)
{
    return QLatin1String(words.data(), static_cast<int>(words.size()));
}

inline constexpr QLatin1String Group = text("239.255.255.250");
inline constexpr quint16 Port = 1900;

inline constexpr QLatin1String Discover = text("\"ssdp:discover\"");
inline constexpr QLatin1String Everything = text("ssdp:all");
inline constexpr QLatin1String RootDevice = text("upnp:rootdevice");
inline constexpr QLatin1String UuidPrefix = text("uuid:");
inline constexpr QLatin1String PartSeparator = text("::");

namespace StartLine
{
inline constexpr QLatin1String Notify = text("NOTIFY * HTTP/1.1");
inline constexpr QLatin1String Search = text("M-SEARCH * HTTP/1.1");
inline constexpr QLatin1String SearchResponse = text("HTTP/1.1 200 OK");
} // namespace StartLine

namespace Header
{
inline constexpr QLatin1String Host = text("HOST");
inline constexpr QLatin1String CacheControl = text("CACHE-CONTROL");
inline constexpr QLatin1String Location = text("LOCATION");
inline constexpr QLatin1String Mx = text("MX");
inline constexpr QLatin1String Man = text("MAN");
inline constexpr QLatin1String St = text("ST");
inline constexpr QLatin1String Nt = text("NT");
inline constexpr QLatin1String Nts = text("NTS");
inline constexpr QLatin1String Usn = text("USN");
inline constexpr QLatin1String Server = text("SERVER");
inline constexpr QLatin1String UserAgent = text("USER-AGENT");
inline constexpr QLatin1String BootId = text("BOOTID.UPNP.ORG");
inline constexpr QLatin1String ConfigId = text("CONFIGID.UPNP.ORG");
inline constexpr QLatin1String Date = text("DATE");
inline constexpr QLatin1String Ext = text("EXT");
} // namespace Header

namespace Notification
{
inline constexpr QLatin1String Alive = text("ssdp:alive");
inline constexpr QLatin1String ByeBye = text("ssdp:byebye");
inline constexpr QLatin1String Update = text("ssdp:update");
} // namespace Notification

} // namespace CommonNOX::Connections::Ssdp
