#include "recording/replay/device_replay_status_container.h"

#include "entries/log.h"

#include <algorithm>
#include <cmath>

namespace CommonNOX::Importer
{

namespace
{

constexpr int LastStage = 7;
constexpr double WidthOfBand = 15.0;
constexpr double EndOfBands = 100.0;

} // namespace

DeviceReplayStatusContainer::DeviceReplayStatusContainer()
{
    // The last band is narrower on purpose: its stage is over at once.
    for (int i = 1; i <= LastStage; ++i) {
        const double lower = (i - 1) * WidthOfBand;
        const double upper = i == LastStage ? EndOfBands : i * WidthOfBand;
        m_stages[LoadingStage(i)] = {LoadingStage(i), 0, lower, upper, 0.0, 0.0};
    }
}

int DeviceReplayStatusContainer::switchStage(const LoadingStage &stage, const int &steps)
{
    qCInfo(libraryLog()).noquote()
        << QStringLiteral("DeviceReplayStatusContainer::switchStage() newStage=%1").arg(int(stage));
    m_currentStage = stage;
    const auto found = m_stages.find(stage);
    if (found != m_stages.end()) {
        StageRecord &record = found->second;
        record.steps = std::max(0, steps);
        record.progress = 0.0;
        record.stepSize = record.steps > 0 ? (record.upper - record.lower) / record.steps : 0.0;
    }
    return overallProgress();
}

int DeviceReplayStatusContainer::advanceInCurrentStage()
{
    const auto found = m_stages.find(m_currentStage);
    if (found == m_stages.end() || found->second.steps == 0)
        return 0;
    StageRecord &record = found->second;
    record.progress = std::min(record.progress + record.stepSize, record.upper - record.lower);
    return overallProgress();
}

int DeviceReplayStatusContainer::overallProgress() const
{
    const auto found = m_stages.find(m_currentStage);
    if (found == m_stages.end() || found->second.steps == 0)
        return 0;
    // Steps add up to their band but for rounding, which must not cost a point.
    constexpr double Rounding = 1e-9;
    return int(std::floor(found->second.lower + found->second.progress + Rounding));
}

} // namespace CommonNOX::Importer
