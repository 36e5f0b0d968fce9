#include "evaluation/processors/inception_criterion.h"

#include <algorithm>

namespace CommonNOX::Evaluation::Processors::InceptionExtinction
{

InceptionExtinctionCriterion::InceptionExtinctionCriterion(double inceptionThreshold, double extinctionThreshold)
    : m_inceptionThreshold(inceptionThreshold), m_extinctionThreshold(extinctionThreshold)
{}

InceptionExtinctionCriterion::~InceptionExtinctionCriterion() = default;

XYCriterion::XYCriterion(unsigned int x, unsigned int y, double inceptionThreshold, double extinctionThreshold)
    : InceptionExtinctionCriterion(inceptionThreshold, extinctionThreshold), m_x(x),
      m_y(x == 0 || x > y || y > MaximumWindow ? 0 : y), m_voltages(m_y), m_inceptionHits(m_y), m_extinctionHits(m_y)
{}

XYCriterion::~XYCriterion() = default;

bool XYCriterion::check(const double &charge, const double &voltage)
{
    if (m_y == 0)
        return false;
    const quint64 number = m_total++;
    m_held = std::min<quint64>(m_held + 1, m_y);
    m_voltages[number % m_y] = voltage;
    // Both are counted all the time, so that a decision finds the window counted for the other threshold already.
    for (Hits *hits : {&m_inceptionHits, &m_extinctionHits})
        hits->dropBefore(m_total - m_held);
    if (charge > getInceptionThreshold())
        m_inceptionHits.append(number);
    if (getExtinctionThreshold() > charge)
        m_extinctionHits.append(number);
    if (m_held < m_y)
        return false;

    const Hits &hits = isInInception() ? m_extinctionHits : m_inceptionHits;
    if (hits.getCount() < m_x)
        return false;
    const double voltageOfHit = m_voltages[hits.at(m_x - 1) % m_y];
    setInInception(!isInInception());
    if (isInInception()) {
        m_inceptionVoltage = voltageOfHit;
        m_extinctionVoltage = 0.0;
    } else {
        m_extinctionVoltage = voltageOfHit;
    }
    return true;
}

void XYCriterion::Hits::append(quint64 number)
{
    m_numbers[(m_first + m_count) % m_numbers.size()] = number;
    ++m_count;
}

void XYCriterion::Hits::dropBefore(quint64 number)
{
    while (m_count > 0 && m_numbers[m_first] < number) {
        m_first = (m_first + 1) % m_numbers.size();
        --m_count;
    }
}

} // namespace CommonNOX::Evaluation::Processors::InceptionExtinction
