#pragma once

#include "entries/cable_topology.h"
#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

class QAbstractItemModel;
class QObject;

namespace CommonNOX::Entries::Cable
{

/// One core of a cable with the joints along it.
class NOX_EXPORT CableCoreV1 : public CatalogueEntry<CableCoreV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_cable_core", "v1", "{615F1443-6C06-1014-A9FA-1E5C7F47A826}"};
    static const PropertyTable &Properties();
};

/// One joint of a cable core. Offset is its distance from the near end in metres.
class NOX_EXPORT CableJointV1 : public CatalogueEntry<CableJointV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_cable_joint", "v1", "{FC3DC0C3-6C05-1014-99AE-051DC21865E5}"};
    static const PropertyTable &Properties();
};

/// A cable under test: length in m, voltages U0 and Um in kV, pulse velocity in m/µs, Topology a DacCableTopology,
/// Cores a list of CableCoreV1.
class NOX_EXPORT CableV1 : public CatalogueEntry<CableV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_cable", "v1", "{8FE4A092-6C05-1014-BF91-511EC21865E5}"};
    static const PropertyTable &Properties();

    /// Whether several cores share one sheath: topologies ThreeCoreBelted and ThreeCoreScreened.
    bool isMultiCoreCable() const;

    /// The cores and their joints as a read-only tree for display, a snapshot of this entry: a row a core, below it a
    /// row a joint; columns name, distance from the near end, date of manufacture, joint type, comment. The caller
    /// owns the model, or the parent when there is one.
    QAbstractItemModel *getCableModel(QObject *parent = nullptr) const;
};

} // namespace CommonNOX::Entries::Cable

NOX_DECLARE_ENTRY(CommonNOX::Entries::Cable, CableCoreV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Cable, CableJointV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Cable, CableV1)
