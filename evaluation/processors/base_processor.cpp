#include "evaluation/processors/base_processor.h"

#include "platform/data_entry_monitor.h"

namespace CommonNOX::Evaluation::Processors
{

BaseProcessor::BaseProcessor(const ReaderConstPtr &deviceContext, const QString &processorName) :
    m_deviceContext(deviceContext), m_processorName(processorName),
    m_monitor(std::make_shared<Utilities::DataEntryMonitor>(processorName))
{
}

BaseProcessor::~BaseProcessor() = default;

bool BaseProcessor::isReady() const
{
    return getEntry() != nullptr;
}

std::shared_ptr<Utilities::DataEntryInterface> BaseProcessor::getEntry()
{
    follow();
    return m_monitor->getEntry();
}

std::shared_ptr<const Utilities::DataEntryInterface> BaseProcessor::getEntry() const
{
    follow();
    return m_monitor->getEntry();
}

void BaseProcessor::follow() const
{
    std::call_once(m_following, [this] {
        m_entryName = getEntryName();
        m_monitor->setEntryName(m_entryName);
    });
}

} // namespace CommonNOX::Evaluation::Processors
