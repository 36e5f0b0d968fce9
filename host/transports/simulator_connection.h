#pragma once

#include "host/transports/tcp_connection.h"

namespace NoxHost
{

/// A connection to `simulator:`, a simulated instrument inside this process with a thread of its own, over a loopback
/// socket and the protocol of every instrument. See SimulatorRequest for what the URL may set.
///
/// The instrument starts with the first opening and stays until the connection is destroyed, so that one which is
/// opened again finds the same instrument.
class SimulatorConnection : public TcpConnection
{
    Q_OBJECT
public:
    explicit SimulatorConnection(const QUrl &url);
    ~SimulatorConnection() override;

protected:
    QUrl prepare(QString &error) override;

private:
    class Instrument;
    const QUrl m_url;
    std::unique_ptr<Instrument> m_instrument;
};

} // namespace NoxHost
