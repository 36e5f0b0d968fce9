#include "connections/devices/pd_device.h"

#include "connections/devices/device_health_source.h"
#include "platform/visitors.h"

#include <algorithm>
#include <mutex>

namespace CommonNOX::Devices
{

struct PdDevice::Private
{
    std::shared_ptr<Utilities::ConfigurationTree> tree;
    QString path;
    QString identification;
    QList<Channels::ChannelInformation> channels;
    mutable std::mutex mutex;
    std::shared_ptr<DeviceHealthSource> healthSource;
    Shared::CallBackList<int, quint64, PeriodBlockPtr> periodBlockReceivers;
    Shared::CallBackList<VoltageScopePtr> voltageScopeReceivers;
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

PdDevice::~PdDevice() = default;

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

bool PdDevice::addPeriodBlock(int channel, quint64 index, const PeriodBlockPtr &block)
{
    if (!findChannel(channel))
        return false;
    d->periodBlockReceivers.call(channel, index, block);
    return true;
}

void PdDevice::addVoltageScope(const VoltageScopePtr &scope)
{
    d->voltageScopeReceivers.call(scope);
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
