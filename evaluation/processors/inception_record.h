#pragma once

#include "entries/data_entry.h"
#include "entries/property_key.h"
#include "nox_export.h"

namespace CommonNOX::Evaluation::Processors::InceptionExtinction
{

namespace RecordKeys
{
inline constexpr PropertyKey State{u"State"};
inline constexpr PropertyKey InceptionVoltage{u"InceptionVoltage"};
inline constexpr PropertyKey ExtinctionVoltage{u"ExtinctionVoltage"};
} // namespace RecordKeys

/// One decision: State is "inception" or "extinction", the voltages are those of the criterion after it. A result for
/// displays and readings, not a class of the catalogue: it is never stored as such.
class NOX_EXPORT DecisionRecord : public DataEntry
{
public:
    DecisionRecord(bool inInception, double inceptionVoltage, double extinctionVoltage);
    ~DecisionRecord() override;
};

} // namespace CommonNOX::Evaluation::Processors::InceptionExtinction
