#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

namespace CommonNOX::Entries::Results::Space2D
{

/// Bits of a period's Flags.
inline constexpr quint32 PeriodFlagDirty = 1;      ///< the period is to be treated as if it had no pulses
inline constexpr quint32 PeriodFlagMillivolts = 4; ///< charges are in mV
inline constexpr quint32 PeriodFlagDiscarded = 8;

/// The pulses of a period as diagrams draw them, one value a pulse: charge in the period's unit, phase in degrees,
/// voltage in kV when calibrated, else per unit. Pulses inside a gating window stand apart. Flags are the period's.
class NOX_EXPORT DisplayedPeriodV1 : public CatalogueEntry<DisplayedPeriodV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_displayed_period", "v1", "{ADC66009-6BFF-1014-A8DC-F6067F47A826}"};
    static const PropertyTable &Properties();
};

/// One test-voltage period as diagrams draw it: voltages in kV when calibrated, else per unit, Frequency in Hz,
/// Resolution (the time between two samples) and Start (the time of the first sample) in ms.
class NOX_EXPORT DisplayedVoltageScopeV1 : public CatalogueEntry<DisplayedVoltageScopeV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_displayed_voltage_scope", "v1",
                                            "{6F9EF034-32EE-11E6-82DF-5003ED155E66}"};
    static const PropertyTable &Properties();
};

/// The raw pulses of a measurement, a PeakVector.
class NOX_EXPORT PdPeakInformationV1 : public CatalogueEntry<PdPeakInformationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_peak_information", "v1", "{2BA8DAFB-6BF7-1014-BBD1-698F14A04EF6}"};
    static const PropertyTable &Properties();
};

/// The raw pulses of a measurement, a PeakVector.
class NOX_EXPORT PdPeakInformationV2 : public CatalogueEntry<PdPeakInformationV2>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_peak_information", "v2", "{95E20D81-6C00-1014-ADDA-0E1E7F47A826}"};
    static const PropertyTable &Properties();
};

/// Consecutive periods of one channel, oldest first, each a shared PeriodV2 (or PeriodV1).
class NOX_EXPORT PeriodBlockV1 : public CatalogueEntry<PeriodBlockV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_period_block", "v1", "{823B00AA-6BF5-1014-90B8-2DDAE0E2FBA6}"};
    static const PropertyTable &Properties();
};

/// One power-cycle period of raw pulses. StartTime and EndTime are ticks of the device clock, Flags are PeriodFlag
/// bits, Peaks is a PeakVector, and the extremes are raw amplitudes; a position is -1 in a period without pulses.
class NOX_EXPORT PeriodV1 : public CatalogueEntry<PeriodV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_period", "v1", "{D2CAEB84-6BF5-1014-AF6E-D98614A04EF6}"};
    static const PropertyTable &Properties();
};

/// One power-cycle period of raw pulses, as PeriodV1 but without the average.
class NOX_EXPORT PeriodV2 : public CatalogueEntry<PeriodV2>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_period", "v2", "{F9B6F3F3-6C02-1014-8BAC-AE337F47A826}"};
    static const PropertyTable &Properties();
};

/// One point of charge and test voltage over time: kV, pC, and the time of measurement.
class NOX_EXPORT QtUtDataV1 : public CatalogueEntry<QtUtDataV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_qt_ut_data", "v1", "{4292FDE7-6C00-1014-8FD0-3A1E7F47A826}"};
    static const PropertyTable &Properties();
};

/// The raw test-voltage samples of one period; kV are Samples × HardwareCorrection × Calibration. A Calibration of 0
/// means not calibrated.
class NOX_EXPORT VoltageScopeV1 : public CatalogueEntry<VoltageScopeV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_voltage_scope", "v1", "{0BBBBB7A-32C5-11E6-8FEF-27D8EC155E66}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Entries::Results::Space3D
{

/// A phase-resolved pattern as a picture: Image and Overflow (the pulses above the scale) are PNG bytes, MaxScaleY
/// the largest charge on the scale, AxisScaling an AxisScalingType.
class NOX_EXPORT PatternV1 : public CatalogueEntry<PatternV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_pd_pattern", "v1", "{23925467-6BF5-1014-88E2-817114A04EF6}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Results::Space3D

NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DisplayedPeriodV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DisplayedVoltageScopeV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, PdPeakInformationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, PdPeakInformationV2)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, PeriodBlockV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, PeriodV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, PeriodV2)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, QtUtDataV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, VoltageScopeV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space3D, PatternV1)
