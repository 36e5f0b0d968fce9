#include "connections/channels/channel_change_request.h"
#include "connections/channels/channel_information.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace CommonNOX::Devices::Channels;
using CommonNOX::Hardware::MultiplexerType;

namespace
{

// A failed property must stop the fuzzer in every build type.
void require(bool holds)
{
    if (!holds)
        std::abort();
}

void requireStable(const ChannelInformation &channel)
{
    require(ParseChannelInformationFromString(channel.getChannelInformationString()) == channel);
    require(!channel.getChannelName().isEmpty());
}

} // namespace

// Whatever was read, valid or not, must be written as a text that reads the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));

    requireStable(ParseChannelInformationFromString(text));
    requireStable(ParseChannelInformationFromString(text, 3));

    const ChannelChangeRequest request = ChannelChangeRequest::FromString(text);
    require(ChannelChangeRequest::FromString(request.toString()) == request);

    // The same items as settings, so that the corpus serves both forms.
    QMap<QString, QVariant> settings;
    const QStringList items = text.split(QLatin1Char('|'));
    for (const QString &item : items)
        settings.insert(item.section(QLatin1Char('='), 0, 0), item.section(QLatin1Char('='), 1));
    requireStable(ParseChannelInformationData(0, settings, {MultiplexerType(QStringLiteral("mux"), 8)}));
    return 0;
}
