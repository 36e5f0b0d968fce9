#pragma once

#include "nox_export.h"
#include "platform/communication/protocol.h"
#include "platform/value_parser.h"

#include <QObject>

#include <memory>
#include <mutex>

namespace CommonNOX::Protocols
{

/// A message of a protocol as a leaf of the configuration tree: what is written there is sent to the device, and the
/// device's latest answer is what is read. It may outlive its message. Any thread.
class NOX_EXPORT ProtocolMessageAttribute : public QObject, public Shared::ValueParserInterface
{
    Q_OBJECT
public:
    using Message = Shared::Communication::Protocols::ProtocolMessageInterface;

    explicit ProtocolMessageAttribute(const std::weak_ptr<Message> &message);
    ~ProtocolMessageAttribute() override;

    /// The latest answer, invalid before the first; always true.
    bool read(const QVariant &in, QVariant &out) const override;
    /// Keeps a ProtocolMessageResponse, which `out` hands on to the leaf's subscribers; sends anything else as a
    /// request, which has to convert to a JSON document. The result of a request is whether it was handed to the
    /// connection.
    bool write(QVariant &out, const QVariant &in) const override;
    QString getId() const override;

signals:
    /// `reason` is "policy", "connection_closed" or "message_deleted". In the thread that writes.
    void writeRequestFailed(const QString &reason) const;

private:
    bool takeResponse(const std::shared_ptr<Message> &message, QVariant &out, const QVariant &in) const;
    bool fail(const QString &reason) const;

    const std::weak_ptr<Message> m_message;
    // Besides the message's lock, so that the value stays safe when the message is gone.
    mutable std::mutex m_mutex;
    mutable QVariant m_value;
};

} // namespace CommonNOX::Protocols
