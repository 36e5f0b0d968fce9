#include "host/pulses/csv_period_source.h"

#include <QFileInfo>

namespace NoxHost
{

CsvPeriodSource::CsvPeriodSource(const QString &path)
    : m_path(path), m_isFile(QFileInfo(path).isFile() || !QFileInfo::exists(path))
{}

CsvPeriodSource::~CsvPeriodSource() = default;

bool CsvPeriodSource::start()
{
    m_size = m_isFile ? QFileInfo(m_path).size() : 0;
    return m_reader.open(m_path);
}

double CsvPeriodSource::getProgress() const
{
    return m_size > 0 ? double(m_reader.bytesRead()) / double(m_size) : -1.0;
}

QString CsvPeriodSource::getTitle() const
{
    return QFileInfo(m_path).completeBaseName();
}

} // namespace NoxHost
