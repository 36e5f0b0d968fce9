#include "host/pulses/pulse_csv_reader.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>
#include <thread>
#include <utility>

using namespace NoxHost;
using Kind = PulseCsvResult::Kind;

namespace
{

const QByteArray Header("channel,period,start_ticks,end_ticks,sample_rate,pd_correction,pd_calibration,tv_correction,"
                        "tv_calibration,period_flags,time_ticks,amplitude,voltage,flags\n");

/// All that one file gave.
struct Reading
{
    std::vector<RawPeriod> periods;
    std::string error;

    /// `channel/period/pulses` of each period, for comparing at a glance.
    std::string summary() const
    {
        QStringList parts;
        for (const RawPeriod &each : periods)
            parts << QStringLiteral("%1/%2/%3").arg(each.channel).arg(each.index).arg(each.peaks.size());
        return parts.join(QLatin1Char(' ')).toStdString();
    }
};

Reading readAll(PulseCsvReader &reader)
{
    Reading reading;
    while (true) {
        PulseCsvResult result = reader.next();
        if (result.kind == Kind::Period) {
            reading.periods.push_back(result.period);
            continue;
        }
        EXPECT_EQ(result.kind, result.error.isEmpty() ? Kind::End : Kind::Error);
        EXPECT_TRUE(reader.next().error == result.error) << "the outcome stays";
        reading.error = result.error.toStdString();
        return reading;
    }
}

Reading readBytes(QByteArray bytes, qsizetype blockSize = PulseCsvReader::DefaultBlockSize)
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    PulseCsvReader reader(blockSize);
    reader.open(&buffer, QStringLiteral("p.csv"));
    return readAll(reader);
}

void expectSame(const RawPeriod &a, const RawPeriod &b)
{
    EXPECT_EQ(a.channel, b.channel);
    EXPECT_EQ(a.index, b.index);
    EXPECT_EQ(a.startTicks, b.startTicks);
    EXPECT_EQ(a.endTicks, b.endTicks);
    EXPECT_EQ(a.sampleRate, b.sampleRate);
    EXPECT_EQ(a.pdHardwareCorrection, b.pdHardwareCorrection);
    EXPECT_EQ(a.pdCalibration, b.pdCalibration);
    EXPECT_EQ(a.tvHardwareCorrection, b.tvHardwareCorrection);
    EXPECT_EQ(a.tvCalibration, b.tvCalibration);
    EXPECT_EQ(a.flags, b.flags);
    EXPECT_EQ(a.peaks, b.peaks);
}

class TemporaryFile
{
public:
    explicit TemporaryFile(const QByteArray &bytes) : path(m_directory.filePath(QStringLiteral("pulses.csv")))
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_EQ(file.write(bytes), bytes.size());
    }

private:
    QTemporaryDir m_directory;

public:
    const QString path;
};

/// A device that breaks after its text.
class BreakingDevice : public QIODevice
{
public:
    explicit BreakingDevice(const QByteArray &text) : m_text(text)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char *data, qint64 size) override
    {
        if (m_text.isEmpty()) {
            setErrorString(QStringLiteral("The cable is out"));
            return -1;
        }
        const qint64 count = std::min<qint64>(size, m_text.size());
        std::copy_n(m_text.constData(), count, data);
        m_text.remove(0, int(count));
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_text;
};

/// A device of many equal rows between a beginning and an end, without the memory for them.
class RepeatingDevice : public QIODevice
{
public:
    RepeatingDevice(const QByteArray &begin, const QByteArray &row, int count, const QByteArray &end)
        : m_text(begin), m_row(row), m_count(count), m_rest(end)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char *data, qint64 size) override
    {
        if (m_text.isEmpty()) {
            const int rows = std::min(m_count, 1000);
            m_text = rows > 0 ? m_row.repeated(rows) : std::exchange(m_rest, {});
            m_count -= rows;
        }
        const qint64 count = std::min<qint64>(size, m_text.size());
        std::copy_n(m_text.constData(), count, data);
        m_text.remove(0, int(count));
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_text;
    const QByteArray m_row;
    int m_count;
    QByteArray m_rest;
};

