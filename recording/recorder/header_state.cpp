#include "recording/recorder/header_state.h"

#include "entries/data_entry_parser.h"
#include "entries/property_keys.h"
#include "recording/replay_file.h"

#include <QDateTime>
#include <QFileInfo>

#include <cmath>

namespace CommonNOX::PD::Recording
{

namespace Keys = Entries::Keys;
using Entries::Recording::PdReplayHeaderV2;

namespace
{

/// The factor below which a signal is not calibrated.
constexpr double SmallestCalibration = 1e-12;
const QString FileType = QStringLiteral("PD Replay");
const QString ModuleName = QStringLiteral("PD");
const QString RecordingSoftware = QStringLiteral("CommonNOX " NOX_VERSION);

QByteArray serialize(const PdReplayHeaderV2 &header)
{
    return Detail::EntryToRawData(std::make_shared<PdReplayHeaderV2>(header), {});
}

} // namespace

qint64 HeaderState::writeHeader(StorageState &storage, const RecordingSubject &subject, const QString &comment)
{
    m_header = {};
    m_channels.clear();
    m_header.set(Keys::Title, QFileInfo(storage.getPath()).completeBaseName());
    m_header.set(Keys::DateTime, QDateTime::currentDateTimeUtc());
    m_header.set(Keys::Description, comment);
    m_header.set(Keys::FileType, FileType);
    m_header.set(Keys::Device_SoftwareVersion, subject.softwareVersion);
    m_header.set(Keys::Device_FPGAVersion, subject.fpgaVersion);
    m_header.set(Keys::Device_SerialNumber, subject.serial);
    m_header.set(Keys::Device_ProductClass, subject.productClass);
    m_header.set(Keys::Device_ProductName, subject.productName.isEmpty() ? subject.type : subject.productName);
    m_header.set(Keys::RecordingSuiteSoftwareVersion, RecordingSoftware);
    m_header.set(Keys::ModuleName, ModuleName);
    m_header.set(Keys::ReplayFileVersion, FileVersion);

    QVariantList enabled, names, paths, sources, factors, states;
    for (int i = 0; i < subject.channels.size(); ++i) {
        const auto &channel = subject.channels[i];
        m_channels.append(channel.getChannelIndex());
        enabled.append(channel.isDefaultEnabled());
        names.append(channel.getChannelName());
        paths.append(subject.channelPaths.value(i));
        sources.append(int(channel.getSynchronisationSourceType()));
        factors.append(0.0);
        states.append(0);
    }
    m_header.set(Keys::PD_ChannelEnabled, enabled);
    m_header.set(Keys::PD_ChannelName, names);
    m_header.set(Keys::PD_ChannelDataPath, paths);
    m_header.set(Keys::PD_CalibrationFactor, factors);
    m_header.set(Keys::PD_CalibrationStatus, states);
    m_header.set(Keys::TV_SynchronisationSource, sources);
    m_header.set(Keys::TV_CalibrationFactor, factors);
    m_header.set(Keys::TV_CalibrationStatus, states);

    m_kind = storage.getKind({TypeOf<PdReplayHeaderV2>(), cstrHeaderEntryName, ToClassification(DeviceItself)});
    m_row = storage.append(m_kind, 0, serialize(m_header));
    const std::lock_guard guard(m_mutex);
    ++m_entryCount;
    return m_row;
}

void HeaderState::noteCalibration(int channel, double pd, double tv)
{
    const int place = m_channels.indexOf(channel);
    if (place < 0)
        return;
    const auto note = [&](const PropertyKey &factorKey, const PropertyKey &statusKey, double factor) {
        QVariantList factors = m_header.get(factorKey).toList();
        QVariantList states = m_header.get(statusKey).toList();
        factors[place] = factor;
        states[place] = std::abs(factor) > SmallestCalibration ? 1 : 0;
        m_header.set(factorKey, factors);
        m_header.set(statusKey, states);
    };
    note(Keys::PD_CalibrationFactor, Keys::PD_CalibrationStatus, pd);
    note(Keys::TV_CalibrationFactor, Keys::TV_CalibrationStatus, tv);
}

void HeaderState::finish(StorageState &storage, double seconds)
{
    if (m_row == 0)
        return;
    m_header.set(Keys::File_Duration, qlonglong(std::llround(seconds * 1000.0)));
    storage.replace(m_row, m_kind, 0, serialize(m_header));
    m_row = 0;
}

int HeaderState::getEntryCount() const
{
    const std::lock_guard guard(m_mutex);
    return m_entryCount;
}

} // namespace CommonNOX::PD::Recording
