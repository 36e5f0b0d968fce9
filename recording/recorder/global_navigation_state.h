#pragma once

#include "recording/navigation_records.h"
#include "recording/recorder/storage_state.h"

namespace CommonNOX::PD::Recording
{

/// The file-wide navigation list: the start of the recording, and for each stored entry whose it is and which time
/// element it precedes.
class GlobalNavigationState
{
public:
    /// Writes the first element, with the time.
    void initialize(StorageState &storage, qint64 msSinceEpoch);
    void add(StorageState &storage, const GlobalRecord &record) const;

private:
    int m_kind = 0;
};

} // namespace CommonNOX::PD::Recording
