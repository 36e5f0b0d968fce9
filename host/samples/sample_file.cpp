#include "host/samples/sample_file.h"

#include "host/samples/npy_file.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

namespace NoxHost
{

namespace
{

constexpr qint64 LongestLine = 64 * 1024 * 1024;

bool isSeparator(char sign)
{
    return sign == ',' || sign == ';' || sign == '\t' || sign == ' ' || sign == '\r' || sign == '\n';
}

/// The fields of a line; false when one of them is no number.
bool readFields(std::string_view line, std::vector<double> &fields)
{
    fields.clear();
    line = line.substr(0, line.find('#'));
    for (std::size_t at = 0; at < line.size();) {
        if (isSeparator(line[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < line.size() && !isSeparator(line[end]))
            ++end;
        const char *begin = line.data() + at + (line[at] == '+' ? 1 : 0);
        double value = 0.0;
        const auto result = std::from_chars(begin, line.data() + end, value);
        if (result.ec != std::errc() || result.ptr != line.data() + end)
            return false;
        fields.push_back(value);
        at = end;
    }
    return true;
}

class TextReader
{
public:
    explicit TextReader(const SeriesChoice &choice) : m_choice(choice) {}

    /// False with the error set.
    bool take(const QByteArray &line, qint64 number)
    {
        std::vector<double> fields;
        if (!readFields({line.constData(), std::size_t(line.size())}, fields)) {
            if (m_rows == 0 && !std::exchange(m_hasNames, true))
                return true;
            m_error = QStringLiteral("line %1 is no row of numbers").arg(number);
            return false;
        }
        if (fields.empty())
            return true;
        const qint64 row = m_rows++;
        if (m_choice.row) {
            if (row == *m_choice.row)
                m_samples = fields;
            return true;
        }
        const std::size_t column = std::size_t(m_choice.column.value_or(0));
        if (!m_choice.column && fields.size() > 1) {
            m_isTable = true;
            m_samples = m_rows == 1 ? fields : std::vector<double>();
            return true;
        }
        if (column >= fields.size()) {
            m_error = QStringLiteral("line %1 has no column %2").arg(number).arg(column);
            return false;
        }
        m_samples.push_back(fields[column]);
        if (qint64(m_samples.size()) <= MostSamples)
            return true;
        m_error = QStringLiteral("it has more than %1 samples").arg(MostSamples);
        return false;
    }

    bool finish()
    {
        // A table of a single row is a series.
        if (m_isTable && m_rows > 1)
            m_error = QStringLiteral("it is a table of %1 rows, choose a row or a column").arg(m_rows);
        else if (m_choice.row && *m_choice.row >= m_rows)
            m_error = QStringLiteral("there is no row %1, it has %2").arg(*m_choice.row).arg(m_rows);
        return m_error.isEmpty();
    }

    const QString &getError() const { return m_error; }
    std::vector<double> &getSamples() { return m_samples; }

private:
    const SeriesChoice m_choice;
    std::vector<double> m_samples;
    qint64 m_rows = 0;
    bool m_hasNames = false;
    bool m_isTable = false;
    QString m_error;
};

bool readText(QFile &file, const SeriesChoice &choice, std::vector<double> &samples, QString &error)
{
    TextReader reader(choice);
    bool isGood = true;
    for (qint64 number = 1; isGood; ++number) {
        const QByteArray line = file.readLine(LongestLine);
        if (line.isEmpty())
            break;
        if (line.size() >= LongestLine - 1) {
            error = QStringLiteral("line %1 is too long").arg(number);
            return false;
        }
        isGood = reader.take(line, number);
    }
    isGood = isGood && reader.finish();
    error = reader.getError();
    samples = std::move(reader.getSamples());
    return isGood;
}

} // namespace

bool readSamples(const QString &path, const SeriesChoice &choice, std::vector<double> &samples, QString &error)
{
    QFile file(path);
    QString objection;
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        objection = QFileInfo(path).isFile() ? file.errorString() : QStringLiteral("there is no such file");
    else if (isNpyFile(file) ? readNpySamples(file, choice, samples, objection)
                             : readText(file, choice, samples, objection)) {
        if (samples.empty())
            objection = QStringLiteral("it holds no samples");
        else if (!std::all_of(samples.begin(), samples.end(), [](double value) { return std::isfinite(value); }))
            objection = QStringLiteral("it holds values that are not finite");
    }
    if (!objection.isEmpty())
        error = QStringLiteral("\"%1\" cannot be read: %2.").arg(path, objection);
    return objection.isEmpty();
}

} // namespace NoxHost
