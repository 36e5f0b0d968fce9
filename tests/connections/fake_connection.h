#pragma once

#include "platform/communication/connection.h"

#include <functional>

/// A connection that does what a test says.
class FakeConnection : public Shared::Communication::Connections::Connection
{
public:
    explicit FakeConnection(const QString &connectionId) : id(connectionId) {}

    QString getId() const override { return id; }
    bool isOpen() const override { return isUp; }
    bool open() override
    {
        ++openings;
        isUp = opens;
        if (!opens)
            emit connectionFailed();
        return opens;
    }
    void close(const QVariant &reason) override
    {
        ++closings;
        end(reason);
    }
    QVariant closeReason() const override { return reasonOfEnd; }
    bool send(const QByteArray &bytes) override
    {
        sent += bytes;
        return isUp;
    }
    QByteArray receive(qint64) override { return {}; }

    void establish() { emit connectionEstablished(); }
    /// The peer closes it.
    void end(const QVariant &reason)
    {
        isUp = false;
        reasonOfEnd = reason;
        emit connectionClosed();
    }

    const QString id;
    bool opens = true;
    bool isUp = false;
    int openings = 0;
    int closings = 0;
    QVariant reasonOfEnd;
    QByteArray sent;
};
