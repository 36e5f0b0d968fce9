#include "host/protocol/line_framer.h"
#include "host/protocol/messages.h"
#include "host/protocol/packed_numbers.h"

#include <gtest/gtest.h>
#include <random>

using namespace NoxHost;
using CommonNOX::Entries::SampleVector;
using CommonNOX::Entries::Results::Space2D::PeakVector;

namespace
{

QByteArrayList linesOf(LineFramer &framer)
{
    QByteArrayList lines;
    while (const auto line = framer.take())
        lines.append(line->isTooLong ? QByteArrayLiteral("too long") : line->bytes);
    return lines;
}

// One pulse, amplitude -2, voltage 3, at tick 150, flags 0x90.
constexpr char Pulse[] = "/v///wMAAACWAAAAAAAAAJA=";
const QByteArray Block =
    QByteArrayLiteral(R"({"message":"period_block","channel":1,"index":5,"periods":[{"StartTime":100,)"
                      R"("EndTime":200,"SampleRate":1000,"PdCalibration":0.5,"Peaks":")") +
    Pulse + R"("}]})";
const QByteArray Scope = QByteArrayLiteral(R"({"message":"voltage_scope","index":5,"SampleRate":10000,"Calibration":1,)"
                                           R"("Samples":"AAAAAP////8="})");
const QByteArray Overrun = QByteArrayLiteral(R"({"message":"overrun","channel":0,"from":5,"to":7})");

/// The sentence about a line; empty when it is fine.
QString complaintOf(const QByteArray &line)
{
    const WireMessage message = readMessage(line);
    PeriodBlock block;
    WireVoltageScope scope;
    OverrunReport overrun;
    QString error = message.error;
    bool isRead = error.isEmpty();
    if (message.name == Wire::Names::PeriodBlock)
        isRead = readPeriodBlock(message.object, block, error);
    else if (message.name == Wire::Names::VoltageScope)
        isRead = readVoltageScope(message.object, scope, error);
    else if (message.name == Wire::Names::Overrun)
        isRead = readOverrun(message.object, overrun, error);
    EXPECT_EQ(isRead, error.isEmpty());
    return error;
}

TEST(ProtocolMessages, NamesOfAnObjectAreItsOwn)
{
    const WireMessage message = readMessage(R"({"message":"period_block","periods":[{}],"periods":[{}]})");
    EXPECT_EQ(message.error, QStringLiteral("the line names \"periods\" twice in one object"));
    EXPECT_TRUE(message.object.isEmpty());
}

} // namespace

TEST(LineFramer, CutsLinesHoweverTheyCome)
{
    const QByteArray stream = "\n{}\r\n\r\n\n a b \n\r\r\nlast\nrest";
    const QByteArrayList expected = {"{}", " a b ", "\r", "last"};
    for (int size = 1; size <= stream.size(); ++size) {
        LineFramer framer;
        QByteArrayList lines;
        for (int from = 0; from < stream.size(); from += size) {
            framer.feed(stream.mid(from, size));
            lines += linesOf(framer);
        }
        EXPECT_EQ(lines, expected) << size;
        EXPECT_EQ(framer.size(), 4);
        framer.feed("\n");
        EXPECT_EQ(linesOf(framer), QByteArrayList{"rest"});
    }
}

