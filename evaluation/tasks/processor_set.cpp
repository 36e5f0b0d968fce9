#include "evaluation/tasks/processor_set.h"

#include "entries/entry_names.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"
#include "platform/data_store.h"

namespace CommonNOX::Tasks
{

using namespace Evaluation::Processors;

namespace
{

template <class Processor>
Processor withResultEntry(const Processor &processor, const QString &kind, const QString &name)
{
    if (processor)
        Utilities::GetAppDataStore()->createEntry(kind, name, GetResultRetention(kind));
    return processor;
}

} // namespace

SingleChannelProcessorSet MakeSingleChannelProcessorSet(const ReaderConstPtr &deviceContext,
                                                        const ReaderConstPtr &channelContext,
                                                        const QString &deviceIdentification, unsigned int channelIndex)
{
    return SingleChannelProcessorSet([=](const QString &name) {
        const SingleChannelProcessorFactory &factory = ProcessorsFactory::getInstance();
        return withResultEntry(
            factory.createProduct(name, deviceContext, channelContext, name, deviceIdentification, channelIndex), name,
            GetDataEntryNameForDeviceChannel(deviceIdentification, QString::number(channelIndex)));
    });
}

DeviceProcessorSet MakeDeviceProcessorSet(const ReaderConstPtr &deviceContext, const QString &deviceIdentification)
{
    return DeviceProcessorSet([=](const QString &name) {
        const DeviceProcessorFactory &factory = ProcessorsFactory::getInstance();
        return withResultEntry(factory.createProduct(name, deviceContext, name, deviceIdentification), name,
                               GetDataEntryNameForDevice(deviceIdentification));
    });
}

} // namespace CommonNOX::Tasks
