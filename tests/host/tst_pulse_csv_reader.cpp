#include "host/pulses/pulse_csv_reader.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <utility>

using namespace NoxHost;
using Kind = PulseCsvResult::Kind;

namespace
{

const QByteArray Header("channel,period,start_ticks,end_ticks,sample_rate,pd_correction,pd_calibration,tv_correction,"
                        "tv_calibration,period_flags,time_ticks,amplitude,voltage,flags\n");

// Beginnings of rows of channel 0 and 1 in periods of 1000 ticks.
const QByteArray Start00("0,0,0,1000,50000,1,0.01,1,0.05,0,");
const QByteArray Start10("1,0,0,1000,50000,1,0.01,1,0.05,0,");
const QByteArray Start01("0,1,1000,2000,50000,1,0.01,1,0.05,0,");

// In the rows, the letters A, B and C stand for these beginnings.
QByteArray fileOf(QByteArray rows)
{
    return Header + rows.replace('A', Start00).replace('B', Start10).replace('C', Start01);
}

// A good period, and a good row of the next one before the rows that follow.
QByteArray after(const QByteArray &rows)
{
    return fileOf("A1,5,6,0\nB1,5,6,0\n" + rows);
}

/// All that one file gave.
struct Reading
{
    std::string summary; ///< `channel/period/pulses` of each period, then the error
    std::string fields;  ///< the others of the periods, with the first pulses
};

Reading readAll(PulseCsvReader &reader)
{
    QStringList summary;
    std::ostringstream fields;
    PulseCsvResult result;
    while ((result = reader.next()).kind == Kind::Period) {
        const RawPeriod &p = result.period;
        summary << QStringLiteral("%1/%2/%3").arg(p.channel).arg(p.index).arg(p.peaks.size());
        fields << p.startTicks << ' ' << p.endTicks << ' ' << p.sampleRate << ' ' << p.pdHardwareCorrection << ' '
               << p.pdCalibration << ' ' << p.tvHardwareCorrection << ' ' << p.tvCalibration << ' ' << p.flags;
        for (const auto &peak : p.peaks.mid(0, 9))
            fields << ' ' << peak.time << ' ' << peak.amplitude << ' ' << peak.voltage << ' ' << int(peak.flags);
    }
    EXPECT_EQ(result.kind, result.error.isEmpty() ? Kind::End : Kind::Error);
    EXPECT_EQ(reader.next().error, result.error) << "the outcome stays";
    if (!result.error.isEmpty())
        summary << result.error;
    return {summary.join(QLatin1Char(' ')).toStdString(), fields.str()};
}

Reading readDevice(QIODevice &device, qsizetype blockSize = PulseCsvReader::DefaultBlockSize)
{
    PulseCsvReader reader(blockSize);
    const bool isOpen = reader.open(&device, QStringLiteral("p"));
    EXPECT_EQ(isOpen, reader.error().isEmpty());
    return readAll(reader);
}

Reading readBytes(QByteArray bytes, qsizetype blockSize = PulseCsvReader::DefaultBlockSize)
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return readDevice(buffer, blockSize);
}

/// A device whose text is made piece by piece; it breaks when there is none.
class GeneratedDevice : public QIODevice
{
public:
    explicit GeneratedDevice(std::function<std::optional<QByteArray>()> makePiece) : m_makePiece(std::move(makePiece))
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char *data, qint64 size) override
    {
        const std::optional<QByteArray> piece = m_text.isEmpty() ? m_makePiece() : m_text;
        if (!piece) {
            setErrorString(QStringLiteral("The cable is out"));
            return -1;
        }
        const qint64 count = std::min<qint64>(size, piece->size());
        std::copy_n(piece->constData(), count, data);
        m_text = piece->mid(int(count));
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    const std::function<std::optional<QByteArray>()> m_makePiece;
    QByteArray m_text;
};

} // namespace

TEST(PulseCsvReader, ReadsEveryFieldToItsLimits)
{
    const Reading reading = readBytes(
        Header +
        "2147483647,9007199254740992,-9007199254740992,9007199254740992,4294967295,1.5,-2.5e-3,+.5,1e300,4294967295,"
        "9007199254740992,2147483647,-2147483648,255\n");
    EXPECT_EQ(reading.summary, "2147483647/9007199254740992/1");
    EXPECT_EQ(reading.fields, "-9007199254740992 9007199254740992 4294967295 1.5 -0.0025 0.5 1e+300 4294967295 "
                              "9007199254740992 2147483647 -2147483648 255");
}

