#include "host/transports/simulator_connection.h"

#include "host/instrument/simulated_instrument.h"
#include "host/simulated/simulator_url.h"

#include <QThread>

#include <future>
#include <tuple>
#include <utility>

namespace NoxHost
{

/// The instrument and its thread, which makes it, serves it and destroys it.
class SimulatorConnection::Instrument : public QThread
{
public:
    explicit Instrument(const InstrumentSettings &settings) : m_settings(settings)
    {
        setObjectName(QStringLiteral("instrument"));
        auto answer = m_answer.get_future();
        start();
        std::tie(m_url, m_error) = answer.get();
    }

    ~Instrument() override
    {
        quit();
        wait();
    }

    /// Where it listens; empty when it does not, and then the sentence why.
    QUrl url() const { return m_url; }
    QString error() const { return m_error; }

protected:
    void run() override
    {
        SimulatedInstrument instrument(m_settings);
        QString error;
        const bool listens = instrument.listen(error);
        m_answer.set_value({instrument.url(), error});
        if (listens)
            exec();
    }

private:
    const InstrumentSettings m_settings;
    std::promise<std::pair<QUrl, QString>> m_answer;
    QUrl m_url;
    QString m_error;
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
    const QUrl url = m_instrument->url();
    error = m_instrument->error();
    if (url.isEmpty())
        m_instrument.reset();
    return url;
}

} // namespace NoxHost
