#include "host/session/device_session.h"

#include "connections/channels/channel_information.h"
#include "connections/connection_paths.h"
#include "connections/connection_request_parsers.h"
#include "connections/devices/device_request_decoder.h"
#include "connections/devices/device_request_response_provider.h"
#include "connections/devices/pd_device.h"
#include "connections/protocols/protocol_message_response.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/voltage_scope.h"
#include "entries/property_keys.h"
#include "host/log.h"
#include "host/protocol/instrument_protocol.h"
#include "host/protocol/message_stream.h"
#include "host/pulses/period_entry.h"
#include "host/session/parameter_requests.h"
#include "host/transports/tcp_connection.h"
#include "host/transports/transports.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <QJsonArray>

#include <algorithm>

namespace NoxHost
{

using namespace CommonNOX::Devices;
using CommonNOX::Connections::ConnectionManager;
using CommonNOX::Connections::ConnectionRequestParser;
using CommonNOX::Entries::Results::Space2D::VoltageScopeV1;
using CommonNOX::Protocols::ProtocolMessageResponse;
using Shared::Communication::Protocols::ProtocolVersion;
namespace Keys = CommonNOX::Entries::Keys;
namespace Paths = CommonNOX::Connections::Paths;

namespace
{

const QString DeviceClass = QStringLiteral("pd");
const QString DeviceSeries = QStringLiteral("nox");
const QString AnnouncementLeaf = QStringLiteral("announcement");
const QString DevicesPath = QStringLiteral("devices");
const QString SerialNumberKey = QStringLiteral("serial_number");
constexpr int ResumeMs = 1;
/// A channel that is so many periods behind the others at their limit is not waited for: it is switched off.
constexpr quint64 PeriodsOfPatience = 50;

constexpr int LongestName = 256;
constexpr int MostParameters = 10'000;

/// The manager of the tree, made when there is none yet: sessions share it.
std::shared_ptr<ConnectionManager> findManager(const std::shared_ptr<Utilities::ConfigurationTree> &tree)
{
    const QString leaf = Paths::ManagerLeaf(*tree, DeviceClass, DeviceSeries, Paths::Manager);
    if (const auto manager = tree->read(leaf).value<std::shared_ptr<ConnectionManager>>())
        return manager;
    return ConnectionManager::InstallConnectionManager(
        Shared::GuiContexts::MakeReader({}, tree), DeviceClass, DeviceSeries, makeConnectionFactories(),
        &ConnectionRequestParser::CheckConnectDataForScheme, TcpConnection::DefaultTimeoutMs);
}

std::shared_ptr<DeviceRequestDecoder> findDecoder(const std::shared_ptr<Utilities::ConfigurationTree> &tree)
{
    const QString leaf = tree->joinPath({DevicesPath, AnnouncementLeaf});
    auto decoder = std::dynamic_pointer_cast<DeviceRequestDecoder>(tree->getParser(leaf));
    if (!decoder) {
        decoder = std::make_shared<DeviceRequestDecoder>();
        tree->setParser(leaf, decoder);
    }
    return decoder;
}

QList<Channels::ChannelInformation> readChannels(const QJsonArray &texts, unsigned int count)
{
    QList<Channels::ChannelInformation> channels;
    for (int i = 0; i < int(count); ++i)
        channels.append(Channels::ParseChannelInformationFromString(texts.at(i).toString(), i));
    return channels;
}

} // namespace

DeviceSession::DeviceSession(const LinkSettings &settings, const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : m_tree(tree), m_manager(findManager(tree)), m_decoder(findDecoder(tree))
{
    connect(
        m_decoder.get(), &DeviceRequestDecoder::deviceRequested, this,
        [this](const QString &identification, const QString &serial, const QString &connection, unsigned int channels) {
            if (connection == m_link->getConnectionId())
                onDeviceRequested(identification, serial, channels);
        });
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
    if (!m_device)
        return;
    QStringList devices = m_tree->read(DevicesPath).toStringList();
    devices.removeAll(m_device->getPath());
    m_tree->write(DevicesPath, devices);
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

void DeviceSession::request(const QString &parameter, const QVariant &value)
{
    m_tree->write(m_provider->getRequestPathForParameter(parameter), value);
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
    m_announcement = announcement;
    m_announcement.insert(Wire::Announce::ConnectionId, m_link->getConnectionId());
    if (!m_tree->write(m_tree->joinPath({DevicesPath, AnnouncementLeaf}), m_announcement))
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
    m_provider->initializeDeviceParameter(m_announcement.value(Wire::Announce::Parameters).toObject().toVariantMap(),
                                          identification);
    m_requests->resume();
    // A new connection counts from its own beginning.
    m_offset.reset();
    m_firstTicks.reset();
    m_secondsBefore = m_seconds;
    for (auto &channel : m_channels)
        channel.second.next.reset();
    // Who is told may start on its own.
    const bool wasRunning = m_isRunning;
    if (isNew)
        emit ready();
    else
        emit back();
    if (wasRunning && isConnected())
        start();
}

/// The sentence about what is wrong; empty when the device is there.
QString DeviceSession::makeDevice(const QString &identification, const QString &serial, unsigned int channels)
{
    if (channels == 0 || channels > MaximumChannels)
        return QStringLiteral("the instrument announces %1 channels, 1 to %2 can be measured.")
            .arg(channels)
            .arg(MaximumChannels);
    if (identification.size() > LongestName || serial.size() > LongestName ||
        m_announcement.value(Wire::Announce::Parameters).toObject().size() > MostParameters)
        return QStringLiteral("the instrument announces names or parameters beyond all bounds.");
    m_serial = serial;
    QString name = serial;
    name.replace(m_tree->getListSeparator(), QStringLiteral("_"));
    const QString path = m_tree->joinPath({DevicesPath, name});
    const auto reader = Shared::GuiContexts::MakeReader({}, m_tree);
    const QList<Channels::ChannelInformation> list =
        readChannels(m_announcement.value(Wire::Announce::Channels).toArray(), channels);
    for (int i = 0; i < list.size(); ++i) {
        const bool isTwice = std::count_if(list.begin(), list.end(), [&](const auto &other) {
                                 return other.getChannelIndex() == list[i].getChannelIndex();
                             }) > 1;
        if (!list[i].isValid() || isTwice)
            return QStringLiteral("the announcement of channel %1 is not valid.").arg(i);
    }
    m_device = std::make_shared<PdDevice>(reader, path, identification, list);
    Utilities::GuiContextVisitor(m_device->getContext()).setProperty(SerialNumberKey, serial);
    m_tree->write(DevicesPath, m_tree->read(DevicesPath).toStringList() + QStringList(path));

    m_provider = DeviceRequestResponseProvider::Install(reader, path, {{QString(), Wire::Names::Request}});
    m_provider->setConnectionPath(Paths::ConnectionGroup(*m_tree, m_link->getConnectionId()));
    m_requests = std::make_unique<ParameterRequests>(m_provider);
    for (const auto &channel : list)
        m_channels[channel.getChannelIndex()] = {};
    return {};
}

quint64 DeviceSession::hostIndex(quint64 index)
{
    if (!m_offset)
        m_offset = m_nextIndex > index ? m_nextIndex - index : 0;
    return index + *m_offset;
}

void DeviceSession::onPeriodBlock(const PeriodBlock &block)
{
    const auto found = m_channels.find(block.channel);
    const quint64 first = block.periods.front().index;
    if (found == m_channels.end()) {
        m_protocol->getStream()->reportError(QStringLiteral("there is no channel %1").arg(block.channel));
        return;
    }
    Channel &channel = found->second;
    if (channel.next && first < *channel.next) {
        m_protocol->getStream()->reportError(QStringLiteral("a block of channel %1 begins at index %2, %3 is the next")
                                                 .arg(block.channel)
                                                 .arg(first)
                                                 .arg(*channel.next));
        return;
    }
    if (channel.next)
        m_counts.missingPeriods += first - *channel.next;
    channel.next = first + block.periods.size();
    const quint64 index = hostIndex(first);
    m_nextIndex = std::max(m_nextIndex, index + block.periods.size());

    const auto cut = std::find_if_not(block.periods.begin(), block.periods.end(), [&](const RawPeriod &period) {
        const bool isWanted = (!m_periodLimit || channel.delivered < *m_periodLimit) && noteTime(period);
        channel.delivered += isWanted ? 1 : 0;
        return isWanted;
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
    if (isLimitReached())
        return;
    CommonNOX::Data::VoltageScope measured;
    if (measured.preProcess(entry) && measured.isCalibrated())
        m_kilovolts = measured.getRms();
    m_device->addVoltageScope(entry, hostIndex(scope.index));
}

void DeviceSession::onOverrun(const OverrunReport &overrun)
{
    const auto channel = m_channels.find(overrun.channel);
    if (channel == m_channels.end()) {
        m_protocol->getStream()->reportError(QStringLiteral("there is no channel %1").arg(overrun.channel));
        return;
    }
    m_counts.lostPeriods += overrun.to - overrun.from + 1;
    channel->second.next = std::max(channel->second.next.value_or(0), overrun.to + 1);
    hostIndex(overrun.from);
}

bool DeviceSession::noteTime(const RawPeriod &period)
{
    if (period.sampleRate == 0 || period.endTicks <= period.startTicks)
        return !m_isTimeOver;
    if (!m_firstTicks)
        m_firstTicks = period.startTicks;
    const auto secondsAt = [&](qint64 ticks) {
        return m_secondsBefore + (double(ticks) - double(*m_firstTicks)) / period.sampleRate;
    };
    if (m_timeLimit && secondsAt(period.startTicks) >= *m_timeLimit) {
        m_isTimeOver = true;
        return false;
    }
    m_seconds = std::max(m_seconds, secondsAt(period.endTicks));
    return true;
}

bool DeviceSession::isLimitReached() const
{
    return m_isTimeOver || (m_periodLimit && m_device && hasAllPeriods());
}

bool DeviceSession::hasAllPeriods() const
{
    quint64 newest = 0;
    for (const auto &channel : m_channels)
        newest = std::max(newest, channel.second.next.value_or(0));
    return std::all_of(m_channels.begin(), m_channels.end(), [&](const auto &entry) {
        const Channel &channel = entry.second;
        return channel.delivered >= *m_periodLimit ||
               (newest > *m_periodLimit && channel.next.value_or(0) + PeriodsOfPatience < newest);
    });
}

void DeviceSession::controlFlow()
{
    const auto stream = m_protocol ? m_protocol->getStream() : nullptr;
    const bool isFull = m_isFull && m_isFull();
    if (stream)
        stream->setPaused(isFull);
    if (!isFull)
        m_resume.stop();
    else if (!m_resume.isActive())
        m_resume.start(ResumeMs);
}

} // namespace NoxHost
