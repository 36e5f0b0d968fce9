#include "connections/devices/pd_device.h"

#include "connections/devices/device_health_source.h"
#include "connections/devices/device_recorder_interface.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/voltage_scope.h"
#include "entries/property_keys.h"
#include "platform/visitors.h"

#include <algorithm>
#include <limits>
#include <map>
#include <mutex>

namespace CommonNOX::Devices
{

DeviceRecorderInterface::~DeviceRecorderInterface() = default;

namespace
{

/// How many scopes back a block may come.
constexpr std::size_t KeptVoltages = 1024;

DeviceRecorderCreator &recorderCreator()
{
    static DeviceRecorderCreator creator;
    return creator;
}

} // namespace

void InstallDeviceRecorderCreator(const DeviceRecorderCreator &creator)
{
    recorderCreator() = creator;
}

struct PdDevice::Private
{
    std::shared_ptr<Utilities::ConfigurationTree> tree;
    QString path;
    QString identification;
    QList<Channels::ChannelInformation> channels;
    mutable std::mutex mutex;
    std::shared_ptr<DeviceHealthSource> healthSource;
    Shared::CallBackList<int, quint64, PeriodBlockPtr, TestVoltages> periodBlockReceivers;
    Shared::CallBackList<VoltageScopePtr, quint64> voltageScopeReceivers;
    std::map<quint64, double> voltages; // by the first period; of the delivering thread
    // Last: it is subscribed to the receivers.
    std::unique_ptr<DeviceRecorderInterface> recorder;
};

PdDevice::PdDevice(const ReaderConstPtr &reader, const QString &path, const QString &identification,
                   const QList<Channels::ChannelInformation> &channels)
    : d(std::make_unique<Private>())
{
    d->tree = Utilities::GuiContextVisitor(reader).getConfigurationTree();
    d->path = path;
    d->identification = identification;
    d->channels = channels;
}

PdDevice::~PdDevice()
{
    d->recorder.reset();
}

QString PdDevice::getPath() const
{
    return d->path;
}

QString PdDevice::getIdentification() const
{
    return d->identification;
}

QString PdDevice::getSerialNumber() const
{
    const QString serial =
        Utilities::GuiContextVisitor(getContext()).getProperty(QStringLiteral("serial_number")).toString();
    return serial.isEmpty() ? d->identification : serial;
}

QString PdDevice::getResultsName() const
{
    const QString name =
        Utilities::GuiContextVisitor(getContext()).getProperty(QStringLiteral("results_name")).toString();
    return name.isEmpty() ? getSerialNumber() : name;
}

const QList<Channels::ChannelInformation> &PdDevice::getChannels() const
{
    return d->channels;
}

const Channels::ChannelInformation *PdDevice::findChannel(int channel) const
{
    const auto found = std::find_if(d->channels.cbegin(), d->channels.cend(),
                                    [channel](const auto &known) { return known.getChannelIndex() == channel; });
    return found == d->channels.cend() ? nullptr : &*found;
}

ReaderConstPtr PdDevice::getContext() const
{
    return Shared::GuiContexts::MakeReader(d->path, d->tree);
}

ReaderConstPtr PdDevice::getChannelContext(int channel) const
{
    return Shared::GuiContexts::MakeReader(
        d->tree->joinPath({d->path, QStringLiteral("channels"), QString::number(channel)}), d->tree);
}

std::shared_ptr<DeviceHealthSource> PdDevice::getHealthSource() const
{
    const std::lock_guard guard(d->mutex);
    return d->healthSource;
}

void PdDevice::setHealthSource(const std::shared_ptr<DeviceHealthSource> &source)
{
    const std::lock_guard guard(d->mutex);
    d->healthSource = source;
}

bool PdDevice::initializeRecording(const QString &folder)
{
    if (d->recorder || !recorderCreator())
        return false;
    d->recorder = recorderCreator()(*this, folder);
    return d->recorder != nullptr;
}

DeviceRecorderInterface *PdDevice::getRecorder() const
{
    return d->recorder.get();
}

bool PdDevice::addPeriodBlock(int channel, quint64 index, const PeriodBlockPtr &block)
{
    if (!findChannel(channel))
        return false;
    TestVoltages voltages;
    if (block && !d->voltages.empty()) {
        const int count = block->get(Entries::Keys::Periods).toList().size();
        for (int i = 0; i < count; ++i) {
            const auto next = d->voltages.upper_bound(index + quint64(i));
            voltages.append(next == d->voltages.begin() ? std::numeric_limits<double>::quiet_NaN()
                                                        : std::prev(next)->second);
        }
    }
    d->periodBlockReceivers.call(channel, index, block, voltages);
    return true;
}

void PdDevice::addVoltageScope(const VoltageScopePtr &scope, quint64 firstPeriod)
{
    Data::VoltageScope measured;
    if (measured.preProcess(scope)) {
        d->voltages[firstPeriod] = measured.getPeak();
        if (d->voltages.size() > KeptVoltages)
            d->voltages.erase(d->voltages.begin());
    }
    d->voltageScopeReceivers.call(scope, firstPeriod);
}

Shared::Subscription PdDevice::subscribePeriodBlocks(PeriodBlockReceiver receiver)
{
    return d->periodBlockReceivers.subscribe(std::move(receiver));
}

Shared::Subscription PdDevice::subscribeVoltageScopes(VoltageScopeReceiver receiver)
{
    return d->voltageScopeReceivers.subscribe(std::move(receiver));
}

} // namespace CommonNOX::Devices
