#include "evaluation/processors/device_processor.h"

#include "entries/entry_names.h"
#include "entries/measurement/voltage_scope.h"
#include "evaluation/context_keys.h"
#include "platform/data_store.h"

namespace CommonNOX::Evaluation::Processors
{

AbstractDeviceProcessor::AbstractDeviceProcessor() = default;
AbstractDeviceProcessor::~AbstractDeviceProcessor() = default;

DeviceProcessor::DeviceProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                                 const QString &deviceIdentification) :
    BaseProcessor(deviceContext, processorName), m_deviceIdentification(deviceIdentification)
{
}

DeviceProcessor::~DeviceProcessor() = default;

bool DeviceProcessor::isReplayDevice() const
{
    return getDeviceContext().getProperty(ContextKeys::IsReplayDevice).toBool();
}

bool DeviceProcessor::evaluate(const std::shared_ptr<const Data::VoltageScope> &scope)
{
    if (!scope || !scope->isValid() || !isReady())
        return false;
    try {
        const auto entry = getEntry();
        if (!entry || !entry->setValue(m_scopeIndex, makeResult(*scope)))
            return false;
        ++m_scopeIndex;
        return true;
    } catch (...) {
        return false;
    }
}

void DeviceProcessor::handleEvent(DeviceEvaluatorEvent event)
{
    if (event == DeviceEvaluatorEvent::Reset)
        m_scopeIndex = 0;
}

QString DeviceProcessor::getEntryName() const
{
    return GetDataEntryNameForDevice(m_deviceIdentification);
}

} // namespace CommonNOX::Evaluation::Processors
