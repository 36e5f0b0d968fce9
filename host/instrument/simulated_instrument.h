#pragma once

#include "host/instrument/instrument_session.h"

#include <QObject>
#include <QTcpServer>
#include <QUrl>

#include <vector>

namespace NoxHost
{

/// A simulated instrument that serves hosts over TCP, see docs/instrument-protocol.md.
///
/// Everything happens on the thread it lives in, which needs an event loop; it may be moved to another one before
/// listen(). Call its functions, and destroy it, on that thread only. Each host has a run of its own, from period 0 at
/// its first start; parameters are shared.
class SimulatedInstrument : public QObject
{
    Q_OBJECT

public:
    explicit SimulatedInstrument(const InstrumentSettings &settings, QObject *parent = nullptr);
    ~SimulatedInstrument() override;

    const InstrumentSettings &settings() const { return m_state.settings; }

    /// False with one sentence in @p error when the settings are out of their range or the address cannot be had.
    bool listen(QString &error);
    /// Where hosts connect, such as `tcp://127.0.0.1:6027`; empty while it does not listen.
    QUrl url() const;
    int hostCount() const { return int(m_sessions.size()); }
    /// Bytes that wait for the host that is furthest behind.
    qint64 mostUnsentBytes() const;
    /// Closes every connection and no longer listens. It may listen again.
    void stop();

private:
    void admitHosts();
    void remove(InstrumentSession *session);
    void tellOthers(const InstrumentSession *teller, const QString &name, const QJsonValue &value);

    InstrumentState m_state;
    QTcpServer m_server{this};
    std::vector<InstrumentSession *> m_sessions; // children
};

} // namespace NoxHost