// Rows of channel 0 and 1 in periods of 1000 ticks.
const QByteArray Start00("0,0,0,1000,50000,1,0.01,1,0.05,0,");
const QByteArray Start10("1,0,0,1000,50000,1,0.01,1,0.05,0,");
const QByteArray Start01("0,1,1000,2000,50000,1,0.01,1,0.05,0,");

} // namespace

TEST(PulseCsvReader, ReadsEveryFieldToItsLimits)
{
    const Reading reading = readBytes(
        Header +
        "2147483647,9007199254740992,-9007199254740992,9007199254740992,4294967295,1.5,-2.5e-3,+.5,1e300,4294967295,"
        "9007199254740992,2147483647,-2147483648,255\n");
    ASSERT_EQ(reading.error, "");
    ASSERT_EQ(reading.periods.size(), 1u);
    RawPeriod expected;
    expected.channel = std::numeric_limits<qint32>::max();
    expected.index = Q_UINT64_C(1) << 53;
    expected.startTicks = -(Q_INT64_C(1) << 53);
    expected.endTicks = Q_INT64_C(1) << 53;
    expected.sampleRate = std::numeric_limits<quint32>::max();
    expected.pdHardwareCorrection = 1.5;
    expected.pdCalibration = -0.0025;
    expected.tvHardwareCorrection = 0.5;
    expected.tvCalibration = 1e300;
    expected.flags = std::numeric_limits<quint32>::max();
    expected.peaks = {{std::numeric_limits<qint32>::max(), std::numeric_limits<qint32>::min(), expected.endTicks, 255}};
    expectSame(reading.periods[0], expected);
}

struct GoodCase
{
    const char *name;
    QByteArray text;
    const char *summary;
};

void PrintTo(const GoodCase &each, std::ostream *out)
{
    *out << each.name;
}

class GoodPulseCsv : public testing::TestWithParam<GoodCase>
{};

TEST_P(GoodPulseCsv, GivesItsPeriodsInBlocksOfAnySize)
{
    const Reading whole = readBytes(GetParam().text);
    EXPECT_EQ(whole.error, "");
    EXPECT_EQ(whole.summary(), GetParam().summary);
    for (const qsizetype blockSize : {1, 2, 7, 64, 150}) {
        const Reading other = readBytes(GetParam().text, blockSize);
        EXPECT_EQ(other.error, "");
        ASSERT_EQ(other.periods.size(), whole.periods.size());
        for (std::size_t i = 0; i < whole.periods.size(); ++i)
            expectSame(other.periods[i], whole.periods[i]);
    }
}

const std::vector<GoodCase> GoodCases = {
    {"PulsesOfTwoChannels",
     Header + Start00 + "1,5,6,0\n" + Start00 + "2,5,6,0\n" + Start10 + "1,5,6,0\n" + Start01 + "1001,5,6,0\n",
     "0/0/2 1/0/1 0/1/1"},
    {"ChannelsOfAPeriodInAnyOrder", Header + Start10 + "1,5,6,0\n" + Start00 + "1,5,6,0\n", "1/0/1 0/0/1"},
    {"NoPulses", Header + Start00 + ",,,\n" + Start10 + " ,\t,, \n" + Start01 + ",,,\n", "0/0/0 1/0/0 0/1/0"},
    {"NoEndOfTheLastLine", Header + Start00 + "1,5,6,0", "0/0/1"},
    {"CarriageReturns", QByteArray(Header + Start00 + "1,5,6,0\n" + Start00 + "2,5,6,0\n").replace("\n", "\r\n"),
     "0/0/2"},
    {"ByteOrderMarkAndComments",
     "\xEF\xBB\xBF# made by hand, 20 \xC2\xB0"
     "C\n\n" +
         Header + "  \t\n" + Start00 + "1,5,6,0\n  # in between\r\n\r\n" + Start00 + "2,5,6,0\n#",
     "0/0/2"},
    {"SpacesTabsAndPlusSigns", Header + "0 ,\t0, 0,1000,50000,+1,0.01,1,0.05,0,1 ,+5,6 ,0 \n" + Start00 + " 2,5,+6,0\n",
     "0/0/2"},
    {"OneValueWrittenDifferently", Header + Start00 + "1,5,6,0\n0,00,0,1000,50000,1.0,1e-2,1,0.05,0,2,5,6,0\n",
     "0/0/2"},
    {"EndNotAfterStart", Header + "0,0,1000,1000,0,1,0,1,0,8,-77,5,6,0\n0,1,5,-5,0,1,0,1,0,8,99,5,6,0\n",
     "0/0/1 0/1/1"},
    {"PulsesAtStartAndEndInAnyOrder", Header + Start00 + "1000,5,6,0\n" + Start00 + "0,5,6,0\n", "0/0/2"},
    {"PeriodsMissing", Header + "0,7,0,1,1,1,1,1,1,0,,,,\n3,9,0,1,1,1,1,1,1,0,,,,\n0,9,0,1,1,1,1,1,1,0,,,,\n",
     "0/7/0 3/9/0 0/9/0"},
    {"ColumnsInAnotherOrderAndFurtherOnes",
     "flags,note,voltage,amplitude,,time_ticks,period,channel,end_ticks,start_ticks,sample_rate,pd_correction,"
     "pd_calibration,tv_correction,tv_calibration,period_flags,note\n"
     "0,\"a,6,5,,1,0,0,1000,0,50000,1,1,1,1,0,\n0,b,6,5,x,2,0,0,1000,0,50000,1,1,1,1,0,\n",
     "0/0/2"},
    {"FurtherColumnsAtTheEnd",
     Header.trimmed() + ",remark\n" + Start00 + "1,5,6,0,one\n" + Start00 + "2,5,6,0,\n" + Start10 + ",,,,none\n",
     "0/0/2 1/0/0"},
};

