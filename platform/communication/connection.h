#pragma once

#include "framework_export.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

namespace Shared::Communication::Connections
{

/// A two-way stream of bytes to a device, by whatever transport. It can be opened again after it has ended.
///
/// A connection lives on one thread, which alone calls its operations and gets its signals, except where said. What
/// connects to its signals holds it weakly.
class FRAMEWORK_EXPORT Connection : public QObject
{
    Q_OBJECT
public:
    ~Connection() override;

    /// Unique within the process, and the same for every opening. Any thread.
    virtual QString getId() const = 0;

    /// True from open() on, while it is still connecting too, and false before closed or failed is emitted. Any thread.
    virtual bool isOpen() const = 0;

    /// Begins to connect and returns at once. Every opening ends in exactly one connectionClosed() or
    /// connectionFailed(), also when this returns false: then the failure has been emitted already. An open connection
    /// stays as it is, with the result true.
    virtual bool open() = 0;

    /// Ends the connection; bytes that are not sent yet may be lost. `reason` is what closeReason() tells afterwards.
    /// Nothing happens when it is not open.
    virtual void close(const QVariant &reason) = 0;

    /// Why it ended: what was given to close(), or one sentence about what went wrong. Invalid while it is open.
    virtual QVariant closeReason() const = 0;

    /// Queues bytes for the device. False, and nothing is sent, unless the connection is established.
    virtual bool send(const QByteArray &bytes) = 0;

    /// Takes what has arrived, at most `maximum` bytes. A receiver that takes nothing holds the sender up: only a
    /// bounded number of bytes is kept here.
    virtual QByteArray receive(qint64 maximum) = 0;

signals:
    void connectionEstablished();
    void connectionClosed();
    void connectionFailed();
    /// There is something new to receive(). Not emitted again for bytes that were left untaken.
    void bytesArrived();
};

} // namespace Shared::Communication::Connections

Q_DECLARE_METATYPE(std::shared_ptr<Shared::Communication::Connections::Connection>)
