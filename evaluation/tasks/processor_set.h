#pragma once

#include "evaluation/evaluators/device_evaluator.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "nox_export.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <utility>

namespace CommonNOX::Tasks
{

/// The processors that a list of names asks for. Those whose names stay are kept with their state. One thread.
template <class Processor>
class ProcessorSet
{
public:
    using ProcessorPtr = std::shared_ptr<Processor>;
    /// Makes the processor of a name, ready to write its results; empty for a name that is not registered.
    using Maker = std::function<ProcessorPtr(const QString &name)>;

    explicit ProcessorSet(Maker maker) : m_maker(std::move(maker)) {}

    /// True when the set has changed; `unknown` takes the names that are not registered.
    bool setNames(const QStringList &names, QStringList *unknown = nullptr)
    {
        QList<std::pair<QString, ProcessorPtr>> next;
        for (const QString &name : names) {
            ProcessorPtr processor = find(name);
            if (!processor)
                processor = m_maker(name);
            if (processor)
                next.append({name, processor});
            else if (unknown)
                unknown->append(name);
        }
        const bool changed = next != m_processors;
        m_processors = std::move(next);
        return changed;
    }

    QStringList getNames() const
    {
        QStringList names;
        for (const auto &processor : m_processors)
            names.append(processor.first);
        return names;
    }

    QList<ProcessorPtr> getProcessors() const
    {
        QList<ProcessorPtr> processors;
        for (const auto &processor : m_processors)
            processors.append(processor.second);
        return processors;
    }

private:
    ProcessorPtr find(const QString &name) const
    {
        for (const auto &processor : m_processors) {
            if (processor.first == name)
                return processor.second;
        }
        return nullptr;
    }

    const Maker m_maker;
    QList<std::pair<QString, ProcessorPtr>> m_processors;
};

using SingleChannelProcessorSet = ProcessorSet<Evaluation::Processors::AbstractSingleChannelProcessor>;
using DeviceProcessorSet = ProcessorSet<Evaluation::Processors::AbstractDeviceProcessor>;

/// Sets whose processors come from ProcessorsFactory, each with its result entry in the application's data store.
NOX_EXPORT SingleChannelProcessorSet
MakeSingleChannelProcessorSet(const Evaluation::Processors::ReaderConstPtr &deviceContext,
                              const Evaluation::Processors::ReaderConstPtr &channelContext,
                              const QString &deviceIdentification, unsigned int channelIndex);
NOX_EXPORT DeviceProcessorSet MakeDeviceProcessorSet(const Evaluation::Processors::ReaderConstPtr &deviceContext,
                                                     const QString &deviceIdentification);

} // namespace CommonNOX::Tasks
