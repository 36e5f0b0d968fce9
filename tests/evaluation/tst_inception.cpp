#include "evaluation/context_keys.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/processors/inception_criterion.h"
#include "evaluation/processors/inception_processor.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/entry_names.h"

#include <deque>
#include <limits>
#include <random>

using namespace EvaluationTools;
using namespace CommonNOX::Evaluation;
using namespace CommonNOX::Evaluation::Processors;
using InceptionExtinction::InceptionExtinctionProcessor;
using InceptionExtinction::XYCriterion;

namespace
{

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// The rule as it reads: each check walks the window from its oldest charge on.
struct Walk
{
    std::size_t x, y;
    double inception, extinction;
    std::deque<std::pair<double, double>> window = {};
    bool isOn = false;
    double inceptionVoltage = 0.0, extinctionVoltage = 0.0;

    bool check(double charge, double voltage)
    {
        window.emplace_back(charge, voltage);
        if (window.size() > y)
            window.pop_front();
        if (window.size() < y)
            return false;
        std::size_t hits = 0;
        for (const auto &[held, heldVoltage] : window) {
            hits += isOn ? extinction > held : held > inception;
            if (hits == x && x > 0) {
                isOn = !isOn;
                (isOn ? inceptionVoltage : extinctionVoltage) = heldVoltage;
                if (isOn)
                    extinctionVoltage = 0.0;
                return true;
            }
        }
        return false;
    }
};

TEST(XYCriterion, DecidesAsTheWalkOverItsWindow)
{
    std::mt19937 random(7);
    for (int run = 0; run < 400; ++run) {
        const unsigned y = 1 + random() % 12, x = random() % (y + 2);
        // Thresholds either way round, and charges on a grid, so that they often equal one.
        const double inception = random() % 8, extinction = random() % 8;
        XYCriterion criterion(x, y, inception, extinction);
        Walk walk{x, y, inception, extinction};
        double charge = 4.0;
        for (int i = 0; i < 300; ++i) {
            charge += double(random() % 5) - 2.0;
            const double given = random() % 50 == 0 ? nan : charge;
            const double voltage = i;
            ASSERT_EQ(criterion.check(given, voltage), walk.check(given, voltage)) << x << "/" << y << " at " << i;
            ASSERT_EQ(criterion.isInInception(), walk.isOn);
            ASSERT_EQ(criterion.getInceptionVoltage(), walk.inceptionVoltage);
            ASSERT_EQ(criterion.getExtinctionVoltage(), walk.extinctionVoltage);
        }
    }
}

TEST(XYCriterion, NeverDecidesWhatCannotBeMet)
{
    const std::pair<unsigned, unsigned> impossible[] = {{0, 0}, {0, 3}, {1, 0}, {4, 3}, {1, 1'000'001}, {1, ~0u}};
    for (const auto &[x, y] : impossible) {
        XYCriterion criterion(x, y, -1.0, 1.0);
        for (int i = 0; i < 10; ++i)
            EXPECT_FALSE(criterion.check(5.0, 1.0)) << x << "/" << y;
    }
}

class InceptionTest : public EvaluationTest
{
protected:
    void write(QLatin1String key, const QVariant &value) const
    {
        tree->write(QStringLiteral("d/channels/3/") + key, value);
    }
    QVariant read(QLatin1String key) const { return tree->read(QStringLiteral("d/channels/3/") + key); }
    void configure(int x, int y, double inception, double extinction) const
    {
        write(ContextKeys::CriterionX, x);
        write(ContextKeys::CriterionY, y);
        write(ContextKeys::InceptionCharge, inception);
        write(ContextKeys::ExtinctionCharge, extinction);
    }
    std::shared_ptr<AbstractSingleChannelProcessor> make() const
    {
        const SingleChannelProcessorFactory &factory = ProcessorsFactory::getInstance();
        return factory.createProduct(Names::InceptionExtinction, reader("d"), reader("d/channels/3"),
                                     Names::InceptionExtinction, QStringLiteral("id"), 3u);
    }
    const QString m_name = CommonNOX::GetDataEntryNameForDeviceChannel(QStringLiteral("id"), QStringLiteral("3"));
};

TEST_F(InceptionTest, PublishesDecisionsWithTheVoltageThatTravelsWithThePeriod)
{
    configure(2, 3, 10.0, 5.0);
    const auto entry = store->createEntry(Names::InceptionExtinction, m_name);
    Evaluators::SingleChannelEvaluator evaluator;
    evaluator.processorListChanged({make()});
    evaluator.enableEvaluation(true);
    // A period without pulses has the charge 0; where no voltage is known, the one before holds.
    const std::vector<std::vector<int>> charges = {{1}, {20}, {3, -30}, {40}, {}, {}};
    const QVector<double> voltages = {1.0, 2.0, nan, 4.0, 5.0, 6.0};
    QVariantList periods;
    for (const auto &amplitudes : charges)
        periods.append(PeriodSketch{.amplitudes = amplitudes}.variant());
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(100, blockOf(periods), voltages));
    ASSERT_TRUE(waitUntilDone(evaluator));