INSTANTIATE_TEST_SUITE_P(, GoodPulseCsv, testing::ValuesIn(GoodCases),
                         [](const auto &row) { return std::string(row.param.name); });

struct BadCase
{
    const char *name;
    QByteArray text;
    const char *error;        ///< after `p.csv:`
    const char *summary = ""; ///< of the periods before
};

void PrintTo(const BadCase &each, std::ostream *out)
{
    *out << each.name;
}

class BadPulseCsv : public testing::TestWithParam<BadCase>
{};

TEST_P(BadPulseCsv, NamesLineAndColumnAndKeepsTheFaultyPeriodBack)
{
    const TemporaryFile file(GetParam().text);
    PulseCsvReader reader;
    const bool isOpen = reader.open(file.path);
    EXPECT_EQ(isOpen, reader.error().isEmpty());
    const Reading reading = readAll(reader);
    EXPECT_EQ(reading.error, file.path.toStdString() + ':' + GetParam().error);
    EXPECT_EQ(reading.summary(), GetParam().summary);
    for (const qsizetype blockSize : {1, 33, 4096}) {
        const Reading other = readBytes(GetParam().text, blockSize);
        EXPECT_EQ(other.error, std::string("p.csv:") + GetParam().error);
        EXPECT_EQ(other.summary(), reading.summary());
    }
}

// A good row before the faulty one of the same period, and a good period before that.
QByteArray after(const QByteArray &row)
{
    return Header + Start00 + "1,5,6,0\n" + Start10 + "1,5,6,0\n" + row;
}

