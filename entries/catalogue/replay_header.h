#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"
#include "entries/generic_hardware_information.h"

#include <memory>

namespace CommonNOX::Entries::Recording
{

/// The header of a recording in its first form: one set of channels. PDDuration is in ms.
class NOX_EXPORT PdReplayHeaderV1 : public CatalogueEntry<PdReplayHeaderV1>
{
public:
    static constexpr EntryIdentity Identity{"pd_replay_header", "v1", "{C1F60620-5FBA-11E7-A393-A42548BFCB33}"};
    static const PropertyTable &Properties();

    /// The recorded instrument; never null.
    std::shared_ptr<const GenericHardwareInformationInterface> getGenericHardwareInformation() const;

    /// Number of PD channels: the length of the longest list among the per-channel properties.
    int getNumberOfChannels() const;

    /// What was recorded and how each channel was set, one "label: value" a line, translated. Lines of a channel are
    /// indented below its own; what is not known is left out.
    QString getSummary() const;
};

/// The header of a recording: the file, the recorded device, and the settings of its charge (PD_) and test-voltage
/// (TV_) channels. File_Duration is in ms.
class NOX_EXPORT PdReplayHeaderV2 : public CatalogueEntry<PdReplayHeaderV2>
{
public:
    static constexpr EntryIdentity Identity{"pd_replay_header", "v2", "{0009B7EB-21F2-471E-95E7-5B1BD6AE8AFA}"};
    static const PropertyTable &Properties();

    /// The recorded instrument; never null.
    std::shared_ptr<const GenericHardwareInformationInterface> getGenericHardwareInformation() const;

    /// Number of PD channels: the length of the longest list among the per-channel properties.
    int getNumberOfChannels() const;

    /// What was recorded and how each channel was set, one "label: value" a line, translated. Lines of a channel are
    /// indented below its own; what is not known is left out.
    QString getSummary() const;
};

} // namespace CommonNOX::Entries::Recording

NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdReplayHeaderV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdReplayHeaderV2)
