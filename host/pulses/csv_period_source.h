#pragma once

#include "host/pulses/period_source.h"
#include "host/pulses/pulse_csv_reader.h"

namespace NoxHost
{

/// The periods of a pulse CSV, see PulseCsvReader. A file can be read again, a pipe cannot.
class CsvPeriodSource : public PeriodSource
{
public:
    explicit CsvPeriodSource(const QString &path);
    ~CsvPeriodSource() override;

    bool start() override;
    PeriodResult next() override { return m_reader.next(); }
    bool canRestart() const override { return m_isFile; }
    QString getError() const override { return m_reader.error(); }
    double getProgress() const override;
    QString getTitle() const override;

private:
    const QString m_path;
    const bool m_isFile;
    qint64 m_size = 0;
    PulseCsvReader m_reader;
};

} // namespace NoxHost
