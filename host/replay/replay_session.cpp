#include "host/replay/replay_session.h"

#include "connections/connection_paths.h"
#include "connections/devices/device_recorder_interface.h"
#include "connections/devices/device_request_response_provider.h"
#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "evaluation/context_keys.h"
#include "host/log.h"
#include "host/protocol/message_names.h"
#include "host/replay/recorded_periods.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"
#include "recording/recorder/pd_recorder.h"
#include "recording/replay/pd_replay_file_loader.h"
#include "recording/replay_file.h"

#include <QJsonArray>

#include <cmath>
#include <map>

namespace NoxHost
{

using namespace CommonNOX::Importer;
using CommonNOX::ConnectionStatus;
using CommonNOX::Connections::ConnectionManager;
using CommonNOX::Entries::Results::Space2D::PeriodBlockV1;
using CommonNOX::Entries::Results::Space2D::VoltageScopeV1;
namespace ContextKeys = CommonNOX::Evaluation::ContextKeys;
namespace Keys = CommonNOX::Entries::Keys;
namespace Paths = CommonNOX::Connections::Paths;
namespace Recording = CommonNOX::PD::Recording;

namespace
{

/// How long to feed between two looks at everything else.
constexpr qint64 SliceMs = 5;
constexpr int FullPauseMs = 1;
constexpr int LongestPauseMs = 20;

/// Qiec is reset, or its constants change, at once, not with a block.
bool isAtOnce(const QString &key)
{
    return key == ContextKeys::InitialQiec || key == ContextKeys::QiecTau1 || key == ContextKeys::QiecTau2;
}

/// What a recorder records; a recording from elsewhere could name any path of the tree.
bool isRecordedKey(const QString &key)
{
    return Recording::GetRequiredPdChannelRecordingParameterList().contains(QStringList(key));
}

} // namespace

ReplaySession::ReplaySession(const std::shared_ptr<Utilities::ConfigurationTree> &tree) : MeasuringSession(tree)
{
    connect(m_manager.get(), &ConnectionManager::deviceConnectStatusChanged, this, &ReplaySession::onStatus);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &ReplaySession::feed);
}

ReplaySession::~ReplaySession()
{
    close();
}

void ReplaySession::open(const QUrl &url)
{
    m_url = url;
    const QString id = m_manager->connectToDevice(url);
    if (m_connectionId.isEmpty() && !m_isEnded)
        end(QStringLiteral("there is no transport for \"%1\".").arg(url.toString()));
}

void ReplaySession::onStatus(const QString &id, const ConnectionStatus &status)
{
    if (m_isEnded || m_url.isEmpty())
        return;
    // The first connection that comes up while ours is opened is ours; its id is told only afterwards.
    if (m_connectionId.isEmpty() && status == ConnectionStatus::Connecting) {
        m_connectionId = id;
        m_connection = std::dynamic_pointer_cast<ReplayConnection>(
            m_tree->read(Paths::ConnectionLeaf(*m_tree, id))
                .value<std::shared_ptr<Shared::Communication::Connections::Connection>>());
    }
    if (id != m_connectionId)
        return;
    m_tree->write(Paths::StatusLeaf(*m_tree, id), CommonNOX::ConvertConnectStatusToString(status));
    if (status == ConnectionStatus::Established)
        onLoaded();
    else if (status == ConnectionStatus::Failed)
        end((m_connection ? m_connection->closeReason().toString() : QStringLiteral("it cannot be opened")) +
            QLatin1Char('.'));
}

void ReplaySession::onLoaded()
{
    m_loader = m_connection ? m_connection->getLoader() : nullptr;
    if (!m_loader) {
        end(QStringLiteral("\"%1\" is no recording.").arg(m_url.toString()));
        return;
    }
    if (!m_loader->getRemark().isEmpty())
        emit told(m_loader->getRemark() + QLatin1Char('.'));
    const ReplaySelection &selection = m_connection->getRequest().selection;
    if (const QString objection = objectToSelection(*m_loader, selection); !objection.isEmpty()) {
        end(objection);
        return;
    }
    auto walk = std::make_unique<ReplayWalk>(*m_loader, selection);
    m_beginnings = walk->getBeginnings();
    // All of the span may be lost.
    if (m_beginnings.empty() && (selection.fromSecond || selection.toSecond)) {
        end(QStringLiteral("the recording has no periods in this span that can be read."));
        return;
    }
    const QJsonObject announcement = gatherAnnouncement(*walk);
    m_feed = std::make_unique<ReplayFeed>(std::move(walk));
    if (!announce(m_connectionId, announcement))
        end(QStringLiteral("the recording does not tell what its device is."));
}

