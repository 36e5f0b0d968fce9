#include "host/transports/simulator_connection.h"

#include "host/instrument/simulated_instrument.h"
#include "host/simulated/simulator_url.h"

#include <QThread>

namespace NoxHost
{

/// The instrument and its thread.
class SimulatorConnection::Instrument
{
public:
    explicit Instrument(const InstrumentSettings &settings) : m_instrument(new SimulatedInstrument(settings))
    {
        m_thread.setObjectName(QStringLiteral("instrument"));
        m_instrument->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::finished, m_instrument, &QObject::deleteLater);
        m_thread.start();
    }

    ~Instrument()
    {
        m_thread.quit();
        m_thread.wait();
    }

    /// Where it listens; invalid, with one sentence, when it cannot.
    QUrl listen(QString &error)
    {
        QUrl url;
        QMetaObject::invokeMethod(
            m_instrument,
            [&] {
                if (!m_instrument->url().isEmpty() || m_instrument->listen(error))
                    url = m_instrument->url();
            },
            Qt::BlockingQueuedConnection);
        return url;
    }

private:
    QThread m_thread;
    SimulatedInstrument *const m_instrument;
};

SimulatorConnection::SimulatorConnection(const QUrl &url) : TcpConnection(url), m_url(url) {}

SimulatorConnection::~SimulatorConnection() = default;

QUrl SimulatorConnection::prepare(QString &error)
{
    if (!m_instrument) {
        SimulatorRequest request;
        if (!readSimulatorUrl(m_url, request, error))
            return {};
        InstrumentSettings settings;
        settings.port = 0;
        settings.signal = request.settings;
        settings.speed = request.speed;
        m_instrument = std::make_unique<Instrument>(settings);
    }
    return m_instrument->listen(error);
}

} // namespace NoxHost
