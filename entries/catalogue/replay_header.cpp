#include "entries/catalogue/replay_header.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/property_keys.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <span>

namespace CommonNOX::Entries::Recording
{

const PropertyTable &PdReplayHeaderV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Title,                                QString(),      true,  "Common/title",            NOX_LABEL("Title")},
        {Keys::Author,                               QString(),      true,  "Administration/person",   NOX_LABEL("Author")},
        {Keys::DateTime,                             QDateTime(),    true,  "Common/date",             NOX_LABEL("Recording date"),              Format::dateTime},
        {Keys::Description,                          QString(),      true,  "Common/description",      NOX_LABEL("Description")},
        {Keys::FileType,                             QString(),      false, "Recording/file",          NOX_LABEL("File type")},
        {Keys::Device_SoftwareVersion,               QString(),      true,  "Device/software",         NOX_LABEL("Device software version")},
        {Keys::Device_FPGAVersion,                   QString(),      true,  "Device/firmware",         NOX_LABEL("FPGA version")},
        {Keys::Device_SerialNumber,                  QString(),      true,  "Device/serial_number",    NOX_LABEL("Serial number")},
        {Keys::Device_ProductClass,                  QString(),      true,  "Device/device",           NOX_LABEL("Product class")},
        {Keys::Device_ProductName,                   QString(),      true,  "Device/device",           NOX_LABEL("Product name")},
        {Keys::Device_AvailableHighSpeedAdcChannels, 0,              false, "Device/resolution",       NOX_LABEL("High-speed ADC channels")},
        {Keys::RecordingSuiteSoftwareVersion,        QString(),      true,  "Device/software",         NOX_LABEL("Recording software version")},
        {Keys::ModuleName,                           QString(),      true,  "Common/type",             NOX_LABEL("Module")},
        {Keys::PDDuration,                           qlonglong(0),   false, "Common/duration",         NOX_LABEL("Recording duration"),          Format::duration},
        {Keys::ReplayFileVersion,                    0,              false, "Common/version",          NOX_LABEL("File version")},
        {Keys::MinMaxGainIndex,                      QVariantList(), false, "Device/gain",             NOX_LABEL("Gain index range"),            Format::channelRanges},
        {Keys::GainLevels,                           QVariantList(), false, "Device/gain",             NOX_LABEL("Gain levels"),                 Format::channels},
        {Keys::AutorangeMode,                        QVariantList(), false, "Recording/autorange",     NOX_LABEL("Automatic gain"),              Format::channels},
        {Keys::ChannelEnabled,                       QVariantList(), false, "Recording/channel",       NOX_LABEL("Channel enabled"),             Format::channels},
        {Keys::FilterEnabled,                        QVariantList(), false, "Recording/filter",        NOX_LABEL("Filter enabled"),              Format::channels},
        {Keys::AttenuatorIndex,                      QVariantList(), false, "Recording/attenuator",    NOX_LABEL("Attenuator index"),            Format::channels},
        {Keys::TriggerLevel,                         QVariantList(), false, "Recording/trigger",       NOX_LABEL("Trigger level"),               Format::channels},
        {Keys::CalibrationFactor,                    QVariantList(), false, "Calibration/calibration", NOX_LABEL("Calibration factor"),          Format::channels},
        {Keys::CalibrationTarget,                    QVariantList(), false, "Calibration/destination", NOX_LABEL("Calibration target"),          Format::channels},
        {Keys::CalibrationStatus,                    QVariantList(), false, "Common/status",           NOX_LABEL("Calibration status"),          Format::channelCalibrationStatus},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdReplayHeaderV2::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Title,                                QString(),      true,  "Common/title",              NOX_LABEL("Title")},
        {Keys::Author,                               QString(),      true,  "Administration/person",     NOX_LABEL("Author")},
        {Keys::DateTime,                             QDateTime(),    true,  "Common/date",               NOX_LABEL("Recording date"),              Format::dateTime},
        {Keys::Description,                          QString(),      true,  "Common/description",        NOX_LABEL("Description")},
        {Keys::FileType,                             QString(),      false, "Recording/file",            NOX_LABEL("File type")},
        {Keys::File_Duration,                        qlonglong(0),   false, "Common/duration",           NOX_LABEL("Recording duration"),          Format::duration},
        {Keys::Device_SoftwareVersion,               QString(),      true,  "Device/software",           NOX_LABEL("Device software version")},
        {Keys::Device_FPGAVersion,                   QString(),      true,  "Device/firmware",           NOX_LABEL("FPGA version")},
        {Keys::Device_SerialNumber,                  QString(),      true,  "Device/serial_number",      NOX_LABEL("Serial number")},
        {Keys::Device_ProductClass,                  QString(),      true,  "Device/device",             NOX_LABEL("Product class")},
        {Keys::Device_ProductName,                   QString(),      true,  "Device/device",             NOX_LABEL("Product name")},
        {Keys::Device_HardwareOptions,               QStringList(),  true,  "Device/capabilities",       NOX_LABEL("Hardware options"),            Format::joined},
        {Keys::Device_AvailableHighSpeedAdcChannels, 0,              false, "Device/resolution",         NOX_LABEL("High-speed ADC channels")},
        {Keys::RecordingSuiteSoftwareVersion,        QString(),      true,  "Device/software",           NOX_LABEL("Recording software version")},
        {Keys::ModuleName,                           QString(),      true,  "Common/type",               NOX_LABEL("Module")},
        {Keys::ReplayFileVersion,                    0,              false, "Common/version",            NOX_LABEL("File version")},
        {Keys::PD_GainLevels,                        QVariantList(), false, "Device/gain",               NOX_LABEL("PD gain levels"),              Format::channels},
        {Keys::PD_MinMaxGainIndex,                   QVariantList(), false, "Device/gain",               NOX_LABEL("PD gain index range"),         Format::channelRanges},
        {Keys::PD_ChannelEnabled,                    QVariantList(), false, "Recording/channel",         NOX_LABEL("PD channel enabled"),          Format::channels},
        {Keys::PD_ChannelName,                       QVariantList(), false, "Common/name",               NOX_LABEL("PD channel name"),             Format::channels},
        {Keys::PD_ChannelDataPath,                   QVariantList(), false, "Common/path",               NOX_LABEL("PD data path"),                Format::channels},
        {Keys::PD_ChannelExternRelaisEnabled,        QVariantList(), false, "Recording/relay",           NOX_LABEL("PD external relay enabled"),   Format::channels},
        {Keys::PD_AutorangeMode,                     QVariantList(), false, "Recording/autorange",       NOX_LABEL("PD automatic gain"),           Format::channels},
        {Keys::PD_FilterEnabled,                     QVariantList(), false, "Recording/filter",          NOX_LABEL("PD filter enabled"),           Format::channels},
        {Keys::PD_TriggerLevel,                      QVariantList(), false, "Recording/trigger",         NOX_LABEL("PD trigger level"),            Format::channels},
        {Keys::PD_AttenuatorIndex,                   QVariantList(), false, "Recording/attenuator",      NOX_LABEL("PD attenuator index"),         Format::channels},
        {Keys::PD_CalibrationFactor,                 QVariantList(), false, "Calibration/calibration",   NOX_LABEL("PD calibration factor"),       Format::channels},
        {Keys::PD_CalibrationTarget,                 QVariantList(), false, "Calibration/destination",   NOX_LABEL("PD calibration target"),       Format::channels},
        {Keys::PD_CalibrationStatus,                 QVariantList(), false, "Common/status",             NOX_LABEL("PD calibration status"),       Format::channelCalibrationStatus},
        {Keys::TV_GainLevels,                        QVariantList(), false, "Device/gain",               NOX_LABEL("Voltage gain levels"),         Format::channels},
        {Keys::TV_MinMaxGainIndex,                   QVariantList(), false, "Device/gain",               NOX_LABEL("Voltage gain index range"),    Format::channelRanges},
        {Keys::TV_AutorangeMode,                     QVariantList(), false, "Recording/autorange",       NOX_LABEL("Voltage automatic gain"),      Format::channels},
        {Keys::TV_AttenuatorIndex,                   QVariantList(), false, "Recording/attenuator",      NOX_LABEL("Voltage attenuator index"),    Format::channels},
        {Keys::TV_SynchronisationSource,             QVariantList(), false, "Recording/synchronisation", NOX_LABEL("Synchronisation source"),      Format::channels},
        {Keys::TV_CalibrationFactor,                 QVariantList(), false, "Calibration/calibration",   NOX_LABEL("Voltage calibration factor"),  Format::channels},
        {Keys::TV_CalibrationTarget,                 QVariantList(), false, "Calibration/destination",   NOX_LABEL("Voltage calibration target"),  Format::channels},
        {Keys::TV_CalibrationStatus,                 QVariantList(), false, "Common/status",             NOX_LABEL("Voltage calibration status"),  Format::channelCalibrationStatus},
    };
    // clang-format on
    return table;
}

