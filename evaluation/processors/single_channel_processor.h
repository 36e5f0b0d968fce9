#pragma once

#include "evaluation/processors/base_processor.h"

#include <QtGlobal>

namespace CommonNOX::Data
{
class Period;
}

namespace CommonNOX::Evaluation::Processors
{

/// What evaluates the periods of one channel.
class NOX_EXPORT AbstractSingleChannelProcessor
{
public:
    AbstractSingleChannelProcessor() = default;
    AbstractSingleChannelProcessor(const AbstractSingleChannelProcessor &) = delete;
    AbstractSingleChannelProcessor &operator=(const AbstractSingleChannelProcessor &) = delete;

    /// Forgets what was gathered; false when there is no state, or none worth a reset. Any thread.
    virtual bool resetProcessorState(const quint64 &periodIndex) = 0;
    /// Consumes one period; false when it was not consumed. Nothing throws out of it. Called by one thread, in the
    /// order of arrival.
    virtual bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) = 0;
    virtual ~AbstractSingleChannelProcessor();
};

/// The base of concrete single-channel processors.
class NOX_EXPORT SingleChannelProcessor : public AbstractSingleChannelProcessor, public BaseProcessor
{
public:
    SingleChannelProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                           const QString &processorName, const QString &deviceIdentification,
                           const unsigned int &channelIndex);
    ~SingleChannelProcessor() override;

    Utilities::GuiContextVisitor getChannelContext() const { return m_channelContext; }
    unsigned int getChannelIndex() const { return m_channelIndex; }
    QString getDeviceIdentification() const { return m_deviceIdentification; }

    bool resetProcessorState(const quint64 &periodIndex) override;

protected:
    QString getEntryName() const override;

    /// Whether a period can be evaluated now.
    bool accepts(const std::shared_ptr<const Data::Period> &period) const;
    /// Stores an entry as the period's result. False when the result entry has gone.
    template <class Entry>
    bool storeResult(quint64 periodIndex, const std::shared_ptr<Entry> &entry)
    {
        return storeVariant(periodIndex, QVariant::fromValue(std::shared_ptr<const Entry>(entry)));
    }

private:
    bool storeVariant(quint64 periodIndex, const QVariant &result);

    Utilities::GuiContextVisitor m_channelContext;
    QString m_deviceIdentification;
    quint32 m_channelIndex;
};

} // namespace CommonNOX::Evaluation::Processors
