#pragma once

#include "nox_export.h"
#include "platform/visitors.h"

#include <QString>

#include <memory>
#include <mutex>

namespace Utilities
{
class DataEntryInterface;
class DataEntryMonitor;
class DataStore;
} // namespace Utilities

namespace CommonNOX::Evaluation::Processors
{

using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;

/// What every processor has: its device's context, its name and the way to its result entry.
class NOX_EXPORT BaseProcessor
{
public:
    BaseProcessor(const ReaderConstPtr &deviceContext, const QString &processorName);
    BaseProcessor(const BaseProcessor &) = delete;
    BaseProcessor &operator=(const BaseProcessor &) = delete;

    Utilities::GuiContextVisitor getDeviceContext() const { return m_deviceContext; }
    /// The name under which the processor was created.
    QString getProcessorName() const { return m_processorName; }

    /// Whether the result entry exists in the data store; as long as it does not, evaluate refuses everything. Any
    /// thread.
    virtual bool isReady() const;

protected:
    /// The result entry as the store holds it now, possibly none. The first call asks getEntryName(), so no
    /// constructor may be the first.
    std::shared_ptr<Utilities::DataEntryInterface> getEntry();
    std::shared_ptr<const Utilities::DataEntryInterface> getEntry() const;

    /// Puts an empty result entry in the place of the one that is there, if any.
    void restartEntry();

    /// The name under which the data store keeps the results; the entry's kind is the processor's name.
    virtual QString getEntryName() const = 0;

public:
    virtual ~BaseProcessor();

private:
    BaseProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                  const std::shared_ptr<Utilities::DataStore> &store);
    void follow() const;

    Utilities::GuiContextVisitor m_deviceContext;
    QString m_processorName;
    mutable QString m_entryName;
    std::shared_ptr<Utilities::DataEntryMonitor> m_monitor;
    std::shared_ptr<Utilities::DataStore> m_store;
    mutable std::once_flag m_following;
};

} // namespace CommonNOX::Evaluation::Processors
