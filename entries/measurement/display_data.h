#pragma once

#include "entries/measurement/samples.h"

namespace CommonNOX
{

/// The events of one period as columns for a diagram; all three of one length.
struct DisplayData
{
    Entries::ValueVector signal;  ///< charge, in the period's PD unit
    Entries::ValueVector phase;   ///< degrees, not wrapped
    Entries::ValueVector voltage; ///< test voltage at the moment of the pulse
};

} // namespace CommonNOX
