#include "recording/replay/device_replay_data_container.h"

#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_pd.h"
#include "entries/log.h"
#include "entries/property_keys.h"
#include "platform/storage/element_loader.h"
#include "platform/storage/storages.h"
#include "recording/replay/header_reader.h"
#include "recording/replay/mark_reader.h"
#include "recording/replay_file.h"

#include <QFileInfo>

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using namespace Entries::Recording;
using namespace Entries::Results::Space2D;
using namespace PD::Recording;
namespace Keys = Entries::Keys;

namespace
{

constexpr int StepsOfStage = 100;

} // namespace

DeviceReplayDataContainer::DeviceReplayDataContainer(QObject *parent) : QObject(parent) {}

DeviceReplayDataContainer::~DeviceReplayDataContainer() = default;

QString DeviceReplayDataContainer::getDeviceIdentification() const
{
    if (!m_header)
        return {};
    const QString name = m_header->get(Keys::Device_ProductName).toString();
    return QStringList({name, getSerialNumber()}).join(QLatin1Char(' ')).trimmed();
}

QString DeviceReplayDataContainer::getInstanceIdentification() const
{
    if (!m_reader)
        return {};
    return QStringList({getDeviceIdentification(), QFileInfo(m_reader->getPath()).fileName()})
        .join(QLatin1Char(' '))
        .trimmed();
}

QString DeviceReplayDataContainer::getSerialNumber() const
{
    return m_header ? m_header->get(Keys::Device_SerialNumber).toString() : QString();
}

QList<DeviceReplayDataContainer::EntryLoaderPtr>
DeviceReplayDataContainer::getEntryMonitorsByClassification(const QString &classification) const
{
    QList<EntryLoaderPtr> found;
    for (const EntryLoaderPtr &loader : m_loaders) {
        if (loader->getClassification() == classification)
            found.append(loader);
    }
    return found;
}

QList<DeviceReplayDataContainer::EntryLoaderPtr>
DeviceReplayDataContainer::getEntryMonitorsByClassificationAndChannel(const QString &classification, int channel) const
{
    qCInfo(libraryLog()).noquote()
        << QStringLiteral("DeviceReplayDataContainer::getEntryMonitorsByClassificationAndChannel() classification=") +
               classification
        << QStringLiteral("channelIndex=%1").arg(channel);
    QList<EntryLoaderPtr> found;
    for (const EntryLoaderPtr &loader : getEntryMonitorsByClassification(classification)) {
        if (loader->getChannelIndex() == channel)
            found.append(loader);
    }
    return found;
}

template <class Entry>
std::shared_ptr<const Entry> DeviceReplayDataContainer::findEntry(int channel, const QString &uuid,
                                                                  bool isOfDevice) const
{
    if (!m_reader)
        return nullptr;
    const LoadedElement element = LoadElement(*m_reader, uuid);
    const auto owner = ParseClassification(element.kind.classification);
    if (!element.value || !owner || (*owner != channel && !(isOfDevice && *owner == DeviceItself)))
        return nullptr;
    return std::dynamic_pointer_cast<const Entry>(DataEntryFromVariant(*element.value));
}

PeriodBlockConstPtr DeviceReplayDataContainer::getPeriodBlockByUuid(int channel, const QString &uuid) const
{
    qCDebug(libraryLog()).noquote() << QStringLiteral(
                                           "DeviceReplayDataContainer::getPeriodBlockByUuid() channelIndex=%1 uuid=%2")
                                           .arg(channel)
                                           .arg(uuid);
    return findEntry<PeriodBlockV1>(channel, uuid, false);
}

std::shared_ptr<const VoltageScopeV1> DeviceReplayDataContainer::getVoltageScopeByUuid(int channel,
                                                                                       const QString &uuid) const
{
    qCDebug(libraryLog()).noquote() << QStringLiteral(
                                           "DeviceReplayDataContainer::getVoltageScopeByUuid() channelIndex=%1 uuid=%2")
                                           .arg(channel)
                                           .arg(uuid);
    return findEntry<VoltageScopeV1>(channel, uuid, true);
}

std::shared_ptr<const PdReplayActionV1> DeviceReplayDataContainer::getReplayActionByUuid(int channel,
                                                                                         const QString &uuid) const
{
    qCDebug(libraryLog()).noquote() << QStringLiteral(
                                           "DeviceReplayDataContainer::getReplayActionByUuid() channelIndex=%1 uuid=%2")
                                           .arg(channel)
                                           .arg(uuid);
    return findEntry<PdReplayActionV1>(channel, uuid, false);
}

std::shared_ptr<const PdReplayAnnotationV1>
DeviceReplayDataContainer::getReplayAnnotationByUuid(int channel, const QString &uuid) const
{
    qCDebug(libraryLog()).noquote()
        << QStringLiteral("DeviceReplayDataContainer::getReplayAnnotationByUuid() channelIndex=%1 uuid=%2")
               .arg(channel)
               .arg(uuid);
    return findEntry<PdReplayAnnotationV1>(channel, uuid, false);
}

bool DeviceReplayDataContainer::updatePeriodInformationForChannelTimePosition(ChannelReplayStatus &status,
                                                                              const ChannelTimePosition &position) const
{
    if (m_status.getStatus() != ReplayFileStatus::Loaded) {
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceReplayDataContainer::updatePeriodInformationForChannelTimePosition() "
                              "channelReplayStatus=%1")
                   .arg(status.channel);
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceReplayDataContainer::updatePeriodInformationForChannelTimePosition() "
                              "loadStatus=%1")
                   .arg(int(m_status.getStatus()));
        return false;
    }
    return updatePeriodInformationForNavigationIndex(status, position.get());
}

