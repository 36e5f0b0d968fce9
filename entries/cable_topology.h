#pragma once

#include "nox_export.h"

#include <QObject>

namespace CommonNOX::Entries::Cable
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// How a cable under test is built. Stored as an integer, so values never change their meaning.
enum class DacCableTopology {
    Undefined = 0,
    SingleCore = 1,        ///< one single-core cable
    ThreeSingleCores = 2,  ///< a three-phase system of three single-core cables
    ThreeCoreBelted = 3,   ///< three cores in one sheath with one common screen
    ThreeCoreScreened = 4, ///< three cores in one sheath, each with a screen of its own
};
Q_ENUM_NS(DacCableTopology)

} // namespace CommonNOX::Entries::Cable
