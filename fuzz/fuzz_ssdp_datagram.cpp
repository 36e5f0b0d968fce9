#include "connections/discovery/ssdp_device_discovery.h"
#include "connections/discovery/ssdp_target.h"
#include "connections/discovery/ssdp_text.h"

#include <QCoreApplication>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace CommonNOX::Connections;

namespace
{

// A failed property must stop the fuzzer in every build type.
void require(bool holds)
{
    if (!holds)
        std::abort();
}

void requireHarmless(const QString &text)
{
    for (const QChar character : text)
        require(character.category() != QChar::Other_Control && character.category() != QChar::Other_Format);
}

// Qt's objects with timers want an application, which none of the inputs may make anew.
SsdpDeviceDiscovery &discovery()
{
    static int argumentCount = 1;
    static char program[] = "fuzz";
    static char *arguments[] = {program, nullptr};
    static QCoreApplication application(argumentCount, arguments);
    static SsdpDeviceDiscovery instance;
    return instance;
}

} // namespace

// Whatever was read is harmless to show and reads the same when it is written; names written from what was understood
// are understood; a cache fed with all of it stays within its bounds.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const SsdpParseResult result = ParseSsdpDatagram(bytes);
    const SsdpMessage &message = result.message;
    require((message.getKind() == SsdpMessage::Kind::None) != result.error.isEmpty());
    for (const SsdpHeader &header : message.getHeaders()) {
        requireHarmless(header.name);
        requireHarmless(header.value);
    }
    // Bytes that are no text are replaced by longer ones, which may exceed what is read.
    const QByteArray written = message.toDatagram();
    if (!written.isEmpty() && written.size() <= Ssdp::MaximumDatagramSize)
        require(ParseSsdpDatagram(written).message == message);
    require(message.getMaximumAge().value_or(0) >= 0);

    for (const QString &name : {message.getHeader(Ssdp::Header::St), message.getHeader(Ssdp::Header::Nt)}) {
        const SsdpTarget target = SsdpTarget::Parse(name);
        if (target.getKind() != SsdpTarget::Kind::Invalid)
            require(SsdpTarget::Parse(target.toString()) == target);
    }
    const SsdpUniqueName name = SsdpUniqueName::Parse(message.getHeader(Ssdp::Header::Usn));
    if (name.target.getKind() != SsdpTarget::Kind::Invalid)
        require(SsdpUniqueName::Parse(name.toString()) == name);

    discovery().addMessage(message, QHostAddress(QHostAddress::LocalHost));
    discovery().sweep();
    // A copy of everything that is kept, which would take most of the time.
    static unsigned turn = 0;
    if (++turn % 256 == 0)
        require(discovery().getDevices().size() <= SsdpDeviceCache::MaximumCount);
    return 0;
}
