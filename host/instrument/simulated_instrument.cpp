#include "host/instrument/simulated_instrument.h"

#include "host/instrument/listen_address.h"
#include "host/log.h"
#include "host/protocol/messages.h"

#include <algorithm>
#include <cmath>

namespace NoxHost
{

namespace
{

/// A process without free descriptors accepts nobody; some may be free again by then.
constexpr int AcceptPauseMs = 1000;

/// The source knows what of its settings is valid; without any the instrument has no channels.
InstrumentState makeState(const InstrumentSettings &settings)
{
    SimulatedSignalSource source(settings.signal);
    InstrumentParameters parameters(source.settings().channels, source.settings().pdCalibration);
    return {settings, std::move(source), std::move(parameters)};
}

} // namespace

SimulatedInstrument::SimulatedInstrument(const InstrumentSettings &settings, QObject *parent)
    : QObject(parent), m_state(makeState(settings))
{
    connect(&m_server, &QTcpServer::newConnection, this, &SimulatedInstrument::admitHosts);
    connect(&m_server, &QTcpServer::acceptError, this, [this] {
        qCWarning(hostLog()).noquote() << "a host cannot be accepted:" << m_server.errorString();
        QTimer::singleShot(AcceptPauseMs, &m_server, &QTcpServer::resumeAccepting);
    });
}

SimulatedInstrument::~SimulatedInstrument()
{
    stop();
}

bool SimulatedInstrument::listen(QString &error)
{
    const InstrumentSettings &settings = m_state.settings;
    error = settings.signal.error();
    if (error.isEmpty() && !(std::isfinite(settings.speed) && settings.speed >= 0.0))
        error = QStringLiteral("The speed must be a number of 0 or more.");
    if (error.isEmpty() && !m_server.listen(settings.address, settings.port))
        error = QStringLiteral("The instrument cannot listen on %1: %2.")
                    .arg(listenAddressText(settings.address, settings.port), m_server.errorString());
    return error.isEmpty();
}

QUrl SimulatedInstrument::url() const
{
    QUrl url;
    if (m_server.isListening()) {
        url.setScheme(QStringLiteral("tcp"));
        url.setHost(m_server.serverAddress().toString());
        url.setPort(m_server.serverPort());
    }
    return url;
}

qint64 SimulatedInstrument::mostUnsentBytes() const
{
    qint64 most = 0;
    for (const InstrumentSession *session : m_sessions)
        most = std::max(most, session->unsentBytes());
    return most;
}

void SimulatedInstrument::stop()
{
    m_server.close();
    while (!m_sessions.empty())
        m_sessions.back()->end();
}

void SimulatedInstrument::admitHosts()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        if (hostCount() >= m_state.settings.limits.hosts) {
            qCWarning(hostLog()).noquote() << "host" << listenAddressText(socket->peerAddress(), socket->peerPort())
                                           << "is turned away: there are" << hostCount() << "hosts already.";
            socket->write(writeMessage(makeErrorMessage(QStringLiteral("the instrument has too many hosts"))));
            socket->flush();
            socket->deleteLater();
            continue;
        }
        auto *session = new InstrumentSession(socket, m_state, this);
        m_sessions.push_back(session);
        connect(session, &InstrumentSession::ended, this, [this, session] { remove(session); });
        connect(session, &InstrumentSession::parameterChanged, this,
                [this, session](const QString &name, const QJsonValue &value) { tellOthers(session, name, value); });
    }
}

void SimulatedInstrument::remove(InstrumentSession *session)
{
    m_sessions.erase(std::remove(m_sessions.begin(), m_sessions.end(), session), m_sessions.end());
    session->deleteLater();
}

void SimulatedInstrument::tellOthers(const InstrumentSession *teller, const QString &name, const QJsonValue &value)
{
    // A session that ends meanwhile leaves the list.
    const std::vector<InstrumentSession *> sessions = m_sessions;
    for (InstrumentSession *session : sessions) {
        if (session != teller)
            session->tellParameter(name, value);
    }
}

} // namespace NoxHost
