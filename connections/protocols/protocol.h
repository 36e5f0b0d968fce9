#pragma once

#include "connections/protocols/protocol_message_builder.h"
#include "nox_export.h"
#include "platform/communication/protocol.h"
#include "platform/visitors.h"

namespace CommonNOX::Protocols
{

/// The base of the protocols of devices: it is made for a connection once the version is known, filled with its
/// messages and installed, and lives as long as the connection's context.
class NOX_EXPORT Protocol : public Shared::Communication::Protocols::Protocol
{
    Q_OBJECT
public:
    using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;
    using ConnectionPtr = std::shared_ptr<Shared::Communication::Connections::Connection>;

    Protocol(const Shared::Communication::Protocols::ProtocolVersion &version, const QStringList &messageNames);
    ~Protocol() override;

    bool installProtocol(const QString &contextPath, const ConnectionPtr &connection) override;
    /// Keeps the reader, whose root is the protocol's context, and installs the protocol there by the operation above.
    virtual bool installProtocol(const ReaderConstPtr &reader, const ConnectionPtr &connection);

    Utilities::GuiContextVisitor getProtocolContextVisitor() const;
    ProtocolMessageBuilder getProtocolMessageRequestBuilder() const { return m_requestBuilder; }
    ProtocolMessageBuilder getProtocolMessageResponseBuilder() const { return m_responseBuilder; }

signals:
    /// For concrete protocols: the device that was found, its identification, serial number and number of channels.
    void deviceIdentificationReceived(const QString &identification, const QString &serialNumber,
                                      const int &numberOfChannels);

protected:
    ProtocolMessageBuilder &getProtocolMessageRequestBuilderRef() { return m_requestBuilder; }
    ProtocolMessageBuilder &getProtocolMessageResponseBuilderRef() { return m_responseBuilder; }

private:
    ProtocolMessageBuilder m_requestBuilder;
    ProtocolMessageBuilder m_responseBuilder;
    ReaderConstPtr m_reader;
};

} // namespace CommonNOX::Protocols
