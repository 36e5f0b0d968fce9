#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

#include <QObject>

namespace CommonNOX::Entries::Customer
{

/// A customer for whom tests are made.
class NOX_EXPORT CustomerV1 : public CatalogueEntry<CustomerV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_customer", "v1", "{CD18AE4F-6BF5-1014-AF38-058014A04EF6}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Customer

namespace CommonNOX::Entries::Device
{

/// A damped-AC test device as it announced itself. GainFactors are linear and lie at the positions named by
/// AvailableGainIndizes; the resolution is in bits, the inductance of the coil in mH.
class NOX_EXPORT DacDeviceV1 : public CatalogueEntry<DacDeviceV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_device", "v1", "{E81AD8ED-6BF7-1014-BA36-86127F47A826}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Device

namespace CommonNOX::Entries::Location
{

/// Where a cable lies, with the substations at its two ends.
class NOX_EXPORT LocationV1 : public CatalogueEntry<LocationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_location", "v1", "{43E397AD-6BF5-1014-85A8-917114A04EF6}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Location

namespace CommonNOX::Entries::Person
{

/// A person, for example the tester.
class NOX_EXPORT PersonV1 : public CatalogueEntry<PersonV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_person", "v1", "{0F725564-6BF6-1014-9A12-C19414A04EF6}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Person

namespace CommonNOX::Entries::Procedure
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// What a test is made for.
enum class ProcedureType {
    Undefined = 0,
    Commissioning = 1, ///< after laying
    Maintenance = 2,   ///< a cable in service
    AfterRepair = 3,
    Diagnosis = 4, ///< to find a known fault
};
Q_ENUM_NS(ProcedureType)

/// A test procedure: Type is a ProcedureType, Steps a list of DacTestProcedureEntryV1 in the order of testing.
class NOX_EXPORT ProcedureV1 : public CatalogueEntry<ProcedureV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_procedure", "v1", "{2E5D0E89-6BF6-1014-916E-F99014A04EF6}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Procedure

NOX_DECLARE_ENTRY(CommonNOX::Entries::Customer, CustomerV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Device, DacDeviceV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Location, LocationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Person, PersonV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Procedure, ProcedureV1)