TEST(PulseCsvReader, RefusesFieldsAndNamesTheirColumns)
{
    const QByteArrayList names = Header.trimmed().split(',');
    const auto outcomeOf = [&names](const QByteArray &row, const QByteArray &column, const QByteArray &value) {
        QByteArrayList fields = row.split(',');
        fields[names.indexOf(column)] = value;
        return readBytes(after(fields.join(',') + '\n')).summary;
    };
    const struct
    {
        QByteArray columns;
        QByteArray values; // separated by spaces
        const char *why;
    } rows[] = {
        {names.join(','), "", "the field is empty"},
        {"channel,period,start_ticks,end_ticks,sample_rate,period_flags", "x 1.0", " is not a whole number"},
        {"time_ticks,amplitude,voltage,flags", "abc 5.0 0x2 +-5", " is not a whole number"},
        {"pd_correction,pd_calibration", "nan -inf 1e999", " is not a finite decimal number"},
        {"tv_correction,tv_calibration", "x inf 0x1p3", " is not a finite decimal number"},
        {"channel", "-1 2147483648 4294967296", " is outside 0 to 2147483647"},
        {"period", "-1 9007199254740993 18446744073709551619", " is outside 0 to 9007199254740992"},
        {"sample_rate,period_flags", "-1 4294967296", " is outside 0 to 4294967295"},
        {"start_ticks,end_ticks,time_ticks", "-9007199254740993 9007199254740993 99999999999999999999",
         " is outside -9007199254740992 to 9007199254740992"},
        {"amplitude,voltage", "-2147483649 2147483648", " is outside -2147483648 to 2147483647"},
        {"flags", "-1 256", " is outside 0 to 255"},
    };
    for (const auto &each : rows) {
        for (const QByteArray &column : each.columns.split(',')) {
            for (const QByteArray &value : each.values.split(' ')) {
                const QByteArray shown = value.isEmpty() ? value : '"' + value + '"';
                const std::string error = ("p:4: column " + column + ": " + shown + each.why + '.').toStdString();
                // Without both numbers, a row does not show that the period before is complete.
                const bool isKept = column != "channel" && column != "period";
                EXPECT_EQ(outcomeOf(Start01 + "1001,5,6,0", column, value),
                          (isKept ? "0/0/1 1/0/1 " : "0/0/1 ") + error);
                EXPECT_EQ(outcomeOf(Start10 + "2,5,6,0", column, value), "0/0/1 " + error);
            }
        }
    }
    for (const QByteArray &column : names.mid(2, 8)) {
        const QByteArray error = "p:4: column " + column + ": \"7\" differs from the rows of the period before.";
        EXPECT_EQ(outcomeOf(Start10 + "2,5,6,0", column, "7"), "0/0/1 " + error.toStdString());
    }
}

