#include "evaluation/evaluators/device_evaluator.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/voltage_scope.h"

namespace CommonNOX::Evaluation::Evaluators
{

using namespace std::chrono_literals;

namespace
{

qint64 monotonicMilliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

DeviceEvaluator::DeviceEvaluator(QObject *parent) : QueueThread(5ms, parent)
{
    setObjectName(QStringLiteral("device"));
}

DeviceEvaluator::~DeviceEvaluator()
{
    shutDown();
}

bool DeviceEvaluator::addNewReceivedVoltageScope(const VoltageScopeEntryPtr &scope)
{
    return scope && appendCounted(scope);
}

bool DeviceEvaluator::evaluatorEvent(DeviceEvaluatorEvent event)
{
    return appendCounted(event);
}

bool DeviceEvaluator::appendCounted(std::variant<VoltageScopeEntryPtr, DeviceEvaluatorEvent> item)
{
    m_accepted.fetch_add(1, std::memory_order_release);
    if (append(std::move(item), WhenClosed::Refuse))
        return true;
    m_accepted.fetch_sub(1, std::memory_order_release);
    return false;
}

void DeviceEvaluator::enableEvaluation(const bool &enable)
{
    if (enable)
        requestStart([this] { m_startedAt = monotonicMilliseconds(); });
    else
        requestStop();
}

void DeviceEvaluator::processorListChanged(const QList<ProcessorPtr> &processors)
{
    m_pendingProcessors.set(processors);
}

qint64 DeviceEvaluator::getElapsedMilliseconds() const
{
    const qint64 startedAt = m_startedAt;
    return startedAt == 0 ? 0 : monotonicMilliseconds() - startedAt;
}

void DeviceEvaluator::takeSettings()
{
    m_pendingProcessors.take(m_processors);
}

void DeviceEvaluator::process(Batch &batch)
{
    QVector<VoltageScopeEntryPtr> scopes;
    for (const auto &item : batch) {
        if (const auto *scope = std::get_if<VoltageScopeEntryPtr>(&item)) {
            scopes.append(*scope);
            continue;
        }
        evaluateVoltageScopes(scopes);
        scopes.clear();
        for (const ProcessorPtr &processor : m_processors)
            processor->handleEvent(std::get<DeviceEvaluatorEvent>(item));
        m_done.fetch_add(1, std::memory_order_release);
    }
    evaluateVoltageScopes(scopes);
}

void DeviceEvaluator::evaluateVoltageScopes(const QVector<VoltageScopeEntryPtr> &scopes)
{
    for (const VoltageScopeEntryPtr &entry : scopes) {
        const auto scope = std::make_shared<Data::VoltageScope>();
        if (scope->preProcess(entry)) {
            for (const ProcessorPtr &processor : m_processors)
                processor->evaluate(scope);
        }
        m_done.fetch_add(1, std::memory_order_release);
    }
}

void DeviceEvaluator::leave(Batch &remaining)
{
    m_done.fetch_add(remaining.size(), std::memory_order_release);
}

} // namespace CommonNOX::Evaluation::Evaluators
