#pragma once

#include "platform/communication/connection.h"

#include <QUrl>

#include <memory>

namespace NoxHost
{

/// A connection to `tcp://HOST[:PORT]`: an IPv4 or IPv6 address, or a name, which is looked up without blocking.
///
/// Its socket lives from open() to the end of the connection. What the peer sent before it closed can still be
/// received: the connection ends when receive() has nothing more to give. An end after it was established is
/// connectionClosed() when the peer closed it in order or close() was called, connectionFailed() otherwise. It lives
/// and is used on one thread.
class TcpConnection : public Shared::Communication::Connections::Connection
{
    Q_OBJECT
public:
    static constexpr int DefaultTimeoutMs = 5000;
    /// What is kept of a peer that sends faster than anybody receives.
    static constexpr qint64 ReceiveBuffer = 1024 * 1024;
    /// What may be unsent; send() refuses beyond it.
    static constexpr qint64 SendBuffer = 16 * 1024 * 1024;

    /// The port is 6027 when the URL names none.
    explicit TcpConnection(const QUrl &url, int timeoutMs = DefaultTimeoutMs);
    ~TcpConnection() override;

    QString getId() const override;
    bool isOpen() const override;
    bool open() override;
    void close(const QVariant &reason) override;
    QVariant closeReason() const override;
    bool send(const QByteArray &bytes) override;
    QByteArray receive(qint64 maximum) override;

protected:
    /// Called by open(): where to connect to. An invalid URL fails the opening with `error`.
    virtual QUrl prepare(QString &error);
    /// Called when the connection has ended, before that is emitted.
    virtual void release() {}

private:
    enum class Outcome { Closed, Failed };
    void onEstablished();
    void onDisconnected();
    void onTimeout();
    void end(Outcome outcome, const QVariant &reason);

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace NoxHost
