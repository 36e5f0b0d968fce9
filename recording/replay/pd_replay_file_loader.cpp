#include "recording/replay/pd_replay_file_loader.h"

#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_pd.h"
#include "entries/log.h"
#include "entries/property_keys.h"
#include "recording/replay_file.h"

#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <limits>

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using namespace Entries::Recording;
using namespace PD::Recording;
using Entries::Results::Space2D::PeriodBlockV1;
namespace Keys = Entries::Keys;

namespace
{

/// Runs of time elements that are kept, of all channels together: 16 MB.
constexpr std::size_t MostRuns = 512;
/// A file with more is none that an instrument made.
constexpr int MostChannels = 1024;

/// What is remarkable about a file that could be opened.
QString describeOpening(const StorageMonitor &monitor)
{
    if (const auto recovery = monitor.getRecovery()) {
        const QString state = recovery->wasClosed ? QStringLiteral("the recording is damaged")
                                                  : QStringLiteral("the recording was not closed and is damaged");
        return recovery->found > 0 ? QStringLiteral("%1: %2 of %3 entries came back, in \"%4\"")
                                         .arg(state, QString::number(recovery->restored),
                                              QString::number(recovery->found), recovery->path)
                                   : QStringLiteral("%1; \"%2\" holds what came back").arg(state, recovery->path);
    }
    if (monitor.wasInterrupted())
        return QStringLiteral("the recording was not closed; all of its entries are intact");
    if (monitor.getReader()->getState() == StorageReader::State::BeingWritten)
        return QStringLiteral("the recording is still being written");
    return {};
}

} // namespace

PdReplayFileLoader::PdReplayFileLoader(QObject *parent) : DeviceReplayDataContainer(parent) {}

PdReplayFileLoader::~PdReplayFileLoader()
{
    qCInfo(libraryLog()) << "PdReplayFileLoader::~PdReplayFileLoader()";
}

bool PdReplayFileLoader::setFileInformation(const QFileInfo &fileInformation)
{
    qCInfo(libraryLog()).noquote() << QStringLiteral("PdReplayFileLoader::setFileInformation() fileInformation=") +
                                          fileInformation.filePath();
    m_fileInformation = fileInformation;
    return fileInformation.isFile();
}

bool PdReplayFileLoader::fail(const QString &error)
{
    m_error = m_isCancelled ? QStringLiteral("interrupted") : error;
    publishNewFileStatus(ReplayFileStatus::Failed);
    return false;
}

void PdReplayFileLoader::cancel()
{
    m_isCancelled = true;
}

bool PdReplayFileLoader::loadReplayFile()
{
    qCInfo(libraryLog()) << "PdReplayFileLoader::loadReplayFile()";
    publishNewFileStatus(ReplayFileStatus::Loading);
    enterStage(LoadingStage::OpenStorage);
    const QString path = m_fileInformation.absoluteFilePath();
    if (!m_fileInformation.isFile())
        return fail(QStringLiteral("\"%1\" is no file").arg(m_fileInformation.filePath()));
    const auto monitor = std::make_shared<StorageMonitor>(
        MakeStorageIdentifier(path), path, QStandardPaths::writableLocation(QStandardPaths::CacheLocation));
    // The stage is of one step a percent, however long the look through the file takes.
    monitor->setProgressReceiver([this](double done) { return advanceTo(done); });
    setStorageMonitor(monitor);
    connect(monitor.get(), &StorageMonitor::loadStatusChanged, this,
            &DeviceReplayDataContainer::onStorageLoadStatusChanged, Qt::DirectConnection);
    if (!monitor->load())
        return fail(monitor->getError());
    m_remark = describeOpening(*monitor);
    enterStage(LoadingStage::Header);
    if (!extractHeaderInformation()) {
        // The settings tell of the channels, and the rest is worth no less without it.
        if (getReader()->findKinds(TypeOf<PeriodBlockV1>()).empty())
            return fail(QStringLiteral("\"%1\" has no header that can be read").arg(path));
        useEmptyHeader();
        m_remark += (m_remark.isEmpty() ? QString() : QStringLiteral("; ")) +
                    QStringLiteral("the header of the recording cannot be read");
    }
    if (!advanceTo(1.0))
        return fail({});
    emit fileLoadingFinished();
    return true;
}

