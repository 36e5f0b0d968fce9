#pragma once

#include "host/pulses/line_reader.h"
#include "host/pulses/period_source.h"
#include "host/pulses/pulse_csv_columns.h"

#include <map>
#include <optional>
#include <string>

namespace NoxHost
{

using PulseCsvResult = PeriodResult;

/// Reads the pulses of a file, a pipe or a device one period at a time; docs/pulse-csv.md tells the format.
///
/// Memory does not grow with the file: a block of bytes, one line, the pulses of one period, and the last period of
/// each channel are held. Periods come in the order of the file; those that were complete before a faulty row come out
/// first, then the error, again and again. A row belongs to the period that its channel and period fields name; when
/// these cannot be read, it counts as a row of the period before it, which then does not come out either. That a period
/// is scattered shows only when its later rows come, so its first rows are out by then.
///
/// Nothing throws but a lack of memory. Not thread-safe; next() blocks while a pipe has nothing to read.
class PulseCsvReader
{
public:
    static constexpr qsizetype DefaultBlockSize = 256 * 1024;
    static constexpr int MaximumPulsesPerPeriod = 4'194'304;
    /// Different channels in one file: each is evaluated by threads of its own.
    static constexpr int MaximumChannels = 256;

    explicit PulseCsvReader(qsizetype blockSize = DefaultBlockSize);

    /// Opens the file at @p path, FIFOs and `/dev/stdin` included, and reads the header; false with error() set
    /// when that fails. Opening again starts over.
    bool open(const QString &path);
    /// The same for an open @p device, which must outlive the reading and answer 0 bytes only at its end. @p name
    /// stands for it in error sentences.
    bool open(QIODevice *device, const QString &name);

    PulseCsvResult next();

    quint64 bytesRead() const { return m_lines.bytesRead(); } ///< from the file, since it was opened
    QString error() const { return m_error; }                 ///< empty while there is none

private:
    using PeakData = CommonNOX::Entries::Results::Space2D::PeakData;

    bool readHeaderLine();
    bool nextDataLine(std::string_view &line);
    bool startsLikeCurrent(std::string_view line) const;
    bool takePlainPulse(std::string_view line);
    bool takeRow(std::string_view line, RawPeriod &complete);
    bool namesOtherPeriod() const;
    bool readRow(std::string_view line, bool isCurrent, PulseCsv::Fault &fault);
    bool checkFieldCount(std::string_view line, PulseCsv::Fault &fault) const;
    bool readPeriod(RawPeriod &period, PulseCsv::Fault &fault) const;
    bool checkCurrent(const RawPeriod &period, PulseCsv::Fault &fault) const;
    bool startPeriod(const RawPeriod &period, PulseCsv::Fault &fault);
    bool takePulse(PulseCsv::Fault &fault);
    RawPeriod release();
    std::string_view field(PulseCsv::Column column) const { return m_fields[std::size_t(m_layout.place[column])]; }
    bool fail(const PulseCsv::Fault &fault, quint64 lineNumber);

    LineReader m_lines;
    bool m_wasOpened = false;
    QString m_name; // as shown in sentences
    QString m_error;
    PulseCsv::Layout m_layout;
    std::vector<std::string_view> m_fields; // of the row under way

    RawPeriod m_current; // its peaks stand in m_pulses
    bool m_hasCurrent = false;
    bool m_currentIsEmpty = false; // closed by a row without a pulse
    std::vector<PeakData> m_pulses;
    std::string
        m_start; // how the current period's rows begin, up to the eleventh field; empty when that cannot be used
    quint64 m_lastIndex = 0;
    std::optional<quint64> m_doubtedFrom;
    std::map<qint32, quint64> m_lastIndexOfChannel; // empty before the first row
};

} // namespace NoxHost
