#include "entries/catalogue/cable.h"

#include "entries/catalogue/cable_model_p.h"
#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Cable
{

const PropertyTable &CableCoreV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Name,   QString(),      true,  "Common/name", NOX_LABEL("Core name")},
        {Keys::Joints, QVariantList(), false, "Cable/joint", NOX_LABEL("Joints"),     Format::items},
    };
    // clang-format on
    return table;
}

const PropertyTable &CableJointV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Index,             0,           false, "Common/index",   NOX_LABEL("Joint number")},
        {Keys::Offset,            0.0,         true,  "Cable/offset",   NOX_LABEL("Distance from near end"), Format::metres},
        {Keys::DateOfManufacture, QDateTime(), true,  "Common/date",    NOX_LABEL("Date of manufacture"),    Format::date},
        {Keys::Material,          QString(),   true,  "Cable/material", NOX_LABEL("Joint type")},
        {Keys::Comment,           QString(),   true,  "Common/comment", NOX_LABEL("Comment")},
    };
    // clang-format on
    return table;
}

const PropertyTable &CableV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Name,              QString(),      true,  "Common/name",         NOX_LABEL("Cable name")},
        {Keys::DateOfManufacture, QDateTime(),    true,  "Common/date",         NOX_LABEL("Date of manufacture"),              Format::date},
        {Keys::Length,            0.0,            true,  "Cable/length",        NOX_LABEL("Length"),                           Format::metres},
        {Keys::Material,          QString(),      true,  "Cable/material",      NOX_LABEL("Insulation")},
        {Keys::U0,                0.0,            true,  "Cable/rated_voltage", NOX_LABEL("Rated voltage U0"),                 Format::kilovolts},
        {Keys::Um,                0.0,            true,  "Cable/rated_voltage", NOX_LABEL("Highest voltage for equipment Um"), Format::kilovolts},
        {Keys::Topology,          0,              true,  "Cable/topology",      NOX_LABEL("Cable design"),                     Format::cableTopology},
        {Keys::Cores,             QVariantList(), false, "Cable/cores",         NOX_LABEL("Cores"),                            Format::items},
        {Keys::Ancestor,          QString(),      false, "Cable/ancestor",      NOX_LABEL("Replaces cable")},
        {Keys::TdrCalibrationRef, QString(),      false, "Common/reference",    NOX_LABEL("Reflectometry calibration")},
        {Keys::Velocity,          0.0,            false, "Cable/velocity",      NOX_LABEL("Propagation velocity"),             Format::metresPerMicrosecond},
    };
    // clang-format on
    return table;
}

bool CableV1::isMultiCoreCable() const
{
    const auto topology = static_cast<DacCableTopology>(get(Keys::Topology).toInt());
    return topology == DacCableTopology::ThreeCoreBelted || topology == DacCableTopology::ThreeCoreScreened;
}

QAbstractItemModel *CableV1::getCableModel(QObject *parent) const
{
    return new CableModel(*this, parent);
}

static const EntryRegistration<CableCoreV1, CableJointV1, CableV1> registration;

} // namespace CommonNOX::Entries::Cable
