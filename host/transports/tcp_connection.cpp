#include "host/transports/tcp_connection.h"

#include "host/protocol/message_names.h"

#include <QMetaMethod>
#include <QTcpSocket>
#include <QTimer>

#include <atomic>

namespace NoxHost
{

namespace
{

/// How long what was sent last, a stop say, may take to go out.
constexpr int LingerMs = 1000;

void retire(QTcpSocket *socket)
{
    socket->disconnect();
    if (socket->state() == QAbstractSocket::ConnectedState) {
        socket->flush();
        socket->disconnectFromHost();
    } else {
        socket->abort();
    }
    if (socket->state() == QAbstractSocket::UnconnectedState) {
        socket->deleteLater();
        return;
    }
    QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(LingerMs, socket, &QObject::deleteLater);
}

} // namespace

struct TcpConnection::Private
{
    enum class State { Ended, Connecting, Established, Draining };

    QUrl url;
    QString id;
    QTimer timeout;
    QTcpSocket *socket = nullptr;
    State state = State::Ended;
    std::atomic<bool> isOpen = false;
    QVariant reason;
};

TcpConnection::TcpConnection(const QUrl &url, int timeoutMs) : d(std::make_unique<Private>())
{
    static std::atomic<unsigned> count = 0;
    d->url = url;
    d->id = QStringLiteral("%1_%2").arg(url.scheme()).arg(++count);
    d->timeout.setSingleShot(true);
    d->timeout.setInterval(timeoutMs);
    connect(&d->timeout, &QTimer::timeout, this, &TcpConnection::onTimeout);
}

TcpConnection::~TcpConnection()
{
    if (!d->socket)
        return;
    d->socket->disconnect(this);
    delete d->socket;
}

QString TcpConnection::getId() const
{
    return d->id;
}

bool TcpConnection::isOpen() const
{
    return d->isOpen.load(std::memory_order_acquire);
}

QUrl TcpConnection::prepare(QString &error)
{
    if (d->url.host().isEmpty()) {
        error = QStringLiteral("\"%1\" names no host").arg(d->url.toString());
        return {};
    }
    return d->url;
}

bool TcpConnection::open()
{
    if (isOpen())
        return true;
    d->reason = QVariant();
    d->state = Private::State::Connecting;
    d->isOpen = true;
    QString error;
    const QUrl url = prepare(error);
    if (!url.isValid()) {
        end(Outcome::Failed, error);
        return false;
    }
    d->socket = new QTcpSocket(this);
    d->socket->setReadBufferSize(ReceiveBuffer);
    connect(d->socket, &QTcpSocket::connected, this, &TcpConnection::onEstablished);
    connect(d->socket, &QTcpSocket::disconnected, this, &TcpConnection::onDisconnected);
    connect(d->socket, &QTcpSocket::readyRead, this, &TcpConnection::bytesArrived);
    connect(d->socket, &QTcpSocket::errorOccurred, this, [this] {
        // An established socket tells its end by disconnected().
        if (d->state == Private::State::Connecting)
            end(Outcome::Failed, d->socket->errorString());
    });
    d->timeout.start();
    d->socket->connectToHost(url.host(), quint16(url.port(Wire::DefaultPort)));
    return isOpen();
}

void TcpConnection::close(const QVariant &reason)
{
    end(Outcome::Closed, reason);
}

QVariant TcpConnection::closeReason() const
{
    return d->reason;
}

bool TcpConnection::send(const QByteArray &bytes)
{
    if (d->state != Private::State::Established || d->socket->bytesToWrite() + bytes.size() > SendBuffer)
        return false;
    return d->socket->write(bytes) == bytes.size();
}

QByteArray TcpConnection::receive(qint64 maximum)
{
    if (!d->socket)
        return {};
    const QByteArray bytes = d->socket->read(maximum);
    // Who comes back for more has looked at everything else. Not from within the call.
    if (bytes.isEmpty() && d->state == Private::State::Draining)
        QMetaObject::invokeMethod(this, &TcpConnection::onDisconnected, Qt::QueuedConnection);
    return bytes;
}

void TcpConnection::onEstablished()
{
    d->timeout.stop();
    d->state = Private::State::Established;
    d->socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    emit connectionEstablished();
}

void TcpConnection::onDisconnected()
{
    if (!d->socket)
        return;
    static const QMetaMethod arrival = QMetaMethod::fromSignal(&TcpConnection::bytesArrived);
    if (d->state == Private::State::Established && (d->socket->bytesAvailable() > 0 || isSignalConnected(arrival))) {
        d->state = Private::State::Draining;
        emit bytesArrived();
        return;
    }
    if (d->socket->error() == QAbstractSocket::RemoteHostClosedError)
        end(Outcome::Closed, QStringLiteral("the instrument closed the connection"));
    else
        end(Outcome::Failed, d->socket->errorString());
}

void TcpConnection::onTimeout()
{
    if (d->state == Private::State::Connecting)
        end(Outcome::Failed, QStringLiteral("no connection within %1 s").arg(d->timeout.interval() / 1000.0));
}

void TcpConnection::end(Outcome outcome, const QVariant &reason)
{
    if (d->state == Private::State::Ended)
        return;
    d->state = Private::State::Ended;
    d->timeout.stop();
    d->reason = reason;
    if (QTcpSocket *socket = std::exchange(d->socket, nullptr))
        retire(socket);
    d->isOpen = false;
    release();
    if (outcome == Outcome::Closed)
        emit connectionClosed();
    else
        emit connectionFailed();
}

} // namespace NoxHost
