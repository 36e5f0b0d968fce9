#include "host/instrument/instrument_session.h"

#include "connections/channels/channel_information.h"
#include "host/instrument/listen_address.h"
#include "host/log.h"
#include "host/protocol/messages.h"

#include <QFile>
#include <QJsonArray>

#include <algorithm>
#include <chrono>

namespace NoxHost
{

namespace
{

using namespace std::chrono_literals;

constexpr auto SliceDuration = 2ms;
/// What a socket is given ahead: enough to keep the system busy, little enough to count for nothing in memory.
constexpr qint64 SocketBytes = 256 * 1024;
constexpr qint64 ReadBytes = 64 * 1024;
/// A host that invents names without end must not fill the log.
constexpr int MaximumUnknownNames = 100;

QString channelText(int index)
{
    using namespace CommonNOX;
    return Devices::Channels::ChannelInformation(
               index, Hardware::Coupling::Default, Hardware::Function::Pd, Hardware::SynchronisationSource::TestVoltage,
               Hardware::HardwareDestination::FromChannelIndex(index), QString(), Hardware::MultiplexerType(),
               Hardware::HardwareSourceConfiguration(), true)
        .getChannelInformationString();
}

/// An update replaces the file while the instrument runs.
QString softwareVersion(const InstrumentSettings &settings)
{
    constexpr qint64 LongestLine = 256;
    QFile file(settings.versionFile);
    if (settings.versionFile.isEmpty())
        return settings.softwareVersion;
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(hostLog).noquote()
            << QStringLiteral("the version file %1 cannot be read: %2").arg(settings.versionFile, file.errorString());
        return settings.softwareVersion;
    }
    return QString::fromUtf8(file.readLine(LongestLine)).simplified();
}

QJsonObject makeAnnouncement(const InstrumentState &instrument)
{
    using namespace Wire::Announce;
    QJsonArray channels;
    for (int index = 0; index < instrument.settings.signal.channels; ++index)
        channels.append(channelText(index));
    QJsonObject message = makeMessage(Wire::Names::Announcement);
    message.insert(ProtocolVersion, QStringLiteral("1.0"));
    message.insert(DeviceIdentification, instrument.settings.identification);
    message.insert(SerialNumber, instrument.settings.serialNumber());
    message.insert(NumberOfChannels, channels.size());
    message.insert(SoftwareVersion, softwareVersion(instrument.settings));
    message.insert(FpgaVersion, QStringLiteral("1.0"));
    message.insert(ProductClass, QStringLiteral("pd"));
    message.insert(ProductName, QStringLiteral("Simulated instrument"));
    message.insert(Channels, channels);
    message.insert(Parameters, instrument.parameters.values());
    return message;
}

} // namespace

InstrumentSession::InstrumentSession(QTcpSocket *socket, InstrumentState &shared, QObject *parent)
    : QObject(parent), m_shared(shared), m_socket(socket),
      m_host(listenAddressText(socket->peerAddress(), socket->peerPort())),
      m_run(shared.source, shared.parameters, shared.settings)
{
    m_socket->setParent(this);
    m_socket->setReadBufferSize(ReadBytes);
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_work.setSingleShot(true);
    m_work.setTimerType(Qt::PreciseTimer);
    m_watch.setSingleShot(true);
    m_watch.setTimerType(Qt::PreciseTimer);
    connect(m_socket, &QTcpSocket::readyRead, this, &InstrumentSession::readLines);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &InstrumentSession::sendQueued);
    connect(m_socket, &QTcpSocket::disconnected, this, &InstrumentSession::end);
    connect(&m_work, &QTimer::timeout, this, &InstrumentSession::work);
    connect(&m_watch, &QTimer::timeout, this, &InstrumentSession::watch);
    qCInfo(hostLog()).noquote() << "host" << m_host << "has come.";
    m_read.start();
    m_sent.start();
    send(writeMessage(makeAnnouncement(m_shared)));
    watch();
}

qint64 InstrumentSession::unsentBytes() const
{
    return m_queue.size() + m_socket->bytesToWrite();
}

void InstrumentSession::end()
{
    if (m_hasEnded)
        return;
    qCInfo(hostLog()).noquote() << "host" << m_host << "is gone.";
    close();
}

void InstrumentSession::fail(const QString &reason)
{
    if (m_hasEnded)
        return;
    qCWarning(hostLog()).noquote() << "host" << m_host << reason;
    close();
}

void InstrumentSession::close()
{
    m_hasEnded = true;
    m_work.stop();
    m_watch.stop();
    m_socket->disconnect(this);
    m_socket->flush();
    m_socket->abort();
    m_framer.clear();
    m_queue.clear();
    emit ended();
}

void InstrumentSession::readLines()
{
    m_framer.feed(m_socket->readAll());
    while (!m_hasEnded) {
        const auto line = m_framer.take();
        if (!line)
            break;
        // Whole lines count: a host's messages are short, and one that dribbles bytes is not alive.
        m_read.start();
        handleLine(*line);
    }
}

void InstrumentSession::handleLine(const LineFramer::Line &line)
{
    if (line.isTooLong)
        return refuse(QStringLiteral("the line is longer than %1 bytes").arg(Wire::MaximumLineBytes));
    const WireMessage message = readMessage(line.bytes);
    if (!message.error.isEmpty())
        return refuse(message.error);
    const QJsonValue id = message.object.value(Wire::Id);
    if (!id.isUndefined() && !id.isDouble())
        return refuse(QStringLiteral("\"id\" is not a number"));
    if (message.name == Wire::Names::Request)
        return handleRequest(message.object);
    m_errorsInARow = 0;
    if (message.name == Wire::Names::Start || message.name == Wire::Names::Stop) {
        handleRun(message.name, message.object);
    } else if (message.name == Wire::Names::Error) {
        qCWarning(hostLog()).noquote() << "host" << m_host << "reports an error:"
                                       << printableText(message.object.value(Wire::Reason).toString());
    } else if (message.name != Wire::Names::Heartbeat && m_unknownNames.size() < MaximumUnknownNames) {
        const QString name = printableText(message.name);
        if (!m_unknownNames.contains(name)) {
            m_unknownNames.insert(name);
            qCWarning(hostLog()).noquote() << "host" << m_host << "sends unknown messages:" << name;
        }
    }
}

