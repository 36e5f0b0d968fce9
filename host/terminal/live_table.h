#pragma once

#include "host/evaluation/reading.h"
#include "host/terminal/output.h"

#include <QStringList>

#include <vector>

namespace NoxHost
{

/// Readings while they come: a table that refreshes in place on a terminal, plain lines elsewhere.
class LiveTable
{
public:
    /// One column a processor.
    LiveTable(std::FILE *stream, const QStringList &processors);

    /// Shows the latest readings, in order of channel; `status` stands above them. On a terminal any time, elsewhere
    /// when a second of measuring time has passed since the last.
    void show(double seconds, const QString &status, const std::vector<Reading> &lastReadings);

    QString getError() const { return m_output.getError(); }

private:
    QStringList makeRows(const std::vector<Reading> &lastReadings) const;
    void showInPlace(const QString &status, const QStringList &rows);
    void showPlain(const QString &status, const QStringList &rows);

    const QStringList m_processors;
    const bool m_isTerminal;
    Output m_output;
    int m_shownLines = 0;
    double m_nextSeconds = 0.0;
};

} // namespace NoxHost
