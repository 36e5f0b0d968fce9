#include "recording/recorder/recording_clock.h"
#include "recording/recorder/recording_command.h"

#include <QDateTime>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace CommonNOX::PD::Recording;
using Type = RecordingLimit::Type;

TEST(RecordingCommandText, IsTakenAsFarAsItIsACommand)
{
    struct Row
    {
        const char *text;
        bool isCommand;
        bool isStart = false;
        const char *fileName = "";
        Type type = Type::None;
        qint64 value = 0;
        bool continues = false;
    };
    const Row rows[] = {
        {"", false},
        {"start", false},
        {"{}", false},
        {"[true]", false},
        {R"({"start":1})", false},
        {R"({"start":"true"})", false},
        {R"({"filename":"a"})", false},
        {R"({"start":true)", false},
        {R"({"start":false})", true},
        {R"({"start":true,"filename":"a","comment":"b"})", true, true, "a"},
        {R"({"start":true,"filename":7,"details":3})", true, true},
        {R"({"start":true,"details":{"type":"filesize","value":5000000000,"continue":true}})", true, true, "",
         Type::FileSize, 5'000'000'000, true},
        {R"({"start":true,"details":{"type":"duration","value":60}})", true, true, "", Type::Duration, 60},
        {R"({"start":true,"details":{"type":"duration","value":-1}})", true, true},
        {R"({"start":true,"details":{"type":"weight","value":60}})", true, true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        const auto command = ParseRecordingCommand(QString::fromUtf8(row.text));
        ASSERT_EQ(command.has_value(), row.isCommand);
        if (!command)
            continue;
        EXPECT_EQ(command->isStart, row.isStart);
        EXPECT_EQ(command->fileName, QString::fromUtf8(row.fileName));
        EXPECT_EQ(command->limit.type, row.type);
        if (row.type != Type::None) {
            EXPECT_EQ(command->limit.value, row.value);
            EXPECT_EQ(command->limit.continues, row.continues);
        }
        const auto again = ParseRecordingCommand(FormatRecordingCommand(*command).toUtf8());
        ASSERT_TRUE(again);
        EXPECT_EQ(again->isStart, command->isStart);
        EXPECT_EQ(again->fileName, command->fileName);
        EXPECT_EQ(again->comment, command->comment);
        EXPECT_EQ(again->limit.type, command->limit.type);
    }
}

TEST(RecordingFileName, IsMadeOfItsPartsAndLeadsNowhereElse)
{
    struct Row
    {
        const char *nameTemplate;
        const char *type;
        const char *serial;
        const char *userDefined;
        const char *expected;
    };
    const Row rows[] = {
        {"", "Probe", "S1", "x", "Probe S1 20260102_030405.pdr"},
        {"%USER_DEFINED%-%SERIAL%-%TYPE%-%TIME%-%DATE%", "T", "S", "U", "U-S-T-030405-20260102.pdr"},
        {"%USER_DEFINED%", "T", "S", "run.pdr", "run.pdr"},
        {"%USER_DEFINED%", "T", "S", "run.PDR", "run.PDR"},
        {"%USER_DEFINED%", "T", "S", "../../etc/x", ".._.._etc_x.pdr"},
        {"%USER_DEFINED%", "T", "S", "a\\b:c*d?e\"f<g>h|i\nj", "a_b_c_d_e_f_g_h_i_j.pdr"},
        {"%USER_DEFINED%", "T", "S", "(a) [b] #1, +2.5", "(a) [b] #1, +2.5.pdr"},
        {"%USER_DEFINED%", "T", "S", "Spätmessung 1", "Spätmessung 1.pdr"},
        {"%USER_DEFINED%", "T", "S", "%TYPE%", "_TYPE_.pdr"},
        {"%USER_DEFINED%", "T", "S", "", ""},
        {"%USER_DEFINED%", "T", "S", " .. ", ""},
        {"a/%SERIAL%", "T", "../S/1", "U", "a_.._S_1.pdr"},
        {"%SERIAL%%SERIAL%%UNKNOWN%", "T", "S", "U", "SS_UNKNOWN_.pdr"},
    };
    const QDateTime time(QDate(2026, 1, 2), QTime(3, 4, 5));
    for (const Row &row : rows)
        EXPECT_EQ(MakeRecordingFileName({QString::fromUtf8(row.nameTemplate), QString::fromUtf8(row.type),
                                         QString::fromUtf8(row.serial), QString::fromUtf8(row.userDefined)},
                                        time),
                  QString::fromUtf8(row.expected))
            << row.nameTemplate << " with " << row.userDefined;
    EXPECT_EQ(MakeContinuationPath(QStringLiteral("/d.e/a.b.pdr"), 2), QStringLiteral("/d.e/a.b_2.pdr"));
    EXPECT_EQ(MakeContinuationPath(QStringLiteral("/d.e/a"), 3), QStringLiteral("/d.e/a_3"));
}

TEST(RecordingClock, TellsTheSecondInWhichAPeriodStarts)
{
    RecordingClock clock;
    struct Row
    {
        int channel;
        qint64 start;
        qint64 end;
        quint32 rate;
        quint32 second;
        double recorded;
    };
    // An instrument that counts since long ago, a period without a rate, a gap, a channel whose block comes late, and a
    // clock that begins anew.
    const Row rows[] = {{0, 1'000'500, 1'001'000, 1000, 0, 0.5},
                        {0, 1'001'499, 1'002'000, 1000, 0, 1.5},
                        {0, 1'001'500, 1'002'500, 1000, 1, 2.0},
                        {0, 0, 0, 0, 1, 2.0},
                        {0, 1'010'500, 1'011'000, 1000, 10, 10.5},
                        {0, 1'010'000, 1'010'500, 1000, 9, 10.5},
                        {1, 1'000'500, 1'001'000, 1000, 0, 10.5},
                        {0, 0, 500, 1000, 10, 11.0},
                        {0, 500, 1000, 1000, 11, 11.5},
                        {1, 1000, 1500, 1000, 11, 12.0}};
    for (const Row &row : rows) {
        EXPECT_EQ(clock.note(row.channel, row.start, row.end, row.rate), row.second) << row.start;
        EXPECT_DOUBLE_EQ(clock.getEnd(), row.recorded) << row.start;
    }
}
