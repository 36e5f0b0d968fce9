#include "recording/recorder/global_navigation_state.h"

#include "recording/replay_file.h"

namespace CommonNOX::PD::Recording
{

using namespace Entries::Recording;

void GlobalNavigationState::initialize(StorageState &storage, qint64 msSinceEpoch)
{
    m_kind = storage.getKind({TypeOf<PdGlobalNavigationElementV1>(), PdGlobalNavigationElementV1::Category(),
                              ToClassification(DeviceItself), RecordSize});
    GlobalRecord start;
    start.type = PdGlobalNavigationType::RecordingStart;
    start.value = msSinceEpoch;
    add(storage, start);
}

void GlobalNavigationState::add(StorageState &storage, const GlobalRecord &record) const
{
    storage.appendElement(m_kind, record);
}

} // namespace CommonNOX::PD::Recording
