#pragma once

#include "nox_export.h"

#include <QMetaType>
#include <QVariant>

namespace CommonNOX::Protocols
{

/// Marks a value as an answer that comes from a device, not a request that goes to it.
class NOX_EXPORT ProtocolMessageResponse
{
public:
    ProtocolMessageResponse() = default;
    explicit ProtocolMessageResponse(const QVariant &payload) : m_payload(payload) {}

    /// What the device answered, a QJsonObject with the protocols of JSON messages.
    QVariant getPayload() const { return m_payload; }

private:
    QVariant m_payload;
};

} // namespace CommonNOX::Protocols

Q_DECLARE_METATYPE(CommonNOX::Protocols::ProtocolMessageResponse)
