#include "evaluation/processors/base_processor.h"

#include "evaluation/processors/processor_names.h"
#include "platform/data_entry_monitor.h"
#include "platform/data_store.h"

namespace CommonNOX::Evaluation::Processors
{

BaseProcessor::BaseProcessor(const ReaderConstPtr &deviceContext, const QString &processorName)
    : BaseProcessor(deviceContext, processorName, Utilities::GetAppDataStore())
{}

BaseProcessor::BaseProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                             const std::shared_ptr<Utilities::DataStore> &store)
    : m_deviceContext(deviceContext), m_processorName(processorName),
      m_monitor(std::make_shared<Utilities::DataEntryMonitor>(processorName, store)), m_store(store)
{}

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

void BaseProcessor::restartEntry()
{
    if (m_store->removeEntry(m_processorName, getEntryName()))
        m_store->createEntry(m_processorName, getEntryName(), GetResultRetention(m_processorName));
}

void BaseProcessor::follow() const
{
    std::call_once(m_following, [this] {
        m_entryName = getEntryName();
        m_monitor->setEntryName(m_entryName);
    });
}

} // namespace CommonNOX::Evaluation::Processors
