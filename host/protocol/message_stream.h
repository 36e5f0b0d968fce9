#pragma once

#include "host/protocol/line_framer.h"
#include "host/protocol/messages.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <memory>

namespace Shared::Communication::Connections
{
class Connection;
}

namespace NoxHost
{

/// The messages of a host's connection to an instrument: lines both ways, protocol errors, heartbeats and silence.
///
/// It lives on the thread of the connection, from its establishing to its end, and passes from whoever finds the
/// protocol's version out to the protocol, so that nothing is lost between the two. It is owned by shared pointers
/// alone: who is handed a message may let go of it.
class MessageStream : public QObject, public std::enable_shared_from_this<MessageStream>
{
    Q_OBJECT
public:
    explicit MessageStream(const std::shared_ptr<Shared::Communication::Connections::Connection> &connection);

    std::shared_ptr<Shared::Communication::Connections::Connection> getConnection() const;

    /// False when the connection does not take it.
    bool send(const QJsonObject &message);

    /// While it is paused nothing is read, and the instrument finds its messages unsent; its silence is our own doing.
    void setPaused(bool isPaused);
    bool isPaused() const { return m_isPaused; }

    /// Logs what is wrong with the message that has just arrived and answers it. The hundredth in a row closes the
    /// connection.
    void reportError(const QString &reason);
    /// Logs the first message of each unknown name.
    void reportUnknown(const QString &name);

signals:
    /// A message with a name. Errors of the peer are logged, heartbeats are taken note of; neither arrives here.
    void messageArrived(const NoxHost::WireMessage &message);

private:
    void readOn();
    bool takeLines(const QElapsedTimer &slice);
    void handleLine(const LineFramer::Line &line);
    void noteLife(int bytes);
    void onSilence();

    const std::weak_ptr<Shared::Communication::Connections::Connection> m_connection;
    const QString m_id;
    LineFramer m_framer;
    QTimer m_silence;
    QTimer m_heartbeat;
    QSet<QString> m_unknownNames;
    int m_errorsInARow = 0;
    int m_bytesSinceLife = 0;
    bool m_isPaused = false;
    bool m_isReading = false;
    bool m_wasInError = false;
};

} // namespace NoxHost
