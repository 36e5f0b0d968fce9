#include "evaluation/processors/qiec_calculator.h"

#include <algorithm>
#include <cmath>

namespace CommonNOX::Evaluation::Processors::Calculation
{

namespace
{

// The period length may jitter this much before the coefficients are computed anew; both ends included.
constexpr double SmallestRatio = 0.95;
constexpr double LargestRatio = 1.05;

bool isZero(double x)
{
    return std::abs((1.0 + x) - 1.0) * 1e12 <= std::min(std::abs(1.0 + x), 1.0);
}

} // namespace

QiecCalculator::QiecCalculator(const QString &tau1Key, const QString &tau2Key, const QString &initialValueKey,
                               const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : FrameworkVisitor(tree)
{
    if (!initialValueKey.isEmpty()) {
        m_subscriptions.push_back(subscribeAppConfig(
            initialValueKey, [this](const QString &, const QVariant &value) { setResetPending(value.toDouble()); }));
    }
    initialize(initialValueKey.isEmpty() ? 0.0 : getAppConfig(initialValueKey).toDouble(), tau1Key, tau2Key);
}

QiecCalculator::QiecCalculator(const QString &tau1Key, const QString &tau2Key, const double &initialValue,
                               const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : FrameworkVisitor(tree)
{
    initialize(initialValue, tau1Key, tau2Key);
}

QiecCalculator::~QiecCalculator() = default;

void QiecCalculator::initialize(double initialValue, const QString &tau1Key, const QString &tau2Key)
{
    checkDeltaTForRefresh(FirstDeltaT);
    follow(tau1Key, m_tau1);
    follow(tau2Key, m_tau2);
    reset(initialValue);
}

void QiecCalculator::follow(const QString &key, double &tau)
{
    if (key.isEmpty())
        return;
    m_subscriptions.push_back(subscribeAppConfig(
        key, [this, &tau](const QString &, const QVariant &value) { updateTau(tau, value.toDouble()); }));
    // Read under the lock, so that a change which was delivered already is not undone by an older value.
    const std::lock_guard guard(m_constantsMutex);
    const QVariant present = getAppConfig(key);
    if (!present.isValid())
        return;
    tau = present.toDouble();
    publishFactors();
}

double QiecCalculator::addValue(const double &input, const double &deltaT)
{
    double resetValue = 0.0;
    if (m_pendingReset.take(resetValue))
        reset(resetValue);
    checkDeltaTForRefresh(deltaT);
    return calculate(input);
}

double QiecCalculator::getValue()
{
    double resetValue = 0.0;
    if (m_pendingReset.take(resetValue))
        reset(resetValue);
    return m_value;
}

void QiecCalculator::setResetPending(const double &value)
{
    m_pendingReset.set(value);
}

void QiecCalculator::updateTau1(const double &tau1)
{
    updateTau(m_tau1, tau1);
}

void QiecCalculator::updateTau2(const double &tau2)
{
    updateTau(m_tau2, tau2);
}

void QiecCalculator::updateTau(double &tau, double value)
{
    const std::lock_guard guard(m_constantsMutex);
    tau = value;
    publishFactors();
}

void QiecCalculator::publishFactors()
{
    m_pendingFactors.set({std::exp(-m_deltaT / m_tau1), 1.0 - std::exp(-m_deltaT / m_tau2)});
}

void QiecCalculator::checkDeltaTForRefresh(const double &deltaT)
{
    if (isZero(deltaT))
        return;
    // Only this thread changes the period length, so it may look at it without the lock.
    const double ratio = m_deltaT / deltaT;
    if (!isZero(m_deltaT) && ratio >= SmallestRatio && ratio <= LargestRatio)
        return;
    const std::lock_guard guard(m_constantsMutex);
    m_deltaT = deltaT;
    publishFactors();
}

void QiecCalculator::reset(const double &value)
{
    m_pendingFactors.take(m_factors);
    m_value = m_peak = m_stage1 = m_stage2 = value;
}

double QiecCalculator::calculate(const double &input)
{
    m_pendingFactors.take(m_factors);
    m_peak = std::max(input, m_factors.decay * m_peak);
    m_stage1 += m_factors.smoothing * (m_peak - m_stage1);
    m_stage2 += m_factors.smoothing * (m_stage1 - m_stage2);
    m_value = m_stage2;
    return m_value;
}

} // namespace CommonNOX::Evaluation::Processors::Calculation
