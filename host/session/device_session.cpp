#include "host/session/device_session.h"

#include "connections/connection_paths.h"
#include "connections/devices/device_recorder_interface.h"
#include "connections/devices/device_request_response_provider.h"
#include "connections/protocols/protocol_message_response.h"
#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "host/log.h"
#include "host/protocol/instrument_protocol.h"
#include "host/protocol/message_stream.h"
#include "host/pulses/period_entry.h"
#include "host/session/parameter_requests.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"
#include "recording/replay_file.h"

#include <algorithm>

namespace NoxHost
{

using namespace CommonNOX::Devices;
using CommonNOX::Entries::Results::Space2D::VoltageScopeV1;
using CommonNOX::Protocols::ProtocolMessageResponse;
using Shared::Communication::Protocols::ProtocolVersion;
namespace Keys = CommonNOX::Entries::Keys;
namespace Paths = CommonNOX::Connections::Paths;
namespace Recording = CommonNOX::PD::Recording;

namespace
{

constexpr int ResumeMs = 1;
constexpr int RecorderPatienceMs = 5000;
/// A channel that is so many periods behind the others at their limit is not waited for: it is switched off.
constexpr quint64 PeriodsOfPatience = 50;

} // namespace

DeviceSession::DeviceSession(const LinkSettings &settings, const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : MeasuringSession(tree)
{
    m_link = std::make_unique<DeviceLink>(m_manager, tree, settings);
    connect(m_link.get(), &DeviceLink::announced, this, &DeviceSession::onAnnounced);
    connect(m_link.get(), &DeviceLink::ended, this, [this](const QString &sentence) {
        // What has been read but not looked at yet has no receiver any more.
        if (m_protocol)
            m_protocol->detach();
        emit ended(sentence);
    });
    connect(m_link.get(), &DeviceLink::lost, this, [this](const QString &reason) {
        ++m_counts.interruptions;
        annotate(Recording::DeviceItself, Recording::GapAnnotation,
                 QStringLiteral("the connection was lost: %1").arg(reason));
        m_protocol->detach();
        m_requests->suspend();
        emit lost(reason);
    });
    connect(&m_resume, &QTimer::timeout, this, &DeviceSession::controlFlow);
}

DeviceSession::~DeviceSession()
{
    close();
    m_subscriptions.clear();
}

void DeviceSession::open(const QUrl &url)
{
    m_link->open(url);
}

void DeviceSession::start()
{
    m_isRunning = true;
    if (m_protocol && m_protocol->getStream())
        m_tree->write(m_tree->joinPath({m_protocol->getContextPath(), Wire::Names::Start}), QJsonObject());
}

void DeviceSession::close()
{
    if (m_isRunning && isConnected())
        m_tree->write(m_tree->joinPath({m_protocol->getContextPath(), Wire::Names::Stop}), QJsonObject());
    m_isRunning = false;
    m_resume.stop();
    if (m_protocol)
        m_protocol->detach();
    m_link->close();
}

bool DeviceSession::isConnected() const
{
    return m_protocol && m_protocol->getStream();
}

void DeviceSession::onAnnounced(const QString &version, const QJsonObject &announcement,
                                const std::shared_ptr<MessageStream> &stream)
{
    if (!m_protocol) {
        const QString path = Paths::ProtocolGroup(*m_tree, m_link->getConnectionId());
        m_protocol = std::make_unique<InstrumentProtocol>(ProtocolVersion::FromString(version));
        m_protocol->installProtocol(Shared::GuiContexts::MakeReader(path, m_tree), m_link->getConnection());
        connect(m_protocol.get(), &InstrumentProtocol::periodBlockReceived, this, &DeviceSession::onPeriodBlock);
        connect(m_protocol.get(), &InstrumentProtocol::voltageScopeReceived, this, &DeviceSession::onVoltageScope);
        connect(m_protocol.get(), &InstrumentProtocol::overrunReceived, this, &DeviceSession::onOverrun);
        connect(m_protocol.get(), &InstrumentProtocol::parameterChanged, this,
                [this](const QString &parameter, const QVariant &value) {
                    m_provider->noteParameterChange(parameter, value);
                });
        const QString requests = m_tree->joinPath({path, Wire::Names::Request});
        m_subscriptions.push_back(m_tree->subscribe(requests, [this](const QString &, const QVariant &value) {
            const QJsonObject response = value.value<ProtocolMessageResponse>().getPayload().toJsonObject();
            if (!m_requests->takeResponse(response))
                qCWarning(hostLog()).noquote() << "a response came that nobody asked for, parameter"
                                               << response.value(Wire::Parameter).toString().left(80);
        }));
        const QString runs = m_tree->joinPath({path, Wire::Names::Start});
        m_subscriptions.push_back(m_tree->subscribe(runs, [this](const QString &, const QVariant &value) {
            const QJsonObject response = value.value<ProtocolMessageResponse>().getPayload().toJsonObject();
            if (response.value(Wire::Status).toString() == Wire::StatusRejected)
                m_link->giveUp(QStringLiteral("the instrument does not measure: %1.")
                                   .arg(response.value(Wire::Reason).toString()));
        }));
    }
    m_protocol->attach(stream);
    if (!announce(m_link->getConnectionId(), announcement))
        m_link->giveUp(QStringLiteral("the instrument's announcement is not complete."));
}

void DeviceSession::onDeviceRequested(const QString &identification, const QString &serial, unsigned int channels)
{
    const bool isNew = !m_device;
    QString error;
    if (isNew)
        error = makeDevice(identification, serial, channels);
    else if (identification != m_device->getIdentification() || serial != m_serial ||
             int(channels) != m_device->getChannels().size())
        error = QStringLiteral("another instrument answers now: %1 %2 with %3 channels.")
                    .arg(identification, serial)
                    .arg(channels);
    if (!error.isEmpty()) {
        m_link->giveUp(error);
        return;
    }
    if (isNew) {
        m_requests = std::make_unique<ParameterRequests>(m_provider);
        for (const auto &channel : m_device->getChannels())
            m_next[channel.getChannelIndex()] = std::nullopt;
    }
    m_provider->initializeDeviceParameter(m_announcement.value(Wire::Announce::Parameters).toObject().toVariantMap(),
                                          identification);
    m_requests->resume();
    // A new connection counts from its own beginning.
    m_offset.reset();
    m_limits.restartClock();
    for (auto &next : m_next)
        next.second.reset();
    // Who is told may start on its own.
    const bool wasRunning = m_isRunning;
    if (isNew)
        emit ready();
    else
        emit back();
    if (wasRunning && isConnected())
        start();
}

quint64 DeviceSession::hostIndex(quint64 index)
{
    if (!m_offset)
        m_offset = m_nextIndex > index ? m_nextIndex - index : 0;
    return index + *m_offset;
}

void DeviceSession::onPeriodBlock(const PeriodBlock &block)
{
    const auto found = m_next.find(block.channel);
    const quint64 first = block.periods.front().index;
    if (found == m_next.end()) {
        m_protocol->getStream()->reportError(QStringLiteral("there is no channel %1").arg(block.channel));
        return;
    }
    std::optional<quint64> &next = found->second;
    if (next && first < *next) {
        m_protocol->getStream()->reportError(QStringLiteral("a block of channel %1 begins at index %2, %3 is the next")
                                                 .arg(block.channel)
                                                 .arg(first)
                                                 .arg(*next));
        return;
    }
    if (next)
        m_counts.missingPeriods += first - *next;
    next = first + block.periods.size();
    const quint64 index = hostIndex(first);
    m_nextIndex = std::max(m_nextIndex, index + block.periods.size());

    const auto cut = std::find_if_not(block.periods.begin(), block.periods.end(), [&](const RawPeriod &period) {
        return m_limits.admit(block.channel, period.startTicks, period.endTicks, period.sampleRate);
    });
    if (cut != block.periods.begin())
        m_device->addPeriodBlock(block.channel, index, makePeriodBlock({block.periods.begin(), cut}));
    controlFlow();
}

void DeviceSession::onVoltageScope(const WireVoltageScope &scope)
{
    const auto entry = std::make_shared<VoltageScopeV1>();
    entry->set(Keys::SampleRate, scope.sampleRate);
    entry->set(Keys::Samples, QVariant::fromValue(scope.samples));
    entry->set(Keys::HardwareCorrection, scope.hardwareCorrection);
    entry->set(Keys::Calibration, scope.calibration);
    if (!isLimitReached())
        deliverScope(entry, hostIndex(scope.index));
}

void DeviceSession::onOverrun(const OverrunReport &overrun)
{
    const auto next = m_next.find(overrun.channel);
    if (next == m_next.end()) {
        m_protocol->getStream()->reportError(QStringLiteral("there is no channel %1").arg(overrun.channel));
        return;
    }
    m_counts.lostPeriods += overrun.to - overrun.from + 1;
    next->second = std::max(next->second.value_or(0), overrun.to + 1);
    annotate(overrun.channel, Recording::OverrunAnnotation,
             QStringLiteral("the instrument dropped the periods %1 to %2")
                 .arg(hostIndex(overrun.from))
                 .arg(hostIndex(overrun.to)));
}

void DeviceSession::annotate(int channel, const QString &name, const QString &text) const
{
    if (const auto recorder = m_device ? m_device->getRecorder() : nullptr)
        recorder->annotate(channel, name, text);
}

bool DeviceSession::isLimitReached() const
{
    return m_limits.isTimeOver() || (m_limits.getPeriodLimit() && m_device && hasAllPeriods());
}

bool DeviceSession::hasAllPeriods() const
{
    const quint64 limit = *m_limits.getPeriodLimit();
    quint64 newest = 0;
    for (const auto &next : m_next)
        newest = std::max(newest, next.second.value_or(0));
    return std::all_of(m_next.begin(), m_next.end(), [&](const auto &entry) {
        return m_limits.getAdmitted(entry.first) >= limit ||
               (newest > limit && entry.second.value_or(0) + PeriodsOfPatience < newest);
    });
}

/// Whether the recorder asks to wait. A disk that does not keep up for long must not cost the measurement: then the
/// recording ends for what it has not written.
bool DeviceSession::isRecorderFull()
{
    const auto recorder = m_device ? m_device->getRecorder() : nullptr;
    if (!recorder || !recorder->isFull()) {
        m_recorderFullSince.invalidate();
        return false;
    }
    if (!m_recorderFullSince.isValid())
        m_recorderFullSince.start();
    return m_recorderFullSince.elapsed() < RecorderPatienceMs;
}

void DeviceSession::controlFlow()
{
    const auto stream = m_protocol ? m_protocol->getStream() : nullptr;
    const bool isFull = isEvaluationFull() || isRecorderFull();
    if (stream)
        stream->setPaused(isFull);
    if (!isFull)
        m_resume.stop();
    else if (!m_resume.isActive())
        m_resume.start(ResumeMs);
}

} // namespace NoxHost
