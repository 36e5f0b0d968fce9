#pragma once

#include "entries/catalogue/replay_header.h"
#include "nox_export.h"
#include "platform/storage/storage_monitor.h"
#include "recording/replay/channel_replay_status.h"
#include "recording/replay/device_replay_status_container.h"
#include "recording/replay/pd_replay_entry_loader.h"

#include <QList>
#include <QObject>

#include <atomic>
#include <functional>
#include <memory>

namespace CommonNOX::Entries::Recording
{
class PdReplayActionV1;
class PdReplayAnnotationV1;
} // namespace CommonNOX::Entries::Recording

namespace CommonNOX::Entries::Results::Space2D
{
class VoltageScopeV1;
} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Importer
{

/// An opened replay file as a whole: header, entries by uuid and by classification, and how far the opening is.
///
/// Filled by one thread; entries by uuid and period information may then be asked for from any thread.
class NOX_EXPORT DeviceReplayDataContainer : public QObject
{
    Q_OBJECT
public:
    using StorageMonitor = FrameworkCore::AppData::Storage::StorageMonitor;
    using EntryLoaderPtr = std::shared_ptr<PdReplayEntryLoader>;

    explicit DeviceReplayDataContainer(QObject *parent = nullptr);
    ~DeviceReplayDataContainer() override;

    /// Null until the file is loaded. A header of the first version is handed out as one of the second.
    std::shared_ptr<const Entries::Recording::PdReplayHeaderV2> getHeader() const { return m_header; }
    /// The product's name and the serial number, joined by a space; empty without a header.
    QString getDeviceIdentification() const;
    /// The identification and the name of the file, so that two recordings of a device can be told apart.
    QString getInstanceIdentification() const;
    QString getSerialNumber() const;

    /// Loaders of actions, annotations and pattern snapshots; none is loaded yet.
    QList<EntryLoaderPtr> getEntryMonitorsByClassification(const QString &classification) const;
    QList<EntryLoaderPtr> getEntryMonitorsByClassificationAndChannel(const QString &classification, int channel) const;

    /// Null for an unknown uuid, another class of entry, another channel, and a damaged entry. Scopes are the device's:
    /// they belong to every channel.
    PeriodBlockConstPtr getPeriodBlockByUuid(int channel, const QString &uuid) const;
    std::shared_ptr<const Entries::Results::Space2D::VoltageScopeV1> getVoltageScopeByUuid(int channel,
                                                                                           const QString &uuid) const;
    std::shared_ptr<const Entries::Recording::PdReplayActionV1> getReplayActionByUuid(int channel,
                                                                                      const QString &uuid) const;
    std::shared_ptr<const Entries::Recording::PdReplayAnnotationV1>
    getReplayAnnotationByUuid(int channel, const QString &uuid) const;

    /// Brings the channel's period information to the position. False, and the information is empty, beyond the span
    /// and where the period is lost. The status is locked by the caller.
    bool updatePeriodInformationForChannelTimePosition(ChannelReplayStatus &status,
                                                       const ChannelTimePosition &position) const;

    /// Null until the file is loaded.
    std::shared_ptr<const StorageReader> getReader() const { return m_reader; }
    const DeviceReplayStatusContainer &getStatus() const { return m_status; }

signals:
    void fileLoadingProgress(int percent);
    void fileLoadingFinished();
    void fileLoadingFailed();
    void indexBuildingProgress(int percent);
    void indexBuildingFinished();
    void loadingStateChanged(CommonNOX::Importer::ReplayFileStatus status);

public slots:
    void onStorageLoadStatusChanged(FrameworkCore::AppData::Storage::StorageMonitor::LoadStatus status);
    void onEntryLoadStorageChanged(bool success);

protected:
    std::shared_ptr<StorageMonitor> getStorageMonitor() { return m_monitor; }
    std::shared_ptr<const StorageMonitor> getStorageMonitor() const { return m_monitor; }
    void setStorageMonitor(const std::shared_ptr<StorageMonitor> &monitor) { m_monitor = monitor; }
    DeviceReplayStatusContainer &status() { return m_status; }

    /// Reads the header. False, with one log line, when there is none.
    bool extractHeaderInformation();
    /// For a file whose header is lost.
    void useEmptyHeader();
    /// Lists the loaders of the file.
    bool listEntryLoaders();
    /// Notes what the file-wide list ties to the channel's time line. False when the list cannot be read.
    bool extractGlobalNavigationInformation(const ChannelReplayStatus &status, ChannelTimeNavigation &navigation) const;
    void publishNewFileStatus(ReplayFileStatus status);
    /// Makes a stage current; progress within it comes from advanceTo().
    void enterStage(LoadingStage stage);
    /// The part of the present stage that is done; false when the opening is cancelled.
    bool advanceTo(double done);
    std::atomic<bool> m_isCancelled = false;

private:
    bool updatePeriodInformationForNavigationIndex(ChannelReplayStatus &status, quint64 position) const;
    bool extractPeriodInformationFromTimeNavigation(ChannelReplayStatus &status, quint64 position) const;
    template <class Entry>
    std::shared_ptr<const Entry> findEntry(int channel, const QString &uuid, bool isOfDevice) const;
    void publishProgress(int percent);

    std::shared_ptr<StorageMonitor> m_monitor;
    std::shared_ptr<const StorageReader> m_reader;
    std::shared_ptr<const Entries::Recording::PdReplayHeaderV2> m_header;
    QList<EntryLoaderPtr> m_loaders;
    DeviceReplayStatusContainer m_status;
    int m_publishedProgress = -1;
    int m_advancedSteps = 0;
};

} // namespace CommonNOX::Importer