const std::vector<BadCase> BadCases = {
    {"Empty", "", "1: column 1: the file holds no header."},
    {"OnlyComments", "# a\n\n", "3: column 1: the file holds no header."},
    {"OnlyAHeader", "# a\n" + Header, "3: column 1: the file holds no rows."},
    {"NoHeader", Start00 + "1,5,6,0\n", "1: column channel: the header does not name it."},
    {"HeaderWithoutAColumn", QByteArray(Header).replace("voltage,", ""),
     "1: column voltage: the header does not name it."},
    {"HeaderInCapitals", Header.toUpper(), "1: column channel: the header does not name it."},
    {"HeaderWithAColumnTwice", Header.trimmed() + ", amplitude\n", "1: column amplitude: the header names it twice."},
    {"Semicolons", QByteArray(Header).replace(",", ";"), "1: column channel: the header does not name it."},
    {"TextForANumber", after(Start10 + "2,abc,6,0\n"), "4: column amplitude: \"abc\" is not a whole number.", "0/0/1"},
    {"DecimalForAWholeNumber", after(Start10 + "2,5.0,6,0\n"), "4: column amplitude: \"5.0\" is not a whole number.",
     "0/0/1"},
    {"HexadecimalNumber", after(Start10 + "0x2,5,6,0\n"), "4: column time_ticks: \"0x2\" is not a whole number.",
     "0/0/1"},
    {"TwoSigns", after(Start10 + "2,+-5,6,0\n"), "4: column amplitude: \"+-5\" is not a whole number.", "0/0/1"},
    {"FieldInQuotationMarks", after(Start10 + "2,\"5\",6,0\n"),
     "4: column amplitude: \"\\\"5\\\"\" is not a whole number.", "0/0/1"},
    {"AmplitudeAbove32Bits", after(Start10 + "2,2147483648,6,0\n"),
     "4: column amplitude: \"2147483648\" is outside -2147483648 to 2147483647.", "0/0/1"},
    {"VoltageBelow32Bits", after(Start10 + "2,5,-2147483649,0\n"),
     "4: column voltage: \"-2147483649\" is outside -2147483648 to 2147483647.", "0/0/1"},
    {"NumberBeyond64Bits", after(Start10 + "99999999999999999999,5,6,0\n"),
     "4: column time_ticks: \"99999999999999999999\" is outside -9007199254740992 to 9007199254740992.", "0/0/1"},
    {"FlagsAboveAByte", after(Start10 + "2,5,6,256\n"), "4: column flags: \"256\" is outside 0 to 255.", "0/0/1"},
    {"NegativeFlags", after(Start10 + "2,5,6,-1\n"), "4: column flags: \"-1\" is outside 0 to 255.", "0/0/1"},
    {"OneFieldOfAPulseEmpty", after(Start10 + "2,5,,0\n"), "4: column voltage: the field is empty.", "0/0/1"},
    {"PulseBeforeItsPeriod", after(Start10 + "-1,5,6,0\n"),
     "4: column time_ticks: -1 is outside its period, 0 to 1000.", "0/0/1"},
    {"PulseAfterItsPeriod", after(Start10 + "1001,5,6,0\n"),
     "4: column time_ticks: 1001 is outside its period, 0 to 1000.", "0/0/1"},
    {"TimeBeyondExactNumbers", Header + "0,0,0,0,1,1,1,1,1,0,9007199254740993,5,6,0\n",
     "2: column time_ticks: \"9007199254740993\" is outside -9007199254740992 to 9007199254740992."},
    {"ChannelNegative", after("-1,1,0,1000,1,1,1,1,1,0,,,,\n"), "4: column channel: \"-1\" is outside 0 to 2147483647.",
     "0/0/1"},
    {"PeriodTooLarge", after("1,9007199254740993,0,1000,1,1,1,1,1,0,,,,\n"),
     "4: column period: \"9007199254740993\" is outside 0 to 9007199254740992.", "0/0/1"},
    {"PeriodUnreadable", after("1,x,0,1000,1,1,1,1,1,0,,,,\n"), "4: column period: \"x\" is not a whole number.",
     "0/0/1"},
    {"SampleRateTooLarge", after("0,1,0,1000,4294967296,1,1,1,1,0,,,,\n"),
     "4: column sample_rate: \"4294967296\" is outside 0 to 4294967295.", "0/0/1 1/0/1"},
    {"NotANumber", after("0,1,0,1000,1,nan,1,1,1,0,,,,\n"),
     "4: column pd_correction: \"nan\" is not a finite decimal number.", "0/0/1 1/0/1"},
    {"Infinity", after("0,1,0,1000,1,1,inf,1,1,0,,,,\n"),
     "4: column pd_calibration: \"inf\" is not a finite decimal number.", "0/0/1 1/0/1"},
    {"DecimalTooLarge", after("0,1,0,1000,1,1,1,1e999,1,0,,,,\n"),
     "4: column tv_correction: \"1e999\" is not a finite decimal number.", "0/0/1 1/0/1"},
    {"HexadecimalDecimal", after("0,1,0,1000,1,1,1,1,0x1p3,0,,,,\n"),
     "4: column tv_calibration: \"0x1p3\" is not a finite decimal number.", "0/0/1 1/0/1"},
    {"DecimalComma", after("0,1,0,1000,1,1,0,01,1,1,0,,,,\n"), "4: column 30: the row has 15 fields, the header 14.",
     "0/0/1 1/0/1"},
    {"RowCutWithinThePeriod", after(Start10 + "2,5"), "4: column voltage: the row has 12 fields, the header 14.",
     "0/0/1"},
    {"RowCutInThePeriodAfter", after("0,1,1000,20"), "4: column sample_rate: the row has 4 fields, the header 14.",
     "0/0/1 1/0/1"},
    {"OneWord", after("end\n"), "4: column period: the row has 1 fields, the header 14.", "0/0/1"},
    {"RowTooLongByAField", after(Start10 + "2,5,6,0,\n"), "4: column 42: the row has 15 fields, the header 14.",
     "0/0/1"},
    {"PositionInCharacters", Header.trimmed() + ",remark\n" + Start00 + "1,5,6,0,\xC3\xA4\xC3\xB6\xE2\x82\xAC,x\n",
     "2: column 46: the row has 16 fields, the header 15."},
    {"CutBeforeANamelessColumn", Header.trimmed() + ",\n" + Start00 + "1,5,6,0\n",
     "2: column 41: the row has 14 fields, the header 15."},
    {"PeriodColumnsDiffer", after("1,0,0,1000,50000,1,0.02,1,0.05,0,2,5,6,0\n"),
     "4: column pd_calibration: \"0.02\" differs from the rows of the period before.", "0/0/1"},
    {"PeriodsDescend", after("1,2,0,9,1,1,1,1,1,0,,,,\n1,1,0,9,1,1,1,1,1,0,,,,\n"),
     "5: column period: 1 comes after period 2.", "0/0/1 1/0/1 1/2/0"},
    {"PeriodComesBack", after(Start00 + "2,5,6,0\n"),
     "4: column period: the rows of period 0 of channel 0 do not stand together.", "0/0/1 1/0/1"},
    {"PulseAfterARowWithoutOne", Header + Start00 + ",,,\n" + Start00 + "1,5,6,0\n",
     "3: column time_ticks: a row without a pulse must be the only one of its period."},
    {"TwoRowsWithoutAPulse", Header + Start00 + ",,,\n" + Start00 + ",,,\n",
     "3: column time_ticks: a row without a pulse must be the only one of its period."},
    {"RowWithoutAPulseAfterOne", Header + Start00 + "1,5,6,0\n" + Start00 + ",,,\n",
     "3: column time_ticks: a row without a pulse must be the only one of its period."},
    {"NulByte", after(Start10 + QByteArray("2,5\0,6,0\n", 9)), "4: column 37: a NUL byte has no place in text.",
     "0/0/1"},
    {"NulByteInAComment", QByteArray("# \0\n", 4) + Header, "1: column 3: a NUL byte has no place in text."},
    {"WideText",
     QByteArray("\xFF\xFE"
                "c\0h\0",
                6),
     "1: column 4: a NUL byte has no place in text."},
    {"LineTooLong", after("#" + QByteArray(65536, 'x') + "\n"), "4: column 65537: the line is longer than 65536 bytes.",
     "0/0/1"},
    {"LineWithoutEnd", Header + QByteArray(300'000, '7'), "2: column 65537: the line is longer than 65536 bytes."},
    {"ForeignTextIsCutAndEscaped", after(Start10 + "\x1B[31m\r\xE2\x80\xAE" + QByteArray(100, 'x') + ",5,6,0\n"),
     "4: column time_ticks: \"\\u001b[31m\\r\\u202exxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...\" is not a whole number.",
     "0/0/1"},
};

INSTANTIATE_TEST_SUITE_P(, BadPulseCsv, testing::ValuesIn(BadCases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(PulseCsvReader, TakesALineOfExactlyTheGreatestLength)
{
    const QByteArray comment = "#" + QByteArray(65535, 'x');
    for (const qsizetype blockSize : {1000, 65536, 65537, 65538, 300'000}) {
        const Reading reading = readBytes(comment + "\r\n" + Header + Start00 + "1,5,6,0\n" + comment, blockSize);
        EXPECT_EQ(reading.error, "") << blockSize;
        EXPECT_EQ(reading.summary(), "0/0/1");
    }
}

TEST(PulseCsvReader, BoundsThePulsesOfAPeriod)
{
    const QByteArray row = "0,0,0,9,1,1,1,1,1,0,1,5,6,0\n";
    const struct
    {
        QByteArray end;
        const char *summary;
        const char *error;
    } rows[] = {
        {"0,1,0,9,1,1,1,1,1,0,,,,\n", "0/0/4194304 0/1/0", ""},
        {row, "", "p.csv:4194306: column time_ticks: the period has more than 4194304 pulses."},
    };
    for (const auto &each : rows) {
        RepeatingDevice device(Header, row, PulseCsvReader::MaximumPulsesPerPeriod, each.end);
        PulseCsvReader reader;
        ASSERT_TRUE(reader.open(&device, QStringLiteral("p.csv")));
        const Reading reading = readAll(reader);
        EXPECT_EQ(reading.summary(), each.summary);
        EXPECT_EQ(reading.error, each.error);
    }
}

TEST(PulseCsvReader, BoundsTheChannelsOfAFile)
{
    QByteArray text = Header;
    for (int channel = 0; channel <= PulseCsvReader::MaximumChannels; ++channel)
        text += QByteArray::number(channel) + ",0,0,9,1,1,1,1,1,0,,,,\n";
    const Reading reading = readBytes(text);
    EXPECT_EQ(reading.periods.size(), std::size_t(PulseCsvReader::MaximumChannels));
    EXPECT_EQ(reading.error, "p.csv:258: column channel: the file has more than 256 channels.");
}

TEST(PulseCsvReader, SaysWhyAFileCannotBeRead)
{
    const QTemporaryDir directory;
    const QString missing = directory.filePath(QStringLiteral("a\nb.csv"));
    // The memory of this process opens, but nothing can be read at its address 0.
    const struct
    {
        QString path;
        QString error;
    } rows[] = {
        {missing, directory.filePath(QStringLiteral("a\\nb.csv")) +
                      QStringLiteral(": cannot be opened: No such file or directory.")},
        {directory.path(), directory.path() + QStringLiteral(": cannot be opened: Is a directory.")},
        {QStringLiteral("/proc/self/mem"),
         QStringLiteral("/proc/self/mem:1: column 1: the file cannot be read on (Input/output error).")},
    };
    for (const auto &row : rows) {
        PulseCsvReader reader;
        EXPECT_FALSE(reader.open(row.path));
        EXPECT_EQ(readAll(reader).error, row.error.toStdString());
    }
    PulseCsvReader reader;
    EXPECT_EQ(readAll(reader).error, "No pulse file is open.");
}

TEST(PulseCsvReader, KeepsBackThePeriodDuringWhichTheSourceBreaks)
{
    BreakingDevice device(Header + Start00 + "1,5,6,0\n" + Start10 + "1,5,6,0\n" + Start10 + "2,5");
    PulseCsvReader reader;
    ASSERT_TRUE(reader.open(&device, QStringLiteral("p.csv")));
    const Reading reading = readAll(reader);
    EXPECT_EQ(reading.summary(), "0/0/1");
    EXPECT_EQ(reading.error, "p.csv:4: column 1: the file cannot be read on (The cable is out).");
}

TEST(PulseCsvReader, StartsOverWhenOpenedAgain)
{
    const TemporaryFile bad(Header + Start10 + "1,5,6,0\n" + Start10 + "x,5,6,0\n");
    const TemporaryFile good(Header + Start10 + "1,5,6,0\n" + Start01 + ",,,\n");
    PulseCsvReader reader;
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(reader.open(bad.path));
        EXPECT_EQ(readAll(reader).error,
                  bad.path.toStdString() + ":3: column time_ticks: \"x\" is not a whole number.");
        ASSERT_TRUE(reader.open(good.path));
        const Reading reading = readAll(reader);
        EXPECT_EQ(reading.summary() + reading.error, "1/0/1 0/1/0");
    }
}

TEST(PulseCsvReader, HandsOutThePeriodsOfAPipeWhileItsWriterIsOpen)
{
    const QTemporaryDir directory;
    const QByteArray path = QFile::encodeName(directory.filePath(QStringLiteral("pipe")));
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0);
    QFile pipe(QFile::decodeName(path));
    // The writer's open() returns once the reader has opened the other end.
    std::thread writer([&] {
        ASSERT_TRUE(pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        pipe.write(Header + Start00 + "1,5,6,0\n");
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
    EXPECT_EQ(readAll(reader).summary(), "1/0/1 0/1/0");
}