bool PdReplayFileLoader::buildReplayFileIndex()
{
    qCInfo(libraryLog()) << "PdReplayFileLoader::buildReplayFileIndex()";
    if (!getReader() || !getHeader())
        return fail(QStringLiteral("there is no replay file to build an index of"));
    publishNewFileStatus(ReplayFileStatus::BuildingIndex);
    m_navigations.clear();
    m_statuses.clear();
    m_positions.clear();
    enterStage(LoadingStage::EntryLists);
    if (!listEntryLoaders())
        return fail({});
    if (!initializeChannelTimeSpans() || !initializeChannelTimeNavigation() || !initializePeriodUuidNavigation())
        return fail(QStringLiteral("the time lines of \"%1\" cannot be read").arg(m_fileInformation.filePath()));
    publishNewFileStatus(ReplayFileStatus::Loaded);
    emit indexBuildingFinished();
    return true;
}

bool PdReplayFileLoader::initializeChannelTimeSpans()
{
    qCInfo(libraryLog()) << "PdReplayFileLoader::initializeChannelTimeSpans()";
    enterStage(LoadingStage::TimeSpans);
    const auto reader = getReader();
    struct Kinds
    {
        int elements = 0;
        int blocks = 0;
    };
    std::map<int, Kinds> channels;
    const auto note = [&](const QString &type, int Kinds::*member) {
        for (const int number : reader->findKinds(type)) {
            const auto channel = ParseClassification(reader->getKind(number)->classification);
            const bool isPacked = reader->getKind(number)->recordSize != 0;
            if (channel && *channel >= 0 && *channel < MostChannels && isPacked == (member == &Kinds::elements))
                channels[*channel].*member = number;
        }
    };
    note(TypeOf<PdTimeNavigationElementV1>(), &Kinds::elements);
    note(TypeOf<PeriodBlockV1>(), &Kinds::blocks);
    int done = 0;
    for (const auto &[channel, kinds] : channels) {
        const auto navigation = std::make_shared<ChannelTimeNavigation>(reader, channel, kinds.elements, kinds.blocks,
                                                                        MostRuns / channels.size());
        const double before = double(done++) / double(channels.size());
        if (!navigation->readSpans([&](double part) { return advanceTo(before + part / double(channels.size())); }))
            return false;
        m_navigations[channel] = navigation;
    }
    return true;
}

RecordingOrigin PdReplayFileLoader::findOrigin() const
{
    const auto reader = getReader();
    qint64 first = std::numeric_limits<qint64>::max();
    for (const auto &navigation : m_navigations) {
        const int kind = navigation.second->getBlockKind();
        const auto rows = reader->listRows(kind, {std::numeric_limits<qint64>::min(), 0}, 1);
        if (!rows.empty())
            first = std::min(first, rows.front().id);
    }
    const auto block = ReadBlock(*reader, first);
    const auto period = block ? PeriodOf(*block, 0) : nullptr;
    if (!period || period->get(Keys::SampleRate).toUInt() == 0)
        return {};
    return {period->get(Keys::StartTime).toLongLong()};
}

bool PdReplayFileLoader::initializeChannelTimeNavigation()
{
    qCInfo(libraryLog()) << "PdReplayFileLoader::initializeChannelTimeNavigation()";
    enterStage(LoadingStage::TimeNavigation);
    const RecordingOrigin origin = findOrigin();
    int done = 0;
    for (const auto &[channel, navigation] : m_navigations) {
        const double before = double(done++) / double(m_navigations.size());
        if (!navigation->fillHoles(
                origin, [&](double part) { return advanceTo(before + part / double(m_navigations.size())); }))
            return false;
        createChannelReplayStatus(channel);
        createChannelTimePosition(channel);
    }
    // What it ties to places is not needed to play, and is read when it is asked for.
    enterStage(LoadingStage::GlobalNavigation);
    return advanceTo(1.0);
}

