#pragma once

#include "evaluation/processors/device_processor.h"
#include "evaluation/processors/single_channel_processor.h"
#include "platform/factory.h"
#include "platform/singleton.h"

#include <list>

namespace CommonNOX::Evaluation::Processors
{
class ProcessorsFactory;
}

namespace Shared
{
extern template class NOX_EXPORT Singleton<CommonNOX::Evaluation::Processors::ProcessorsFactory>;
}

namespace CommonNOX::Evaluation::Processors
{

using DeviceProcessorFactory = Shared::Factory<QString, std::shared_ptr<AbstractDeviceProcessor>,
                                               const ReaderConstPtr &, const QString &, const QString &>;
using SingleChannelProcessorFactory =
    Shared::Factory<QString, std::shared_ptr<AbstractSingleChannelProcessor>, const ReaderConstPtr &,
                    const ReaderConstPtr &, const QString &, const QString &, const unsigned int &>;

/// The creators of both families of processors by name; one name may stand in both. Filled while libraries load,
/// read only afterwards.
class NOX_EXPORT ProcessorsFactory : public DeviceProcessorFactory,
                                     public SingleChannelProcessorFactory,
                                     public Shared::Singleton<ProcessorsFactory>
{
public:
    using Shared::Singleton<ProcessorsFactory>::getInstance;

    /// The first registration of a name wins; false when it is taken.
    bool registerDeviceProcessor(const QString &name, const DeviceProcessorFactory::Creator &creator)
    {
        return DeviceProcessorFactory::registerProduct(name, creator);
    }
    bool registerSingleChannelProcessor(const QString &name, const SingleChannelProcessorFactory::Creator &creator)
    {
        return SingleChannelProcessorFactory::registerProduct(name, creator);
    }
    bool unregisterDeviceProcessor(const QString &name) { return DeviceProcessorFactory::unregisterProduct(name); }
    bool unregisterSingleChannelProcessor(const QString &name)
    {
        return SingleChannelProcessorFactory::unregisterProduct(name);
    }
    QList<QString> getDeviceProcessorNames() const { return DeviceProcessorFactory::getRegisteredProductIdentifier(); }
    QList<QString> getSingleChannelProcessorNames() const
    {
        return SingleChannelProcessorFactory::getRegisteredProductIdentifier();
    }
};

/// Registers the single-channel processor T under its names; names that are taken keep their first creator.
template <class T>
class ProcessorSelfRegistration
{
public:
    explicit ProcessorSelfRegistration(const std::list<QString> &names)
    {
        for (const QString &name : names)
            ProcessorsFactory::getInstance().registerSingleChannelProcessor(name, &CreateNew);
    }

    static std::shared_ptr<AbstractSingleChannelProcessor>
    CreateNew(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext, const QString &processorName,
              const QString &deviceIdentification, const unsigned int &channelIndex)
    {
        return std::make_shared<T>(deviceContext, channelContext, processorName, deviceIdentification, channelIndex);
    }
};

/// The same for a device processor.
template <class T>
class DeviceProcessorSelfRegistration
{
public:
    explicit DeviceProcessorSelfRegistration(const std::list<QString> &names)
    {
        for (const QString &name : names)
            ProcessorsFactory::getInstance().registerDeviceProcessor(name, &CreateNew);
    }

    static std::shared_ptr<AbstractDeviceProcessor>
    CreateNew(const ReaderConstPtr &deviceContext, const QString &processorName, const QString &deviceIdentification)
    {
        return std::make_shared<T>(deviceContext, processorName, deviceIdentification);
    }
};

} // namespace CommonNOX::Evaluation::Processors
