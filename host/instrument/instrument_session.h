#pragma once

#include "host/instrument/instrument_run.h"
#include "host/instrument/send_queue.h"
#include "host/protocol/line_framer.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QTcpSocket>
#include <QTimer>

namespace NoxHost
{

/// What an instrument's hosts share.
struct InstrumentState
{
    InstrumentSettings settings;
    SimulatedSignalSource source;
    InstrumentParameters parameters;
};

/// An instrument's side of one connection: announces itself, answers, and sends what its host started.
///
/// Lives on the thread of its instrument. Blocks are made in slices of some milliseconds between which the event loop
/// runs, so that hosts are served in turn.
class InstrumentSession : public QObject
{
    Q_OBJECT

public:
    /// Takes over the connected @p socket and sends the announcement. @p shared must outlive the session.
    InstrumentSession(QTcpSocket *socket, InstrumentState &shared, QObject *parent);

    /// Bytes that wait for the host to read.
    qint64 unsentBytes() const;
    /// Tells the host of a parameter that another host changed.
    void tellParameter(const QString &name, const QJsonValue &value);
    /// Closes the connection, frees socket and buffers at once, and emits ended(). Does nothing the second time.
    void end();

signals:
    /// This session's host changed a parameter.
    void parameterChanged(const QString &name, const QJsonValue &value);
    /// The connection is gone, whoever closed it. Emitted once.
    void ended();

private:
    void readLines();
    void handleLine(const LineFramer::Line &line);
    void handleRun(const QString &name, const QJsonObject &message);
    void handleRequest(const QJsonObject &message);
    void refuse(const QString &reason);
    void answer(const QJsonObject &message, const QString &parameter, const QJsonValue &value, const QString &reason);

    void work();
    void watch();
    void send(const QByteArray &bytes);
    void sendQueued();
    void fail(const QString &reason);
    void close();

    InstrumentState &m_shared;
    QTcpSocket *m_socket; // a child
    const QString m_host; // address and port, for log lines
    InstrumentRun m_run;
    LineFramer m_framer;
    SendQueue m_queue;
    QHash<QString, QJsonValue> m_untold; // parameters whose change waits for room
    QSet<QString> m_unknownNames;
    int m_errorsInARow = 0;
    bool m_hasEnded = false;
    QTimer m_work{this};  // makes blocks
    QTimer m_watch{this}; // heartbeats and silence
    QElapsedTimer m_sent; // since something was sent
    QElapsedTimer m_read; // since a whole line came
};

} // namespace NoxHost
