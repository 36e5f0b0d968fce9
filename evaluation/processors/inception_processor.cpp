#include "evaluation/processors/inception_processor.h"

#include "entries/measurement/period.h"
#include "evaluation/context_keys.h"
#include "evaluation/processors/inception_criterion.h"
#include "evaluation/processors/inception_record.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

namespace CommonNOX::Evaluation::Processors::InceptionExtinction
{

namespace
{
const ProcessorSelfRegistration<InceptionExtinctionProcessor> registration({Names::InceptionExtinction});
}

InceptionExtinctionProcessor::InceptionExtinctionProcessor(const ReaderConstPtr &deviceContext,
                                                           const ReaderConstPtr &channelContext,
                                                           const QString &processorName,
                                                           const QString &deviceIdentification,
                                                           const unsigned int &channelIndex)
    : SingleChannelProcessor(deviceContext, channelContext, processorName, deviceIdentification, channelIndex),
      m_isReplay(getDeviceContext().getProperty(ContextKeys::IsReplayDevice).toBool())
{
    for (const auto &key : {ContextKeys::CriterionX, ContextKeys::CriterionY, ContextKeys::InceptionCharge,
                            ContextKeys::ExtinctionCharge})
        follow(key);
    m_subscriptions.push_back(
        getChannelContext().subscribeProperty(ContextKeys::HasRecordedDecisions, [this](const auto &, const auto &) {
            m_hasRecordedDecisions = getChannelContext().getProperty(ContextKeys::HasRecordedDecisions).toBool();
        }));
    m_hasRecordedDecisions = getChannelContext().getProperty(ContextKeys::HasRecordedDecisions).toBool();
    criterionConfigurationChanged();
}

InceptionExtinctionProcessor::~InceptionExtinctionProcessor()
{
    m_subscriptions.clear();
}

void InceptionExtinctionProcessor::follow(QLatin1String key)
{
    m_subscriptions.push_back(getChannelContext().subscribeProperty(
        key, [this](const QString &, const QVariant &) { criterionConfigurationChanged(); }));
}

void InceptionExtinctionProcessor::configureCriterion(unsigned int x, unsigned int y, double inceptionThreshold,
                                                      double extinctionThreshold)
{
    auto criterion = std::make_unique<XYCriterion>(x, y, inceptionThreshold, extinctionThreshold);
    const std::lock_guard guard(m_mutex);
    m_criterion = std::move(criterion);
}

void InceptionExtinctionProcessor::criterionConfigurationChanged()
{
    const auto context = getChannelContext();
    // Keys are written side by side: what was read first must not arrive last.
    const std::lock_guard guard(m_settingsMutex);
    const auto count = [&](QLatin1String key) {
        bool isCount = false;
        const uint value = context.getProperty(key).toUInt(&isCount);
        return isCount ? value : 0u;
    };
    configureCriterion(count(ContextKeys::CriterionX), count(ContextKeys::CriterionY),
                       context.getProperty(ContextKeys::InceptionCharge).toDouble(),
                       context.getProperty(ContextKeys::ExtinctionCharge).toDouble());
}

void InceptionExtinctionProcessor::voltageUpdate(double voltage)
{
    const std::lock_guard guard(m_mutex);
    m_voltage = voltage;
}

bool InceptionExtinctionProcessor::evaluate(const quint64 &periodIndex,
                                            const std::shared_ptr<const Data::Period> &period)
{
    if (!period || !period->isValid())
        return false;
    if (m_isReplay && m_hasRecordedDecisions)
        return true;
    try {
        const double charge = period->getAbsoluteSignalValueMaximum();
        double inceptionVoltage = 0.0;
        double extinctionVoltage = 0.0;
        bool inInception = false;
        {
            const std::lock_guard guard(m_mutex);
            if (!m_criterion->check(charge, m_voltage))
                return true;
            inceptionVoltage = m_criterion->getInceptionVoltage();
            extinctionVoltage = m_criterion->getExtinctionVoltage();
            inInception = m_criterion->isInInception();
        }
        // Published without the lock: whoever follows the keys may configure the criterion.
        const auto context = getChannelContext();
        context.setProperty(ContextKeys::InceptionVoltage, inceptionVoltage);
        context.setProperty(ContextKeys::ExtinctionVoltage, extinctionVoltage);
        context.setProperty(ContextKeys::InceptionExtinction, inInception);
        storeResult<DataEntry>(periodIndex,
                               std::make_shared<DecisionRecord>(inInception, inceptionVoltage, extinctionVoltage));
        return true;
    } catch (...) {
        return false;
    }
}

bool InceptionExtinctionProcessor::resetProcessorState(const quint64 &)
{
    criterionConfigurationChanged();
    return true;
}

} // namespace CommonNOX::Evaluation::Processors::InceptionExtinction
