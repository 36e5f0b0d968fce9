#pragma once

#include "connections/protocols/protocol_detector.h"
#include "host/protocol/message_stream.h"

#include <QTimer>

#include <memory>

namespace NoxHost
{

/// Waits on an established connection for the instrument's announcement, which tells the version of its protocol.
class InstrumentDetector : public CommonNOX::Protocols::ProtocolDetector
{
    Q_OBJECT
public:
    /// The connection is closed when no announcement has come after `timeoutMs`.
    InstrumentDetector(const std::shared_ptr<Shared::Communication::Connections::Connection> &connection,
                       int timeoutMs);

    /// What came, and the stream on which the rest comes: for whoever takes the connection over.
    const QJsonObject &getAnnouncement() const { return m_announcement; }
    std::shared_ptr<MessageStream> getStream() const { return m_stream; }

private:
    void onMessage(const WireMessage &message);

    std::shared_ptr<MessageStream> m_stream;
    QJsonObject m_announcement;
    QTimer m_timeout;
};

} // namespace NoxHost