void InstrumentSession::handleRun(const QString &name, const QJsonObject &message)
{
    const bool isStart = name == Wire::Names::Start;
    if (!isStart) {
        // All channels end with the same period.
        while (m_run.isWithinPeriod())
            send(m_run.step(unsentBytes()));
        send(m_run.stop());
    }
    answer(message, Wire::Run, isStart, QString());
    if (isStart)
        m_run.start();
    m_work.start(0);
}

void InstrumentSession::handleRequest(const QJsonObject &message)
{
    const QJsonValue name = message.value(Wire::Parameter);
    if (!name.isString())
        return refuse(QStringLiteral("a request has no text \"parameter\""));
    m_errorsInARow = 0;
    const auto outcome = m_shared.parameters.set(name.toString(), message.value(Wire::Value));
    answer(message, name.toString(), outcome.value, outcome.reason);
    if (outcome.isChanged)
        emit parameterChanged(name.toString(), outcome.value);
}

void InstrumentSession::refuse(const QString &reason)
{
    qCWarning(hostLog()).noquote() << "host" << m_host << "breaks the protocol:" << reason;
    send(writeMessage(makeErrorMessage(reason)));
    if (++m_errorsInARow >= Wire::MaximumErrorsInARow)
        fail(QStringLiteral("is left after %1 errors in a row.").arg(m_errorsInARow));
}

void InstrumentSession::answer(const QJsonObject &message, const QString &parameter, const QJsonValue &value,
                               const QString &reason)
{
    QJsonObject response = makeMessage(Wire::Names::Response);
    const QJsonValue id = message.value(Wire::Id);
    if (!id.isUndefined())
        response.insert(Wire::Id, id);
    response.insert(Wire::Parameter, parameter);
    if (!value.isUndefined())
        response.insert(Wire::Value, value);
    response.insert(Wire::Status, reason.isEmpty() ? Wire::StatusOk : Wire::StatusRejected);
    if (!reason.isEmpty())
        response.insert(Wire::Reason, reason);
    send(writeMessage(response));
}

void InstrumentSession::tellParameter(const QString &name, const QJsonValue &value)
{
    // A host that reads nothing learns the last value of each, however often they change.
    m_untold.insert(name, value);
    sendQueued();
}

void InstrumentSession::work()
{
    const auto sliceEnd = std::chrono::steady_clock::now() + SliceDuration;
    do {
        const auto wait = m_run.waitMs();
        // At speed 0 the next bytes that leave begin the next slice.
        if (m_hasEnded || !wait ||
            (m_shared.settings.speed == 0.0 && unsentBytes() >= m_shared.settings.limits.unpacedBytes))
            return;
        if (*wait > 0)
            return m_work.start(int(*wait));
        send(m_run.step(unsentBytes()));
    } while (std::chrono::steady_clock::now() < sliceEnd);
    m_work.start(0);
}

void InstrumentSession::watch()
{
    const InstrumentLimits &limits = m_shared.settings.limits;
    const qint64 silence = limits.silenceMs - m_read.elapsed();
    if (silence <= 0)
        return fail(QStringLiteral("was silent for %1 s.").arg(limits.silenceMs / 1000.0));
    // Nobody waits for a heartbeat behind bytes that wait to be read.
    if (m_sent.elapsed() >= limits.heartbeatMs && unsentBytes() == 0)
        send(writeMessage(makeMessage(Wire::Names::Heartbeat)));
    const qint64 heartbeat = limits.heartbeatMs - m_sent.elapsed();
    if (!m_hasEnded)
        m_watch.start(int(std::min(silence, heartbeat > 0 ? heartbeat : limits.heartbeatMs)));
}

void InstrumentSession::send(const QByteArray &bytes)
{
    if (m_hasEnded || bytes.isEmpty())
        return;
    m_sent.start();
    m_queue.append(bytes);
    sendQueued();
    const InstrumentLimits &limits = m_shared.settings.limits;
    if (unsentBytes() > limits.unsentBytes + limits.answerBytes)
        fail(QStringLiteral("does not read its answers."));
}

void InstrumentSession::sendQueued()
{
    if (m_hasEnded)
        return;
    m_sent.start();
    if (!m_untold.isEmpty() && unsentBytes() <= m_shared.settings.limits.unsentBytes) {
        for (auto change = m_untold.cbegin(); change != m_untold.cend(); ++change) {
            QJsonObject message = makeMessage(Wire::Names::ParameterChange);
            message.insert(Wire::Parameter, change.key());
            message.insert(Wire::Value, change.value());
            m_queue.append(writeMessage(message));
        }
        m_untold.clear();
    }
    while (m_queue.size() > 0 && m_socket->bytesToWrite() < SocketBytes) {
        const QByteArray bytes = m_queue.take();
        // Copied: the socket would share the array, and with it the room that it has not filled.
        m_socket->write(bytes.constData(), bytes.size());
    }
    if (m_run.isRunning() && !m_work.isActive() && m_shared.settings.speed == 0.0)
        m_work.start(0);
}

} // namespace NoxHost
