#include "host/replay/recorded_building.h"

#include "entries/catalogue/recording.h"
#include "entries/property_keys.h"
#include "evaluation/context_keys.h"

#include <algorithm>
#include <cmath>

namespace NoxHost
{

using CommonNOX::GatingStatus;
using CommonNOX::Entries::Recording::PdGlobalNavigationType;
using CommonNOX::Importer::PdReplayFileLoader;
namespace ContextKeys = CommonNOX::Evaluation::ContextKeys;
namespace Keys = CommonNOX::Entries::Keys;

RecordedBuilding::RecordedBuilding(const std::shared_ptr<PdReplayFileLoader> &loader,
                                   const EvaluationSettings &settings)
    : m_standard(settings)
{
    for (const int channel : loader->getChannels())
        read(*loader, channel);
}

void RecordedBuilding::read(PdReplayFileLoader &loader, int channel)
{
    std::vector<Change> &changes = m_changes[channel];
    EvaluationSettings settings = m_standard;
    const auto navigation = loader.getChannelTimeNavigation(channel);
    for (const auto &mark : loader.getMarks(channel)) {
        const auto action =
            mark.type == PdGlobalNavigationType::Action ? loader.getReplayActionByUuid(channel, mark.uuid) : nullptr;
        const auto place = navigation->find(mark.element);
        // What was set behind the last period holds for none.
        if (!action || (!place && mark.element != 0))
            continue;
        apply(action->get(Keys::Path).toString(), action->get(Keys::NewValue), settings);
        changes.push_back({mark.element == 0 ? 0 : place->globalIndex, settings});
    }
}

void RecordedBuilding::apply(const QString &key, const QVariant &value, EvaluationSettings &settings) const
{
    if (settings.given.contains(key))
        return;
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    if (key == ContextKeys::Gating && isNumber && number >= 0 && number <= 3)
        settings.gating = GatingStatus(int(number));
    else if (key == ContextKeys::Invert)
        settings.building.invert = value.toBool();
    else if (key == ContextKeys::IgnoreCorrections)
        settings.building.ignoreCorrections = value.toBool();
    else if (key == ContextKeys::PhaseOffset && std::isfinite(number))
        settings.building.phaseOffset = number;
    else if (key == ContextKeys::PhaseSpan && std::isfinite(number))
        settings.building.phaseSpan = number;
}

const EvaluationSettings &RecordedBuilding::find(int channel, quint64 index) const
{
    const auto changes = m_changes.find(channel);
    if (changes == m_changes.end())
        return m_standard;
    const auto behind = std::upper_bound(changes->second.begin(), changes->second.end(), index,
                                         [](quint64 wanted, const Change &change) { return wanted < change.from; });
    return behind == changes->second.begin() ? m_standard : std::prev(behind)->settings;
}

} // namespace NoxHost
