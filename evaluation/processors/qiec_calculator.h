#pragma once

#include "nox_export.h"
#include "platform/pending_value.h"
#include "platform/visitors.h"

#include <QObject>

#include <memory>
#include <mutex>
#include <vector>

namespace CommonNOX::Evaluation::Processors::Calculation
{

/// The weighted apparent charge: a decaying peak hold and two equal first-order low-pass stages, whose response to
/// trains of equal pulses is that of IEC 60270:2000, 4.3.3.
///
/// `addValue` and `getValue` belong to one thread. Time constants and resets may come from any thread, also from
/// the configuration; they take effect at the next step.
class NOX_EXPORT QiecCalculator : public QObject, public Utilities::FrameworkVisitor
{
    Q_OBJECT
public:
    static constexpr double DefaultTau1 = 0.44; ///< seconds, decay of the peak hold
    static constexpr double DefaultTau2 = 0.5;  ///< seconds, each low-pass stage
    static constexpr double FirstDeltaT = 0.02; ///< seconds, the period that the coefficients start for

    /// The keys are paths in the tree (by default the application's); an empty one leaves its default. A time
    /// constant that is there already counts as if it had just changed. The initial value is 0 where its key is
    /// absent; a later change of it resets the filter to the new value.
    QiecCalculator(const QString &tau1Key, const QString &tau2Key, const QString &initialValueKey,
                   const std::shared_ptr<Utilities::ConfigurationTree> &tree = {});
    QiecCalculator(const QString &tau1Key, const QString &tau2Key, const double &initialValue,
                   const std::shared_ptr<Utilities::ConfigurationTree> &tree = {});
    ~QiecCalculator() override;

    /// One step of `deltaT` seconds; the new reading, in the unit of the input.
    double addValue(const double &input, const double &deltaT);
    /// The latest reading, a pending reset applied.
    double getValue();
    void setResetPending(const double &value);
    /// Seconds. Not checked on purpose: it is the writer's choice.
    void updateTau1(const double &tau1);
    void updateTau2(const double &tau2);

private:
    struct Factors
    {
        double decay = 0.0;
        double smoothing = 0.0;
    };

    void initialize(double initialValue, const QString &tau1Key, const QString &tau2Key);
    void follow(const QString &key, double &tau);
    double calculate(const double &input);
    void checkDeltaTForRefresh(const double &deltaT);
    void reset(const double &value);
    void publishFactors();
    void updateTau(double &tau, double value);

    double m_value = 0.0;
    // The constants and the factors made of them: computed and published as one under this lock, so that a change
    // of a constant never meets one of the period length halfway.
    std::mutex m_constantsMutex;
    double m_tau1 = DefaultTau1;
    double m_tau2 = DefaultTau2;
    double m_deltaT = 0.0;
    Shared::PendingValue<Factors> m_pendingFactors;
    Shared::PendingValue<double> m_pendingReset;
    Factors m_factors;
    double m_peak = 0.0;
    double m_stage1 = 0.0;
    double m_stage2 = 0.0;
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace CommonNOX::Evaluation::Processors::Calculation
