#include "entries/catalogue/administration.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Customer
{

const PropertyTable &CustomerV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Description,    QString(), true, "Common/description",     NOX_LABEL("Description")},
        {Keys::Company,        QString(), true, "Administration/company", NOX_LABEL("Company")},
        {Keys::Address,        QString(), true, "Administration/address", NOX_LABEL("Address")},
        {Keys::ContactPerson,  QString(), true, "Administration/person",  NOX_LABEL("Contact person")},
        {Keys::ContactDetails, QString(), true, "Administration/contact", NOX_LABEL("Contact details")},
        {Keys::Reference,      QString(), true, "Common/reference",       NOX_LABEL("Customer reference")},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Customer

namespace CommonNOX::Entries::Device
{

const PropertyTable &DacDeviceV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::SerialNumber,           QString(),      true,  "Device/serial_number", NOX_LABEL("Serial number")},
        {Keys::DeviceType,             QString(),      true,  "Device/device",        NOX_LABEL("Device type")},
        {Keys::Capabilities,           QStringList(),  true,  "Device/capabilities",  NOX_LABEL("Capabilities"),             Format::joined},
        {Keys::GainFactors,            QVariantList(), false, "Device/gain",          NOX_LABEL("Gain factors"),             Format::joined},
        {Keys::AvailableGainIndizes,   QVariantList(), false, "Device/gain",          NOX_LABEL("Available gain indices"),   Format::joined},
        {Keys::AdcResolution,          0,              false, "Device/resolution",    NOX_LABEL("ADC resolution"),           Format::bitWidth},
        {Keys::Device_SoftwareVersion, QString(),      true,  "Device/software",      NOX_LABEL("Device software version")},
        {Keys::Device_FPGAVersion,     QString(),      true,  "Device/firmware",      NOX_LABEL("FPGA version")},
        {Keys::Inductance,             0.0,            false, "Device/inductance",    NOX_LABEL("Coil inductance"),          Format::millihenries},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Device

namespace CommonNOX::Entries::Location
{

const PropertyTable &LocationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Location,       QString(), true, "Administration/location",    NOX_LABEL("Location")},
        {Keys::SubStationNear, QString(), true, "Administration/substation",  NOX_LABEL("Near-end substation")},
        {Keys::SubStationFar,  QString(), true, "Administration/substation",  NOX_LABEL("Far-end substation")},
        {Keys::City,           QString(), true, "Administration/company",     NOX_LABEL("City")},
        {Keys::PostalCode,     QString(), true, "Administration/postal_code", NOX_LABEL("Postal code")},
        {Keys::Country,        QString(), true, "Administration/country",     NOX_LABEL("Country")},
        {Keys::GpsPosition,    QString(), true, "Administration/gps",         NOX_LABEL("GPS position")},
        {Keys::Comment,        QString(), true, "Common/comment",             NOX_LABEL("Comment")},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Location

namespace CommonNOX::Entries::Person
{

const PropertyTable &PersonV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Name,           QString(), true, "Administration/person",  NOX_LABEL("Name")},
        {Keys::Company,        QString(), true, "Administration/company", NOX_LABEL("Company")},
        {Keys::Address,        QString(), true, "Administration/address", NOX_LABEL("Address")},
        {Keys::ContactDetails, QString(), true, "Administration/contact", NOX_LABEL("Contact details")},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Person

namespace CommonNOX::Entries::Procedure
{

const PropertyTable &ProcedureV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Name,  QString(),      true,  "Common/name",              NOX_LABEL("Procedure name")},
        {Keys::Type,  0,              true,  "Administration/procedure", NOX_LABEL("Kind of test"),    Format::procedureType},
        {Keys::Steps, QVariantList(), false, "Common/list",              NOX_LABEL("Test steps"),      Format::items},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Procedure

namespace CommonNOX::Entries
{

static const EntryRegistration<Customer::CustomerV1, Device::DacDeviceV1, Location::LocationV1, Person::PersonV1,
                               Procedure::ProcedureV1>
    registration;

} // namespace CommonNOX::Entries
