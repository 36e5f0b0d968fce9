#include "host/protocol/instrument_detector.h"

#include "platform/communication/connection.h"

namespace NoxHost
{

using Shared::Communication::Protocols::ProtocolVersion;

namespace
{

/// What an instrument speaks that does not say so.
const QString FirstVersion = QStringLiteral("1.0");

} // namespace

InstrumentDetector::InstrumentDetector(
    const std::shared_ptr<Shared::Communication::Connections::Connection> &connection, int timeoutMs)
    : ProtocolDetector(connection), m_stream(std::make_shared<MessageStream>(connection))
{
    connect(m_stream.get(), &MessageStream::messageArrived, this, &InstrumentDetector::onMessage);
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, [this] {
        getConnection()->close(QStringLiteral("no announcement came within %1 s").arg(m_timeout.interval() / 1000.0));
    });
    m_timeout.start(timeoutMs);
}

void InstrumentDetector::onMessage(const WireMessage &message)
{
    if (message.name != Wire::Names::Announcement) {
        m_stream->reportError(QStringLiteral("\"%1\" came before the announcement").arg(message.name.left(80)));
        return;
    }
    const QString text = message.object.value(Wire::Announce::ProtocolVersion).toString(FirstVersion);
    const ProtocolVersion version = ProtocolVersion::FromString(text);
    if (!version.isValid()) {
        m_stream->reportError(QStringLiteral("\"%1\" is no protocol version").arg(text.left(80)));
        return;
    }
    m_timeout.stop();
    m_announcement = message.object;
    m_stream->disconnect(this);
    emit protocolVersionReceived(version);
}

} // namespace NoxHost
