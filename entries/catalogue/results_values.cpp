#include "entries/catalogue/results_values.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Results
{

const PropertyTable &DacResultProgressV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::TaskId,        QString(),     false, "Common/index",     NOX_LABEL("Task")},
        {Keys::Reference,     QString(),     false, "Common/reference", NOX_LABEL("Request")},
        {Keys::Finished,      false,         false, "Common/status",    NOX_LABEL("Finished"), Format::yesNo},
        {Keys::ResponseUuids, QStringList(), false, "Common/reference", NOX_LABEL("Results"),  Format::items},
        {Keys::Progress,      0.0,           false, "Common/progress",  NOX_LABEL("Progress"), Format::percent},
        {Keys::Details,       QString(),     false, "Common/details",   NOX_LABEL("Details")},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Results

namespace CommonNOX::Entries::Results::Space1D
{

static QString withUnit(const DataEntryConstPtr &entry, const QString &name)
{
    return entry ? Format::quantity(entry->get(name), entry->get(Keys::Unit).toString()) : QString();
}

const PropertyTable &DacEnvironmentConditionV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Temperature, 0.0, false, "Results/temperature", NOX_LABEL("Temperature"),       Format::celsius},
        {Keys::Pressure,    0.0, false, "Results/pressure",    NOX_LABEL("Air pressure"),      Format::hectopascals},
        {Keys::Humidity,    0.0, false, "Results/humidity",    NOX_LABEL("Relative humidity"), Format::percent},
    };
    // clang-format on
    return table;
}

const PropertyTable &FrequencyV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Value,  0.0,                  false, "Results/frequency",         NOX_LABEL("Frequency"),    Format::number},
        {Keys::Unit,   QStringLiteral("Hz"), false, "Common/unit",               NOX_LABEL("Unit")},
        {Keys::Source, QString(),            false, "Recording/synchronisation", NOX_LABEL("Measured on")},
    };
    // clang-format on
    return table;
}

QString FrequencyV1::FormatProperty(const DataEntryConstPtr &entry, const QString &name)
{
    return name == Keys::Value ? withUnit(entry, name) : CatalogueEntry::FormatProperty(entry, name);
}

const PropertyTable &QmaxInformationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::AbsoluteMaximumValue, 0.0,       false, "Results/maximum", NOX_LABEL("Largest positive charge"), Format::number},
        {Keys::AbsoluteMinimumValue, 0.0,       false, "Results/minimum", NOX_LABEL("Largest negative charge"), Format::number},
        {Keys::AbsolutePeakValue,    0.0,       false, "Results/extreme", NOX_LABEL("Peak charge"),             Format::number},
        {Keys::Unit,                 QString(), false, "Common/unit",     NOX_LABEL("Unit")},
    };
    // clang-format on
    return table;
}

QString QmaxInformationV1::FormatProperty(const DataEntryConstPtr &entry, const QString &name)
{
    return name != Keys::Unit ? withUnit(entry, name) : CatalogueEntry::FormatProperty(entry, name);
}

const PropertyTable &SignalValueV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Value, 0.0,       false, "Results/charge", NOX_LABEL("Reading"), Format::number},
        {Keys::Unit,  QString(), false, "Common/unit",    NOX_LABEL("Unit")},
    };
    // clang-format on
    return table;
}

QString SignalValueV1::FormatProperty(const DataEntryConstPtr &entry, const QString &name)
{
    return name == Keys::Value ? withUnit(entry, name) : CatalogueEntry::FormatProperty(entry, name);
}

const PropertyTable &VoltageV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Rms,  0.0,                  false, "Results/voltage", NOX_LABEL("RMS voltage"),  Format::number},
        {Keys::Peak, 0.0,                  false, "Results/maximum", NOX_LABEL("Peak voltage"), Format::number},
        {Keys::Unit, QStringLiteral("kV"), false, "Common/unit",     NOX_LABEL("Unit")},
    };
    // clang-format on
    return table;
}

QString VoltageV1::FormatProperty(const DataEntryConstPtr &entry, const QString &name)
{
    return name != Keys::Unit ? withUnit(entry, name) : CatalogueEntry::FormatProperty(entry, name);
}

} // namespace CommonNOX::Entries::Results::Space1D

namespace CommonNOX::Entries
{

static const EntryRegistration<Results::DacResultProgressV1, Results::Space1D::DacEnvironmentConditionV1,
                               Results::Space1D::FrequencyV1, Results::Space1D::QmaxInformationV1,
                               Results::Space1D::SignalValueV1, Results::Space1D::VoltageV1>
    registration;

} // namespace CommonNOX::Entries
