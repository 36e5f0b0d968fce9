#include "evaluation/evaluators/evaluation_queue_wrapper.h"

#include "entries/measurement/period.h"
#include "evaluation/processors/test_voltage_receiver.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <cmath>

namespace CommonNOX::Evaluation::utils
{

using namespace std::chrono_literals;

EvaluationQueueWrapper::EvaluationQueueWrapper(
    const std::shared_ptr<Processors::AbstractSingleChannelProcessor> &processor, QObject *parent)
    : QueueThread(1ms, parent), m_processor(processor),
      m_voltageReceiver(dynamic_cast<Processors::TestVoltageReceiver *>(processor.get()))
{
    if (const auto *named = dynamic_cast<const Processors::SingleChannelProcessor *>(processor.get()))
        setObjectName(QStringLiteral("ch%1 %2").arg(named->getChannelIndex()).arg(named->getProcessorName()));
}

EvaluationQueueWrapper::~EvaluationQueueWrapper()
{
    shutDown();
}

void EvaluationQueueWrapper::launch()
{
    requestStart([] {});
}

void EvaluationQueueWrapper::stop()
{
    requestStop();
}

bool EvaluationQueueWrapper::appendNewPeriod(const quint64 &index, const std::shared_ptr<const Data::Period> &period)
{
    // Counted before it can be done.
    m_appended.fetch_add(1, std::memory_order_release);
    return append({index, period}, WhenClosed::Keep);
}

void EvaluationQueueWrapper::process(Batch &batch)
{
    QElapsedTimer timer;
    timer.start();
    double milliseconds = 0.0; // whole ones; hostile lengths exceed every integer
    for (auto &[index, period] : batch) {
        if (period) {
            milliseconds = std::trunc(milliseconds + period->getDurationInMs());
            if (m_voltageReceiver) {
                const double voltage = period->getTestVoltage();
                if (!std::isnan(voltage))
                    m_voltageReceiver->voltageUpdate(voltage);
            }
            m_processor->evaluate(index, period);
        }
        m_lastIndex.store(qint64(index), std::memory_order_release);
        m_done.fetch_add(1, std::memory_order_release);
        // Freed here, its event buffer is at hand for the channel's next period.
        period.reset();
    }
    const qint64 elapsed = timer.elapsed();
    if (elapsed > 0)
        m_load.store(1.0 - milliseconds / double(elapsed), std::memory_order_relaxed);
}

void EvaluationQueueWrapper::leave(Batch &remaining)
{
    m_done.fetch_add(remaining.size(), std::memory_order_release);
    m_processor->resetProcessorState(quint64(QDateTime::currentMSecsSinceEpoch()));
}

} // namespace CommonNOX::Evaluation::utils