TEST(PulseCsvReader, ReadsFilesInBlocksOfAnySize)
{
    const QByteArray names = Header.trimmed();
    const QByteArray reordered(
        "flags,note,voltage,amplitude,,time_ticks,period,channel,end_ticks,start_ticks,sample_rate,"
        "pd_correction,pd_calibration,tv_correction,tv_calibration,period_flags,note\n");
    const std::string isAlone = "p:3: column time_ticks: a row without a pulse must be the only one of its period.";
    const struct
    {
        QByteArray text;
        std::string summary;
    } rows[] = {
        // Channels of a period stand in any order, and may miss.
        {fileOf("A1,5,6,0\nA2,5,6,0\nB1,5,6,0\nC1001,5,6,0\n"), "0/0/2 1/0/1 0/1/1"},
        {fileOf("B1,5,6,0\nA1,5,6,0"), "1/0/1 0/0/1"},
        {fileOf("0,7,0,1,1,1,1,1,1,0,,,,\n3,9,0,1,1,1,1,1,1,0, ,\t,, \n0,9,0,1,1,1,1,1,1,0,,,,\n"),
         "0/7/0 3/9/0 0/9/0"},
        // Forms of the text.
        {fileOf("A1,5,6,0\nA2,5,6,0\n").replace("\n", "\r\n"), "0/0/2"},
        {"\xEF\xBB\xBF# 20 \xC2\xB0\n\n" + fileOf("  \t\nA1,5,6,0\n  # between\r\n\r\nA2,5,6,0\n#"), "0/0/2"},
        {fileOf("0 ,\t0, 0,1000,50000,+1,0.01,1,0.05,0,1 ,+5,6 ,0 \nA 2,5,+6,0\n"), "0/0/2"},
        {fileOf("A1,5,6,0\n0,00,0,1000,50000,1.0,1e-2,1,0.05,0,2,5,6,0\n"), "0/0/2"},
        // Columns in another order and further ones.
        {reordered + "0,\"a,6,5,,1,0,0,1000,0,50000,1,1,1,1,0,\n0,b,6,5,x,2,0,0,1000,0,50000,1,1,1,1,0,\n", "0/0/2"},
        {fileOf("A1,5,6,0,one\nA2,5,6,0,\nB,,,,none\n").replace("flags\n", "flags,remark\n"), "0/0/2 1/0/0"},
        // Times at both ends, in any order, and of periods that do not last.
        {fileOf("A1000,5,6,0\nA0,5,6,0\n"), "0/0/2"},
        {fileOf("0,0,1000,1000,0,1,0,1,0,8,-77,5,6,0\n0,1,5,-5,0,1,0,1,0,8,99,5,6,0\n"), "0/0/1 0/1/1"},
        {after("B-1,5,6,0\n"), "0/0/1 p:4: column time_ticks: -1 is outside its period, 0 to 1000."},
        {after("B1001,5,6,0\n"), "0/0/1 p:4: column time_ticks: 1001 is outside its period, 0 to 1000."},
        // Files without rows and bad headers.
        {"", "p:1: column 1: the file holds no header."},
        {"# a\n\n", "p:3: column 1: the file holds no header."},
        {"# a\n" + Header, "p:3: column 1: the file holds no rows."},
        {Start00 + "1,5,6,0\n", "p:1: column channel: the header does not name it."},
        {QByteArray(Header).replace("voltage", "Voltage"), "p:1: column voltage: the header does not name it."},
        {names + ", amplitude\n", "p:1: column amplitude: the header names it twice."},
        // Rows that are too short or too long.
        {after("B2,5"), "0/0/1 p:4: column voltage: the row has 12 fields, the header 14."},
        {after("0,1,1000,20"), "0/0/1 1/0/1 p:4: column sample_rate: the row has 4 fields, the header 14."},
        {after("end\n"), "0/0/1 p:4: column period: the row has 1 fields, the header 14."},
        {after("B2,\xC3\xA4\xE2\x82\xAC,6,0,x\n"), "0/0/1 p:4: column 43: the row has 15 fields, the header 14."},
        {names + ",\n" + Start00 + "1,5,6,0\n", "p:2: column 41: the row has 14 fields, the header 15."},
        // Rows that do not fit the ones before.
        {after("1,2,0,9,1,1,1,1,1,0,,,,\n1,1,0,9,1,1,1,1,1,0,,,,\n"),
         "0/0/1 1/0/1 1/2/0 p:5: column period: 1 comes after period 2."},
        {after("A2,5,6,0\n"),
         "0/0/1 1/0/1 p:4: column period: the rows of period 0 of channel 0 do not stand together."},
        {fileOf("A,,,\nA1,5,6,0\n"), isAlone},
        {fileOf("A,,,\nA,,,\n"), isAlone},
        {fileOf("A1,5,6,0\nA,,,\n"), isAlone},
        // What is no text, and hostile text.
        {after(QByteArray("B2,5\0,6,0\n", 10)), "0/0/1 p:4: column 37: a NUL byte has no place in text."},
        {QByteArray("# \0\n", 4) + Header, "p:1: column 3: a NUL byte has no place in text."},
        {after("#" + QByteArray(65536, 'x') + "\n"), "0/0/1 p:4: column 65537: the line is longer than 65536 bytes."},
        {fileOf(QByteArray(300'000, '7')), "p:2: column 65537: the line is longer than 65536 bytes."},
        {after("B2,\"5\",6,0\n"), "0/0/1 p:4: column amplitude: \"\\\"5\\\"\" is not a whole number."},
        {after("B\x1B[31m\r\xE2\x80\xAE" + QByteArray(100, 'x') + ",5,6,0\n"),
         "0/0/1 p:4: column time_ticks: \"\\u001b[31m\\r\\u202e" + std::string(33, 'x') +
             "...\" is not a whole number."},
    };
    for (const auto &each : rows) {
        const std::string fields = readBytes(each.text).fields;
        for (const qsizetype blockSize : {64 * 1024, 1, 7, 64}) {
            const Reading reading = readBytes(each.text, blockSize);
            EXPECT_EQ(reading.summary, each.summary) << each.text.right(80).constData();
            EXPECT_EQ(reading.fields, fields);
        }
    }
}

TEST(PulseCsvReader, TakesALineOfExactlyTheGreatestLength)
{
    const QByteArray comment = "#" + QByteArray(65535, 'x');
    for (const qsizetype blockSize : {1000, 65536, 65537, 65538, 300'000})
        EXPECT_EQ(readBytes(comment + "\r\n" + fileOf("A1,5,6,0\n") + comment, blockSize).summary, "0/0/1")
            << blockSize;
}

TEST(PulseCsvReader, BoundsThePulsesOfAPeriod)
{
    int pieces = 0;
    GeneratedDevice device([&pieces] {
        const QByteArray index = QByteArray::number(pieces / 4097);
        return pieces++ == 0 ? Header : ("0," + index + ",0,9,1,1,1,1,1,0,1,5,6,0\n").repeated(1024);
    });
    EXPECT_EQ(readDevice(device).summary,
              "0/0/4194304 p:8388610: column time_ticks: the period has more than 4194304 pulses.");
}

TEST(PulseCsvReader, BoundsTheChannelsOfAFile)
{
    QByteArray text = Header;
    for (int channel = 0; channel <= 256; ++channel)
        text += QByteArray::number(channel) + ",0,0,9,1,1,1,1,1,0,,,,\n";
    const QString summary = QString::fromStdString(readBytes(text).summary);
    EXPECT_EQ(summary.count(QLatin1String("/0/0 ")), 256);
    EXPECT_TRUE(summary.endsWith(QLatin1String(" p:258: column channel: the file has more than 256 channels.")));
}

TEST(PulseCsvReader, SaysWhyAFileCannotBeRead)
{
    const QTemporaryDir directory;
    const QString path = directory.path();
    // The memory of this process opens, but nothing can be read at its address 0.
    const QString memory = QStringLiteral("/proc/self/mem");
    const std::pair<QString, QString> rows[] = {
        {path + QStringLiteral("/a\nb"), path + QStringLiteral("/a\\nb: cannot be opened: No such file or directory.")},
        {path, path + QStringLiteral(": cannot be opened: Is a directory.")},
        {memory, memory + QStringLiteral(":1: column 1: the file cannot be read on (Input/output error).")},
    };
    PulseCsvReader reader;
    EXPECT_EQ(readAll(reader).summary, "No pulse file is open.");
    for (const auto &[name, error] : rows) {
        EXPECT_FALSE(reader.open(name));
        EXPECT_EQ(readAll(reader).summary, error.toStdString());
    }
}

TEST(PulseCsvReader, KeepsBackThePeriodDuringWhichTheSourceBreaks)
{
    std::optional<QByteArray> text = after("B2,5");
    GeneratedDevice device([&text] { return std::exchange(text, std::nullopt); });
    EXPECT_EQ(readDevice(device).summary, "0/0/1 p:4: column 1: the file cannot be read on (The cable is out).");
}

TEST(PulseCsvReader, StartsOverWhenOpenedAgain)
{
    const QTemporaryDir directory;
    QFile file(directory.filePath(QStringLiteral("p")));
    const std::string error = file.fileName().toStdString() + ":3: column time_ticks: \"x\" is not a whole number.";
    PulseCsvReader reader;
    for (const bool isGood : {false, true, false, true}) {
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(fileOf(isGood ? "B1,5,6,0\nC,,,\n" : "B1,5,6,0\nBx,5,6,0\n"));
        file.close();
        ASSERT_TRUE(reader.open(file.fileName()));
        EXPECT_EQ(readAll(reader).summary, isGood ? "1/0/1 0/1/0" : error);
    }
}

TEST(PulseCsvReader, HandsOutThePeriodsOfAPipeWhileItsWriterIsOpen)
{
    const QTemporaryDir directory;
    QFile pipe(directory.filePath(QStringLiteral("pipe")));
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe.fileName()).constData(), 0600), 0);
    // The writer's open() returns once the reader has opened the other end.
    std::thread writer([&pipe] {
        ASSERT_TRUE(pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        pipe.write(fileOf("A1,5,6,0\n"));
        pipe.write(Start10 + "1,5,6,0\n" + Start01.left(5));
    });
    PulseCsvReader reader;
    ASSERT_TRUE(reader.open(pipe.fileName()));
    const PulseCsvResult first = reader.next();
    writer.join();
    EXPECT_EQ(first.kind, Kind::Period);
    EXPECT_EQ(first.period.peaks.size(), 1);
    pipe.write(Start01.mid(5) + ",,,\n");
    pipe.close();
    EXPECT_EQ(readAll(reader).summary, "1/0/1 0/1/0");
}