QJsonObject ReplaySession::gatherAnnouncement(ReplayWalk &walk)
{
    std::map<int, QString> channels;
    for (const int channel : m_loader->getChannels())
        channels[channel] = QStringLiteral("index=%1").arg(channel);
    QJsonObject parameters;
    Item item;
    while (walk.next(item)) {
        if (item.kind == Item::Kind::Block || item.kind == Item::Kind::Scope) {
            m_next = item;
            break;
        }
        if (item.kind != Item::Kind::Action)
            continue;
        const QString path = item.entry->get(Keys::Path).toString();
        const QVariant value = item.entry->get(Keys::NewValue);
        const QString prefix = Recording::ParameterPrefix + m_tree->getListSeparator();
        if (path == Recording::ChannelInformationPath && channels.count(item.channel) > 0)
            channels[item.channel] = value.toString();
        else if (item.channel == Recording::DeviceItself && path.startsWith(prefix))
            parameters.insert(path.mid(prefix.size()), QJsonValue::fromVariant(value));
        else
            m_initialActions.push_back(item);
    }
    const auto header = m_loader->getHeader();
    const auto text = [&](const CommonNOX::PropertyKey &key) { return header->get(key).toString(); };
    const auto orElse = [](const QString &value, const QString &other) { return value.isEmpty() ? other : value; };
    QJsonArray texts;
    const auto &wanted = m_connection->getRequest().selection.channels;
    for (const auto &[channel, information] : channels) {
        if (wanted.empty() || wanted.count(channel) > 0)
            texts.append(information);
    }
    QJsonObject announcement;
    announcement.insert(Wire::Announce::DeviceIdentification,
                        orElse(text(Keys::Device_ProductName), QStringLiteral("recording")));
    announcement.insert(Wire::Announce::SerialNumber, orElse(text(Keys::Device_SerialNumber), m_connectionId));
    announcement.insert(Wire::Announce::NumberOfChannels, texts.size());
    announcement.insert(Wire::Announce::SoftwareVersion, text(Keys::Device_SoftwareVersion));
    announcement.insert(Wire::Announce::FpgaVersion, text(Keys::Device_FPGAVersion));
    announcement.insert(Wire::Announce::ProductClass, text(Keys::Device_ProductClass));
    announcement.insert(Wire::Announce::ProductName, text(Keys::Device_ProductName));
    announcement.insert(Wire::Announce::Channels, texts);
    announcement.insert(Wire::Announce::Parameters, parameters);
    return announcement;
}

void ReplaySession::onDeviceRequested(const QString &identification, const QString &serial, unsigned int channels)
{
    const QString error = makeDevice(identification, serial, channels);
    if (!error.isEmpty()) {
        end(error);
        return;
    }
    Utilities::GuiContextVisitor(m_device->getContext()).setProperty(ContextKeys::IsReplayDevice, true);
    m_provider->initializeDeviceParameter(m_announcement.value(Wire::Announce::Parameters).toObject().toVariantMap(),
                                          identification);
    applyInitialSettings();
    emit ready();
}

void ReplaySession::applyInitialSettings()
{
    for (const Item &item : m_initialActions)
        applyAction(item);
    m_initialActions.clear();
    startFromStoredQiec();
}

void ReplaySession::startFromStoredQiec()
{
    if (m_overridden.contains(ContextKeys::InitialQiec))
        return;
    QStringList channels;
    for (const auto &[channel, beginning] : m_beginnings) {
        const Utilities::GuiContextVisitor context(m_device->getChannelContext(channel));
        if (context.getProperty(ContextKeys::InitialQiec, 0.0).toDouble() == beginning.qiec ||
            !std::isfinite(beginning.qiec) || !m_device->findChannel(channel))
            continue;
        context.setProperty(ContextKeys::InitialQiec, beginning.qiec);
        channels.append(QStringLiteral("channel %1 at %2").arg(channel).arg(beginning.qiec));
    }
    if (!channels.isEmpty())
        emit told(QStringLiteral("the Qiec readings go on from the recorded ones: %1.")
                      .arg(channels.join(QStringLiteral(", "))));
}

void ReplaySession::applyAction(const Item &item)
{
    const QString path = item.entry->get(Keys::Path).toString();
    const QVariant value = item.entry->get(Keys::NewValue);
    if (item.channel == Recording::DeviceItself) {
        const QString prefix = Recording::ParameterPrefix + m_tree->getListSeparator();
        if (path.startsWith(prefix))
            m_provider->noteParameterChange(path.mid(prefix.size()), value);
        return;
    }
    if (!m_device->findChannel(item.channel) || !isRecordedKey(path) || m_overridden.contains(path))
        return;
    if (isAtOnce(path) && m_barrier)
        m_barrier();
    Utilities::GuiContextVisitor(m_device->getChannelContext(item.channel)).setProperty(path, value);
}

void ReplaySession::start()
{
    m_isRunning = true;
    m_clock.start();
    m_timer.start(0);
}

void ReplaySession::close()
{
    m_isEnded = true;
    m_isRunning = false;
    m_timer.stop();
    m_feed.reset();
    if (m_connection && m_connection->isOpen())
        m_manager->disconnectFromDevice(m_connectionId, QStringLiteral("closed by the host"));
}

void ReplaySession::end(const QString &sentence)
{
    if (m_isEnded)
        return;
    close();
    emit ended(sentence);
}