    const auto expect = [&](quint64 index, const char *state, double inception, double extinction) {
        const auto of = [&](const char *key) {
            return result(Names::InceptionExtinction, m_name, index, QString::fromLatin1(key));
        };
        EXPECT_EQ(of("State"), QString::fromLatin1(state)) << index;
        EXPECT_EQ(of("InceptionVoltage"), inception);
        EXPECT_EQ(of("ExtinctionVoltage"), extinction);
    };
    EXPECT_EQ(entry->getCount(), 2u);
    expect(102, "inception", 2.0, 0.0);
    expect(105, "extinction", 2.0, 6.0);
    EXPECT_EQ(read(ContextKeys::InceptionVoltage), QVariant(2.0));
    EXPECT_EQ(read(ContextKeys::ExtinctionVoltage), QVariant(6.0));
    EXPECT_EQ(read(ContextKeys::InceptionExtinction), QVariant(false));
}

TEST_F(InceptionTest, StartsAgainWhenItIsConfiguredOrReset)
{
    configure(1, 2, 10.0, 5.0);
    const auto processor = make();
    const auto loud = PeriodSketch{.amplitudes = {20}}.period();
    const auto decides = [&] {
        write(ContextKeys::InceptionExtinction, QVariant(QStringLiteral("none")));
        EXPECT_TRUE(processor->evaluate(1, loud));
        return read(ContextKeys::InceptionExtinction) == QVariant(true);
    };
    EXPECT_FALSE(decides());
    EXPECT_TRUE(decides()) << "keys are published without a result entry, too";
    EXPECT_FALSE(decides());
    write(ContextKeys::InceptionCharge, 15.0);
    EXPECT_FALSE(decides());
    EXPECT_TRUE(decides());
    EXPECT_TRUE(processor->resetProcessorState(0));
    EXPECT_FALSE(decides());
    EXPECT_TRUE(decides());
    write(ContextKeys::CriterionX, QStringLiteral("many"));
    for (int i = 0; i < 4; ++i)
        EXPECT_FALSE(decides());
    EXPECT_FALSE(processor->evaluate(1, nullptr));
    EXPECT_FALSE(processor->evaluate(1, PeriodSketch{.rate = 0}.period()));
}

TEST_F(InceptionTest, ReplayWithRecordedDecisionsIsNotDecidedAnew)
{
    const auto loud = PeriodSketch{.amplitudes = {20}}.period();
    for (const bool isReplay : {false, true}) {
        for (const bool isRecorded : {false, true}) {
            tree->write(QStringLiteral("d/is_replay_device"), isReplay);
            configure(1, 1, 10.0, 5.0);
            const auto processor = make();
            write(ContextKeys::HasRecordedDecisions, isRecorded);
            write(ContextKeys::InceptionExtinction, QVariant(false));
            EXPECT_TRUE(processor->evaluate(1, loud));
            EXPECT_EQ(read(ContextKeys::InceptionExtinction), QVariant(!(isReplay && isRecorded)));
        }
    }
}

TEST_F(InceptionTest, TakesSettingsAndVoltagesFromOtherThreads)
{
    configure(1, 1, 10.0, 5.0);
    InceptionExtinctionProcessor processor(reader("d"), reader("d/channels/3"), Names::InceptionExtinction,
                                           QStringLiteral("id"), 3u);
    std::atomic<bool> isDone = false;
    std::vector<std::thread> others;
    for (const QLatin1String key : {ContextKeys::InceptionCharge, ContextKeys::ExtinctionCharge})
        others.emplace_back([&, key] {
            for (int i = 0; !isDone; ++i) {
                write(key, double(i % 50));
                processor.voltageUpdate(i);
            }
        });
    const auto loud = PeriodSketch{.amplitudes = {20}}.period();
    for (quint64 i = 0; i < 2000; ++i)
        processor.evaluate(i, loud);
    isDone = true;
    for (auto &other : others)
        other.join();
    write(ContextKeys::InceptionCharge, 10.0);
    write(ContextKeys::ExtinctionCharge, 5.0);
    processor.voltageUpdate(77.0);
    EXPECT_TRUE(processor.evaluate(1, loud));
    EXPECT_EQ(read(ContextKeys::InceptionVoltage), QVariant(77.0));
}

} // namespace
