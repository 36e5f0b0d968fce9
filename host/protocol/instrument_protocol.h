#pragma once

#include "connections/protocols/protocol.h"
#include "host/protocol/messages.h"

#include <map>
#include <memory>

namespace CommonNOX::Protocols
{
class ProtocolMessageAttribute;
}

namespace NoxHost
{

class MessageStream;

/// The host's side of the instrument protocol on one connection, over all its openings.
///
/// Its context in the configuration tree holds a message each for "start", "stop" and "request": a JSON object that is
/// written there is sent, completed by the message's own members, and the instrument's response appears as the value.
class InstrumentProtocol : public CommonNOX::Protocols::Protocol
{
    Q_OBJECT
public:
    explicit InstrumentProtocol(const Shared::Communication::Protocols::ProtocolVersion &version);
    ~InstrumentProtocol() override;

    using CommonNOX::Protocols::Protocol::installProtocol;
    bool installProtocol(const QString &contextPath,
                         const std::shared_ptr<Shared::Communication::Connections::Connection> &connection) override;

    /// Takes the stream of a new opening; messages that have arrived on it come from now on.
    void attach(const std::shared_ptr<MessageStream> &stream);
    /// Nothing is sent or received until the next stream.
    void detach();
    std::shared_ptr<MessageStream> getStream() const { return m_stream; }

signals:
    /// Measured data. A receiver that finds them wrong says so to the stream.
    void periodBlockReceived(const NoxHost::PeriodBlock &block);
    void voltageScopeReceived(const NoxHost::WireVoltageScope &scope);
    void overrunReceived(const NoxHost::OverrunReport &overrun);
    /// A parameter has changed by itself or by the wish of another host.
    void parameterChanged(const QString &parameter, const QVariant &value);

private:
    class Message;
    void onMessage(const WireMessage &message);
    void takePeriodBlock(const QJsonObject &message);
    void takeVoltageScope(const QJsonObject &message);
    void takeOverrun(const QJsonObject &message);
    void takeResponse(const QJsonObject &message);
    void takeParameterChange(const QJsonObject &message);

    std::shared_ptr<MessageStream> m_stream;
    std::map<QString, std::shared_ptr<Message>> m_messages;
};

} // namespace NoxHost
