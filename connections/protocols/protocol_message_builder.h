#pragma once

#include "nox_export.h"

#include <QJsonObject>
#include <QMap>
#include <QString>

#include <functional>

namespace CommonNOX::Protocols
{

/// Templates of JSON messages by their ids. A value: distinct objects may be used from distinct threads.
class NOX_EXPORT ProtocolMessageBuilder
{
public:
    using Filler = std::function<void(QJsonObject &message)>;

    /// False, and the first filler stays, when the id is registered already or the filler is empty.
    bool registerMessage(const QString &id, const Filler &filler);

    /// The message of an id; logs, and gives an empty object, when none is registered.
    QJsonObject buildMessage(const QString &id) const;

private:
    QMap<QString, Filler> m_fillers;
};

} // namespace CommonNOX::Protocols
