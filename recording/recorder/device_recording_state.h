#pragma once

#include "recording/recorder/channel_recording_state.h"
#include "recording/recorder/global_navigation_state.h"
#include "recording/recorder/header_state.h"

#include <map>
#include <memory>

namespace Utilities
{
class DataStore;
}

namespace CommonNOX::PD::Recording
{

/// Everything that a device and its channels add to a recording besides the header. The worker's thread.
class DeviceRecordingState
{
public:
    /// Opens the storage, writes header, first navigation element and settings. False, with a log line, when the file
    /// cannot be made.
    bool initialize(const RecordingSubject &subject, const QString &fileName, const QString &comment, qint64 nowMs);
    bool isActive() const { return m_storage.isOpen(); }
    StorageState &getStorage() { return m_storage; }
    const StorageState &getStorage() const { return m_storage; }

    /// Channel -1 is the device.
    void recordConfigChange(int channel, const QString &path, const QVariant &newValue, const QVariant &oldValue);
    void addPeriodBlock(int channel, quint64 index, const Devices::PdDevice::PeriodBlockPtr &block, qint64 nowMs);
    void addVoltageScope(quint64 firstPeriod, const Devices::PdDevice::VoltageScopePtr &scope);
    void addAnnotation(int channel, const QString &name, const QVariant &value);
    /// An annotation with the voltage, which the navigation ties to the period of the decision.
    void addDecision(int channel, quint64 index, const QString &name, double voltage);
    void noteQiec(int channel, quint64 index, double value);
    /// The latest charge over voltage of each channel that has news, from the data store or, where nobody gathers it,
    /// from the readings and the latest scope.
    void extractLastQtUtOverviewElement(const Utilities::DataStore &store, qint64 nowMs);
    /// The latest "pattern" result of each channel that has a new one.
    void extractLastPatternSnapshotElement(const Utilities::DataStore &store);

    /// Stores what is gathered; elements that still wait for a reading come later.
    StorageState::Outcome commit(qint64 nowMs);
    /// Whether elements still wait for readings.
    bool areElementsWaiting() const;
    /// Where each channel that had periods stands.
    std::map<int, ChannelContinuation> getContinuations() const;
    /// Stores everything, writes the duration into the header and closes the file.
    StorageState::Outcome finish();

    /// Recorded time in seconds.
    double getDuration() const { return m_clock.getEnd(); }
    quint64 getPeriodCount() const;

private:
    struct Channel
    {
        std::unique_ptr<ChannelRecordingState> state;
        QString resultName;
        std::optional<quint64> lastQtUt;
        std::optional<quint64> lastPattern;
    };

    bool appendEntry(const QString &type, const QString &category, int channel, const DataEntryConstPtr &entry,
                     Entries::Recording::PdGlobalNavigationType navigation, qint64 number = 0,
                     std::optional<qint64> element = {});
    /// Names the time element that comes next on a channel, or the given one.
    void addNavigation(Entries::Recording::PdGlobalNavigationType type, int channel, qint64 row,
                       std::optional<qint64> element = {});
    bool addTimeNavigationElements(int channel, qint64 row, qint64 firstElement);
    void noteEvaluators(int channel, const QVariant &names);
    void addQtUt(int channel, const QtUtRecord &record);

    StorageState m_storage;
    HeaderState m_header;
    GlobalNavigationState m_navigation;
    RecordingClock m_clock;
    std::map<int, Channel> m_channels;
    double m_voltage = 0.0;     // r.m.s. of the latest scope
    quint32 m_overviewRate = 1; // elements a second
    bool m_isFinishing = false;
};

} // namespace CommonNOX::PD::Recording
