#pragma once

#include "nox_export.h"

#include <QtGlobal>

#include <vector>

namespace CommonNOX::Evaluation::Processors::InceptionExtinction
{

/// A rule that decides when partial discharge starts and stops. Charges are magnitudes in the channel's PD unit,
/// voltages in whatever unit they are given. Not locked: a criterion belongs to one owner.
class NOX_EXPORT InceptionExtinctionCriterion
{
public:
    InceptionExtinctionCriterion(double inceptionThreshold, double extinctionThreshold);
    InceptionExtinctionCriterion(const InceptionExtinctionCriterion &) = delete;
    InceptionExtinctionCriterion &operator=(const InceptionExtinctionCriterion &) = delete;
    virtual ~InceptionExtinctionCriterion();

    /// Takes the next charge with the test voltage at which it was measured. True when this decides: discharge has
    /// started or stopped, as isInInception() tells then.
    virtual bool check(const double &charge, const double &voltage) = 0;
    virtual double getInceptionVoltage() const = 0;
    /// 0 from an inception until its extinction is found.
    virtual double getExtinctionVoltage() const = 0;

    bool isInInception() const { return m_inInception; }
    double getInceptionThreshold() const { return m_inceptionThreshold; }
    double getExtinctionThreshold() const { return m_extinctionThreshold; }

protected:
    void setInInception(bool inInception) { m_inInception = inInception; }

private:
    bool m_inInception = false;
    const double m_inceptionThreshold;
    const double m_extinctionThreshold;
};

/// Discharge starts when X of the latest Y charges lie above the inception threshold, and stops when X of them lie
/// below the extinction threshold; a charge that equals a threshold counts for neither. The voltage that is kept is
/// that of the X-th such charge in the window, counted from the oldest: where the rule was met first.
///
/// X = 0, Y = 0, X > Y and Y > MaximumWindow never decide. A check takes constant time whatever Y is.
class NOX_EXPORT XYCriterion : public InceptionExtinctionCriterion
{
public:
    static constexpr unsigned int MaximumWindow = 1'000'000;

    XYCriterion(unsigned int x, unsigned int y, double inceptionThreshold, double extinctionThreshold);
    ~XYCriterion() override;

    bool check(const double &charge, const double &voltage) override;
    double getInceptionVoltage() const override { return m_inceptionVoltage; }
    double getExtinctionVoltage() const override { return m_extinctionVoltage; }

    /// Charges in the window, at most Y.
    quint64 getHeldCount() const { return m_held; }
    /// Charges ever checked; of a criterion that never decides none.
    quint64 getTotalCount() const { return m_total; }

private:
    /// The numbers of those charges of the window that hit one threshold, oldest first, in a ring of Y places.
    class Hits
    {
    public:
        explicit Hits(std::size_t capacity) : m_numbers(capacity) {}
        void append(quint64 number);
        /// Forgets what is older than the number.
        void dropBefore(quint64 number);
        std::size_t getCount() const { return m_count; }
        quint64 at(std::size_t place) const { return m_numbers[(m_first + place) % m_numbers.size()]; }

    private:
        std::vector<quint64> m_numbers;
        std::size_t m_first = 0;
        std::size_t m_count = 0;
    };

    const std::size_t m_x;
    const std::size_t m_y; // 0: never decides
    // Charge N's voltage stands at N modulo Y. Its charge is not kept: which thresholds it hits is known at once.
    std::vector<double> m_voltages;
    Hits m_inceptionHits;
    Hits m_extinctionHits;
    quint64 m_held = 0;
    quint64 m_total = 0;
    double m_inceptionVoltage = 0.0;
    double m_extinctionVoltage = 0.0;
};

} // namespace CommonNOX::Evaluation::Processors::InceptionExtinction
