#pragma once

#include "nox_export.h"
#include "recording/replay/replay_file_status.h"

#include <map>

namespace CommonNOX::Importer
{

/// How far the opening of a replay file is. A value; one thread at a time.
class NOX_EXPORT DeviceReplayStatusContainer
{
public:
    DeviceReplayStatusContainer();

    /// Makes a stage current, with so many steps; the overall progress.
    int switchStage(const LoadingStage &stage, const int &steps);
    /// One step forward; the overall progress, 0 when the stage has no steps.
    int advanceInCurrentStage();
    /// 0 to 100; 0 when the stage has no steps. Within its band however many steps are made.
    int overallProgress() const;

    LoadingStage currentStage() const { return m_currentStage; }
    ReplayFileStatus getStatus() const { return m_status; }
    void setStatus(ReplayFileStatus status) { m_status = status; }

private:
    struct StageRecord
    {
        LoadingStage stage{};
        int steps = 0;
        double lower = 0.0; ///< of the band, in percent
        double upper = 0.0;
        double progress = 0.0; ///< within the band, in percent
        double stepSize = 0.0;
    };

    ReplayFileStatus m_status = ReplayFileStatus::NotLoaded;
    LoadingStage m_currentStage = LoadingStage::OpenStorage;
    std::map<LoadingStage, StageRecord> m_stages;
};

} // namespace CommonNOX::Importer