bool ReplaySession::isConnected() const
{
    return m_connection && m_connection->isOpen();
}

bool ReplaySession::isLimitReached() const
{
    return m_isAtEnd || m_isLimited;
}

std::optional<double> ReplaySession::getDone() const
{
    if (m_feed)
        return m_feed->getDone();
    return m_connection ? std::optional(m_connection->getLoadingPercent() / 100.0) : std::nullopt;
}

QString ReplaySession::getEnding() const
{
    if (!m_isAtEnd || !m_feed)
        return {};
    const auto &request = m_connection->getRequest();
    QString ending = request.selection.toSecond ? QStringLiteral("the end of the span is reached")
                                                : QStringLiteral("the end of the recording is reached");
    const QString losses = describeLosses(m_feed->getLosses());
    return ending + (losses.isEmpty() ? losses : QStringLiteral("; ") + losses) + QLatin1Char('.');
}

double ReplaySession::getWait(const Item &item)
{
    if (item.kind != Item::Kind::Block)
        return 0.0;
    const auto block = std::dynamic_pointer_cast<const PeriodBlockV1>(item.entry);
    const auto period = block ? PeriodOf(*block, 0) : nullptr;
    if (!period)
        return 0.0;
    return m_pacer.getWait(period->get(Keys::StartTime).toLongLong(), period->get(Keys::SampleRate).toUInt(),
                           m_connection->getRequest().speed, double(m_clock.nsecsElapsed()) / 1e6);
}

void ReplaySession::feed()
{
    if (!m_isRunning || isLimitReached())
        return;
    const auto recorder = m_device->getRecorder();
    const qint64 begin = m_clock.elapsed();
    while (m_clock.elapsed() - begin < SliceMs) {
        if (isEvaluationFull() || (recorder && recorder->isFull())) {
            m_timer.start(FullPauseMs);
            return;
        }
        if (!m_next) {
            Item item;
            switch (m_feed->take(item)) {
            case ReplayFeed::Outcome::Item:
                m_next = std::move(item);
                break;
            case ReplayFeed::Outcome::NotYet:
                m_timer.start(FullPauseMs);
                return;
            case ReplayFeed::Outcome::End:
                m_isAtEnd = true;
                return;
            }
        }
        const double wait = getWait(*m_next);
        if (wait > 0.0) {
            m_timer.start(int(std::min<double>(std::ceil(wait), LongestPauseMs)));
            return;
        }
        if (m_next->kind == Item::Kind::Block)
            m_pacer.advance();
        const Item item = *std::exchange(m_next, std::nullopt);
        deliver(item);
        if (m_isLimited)
            return;
    }
    m_timer.start(0);
}

void ReplaySession::deliver(const Item &item)
{
    switch (item.kind) {
    case Item::Kind::Block:
        deliverBlock(item);
        break;
    case Item::Kind::Scope:
        if (const auto scope = std::dynamic_pointer_cast<const VoltageScopeV1>(item.entry))
            deliverScope(scope, item.index);
        break;
    case Item::Kind::Action:
        applyAction(item);
        break;
    case Item::Kind::Annotation:
        // A recording of the replay ends by itself, and its evaluation decides anew.
        if (const auto recorder = m_device->getRecorder();
            recorder &&
            !QStringList({Recording::EndAnnotation, Recording::InceptionAnnotation, Recording::ExtinctionAnnotation})
                 .contains(item.entry->get(Keys::Name).toString()))
            recorder->annotate(item.channel, item.entry->get(Keys::Name).toString(), item.entry->get(Keys::Value));
        break;
    }
}

void ReplaySession::deliverBlock(const Item &item)
{
    const auto block = std::dynamic_pointer_cast<const PeriodBlockV1>(item.entry);
    if (!block || !m_device->findChannel(item.channel))
        return;
    const QVariantList periods = block->get(Keys::Periods).toList();
    int count = 0;
    for (const QVariant &value : periods) {
        const auto period = CommonNOX::DataEntryFromVariant(value);
        if (!period || !m_limits.admit(item.channel, period->get(Keys::StartTime).toLongLong(),
                                       period->get(Keys::EndTime).toLongLong(), period->get(Keys::SampleRate).toUInt()))
            break;
        ++count;
    }
    if (count == periods.size()) {
        m_device->addPeriodBlock(item.channel, item.index, block);
    } else if (count > 0) {
        const auto shorter = std::make_shared<PeriodBlockV1>(*block);
        shorter->set(Keys::Periods, periods.mid(0, count));
        m_device->addPeriodBlock(item.channel, item.index, shorter);
    }
    const auto limit = m_limits.getPeriodLimit();
    const QList<CommonNOX::Devices::Channels::ChannelInformation> &channels = m_device->getChannels();
    m_isLimited =
        m_limits.isTimeOver() || (limit && std::all_of(channels.begin(), channels.end(), [&](const auto &channel) {
                                      return m_limits.getAdmitted(channel.getChannelIndex()) >= *limit;
                                  }));
}

} // namespace NoxHost