// What a channel's block of the summary shows, in this order.
struct ChannelRow
{
    PropertyKey key;
    ValueFormatter format = Format::element;
};

static constexpr ChannelRow pdChannelV1[] = {
    {Keys::MinMaxGainIndex, Format::range},
    {Keys::GainLevels},
    {Keys::AutorangeMode},
    {Keys::ChannelEnabled},
    {Keys::FilterEnabled},
    {Keys::AttenuatorIndex},
    {Keys::TriggerLevel},
    {Keys::CalibrationFactor},
    {Keys::CalibrationTarget},
    {Keys::CalibrationStatus, Format::calibrationStatus},
};

static constexpr ChannelRow pdChannelV2[] = {
    {Keys::PD_GainLevels},
    {Keys::PD_MinMaxGainIndex, Format::range},
    {Keys::PD_ChannelEnabled},
    {Keys::PD_ChannelName},
    {Keys::PD_ChannelDataPath},
    {Keys::PD_ChannelExternRelaisEnabled},
    {Keys::PD_AutorangeMode},
    {Keys::PD_FilterEnabled},
    {Keys::PD_TriggerLevel},
    {Keys::PD_AttenuatorIndex},
    {Keys::PD_CalibrationFactor},
    {Keys::PD_CalibrationTarget},
    {Keys::PD_CalibrationStatus, Format::calibrationStatus},
};

