#include "host/protocol/message_stream.h"

#include "host/log.h"
#include "platform/communication/connection.h"

namespace NoxHost
{

using Shared::Communication::Connections::Connection;

namespace
{

constexpr int ChunkBytes = 256 * 1024;
/// After so long in one turn the event loop has its chance: timers, interruptions, other connections.
constexpr int SliceMs = 5;
/// An unfinished line of so many further bytes is a sign of life; a peer that trickles is silent.
constexpr int BytesOfLife = 4096;
/// Names that are remembered as unknown.
constexpr int MaximumUnknownNames = 100;
constexpr int MaximumLoggedText = 200;

} // namespace

MessageStream::MessageStream(const std::shared_ptr<Connection> &connection)
    : m_connection(connection), m_id(connection->getId())
{
    connect(connection.get(), &Connection::bytesArrived, this, &MessageStream::readOn);
    connect(&m_silence, &QTimer::timeout, this, &MessageStream::onSilence);
    m_silence.start(Wire::SilenceMs);
    connect(&m_heartbeat, &QTimer::timeout, this, [this] { send(makeMessage(Wire::Names::Heartbeat)); });
    m_heartbeat.start(Wire::HeartbeatMs);
    // What has arrived by now tells nobody again.
    QMetaObject::invokeMethod(this, &MessageStream::readOn, Qt::QueuedConnection);
}

std::shared_ptr<Connection> MessageStream::getConnection() const
{
    return m_connection.lock();
}

bool MessageStream::send(const QJsonObject &message)
{
    const auto connection = m_connection.lock();
    if (!connection || !connection->send(writeMessage(message)))
        return false;
    m_heartbeat.start();
    return true;
}

void MessageStream::setPaused(bool isPaused)
{
    if (m_isPaused == isPaused)
        return;
    m_isPaused = isPaused;
    if (isPaused) {
        m_silence.stop();
        return;
    }
    m_silence.start();
    QMetaObject::invokeMethod(this, &MessageStream::readOn, Qt::QueuedConnection);
}

void MessageStream::readOn()
{
    // A receiver may come back here from a message that it is handed.
    if (m_isReading)
        return;
    const auto keep = shared_from_this();
    m_isReading = true;
    QElapsedTimer slice;
    slice.start();
    bool isDone = takeLines(slice);
    while (isDone) {
        const auto connection = m_connection.lock();
        const QByteArray bytes = connection ? connection->receive(ChunkBytes) : QByteArray();
        if (bytes.isEmpty())
            break;
        noteLife(bytes.size());
        m_framer.feed(bytes);
        isDone = takeLines(slice);
    }
    m_isReading = false;
    if (!isDone && !m_isPaused)
        QMetaObject::invokeMethod(this, &MessageStream::readOn, Qt::QueuedConnection);
}

/// False when there may be more, but not now.
bool MessageStream::takeLines(const QElapsedTimer &slice)
{
    while (!m_isPaused && slice.elapsed() < SliceMs) {
        const auto line = m_framer.take();
        if (!line)
            return true;
        noteLife(BytesOfLife);
        handleLine(*line);
    }
    return false;
}

void MessageStream::handleLine(const LineFramer::Line &line)
{
    if (line.isTooLong) {
        reportError(QStringLiteral("a line is longer than %1 bytes").arg(Wire::MaximumLineBytes));
        return;
    }
    const WireMessage message = readMessage(line.bytes);
    if (!message.error.isEmpty()) {
        reportError(message.error);
        return;
    }
    m_wasInError = false;
    if (message.name == Wire::Names::Error) {
        qCWarning(hostLog()).noquote() << m_id << "the instrument reports an error:"
                                       << message.object.value(Wire::Reason).toString().left(MaximumLoggedText);
    } else if (message.name != Wire::Names::Heartbeat) {
        emit messageArrived(message);
    }
    if (!m_wasInError)
        m_errorsInARow = 0;
}

void MessageStream::reportError(const QString &reason)
{
    m_wasInError = true;
    qCWarning(hostLog()).noquote() << m_id << "refused a message:" << reason;
    send(makeErrorMessage(reason));
    if (++m_errorsInARow < Wire::MaximumErrorsInARow)
        return;
    m_errorsInARow = 0;
    if (const auto connection = m_connection.lock())
        connection->close(QStringLiteral("%1 protocol errors in a row").arg(Wire::MaximumErrorsInARow));
}

void MessageStream::reportUnknown(const QString &name)
{
    const QString shown = name.left(MaximumLoggedText);
    if (m_unknownNames.size() >= MaximumUnknownNames || m_unknownNames.contains(shown))
        return;
    m_unknownNames.insert(shown);
    qCWarning(hostLog()).noquote() << m_id << "ignores messages of the unknown name" << shown;
}

void MessageStream::noteLife(int bytes)
{
    m_bytesSinceLife += bytes;
    if (m_bytesSinceLife < BytesOfLife)
        return;
    m_bytesSinceLife = 0;
    if (!m_isPaused)
        m_silence.start();
}

void MessageStream::onSilence()
{
    if (const auto connection = m_connection.lock())
        connection->close(QStringLiteral("the instrument was silent for %1 s").arg(Wire::SilenceMs / 1000));
}

} // namespace NoxHost