bool DeviceReplayDataContainer::updatePeriodInformationForNavigationIndex(ChannelReplayStatus &status,
                                                                          quint64 position) const
{
    status.period.reset();
    status.element = {};
    return extractPeriodInformationFromTimeNavigation(status, position);
}

bool DeviceReplayDataContainer::extractPeriodInformationFromTimeNavigation(ChannelReplayStatus &status,
                                                                           quint64 position) const
{
    if (position > status.span.span.getUpper() || status.span.span.isEmpty()) {
        if (!std::exchange(status.span.isFinished, true))
            qCInfo(libraryLog()).noquote()
                << QStringLiteral("DeviceReplayDataContainer::extractPeriodInformationFromTimeNavigation() replay "
                                  "finished for channel=%1")
                       .arg(status.channel);
        return false;
    }
    const auto element = status.navigation->find(position);
    if (!element)
        return false;
    status.element = *element;
    const auto isKept = [&] {
        return status.blockRow == qint64(element->block) && element->periodOffset < status.periods.size() &&
               status.periods[element->periodOffset];
    };
    if (!isKept()) {
        status.blockRow = qint64(element->block);
        status.periods.clear();
        if (const auto block = ReadBlock(*m_reader, status.blockRow))
            status.periods = TakePeriods(*block);
    }
    // Who gets the period may change it: it is not kept.
    if (isKept())
        status.period = std::move(status.periods[element->periodOffset]);
    return status.period != nullptr;
}

void DeviceReplayDataContainer::onStorageLoadStatusChanged(StorageMonitor::LoadStatus status)
{
    if (status != StorageMonitor::LoadStatus::Loaded)
        return;
    m_reader = m_monitor ? m_monitor->getReader() : nullptr;
    if (!m_reader)
        qCWarning(libraryLog()) << "PdReplayFileLoader::onStorageLoadStatusChanged() no storage available, but storage "
                                   "is loaded";
}

void DeviceReplayDataContainer::onEntryLoadStorageChanged(bool success)
{
    qCDebug(libraryLog()).noquote()
        << QStringLiteral("DeviceReplayDataContainer::onEntryLoadStorageChanged() success=%1").arg(int(success));
}

bool DeviceReplayDataContainer::extractHeaderInformation()
{
    qCInfo(libraryLog()) << "DeviceReplayDataContainer::extractHeaderInformation()";
    m_header = m_reader ? ReadHeader(*m_reader) : nullptr;
    if (!m_header)
        qCWarning(libraryLog()) << "PdReplayFileLoader::extractHeaderInformation() retrieved header entry is nullptr";
    return m_header != nullptr;
}

void DeviceReplayDataContainer::useEmptyHeader()
{
    m_header = std::make_shared<PdReplayHeaderV2>();
}

bool DeviceReplayDataContainer::listEntryLoaders()
{
    using Type = PdReplayEntryLoader::Type;
    const std::vector<std::pair<QString, Type>> listed{
        {TypeOf<PdReplayActionV1>(), Type::Action},
        {TypeOf<PdReplayAnnotationV1>(), Type::Annotation},
        {TypeOf<Entries::Results::Space3D::PatternV1>(), Type::PatternSnapshot},
    };
    m_loaders.clear();
    for (const auto &[name, type] : listed) {
        for (const int kind : m_reader->findKinds(name)) {
            for (const RowPlace &place : m_reader->listRows(kind)) {
                const auto loader = std::make_shared<PdReplayEntryLoader>(
                    m_monitor->getIdentifier(), m_reader->getUuids().toUuid({0, place.id}),
                    m_reader->getKind(kind)->classification, type);
                loader->moveToThread(thread());
                connect(loader.get(), &PdReplayEntryLoader::loaded, this,
                        &DeviceReplayDataContainer::onEntryLoadStorageChanged);
                m_loaders.append(loader);
            }
            if (!advanceTo(0.5))
                return false;
        }
    }
    return true;
}

bool DeviceReplayDataContainer::extractGlobalNavigationInformation(const ChannelReplayStatus &status,
                                                                   ChannelTimeNavigation &navigation) const
{
    auto marks = ReadMarks(*m_reader, status.channel, navigation);
    if (!marks)
        return false;
    navigation.setMarks(std::move(*marks));
    return true;
}

void DeviceReplayDataContainer::publishNewFileStatus(ReplayFileStatus status)
{
    m_status.setStatus(status);
    emit loadingStateChanged(status);
    if (status == ReplayFileStatus::Failed)
        emit fileLoadingFailed();
}

void DeviceReplayDataContainer::enterStage(LoadingStage stage)
{
    m_advancedSteps = 0;
    publishProgress(m_status.switchStage(stage, StepsOfStage));
}

bool DeviceReplayDataContainer::advanceTo(double done)
{
    const int wanted = qBound(0, int(done * StepsOfStage), StepsOfStage);
    for (; m_advancedSteps < wanted; ++m_advancedSteps)
        publishProgress(m_status.advanceInCurrentStage());
    return !m_isCancelled;
}

void DeviceReplayDataContainer::publishProgress(int percent)
{
    if (std::exchange(m_publishedProgress, percent) == percent)
        return;
    if (m_status.getStatus() == ReplayFileStatus::BuildingIndex)
        emit indexBuildingProgress(percent);
    else
        emit fileLoadingProgress(percent);
}

} // namespace CommonNOX::Importer
