#pragma once

#include "host/evaluation/evaluation_settings.h"
#include "recording/replay/pd_replay_file_loader.h"

#include <map>
#include <memory>
#include <vector>

namespace NoxHost
{

/// How the periods of a recording were built, with the changes that were made meanwhile. Immutable.
class RecordedBuilding
{
public:
    /// The loader has built its index. What `settings` names as given stays as it is there.
    RecordedBuilding(const std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> &loader,
                     const EvaluationSettings &settings);

    /// For the channel's period of this index.
    const EvaluationSettings &find(int channel, quint64 index) const;

private:
    struct Change
    {
        quint64 from = 0; ///< index of the first period that it holds for
        EvaluationSettings settings;
    };
    void read(CommonNOX::Importer::PdReplayFileLoader &loader, int channel);
    void apply(const QString &key, const QVariant &value, EvaluationSettings &settings) const;

    const EvaluationSettings m_standard;
    std::map<int, std::vector<Change>> m_changes; // by channel
};

} // namespace NoxHost
