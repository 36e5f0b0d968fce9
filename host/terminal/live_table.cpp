#include "host/terminal/live_table.h"

#include "host/evaluation/reading_format.h"

#include <map>

namespace NoxHost
{

namespace
{

constexpr double SecondsBetweenPlainLines = 1.0;
constexpr int SmallestColumn = 14;

} // namespace

LiveTable::LiveTable(std::FILE *stream, const QStringList &processors)
    : m_processors(processors), m_isTerminal(isTerminal(stream)), m_output(stream)
{}

void LiveTable::show(double seconds, const QString &status, const std::vector<Reading> &lastReadings)
{
    if (lastReadings.empty() || (!m_isTerminal && seconds < m_nextSeconds))
        return;
    m_nextSeconds = seconds + SecondsBetweenPlainLines;
    const QStringList rows = makeRows(lastReadings);
    if (m_isTerminal)
        showInPlace(status, rows);
    else
        showPlain(status, rows);
    m_output.flush();
}

QStringList LiveTable::makeRows(const std::vector<Reading> &lastReadings) const
{
    std::map<int, std::map<QString, const Reading *>> byChannel;
    for (const Reading &reading : lastReadings)
        byChannel[reading.channel][reading.processor] = &reading;

    std::vector<QStringList> cells{QStringList(QStringLiteral("channel")) + m_processors};
    for (const auto &[channel, readings] : byChannel) {
        cells.push_back({describeChannel(*readings.begin()->second)});
        for (const QString &processor : m_processors) {
            const auto reading = readings.find(processor);
            cells.back().append(reading == readings.end() ? QStringLiteral("-") : describeRecord(*reading->second));
        }
    }
    QStringList rows(QVector<QString>(int(cells.size())).toList());
    for (int column = 0; column <= m_processors.size(); ++column) {
        int width = column == 0 ? 0 : SmallestColumn;
        for (const QStringList &row : cells)
            width = std::max(width, row[column].size());
        for (std::size_t i = 0; i < cells.size(); ++i)
            rows[int(i)] += QStringLiteral("  ") + cells[i][column].leftJustified(width);
    }
    return rows;
}

void LiveTable::showInPlace(const QString &status, const QStringList &rows)
{
    std::string text;
    if (m_shownLines > 0)
        text += "\x1b[" + std::to_string(m_shownLines) + "A";
    for (const QString &line : QStringList(status) + rows)
        text += "\r\x1b[K" + line.toStdString() + '\n';
    m_shownLines = rows.size() + 1;
    m_output.write(text);
}

void LiveTable::showPlain(const QString &status, const QStringList &rows)
{
    m_output.write(status.toStdString() + '\n');
    for (const QString &row : rows)
        m_output.write(row.toStdString() + '\n');
}

} // namespace NoxHost