bool PdReplayFileLoader::initializePeriodUuidNavigation()
{
    qCInfo(libraryLog()) << "PdReplayFileLoader::initializePeriodUuidNavigation()";
    // A uuid tells the number of its element; nothing has to be listed.
    enterStage(LoadingStage::PeriodUuids);
    return advanceTo(1.0);
}

void PdReplayFileLoader::createChannelReplayStatus(int channel)
{
    const auto navigation = m_navigations.at(channel);
    const auto status = std::make_shared<ChannelReplayStatus>(channel, navigation);
    const quint64 most = std::numeric_limits<unsigned int>::max();
    if (navigation->getCount() > 0)
        status->span.span = {0, unsigned(std::min(navigation->getCount() - 1, most - 1))};
    m_statuses[channel] = status;
}

void PdReplayFileLoader::createChannelTimePosition(int channel)
{
    m_positions[channel] = std::make_shared<ChannelTimePosition>();
}

int PdReplayFileLoader::getNumberOfChannels() const
{
    return m_navigations.empty() ? 0 : m_navigations.rbegin()->first + 1;
}

QList<int> PdReplayFileLoader::getChannels() const
{
    QList<int> channels;
    for (const auto &navigation : m_navigations)
        channels.append(navigation.first);
    return channels;
}

namespace
{

template <class Map>
typename Map::mapped_type findIn(const Map &map, int channel)
{
    const auto found = map.find(channel);
    return found == map.end() ? nullptr : found->second;
}

} // namespace

std::shared_ptr<ChannelReplayStatus> PdReplayFileLoader::getChannelReplayStatus(int channel)
{
    return findIn(m_statuses, channel);
}

std::shared_ptr<const ChannelReplayStatus> PdReplayFileLoader::getChannelReplayStatus(int channel) const
{
    return findIn(m_statuses, channel);
}

std::shared_ptr<ChannelTimePosition> PdReplayFileLoader::getChannelReplayPosition(int channel)
{
    return findIn(m_positions, channel);
}

std::shared_ptr<const ChannelTimePosition> PdReplayFileLoader::getChannelReplayPosition(int channel) const
{
    return findIn(m_positions, channel);
}

std::shared_ptr<const ChannelTimeNavigation> PdReplayFileLoader::getChannelTimeNavigation(int channel) const
{
    return findIn(m_navigations, channel);
}

std::vector<ChannelTimeNavigation::Mark> PdReplayFileLoader::getMarks(int channel) const
{
    const auto navigation = findIn(m_navigations, channel);
    const auto status = findIn(m_statuses, channel);
    if (!navigation || !status)
        return {};
    const std::lock_guard guard(status->mutex);
    if (navigation->getMarks().empty())
        extractGlobalNavigationInformation(*status, *navigation);
    return navigation->getMarks();
}

std::optional<TimeRecord> PdReplayFileLoader::findPeriod(int channel, const QString &periodUuid) const
{
    const auto navigation = getChannelTimeNavigation(channel);
    const auto number = navigation ? navigation->toNumber(periodUuid) : std::nullopt;
    return number ? navigation->find(*number) : std::nullopt;
}

void PdReplayFileLoader::onThreadMoveRequested(QThread *thread)
{
    // Only from where it lives, and never without those that it belongs to.
    if (!thread || parent() || QThread::currentThread() != this->thread()) {
        qCWarning(libraryLog()) << "PdReplayFileLoader::onThreadMoveRequested() cannot move to thread=" << thread;
        return;
    }
    moveToThread(thread);
}

} // namespace CommonNOX::Importer
