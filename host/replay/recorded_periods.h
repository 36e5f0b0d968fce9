#pragma once

#include "host/pulses/period_source.h"
#include "recording/replay/pd_replay_importer.h"
#include "recording/replay/replay_walk.h"

#include <map>
#include <memory>

namespace NoxHost
{

/// The periods of a recording in order of index, then channel, as fast as they are taken. One thread.
class RecordedPeriods
{
public:
    /// The loader has built its index; nobody else takes periods of it at the same time.
    RecordedPeriods(const std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> &loader,
                    const CommonNOX::Importer::ReplaySelection &selection);

    /// False at the end.
    bool next(RawPeriod &period);
    /// The part that has been taken, from 0 to 1.
    double getDone() const;
    /// How many periods of the selection could not be read; all of them are counted at the end.
    quint64 getLostCount() const { return m_heads.empty() ? m_total - m_taken : 0; }

private:
    void fetch(int channel);

    CommonNOX::Importer::PdReplayImporter m_importer;
    std::map<std::pair<quint64, int>, RawPeriod> m_heads; // by index and channel, the next of each channel
    quint64 m_total = 0;
    quint64 m_taken = 0;
};

/// A clause about what of a recording could not be read; empty when there was nothing.
QString describeLosses(const CommonNOX::Importer::ReplayLosses &losses);
QString describeLostPeriods(quint64 count);

/// What the recording has nothing of, in one sentence: a channel, or periods in the span. Empty when all is well.
QString objectToSelection(const CommonNOX::Importer::PdReplayFileLoader &loader,
                          const CommonNOX::Importer::ReplaySelection &selection);

/// The same as a source of periods.
class RecordedPeriodSource : public PeriodSource
{
public:
    /// The loader has built its index.
    explicit RecordedPeriodSource(const std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> &loader,
                                  const CommonNOX::Importer::ReplaySelection &selection);
    ~RecordedPeriodSource() override;

    bool start() override;
    PeriodResult next() override;
    bool canRestart() const override { return true; }
    QString getError() const override { return {}; }
    double getProgress() const override { return m_periods ? m_periods->getDone() : 0.0; }
    QString getTitle() const override;
    QString getRemark() const override;

private:
    const std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> m_loader;
    const CommonNOX::Importer::ReplaySelection m_selection;
    std::unique_ptr<RecordedPeriods> m_periods;
};

} // namespace NoxHost
