#pragma once

#include "connections/channels/channel_information.h"
#include "nox_export.h"
#include "platform/call_back_list.h"
#include "platform/reader_interface.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodBlockV1;
class VoltageScopeV1;
} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Devices
{

class DeviceHealthSource;
class DeviceRecorderInterface;
using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;

/// A partial-discharge device with a fixed set of channels.
///
/// Its context lies at the device's path of the reader's tree, the context of channel N at "channels"/N below it.
/// Who drives the device adds what it receives, from any one thread; who evaluates or records it subscribes.
class NOX_EXPORT PdDevice : public QObject
{
    Q_OBJECT
public:
    using PeriodBlockPtr = std::shared_ptr<const Entries::Results::Space2D::PeriodBlockV1>;
    using VoltageScopePtr = std::shared_ptr<const Entries::Results::Space2D::VoltageScopeV1>;
    /// The test voltage in force for each period of a block, its peak in kV or, uncalibrated, in units of its
    /// converter: that of the newest scope of an equal or lower index. NaN, or a list that is too short, where none is
    /// known.
    using TestVoltages = QVector<double>;
    using PeriodBlockReceiver =
        std::function<void(int channel, quint64 index, const PeriodBlockPtr &block, const TestVoltages &testVoltages)>;
    using VoltageScopeReceiver = std::function<void(const VoltageScopePtr &scope, quint64 firstPeriod)>;

    PdDevice(const ReaderConstPtr &reader, const QString &path, const QString &identification,
             const QList<Channels::ChannelInformation> &channels);
    ~PdDevice() override;

    QString getPath() const;
    QString getIdentification() const;
    /// The property "serial_number" of the device's context; the identification while that is empty. Results are
    /// kept under it.
    QString getSerialNumber() const;
    /// The property "results_name" of the device's context; the serial number while that is empty. The data store keeps
    /// the device's results under it.
    QString getResultsName() const;
    const QList<Channels::ChannelInformation> &getChannels() const;
    /// Null for an unknown channel.
    const Channels::ChannelInformation *findChannel(int channel) const;

    ReaderConstPtr getContext() const;
    ReaderConstPtr getChannelContext(int channel) const;

    /// Where the monitoring tasks read the device's state; null when the device tells nothing.
    std::shared_ptr<DeviceHealthSource> getHealthSource() const;
    void setHealthSource(const std::shared_ptr<DeviceHealthSource> &source);

    /// Makes the device's recorder, whose files go into the folder; it is controlled through the device's attributes
    /// below "recording". False when there is one already, and without the floor that records.
    bool initializeRecording(const QString &folder);
    /// Null before initializeRecording().
    DeviceRecorderInterface *getRecorder() const;

    /// Hands a received block to the subscribers, in the calling thread, with the test voltages of its periods, so that
    /// what depends on them does not depend on how threads run. False for an unknown channel.
    bool addPeriodBlock(int channel, quint64 index, const PeriodBlockPtr &block);
    /// `firstPeriod` is the index of the first period for which the scope holds. It comes before that period's blocks.
    void addVoltageScope(const VoltageScopePtr &scope, quint64 firstPeriod = 0);
    [[nodiscard]] Shared::Subscription subscribePeriodBlocks(PeriodBlockReceiver receiver);
    [[nodiscard]] Shared::Subscription subscribeVoltageScopes(VoltageScopeReceiver receiver);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Devices
