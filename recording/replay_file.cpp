#include "recording/replay_file.h"

#include <QCryptographicHash>

namespace CommonNOX::PD::Recording
{

static const QString DeviceText = QStringLiteral("device");
static const QString ChannelPrefix = QStringLiteral("channel_");

QString ToClassification(int channel)
{
    return channel == DeviceItself ? DeviceText : ChannelPrefix + QString::number(channel);
}

std::optional<int> ParseClassification(const QString &text)
{
    if (text == DeviceText)
        return DeviceItself;
    bool isNumber = false;
    const int channel = text.startsWith(ChannelPrefix) ? text.mid(ChannelPrefix.size()).toInt(&isNumber) : 0;
    return isNumber && channel >= 0 ? std::optional(channel) : std::nullopt;
}

QString MakeStorageIdentifier(const QString &absolutePath)
{
    return QString::fromLatin1(QCryptographicHash::hash(absolutePath.toUtf8(), QCryptographicHash::Sha512).toHex());
}

} // namespace CommonNOX::PD::Recording