TEST(LineFramer, ThrowsAwayWhatIsTooLongAndGoesOn)
{
    const struct
    {
        int length; // of the first line
        int piece;
        QByteArrayList lines;
    } rows[] = {
        {Wire::MaximumLineBytes, 1 << 20, {QByteArray(Wire::MaximumLineBytes, 'x'), "{}"}},
        {Wire::MaximumLineBytes + 1, 1 << 20, {"too long", "{}"}},
        {Wire::MaximumLineBytes + 1, 1 << 30, {"too long", "{}"}}, // found with its end
        {Wire::MaximumLineBytes * 3, 65'537, {"too long", "{}"}},
    };
    for (const auto &row : rows) {
        const QByteArray stream = QByteArray(row.length, 'x') + "\n{}\n";
        LineFramer framer;
        QByteArrayList lines;
        int most = 0;
        for (int from = 0; from < stream.size(); from += row.piece) {
            framer.feed(stream.mid(from, row.piece));
            lines += linesOf(framer);
            most = std::max(most, framer.size());
        }
        EXPECT_EQ(lines, row.lines) << row.length;
        EXPECT_LE(most, Wire::MaximumLineBytes);
    }
}

TEST(PackedNumbers, AreThoseOfAnIndependentDecoder)
{
    PeakVector peaks;
    ASSERT_TRUE(decodePeaks(QString::fromLatin1(Pulse), peaks));
    ASSERT_EQ(peaks.size(), 1);
    EXPECT_EQ(peaks[0].amplitude, -2);
    EXPECT_EQ(peaks[0].voltage, 3);
    EXPECT_EQ(peaks[0].time, 150);
    EXPECT_EQ(peaks[0].flags, 0x90);
    EXPECT_EQ(encodePeaks(peaks), Pulse);

    std::mt19937 random(1);
    for (int size = 0; size < 40; ++size) { // all three lengths of padding
        SampleVector samples;
        for (int i = 0; i < size; ++i)
            samples.append(qint32(random()));
        const QByteArray text = encodeSamples(samples);
        const QByteArray bytes = QByteArray::fromBase64(text, QByteArray::AbortOnBase64DecodingErrors);
        ASSERT_EQ(bytes.size(), 4 * size);
        for (int i = 0; i < size; ++i)
            EXPECT_EQ(samples[i],
                      qint32(quint32(uchar(bytes[4 * i])) | quint32(uchar(bytes[4 * i + 1])) << 8 |
                             quint32(uchar(bytes[4 * i + 2])) << 16 | quint32(uchar(bytes[4 * i + 3])) << 24));
        SampleVector read;
        EXPECT_TRUE(decodeSamples(QString::fromLatin1(text), read));
        EXPECT_EQ(read, samples);
    }
}

TEST(PackedNumbers, RefuseWhatIsNoBase64OfWholeRecords)
{
    const QString rows[] = {
        QStringLiteral("A"),
        QStringLiteral("AAAAAA"),
        QStringLiteral("AAAAAA="),
        QStringLiteral("AAAA"),
        QStringLiteral("AAAAAAA="),
        QStringLiteral("AAAAAAB="),
        QStringLiteral("AAAAAB=="),
        QStringLiteral("AAAAA==="),
        QStringLiteral("===="),
        QStringLiteral("=AAAAA=="),
        QStringLiteral("AA==AA=="),
        QStringLiteral("AAAA AA="),
        QStringLiteral("AAAAAA\n="),
        QStringLiteral("AAAA-_A="),
        QStringLiteral("AAAAA\u0141=="),
        QStringLiteral("AAA\u0100AA=="),
        QString(QChar(0)).repeated(8),
        QStringLiteral("AAAAA\xff=="),
    };
    for (const QString &text : rows) {
        SampleVector samples(3);
        PeakVector peaks(3);
        EXPECT_FALSE(decodeSamples(text, samples)) << text.toStdString();
        EXPECT_FALSE(decodePeaks(text, peaks)) << text.toStdString();
        EXPECT_TRUE(samples.isEmpty() && peaks.isEmpty());
    }
    SampleVector samples;
    EXPECT_TRUE(decodeSamples(QStringLiteral("AAAAAA=="), samples)) << "the nearest good one";
}

TEST(ProtocolMessages, EachDefectHasItsSentence)
{
    const struct
    {
        const QByteArray &line;
        const char *part; // replaced by
        const char *defect;
        const char *words;
    } rows[] = {
        {Block, "", "", ""},
        {Block, "{\"message\"", "[{\"message\"", "no JSON"},
        {Block, "\"message\"", "\"name\"", "no text \"message\""},
        {Block, "\"period_block\"", "7", "no text \"message\""},
        {Block, "}]}", "}]", "no JSON"},
        {Block, "}]}", "", "no JSON"},
        {Block, "0.5", "1e999", "no JSON"},
        {Block, "0.5", "NaN", "no JSON"},
        {Block, "\"channel\":1", "\"channel\":2147483648", "\"channel\""},
        {Block, "\"channel\":1", "\"channel\":2147483647", ""},
        {Block, "\"channel\":1", "\"channel\":-1", "\"channel\""},
        {Block, "\"channel\":1", "\"channel\":0.5", "\"channel\""},
        {Block, "\"channel\":1", "\"channel\":\"1\"", "\"channel\""},
        {Block, "\"channel\":1", "\"Channel\":1", "\"channel\""},
        {Block, "\"index\":5", "\"index\":null", "\"index\""},
        {Block, "\"index\":5", "\"index\":1e300", "\"index\""},
        {Block, "\"index\":5", "\"index\":9007199254740992", "leave their range"},
        {Block, "\"index\":5", "\"index\":9007199254740991", ""},
        {Block, "[{\"Start", "[7,{\"Start", "\"StartTime\""},
        {Block, "[{\"Start", "{\"A\":[{\"Start", "no JSON"},
        {Block, "\"periods\"", "\"periods\":[],\"other\"", "\"periods\""},
        {Block, "\"periods\"", "\"periods\":{},\"other\"", "\"periods\""},
        {Block, "\"SampleRate\":1000", "\"SampleRate\":4294967296", "\"SampleRate\""},
        {Block, "\"SampleRate\":1000", "\"SampleRate\":0", ""},
        {Block, "\"SampleRate\"", "\"Flags\":-1,\"SampleRate\"", "\"Flags\""},
        {Block, "\"SampleRate\"", "\"TvCalibration\":\"1\",\"SampleRate\"", "\"TvCalibration\""},
        {Block, "\"PdCalibration\"", "\"pdcalibration\"", "\"PdCalibration\""},
        {Block, "\"StartTime\":100", "\"StartTime\":151", "outside"},
        {Block, "\"EndTime\":200", "\"EndTime\":149", "outside"},
        {Block, "\"EndTime\":200", "\"EndTime\":150", ""},
        {Block, "\"EndTime\":200", "\"EndTime\":100", ""}, // of no length: nothing lies outside
        {Block, "\"EndTime\":200", "\"EndTime\":1e16", "\"EndTime\""},
        {Block, "JA=", "JA", "\"Peaks\""},
        {Block, "/v//", "/v/", "\"Peaks\""},
        {Block, Pulse, "", ""},
        {Scope, "", "", ""},
        {Scope, "8=", "8A", "\"Samples\""},
        {Scope, "\"index\"", "\"indices\"", "\"index\""},
        {Scope, "\"Calibration\":1", "\"Calibration\":[1]", "\"Calibration\""},
        {Scope, "\"Calibration\"", "\"HardwareCorrection\":null,\"Calibration\"", "\"HardwareCorrection\""},
        {Scope, "\"Calibration\"", "\"StartTime\":0.5,\"Calibration\"", "\"StartTime\""},
        {Overrun, "", "", ""},
        {Overrun, "\"to\":7", "\"to\":4", "before"},
        {Overrun, "\"to\":7", "\"to\":true", "\"to\""},
        {Overrun, "\"channel\":0", "\"channel\":1e10", "\"channel\""},
    };
    for (const auto &row : rows) {
        QByteArray line = row.line;
        if (*row.part != 0) {
            ASSERT_TRUE(line.contains(row.part)) << row.part;
            line.replace(line.indexOf(row.part), int(qstrlen(row.part)), row.defect);
        }
        const QString complaint = complaintOf(line);
        EXPECT_EQ(complaint.isEmpty(), *row.words == 0) << line.constData() << complaint.toStdString();
        EXPECT_TRUE(complaint.contains(QLatin1String(row.words))) << line.constData() << complaint.toStdString();
    }
    for (const char *line : {"7", "\"text\"", "[]", "{}", "", "\xff", "{\"message\":\"\"}"})
        EXPECT_FALSE(complaintOf(line).isEmpty()) << line;
}

TEST(ProtocolMessages, ReadAsTheyWereWritten)
{
    constexpr qint64 Largest = Wire::LargestInteger;
    RawPeriod period;
    period.channel = std::numeric_limits<qint32>::max();
    period.index = quint64(Largest) - 1;
    period.startTicks = -Largest;
    period.endTicks = Largest;
    period.sampleRate = period.flags = std::numeric_limits<quint32>::max();
    period.pdHardwareCorrection = 1.0 / 3.0;
    period.pdCalibration = 5e-324;
    period.tvHardwareCorrection = -1.7976931348623157e308;
    period.tvCalibration = std::numeric_limits<double>::quiet_NaN();
    for (const qint64 time : {-Largest, qint64(0), Largest})
        period.peaks.append({std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max(), time, 255});
    QByteArray line = writePeriodBlock(period);
    ASSERT_TRUE(line.endsWith('\n') && line.count('\n') == 1);
    PeriodBlock block;
    QString error;
    ASSERT_TRUE(readPeriodBlock(readMessage(line).object, block, error)) << error.toStdString();
    ASSERT_EQ(block.periods.size(), 1U);
    EXPECT_EQ(block.channel, period.channel);
    EXPECT_EQ(block.periods[0].peaks, period.peaks);
    EXPECT_EQ(block.periods[0].tvCalibration, 0.0) << "JSON has no word for what is no number";
    EXPECT_EQ(writePeriodBlock(block.periods[0]), line);
}
