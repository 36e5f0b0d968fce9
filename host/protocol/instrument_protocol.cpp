#include "host/protocol/instrument_protocol.h"

#include "connections/protocols/protocol_message_attribute.h"
#include "connections/protocols/protocol_message_response.h"
#include "host/protocol/message_names.h"
#include "host/protocol/message_stream.h"
#include "platform/communication/connection.h"
#include "platform/visitors.h"

#include <QJsonDocument>

namespace NoxHost
{

using CommonNOX::Protocols::ProtocolMessageAttribute;
using CommonNOX::Protocols::ProtocolMessageBuilder;
using CommonNOX::Protocols::ProtocolMessageResponse;
using Shared::Communication::Connections::Connection;

namespace
{

const QStringList &requestNames()
{
    static const QStringList names{Wire::Names::Start, Wire::Names::Stop, Wire::Names::Request};
    return names;
}

} // namespace

/// A kind of message that the host sends.
class InstrumentProtocol::Message : public Shared::Communication::Protocols::ProtocolMessageInterface
{
public:
    Message(const InstrumentProtocol &protocol, const QString &name) : m_protocol(protocol), m_name(name) {}

    QString getName() const override { return m_name; }
    std::shared_ptr<Connection> getConnection() const override { return m_protocol.getConnection(); }
    /// The instrument has announced itself.
    bool canProcessRequest() const override { return m_protocol.m_stream != nullptr; }

    bool sendRequest(const QVariant &payload) override
    {
        QJsonObject message = m_protocol.getProtocolMessageRequestBuilder().buildMessage(m_name);
        const QJsonObject members = payload.toJsonDocument().object();
        for (auto member = members.begin(); member != members.end(); ++member)
            message.insert(member.key(), member.value());
        return m_protocol.m_stream && m_protocol.m_stream->send(message);
    }

private:
    const InstrumentProtocol &m_protocol;
    const QString m_name;
};

InstrumentProtocol::InstrumentProtocol(const Shared::Communication::Protocols::ProtocolVersion &version)
    : CommonNOX::Protocols::Protocol(version, requestNames())
{
    for (const QString &name : requestNames()) {
        getProtocolMessageRequestBuilderRef().registerMessage(
            name, [name](QJsonObject &message) { message.insert(Wire::Message, name); });
        m_messages[name] = std::make_shared<Message>(*this, name);
    }
}

InstrumentProtocol::~InstrumentProtocol() = default;

bool InstrumentProtocol::installProtocol(const QString &contextPath, const std::shared_ptr<Connection> &connection)
{
    if (!CommonNOX::Protocols::Protocol::installProtocol(contextPath, connection))
        return false;
    const auto tree = getProtocolContextVisitor().getConfigurationTree();
    for (const auto &[name, message] : m_messages)
        tree->setParser(tree->joinPath({contextPath, name}), std::make_shared<ProtocolMessageAttribute>(message));
    return true;
}

void InstrumentProtocol::attach(const std::shared_ptr<MessageStream> &stream)
{
    detach();
    m_stream = stream;
    connect(stream.get(), &MessageStream::messageArrived, this, &InstrumentProtocol::onMessage);
}

void InstrumentProtocol::detach()
{
    if (const auto stream = std::exchange(m_stream, nullptr))
        stream->disconnect(this);
}

void InstrumentProtocol::onMessage(const WireMessage &message)
{
    using Take = void (InstrumentProtocol::*)(const QJsonObject &);
    static const std::map<QString, Take> takers{
        {Wire::Names::PeriodBlock, &InstrumentProtocol::takePeriodBlock},
        {Wire::Names::VoltageScope, &InstrumentProtocol::takeVoltageScope},
        {Wire::Names::Overrun, &InstrumentProtocol::takeOverrun},
        {Wire::Names::Response, &InstrumentProtocol::takeResponse},
        {Wire::Names::ParameterChange, &InstrumentProtocol::takeParameterChange},
    };
    const auto taker = takers.find(message.name);
    if (taker != takers.end())
        (this->*taker->second)(message.object);
    else if (message.name == Wire::Names::Announcement)
        m_stream->reportError(QStringLiteral("the instrument has announced itself already"));
    else
        m_stream->reportUnknown(message.name);
}

void InstrumentProtocol::takePeriodBlock(const QJsonObject &message)
{
    PeriodBlock block;
    QString error;
    if (readPeriodBlock(message, block, error))
        emit periodBlockReceived(block);
    else
        m_stream->reportError(QStringLiteral("a period block is wrong: %1").arg(error));
}

void InstrumentProtocol::takeVoltageScope(const QJsonObject &message)
{
    WireVoltageScope scope;
    QString error;
    if (readVoltageScope(message, scope, error))
        emit voltageScopeReceived(scope);
    else
        m_stream->reportError(QStringLiteral("a voltage scope is wrong: %1").arg(error));
}

void InstrumentProtocol::takeOverrun(const QJsonObject &message)
{
    OverrunReport overrun;
    QString error;
    if (readOverrun(message, overrun, error))
        emit overrunReceived(overrun);
    else
        m_stream->reportError(QStringLiteral("an overrun is wrong: %1").arg(error));
}

void InstrumentProtocol::takeResponse(const QJsonObject &message)
{
    // An answer to start and stop belongs to both: it says whether the instrument measures.
    const bool isRun = message.value(Wire::Parameter).toString() == Wire::Run;
    const auto visitor = getProtocolContextVisitor();
    const QVariant response = QVariant::fromValue(ProtocolMessageResponse(QVariant(message)));
    visitor.setProperty(isRun ? Wire::Names::Start : Wire::Names::Request, response);
}

void InstrumentProtocol::takeParameterChange(const QJsonObject &message)
{
    const QString parameter = message.value(Wire::Parameter).toString();
    if (parameter.isEmpty())
        m_stream->reportError(QStringLiteral("a parameter without a name has changed"));
    else
        emit parameterChanged(parameter, message.value(Wire::Value).toVariant());
}

} // namespace NoxHost
