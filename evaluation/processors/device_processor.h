#pragma once

#include "evaluation/processors/base_processor.h"
#include "evaluation/processors/device_evaluator_event.h"

#include <QObject>

#include <optional>

namespace CommonNOX::Data
{
class VoltageScope;
}

namespace CommonNOX::Evaluation::Processors
{

/// What evaluates the voltage scopes of a whole device.
class NOX_EXPORT AbstractDeviceProcessor : public QObject
{
    Q_OBJECT
public:
    AbstractDeviceProcessor();
    ~AbstractDeviceProcessor() override;

    /// Consumes one scope; false when it was not consumed. Nothing throws out of it. Called by one thread.
    virtual bool evaluate(const std::shared_ptr<const Data::VoltageScope> &scope) = 0;
    /// Called by the thread that evaluates, between two scopes.
    virtual void handleEvent(DeviceEvaluatorEvent event) = 0;
};

/// The base of concrete device processors. Results are indexed by the count of scopes since the last reset, which
/// empties the result entry; a new processor goes on where the entry ends.
class NOX_EXPORT DeviceProcessor : public AbstractDeviceProcessor, public BaseProcessor
{
    Q_OBJECT
public:
    DeviceProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                    const QString &deviceIdentification);
    ~DeviceProcessor() override;

    QString getDeviceIdentification() const { return m_deviceIdentification; }
    bool isReplayDevice() const;

    bool evaluate(const std::shared_ptr<const Data::VoltageScope> &scope) override;
    void handleEvent(DeviceEvaluatorEvent event) override;

protected:
    QString getEntryName() const override;

    /// The result of a valid scope as an entry in a variant. It may throw; the scope then counts as not consumed.
    virtual QVariant makeResult(const Data::VoltageScope &scope) const = 0;

private:
    QString m_deviceIdentification;
    std::optional<quint64> m_scopeIndex; // known from the first scope on
};

} // namespace CommonNOX::Evaluation::Processors
