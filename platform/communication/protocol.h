#pragma once

#include "framework_export.h"
#include "platform/lockable.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <compare>
#include <memory>

namespace Shared::Communication::Connections
{
class Connection;
}

namespace Shared::Communication::Protocols
{

/// The version of a device protocol, "MAJOR.MINOR".
struct FRAMEWORK_EXPORT ProtocolVersion
{
    int major = -1; ///< negative: no version
    int minor = 0;

    bool isValid() const { return major >= 0 && minor >= 0; }
    QString toString() const;
    /// Invalid for anything but two decimal numbers of at most nine digits, joined by a dot.
    static ProtocolVersion FromString(const QString &text);

    friend auto operator<=>(const ProtocolVersion &, const ProtocolVersion &) = default;
};

/// One kind of message of a protocol: what can be asked of the device by it. Its lock guards what has been received.
class FRAMEWORK_EXPORT ProtocolMessageInterface : public Synchronization::Lockable
{
public:
    ~ProtocolMessageInterface() override;

    virtual QString getName() const = 0;
    /// Empty when the message belongs to no connection.
    virtual std::shared_ptr<Connections::Connection> getConnection() const = 0;
    /// Whether the protocol takes a request in its present state.
    virtual bool canProcessRequest() const = 0;
    /// Transmits a request whose payload is a QJsonDocument. False when it could not be handed to the connection.
    virtual bool sendRequest(const QVariant &payload) = 0;
};

/// What runs on a connection once its version is known.
class FRAMEWORK_EXPORT Protocol : public QObject
{
    Q_OBJECT
public:
    /// `messageNames` are the kinds of message that the protocol knows.
    Protocol(const ProtocolVersion &version, const QStringList &messageNames);
    ~Protocol() override;

    /// Binds the protocol to a connection and to the group of the configuration tree in which its messages lie. False
    /// without a connection or a path. A concrete protocol calls this first and then puts its messages there.
    virtual bool installProtocol(const QString &contextPath,
                                 const std::shared_ptr<Connections::Connection> &connection);

    ProtocolVersion getProtocolVersion() const { return m_version; }
    QStringList getMessageNames() const { return m_messageNames; }
    QString getContextPath() const { return m_contextPath; }
    /// Empty before the installation, and when the connection is gone.
    std::shared_ptr<Connections::Connection> getConnection() const { return m_connection.lock(); }

private:
    const ProtocolVersion m_version;
    const QStringList m_messageNames;
    QString m_contextPath;
    std::weak_ptr<Connections::Connection> m_connection;
};

} // namespace Shared::Communication::Protocols

Q_DECLARE_METATYPE(Shared::Communication::Protocols::ProtocolVersion)