static int channelCount(const DataEntry &header, std::span<const ChannelRow> rows)
{
    int count = 0;
    for (const ChannelRow &row : rows)
        count = std::max(count, header.get(row.key).toList().size());
    return count;
}

static QString summary(const DataEntry &header, std::span<const ChannelRow> rows)
{
    const auto translated = [](const char *text) { return QCoreApplication::translate("CommonNOX::Entries", text); };
    QStringList lines;
    const auto add = [&lines](const QString &label, const QString &text) {
        if (!text.isEmpty())
            lines += QStringLiteral("%1: %2").arg(label, text);
    };
    add(translated(NOX_LABEL("Recording date")), Format::dateTime(header.get(Keys::DateTime)));
    add(translated(NOX_LABEL("SW Version")), header.get(Keys::Device_SoftwareVersion).toString());
    add(translated(NOX_LABEL("FPGA Version")), header.get(Keys::Device_FPGAVersion).toString());
    add(translated(NOX_LABEL("Recording SW version")), header.get(Keys::RecordingSuiteSoftwareVersion).toString());
    add(translated(NOX_LABEL("Product class")), header.get(Keys::Device_ProductClass).toString());
    add(translated(NOX_LABEL("Product name")), header.get(Keys::Device_ProductName).toString());
    for (int channel = 0, count = channelCount(header, rows); channel < count; ++channel) {
        lines += translated(NOX_LABEL("PD Channel %1")).arg(channel + 1);
        for (const ChannelRow &row : rows) {
            const QString label = QStringLiteral("  ") + header.getProperty(row.key).getDescription();
            add(label, row.format(header.get(row.key).toList().value(channel)));
        }
    }
    return lines.join(QLatin1Char('\n'));
}

namespace
{

/// The instrument as a header describes it; a header without hardware options has none.
class RecordedHardware final : public GenericHardwareInformationInterface
{
public:
    RecordedHardware(const DataEntry &header, int channels) : m_header(header), m_channels(channels) {}

    QString getSerialNumber() const override { return text(Keys::Device_SerialNumber); }
    QString getProductClass() const override { return text(Keys::Device_ProductClass); }
    QString getProductName() const override { return text(Keys::Device_ProductName); }
    QString getSoftwareVersion() const override { return text(Keys::Device_SoftwareVersion); }
    QString getFPGAVersion() const override { return text(Keys::Device_FPGAVersion); }
    QStringList getHardwareOptions() const override
    {
        return m_header.get(Keys::Device_HardwareOptions).toStringList();
    }
    int getNumberOfChannels() const override { return m_channels; }
    int getNumberOfHighSpeedAdcChannels() const override
    {
        return m_header.get(Keys::Device_AvailableHighSpeedAdcChannels).toInt();
    }

private:
    QString text(const PropertyKey &key) const { return m_header.get(key).toString(); }

    const DataEntry m_header;
    const int m_channels;
};

} // namespace

std::shared_ptr<const GenericHardwareInformationInterface> PdReplayHeaderV1::getGenericHardwareInformation() const
{
    return std::make_shared<RecordedHardware>(*this, getNumberOfChannels());
}

int PdReplayHeaderV1::getNumberOfChannels() const
{
    return channelCount(*this, pdChannelV1);
}

QString PdReplayHeaderV1::getSummary() const
{
    return summary(*this, pdChannelV1);
}

std::shared_ptr<const GenericHardwareInformationInterface> PdReplayHeaderV2::getGenericHardwareInformation() const
{
    return std::make_shared<RecordedHardware>(*this, getNumberOfChannels());
}

int PdReplayHeaderV2::getNumberOfChannels() const
{
    return channelCount(*this, pdChannelV2);
}

QString PdReplayHeaderV2::getSummary() const
{
    return summary(*this, pdChannelV2);
}

static const EntryRegistration<PdReplayHeaderV1, PdReplayHeaderV2> registration;

} // namespace CommonNOX::Entries::Recording
