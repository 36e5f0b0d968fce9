#include "evaluation/processors/qiec_calculator.h"
#include "platform/configuration_tree.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

using CommonNOX::Evaluation::Processors::Calculation::QiecCalculator;

namespace
{

const QString Tau1 = QStringLiteral("channel/tau1");
const QString Tau2 = QStringLiteral("channel/tau2");
const QString Initial = QStringLiteral("channel/initial");

/// What one unit pulse reads right after a reset to 0: the square of the smoothing factor.
double firstReading(double deltaT, double tau2 = 0.5)
{
    const double smoothing = 1.0 - std::exp(-deltaT / tau2);
    return smoothing * smoothing;
}

double firstReadingOf(QiecCalculator &calculator, double deltaT)
{
    calculator.setResetPending(0.0);
    return calculator.addValue(1.0, deltaT);
}

std::shared_ptr<Utilities::ConfigurationTree> treeWith(std::initializer_list<std::pair<QString, double>> values)
{
    const auto tree = std::make_shared<Utilities::ConfigurationTree>();
    for (const auto &[path, value] : values)
        tree->write(path, value);
    return tree;
}

// Two equal low-pass stages answer a unit pulse m steps ago with (m + 1) b^2 (1 - b)^m.
TEST(QiecCalculator, AnswersAsTheSumOfItsImpulseResponses)
{
    struct Row
    {
        double deltaT;
        double tau1;
        double tau2;
    };
    for (const Row row : {Row{0.02, 0.44, 0.5}, Row{1.0 / 60.0, 0.44, 0.5}, Row{0.1, 2.0, 0.05}}) {
        QiecCalculator calculator({}, {}, 0.0);
        calculator.updateTau1(row.tau1);
        calculator.updateTau2(row.tau2);
        const double decay = std::exp(-row.deltaT / row.tau1);
        const double smoothing = 1.0 - std::exp(-row.deltaT / row.tau2);
        std::vector<double> held;
        for (int step = 0; step < 120; ++step) {
            const double input = step == 3 ? 500.0 : step > 40 && step % 7 == 0 ? 80.0 + step : 0.0;
            held.push_back(std::max(input, held.empty() ? 0.0 : held.back() * decay));
            double expected = 0.0;
            for (int k = 0; k <= step; ++k)
                expected +=
                    held[std::size_t(k)] * (step - k + 1) * smoothing * smoothing * std::pow(1.0 - smoothing, step - k);
            EXPECT_NEAR(calculator.addValue(input, row.deltaT), expected, 1e-9) << row.deltaT << " step " << step;
        }
    }
}

TEST(QiecCalculator, RisesToAConstantChargeAndForgetsAPulse)
{
    QiecCalculator constant({}, {}, 0.0), pulse({}, {}, 0.0);
    double before = 0.0;
    for (int step = 0; step < 500; ++step) {
        const double reading = constant.addValue(100.0, 0.02);
        EXPECT_GE(reading, before);
        before = reading;
    }
    EXPECT_NEAR(before, 100.0, 1e-5);

    std::vector<double> readings{pulse.addValue(100.0, 0.02)};
    for (int step = 0; step < 500; ++step)
        readings.push_back(pulse.addValue(0.0, 0.02));
    const auto top = std::max_element(readings.begin(), readings.end());
    EXPECT_TRUE(std::is_sorted(readings.begin(), top));
    EXPECT_TRUE(std::is_sorted(top, readings.end(), std::greater<>()));
    EXPECT_NE(top, readings.begin());
    EXPECT_LT(readings.back(), 1e-4);
}

TEST(QiecCalculator, KeepsItsFactorsWhileThePeriodLengthJitters)
{
    const double above = std::nextafter(1.05, 2.0), below = std::nextafter(0.95, 0.0);
    struct Row
    {
        std::vector<double> lengths;
        double effective;
    };
    const Row rows[] = {
        {{0.02}, 0.02},
        {{0.02, 0.0205}, 0.02},
        {{0.02, 0.022}, 0.022},
        {{0.02, 0.0205, 0.021, 0.0205}, 0.02}, // measured from where the factors were made
        {{0.02, 0.0205, 0.021, 0.0215}, 0.0215},
        {{1.05, 1.0}, 1.05},
        {{0.95, 1.0}, 0.95},
        {{above, 1.0}, 1.0},
        {{below, 1.0}, 1.0},
        {{0.1, 0.0}, 0.1},
        {{0.1, 1e-13}, 0.1}, // as good as 0
        {{0.1, 1e-11}, 1e-11},
    };
    for (const Row &row : rows) {
        QiecCalculator calculator({}, {}, 0.0);
        double reading = 0.0;
        for (const double length : row.lengths)
            reading = firstReadingOf(calculator, length);
        EXPECT_DOUBLE_EQ(reading, firstReading(row.effective)) << row.lengths.front() << ".." << row.lengths.back();
    }
}

TEST(QiecCalculator, FollowsAStepByStepModelThroughRandomSequences)
{
    std::mt19937 random(20); // NOLINT: reproducible
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    for (int sequence = 0; sequence < 50; ++sequence) {
        const double initial = sequence % 3 == 0 ? 0.0 : 100.0 * uniform(random);
        QiecCalculator calculator({}, {}, initial);
        double tau1 = 0.44, tau2 = 0.5, madeFor = 0.02;
        double peak = initial, first = initial, second = initial;
        for (int step = 0; step < 300; ++step) {
            if (uniform(random) < 0.02)
                calculator.updateTau1(tau1 = 0.01 + uniform(random));
            if (uniform(random) < 0.02)
                calculator.updateTau2(tau2 = 0.01 + uniform(random));
            if (uniform(random) < 0.02)
                calculator.setResetPending(peak = first = second = 50.0 * uniform(random));
            const double input = uniform(random) < 0.3 ? 1000.0 * uniform(random) : 0.0;
            const double length = uniform(random) < 0.05 ? 0.0 : 0.017 + 0.006 * uniform(random);
            if (length != 0.0 && (madeFor < 0.95 * length || madeFor > 1.05 * length))
                madeFor = length;
            peak = std::max(input, std::exp(-madeFor / tau1) * peak);
            first += (1.0 - std::exp(-madeFor / tau2)) * (peak - first);
            second += (1.0 - std::exp(-madeFor / tau2)) * (first - second);
            ASSERT_NEAR(calculator.addValue(input, length), second, 1e-12 * (1.0 + second)) << sequence << "/" << step;
            ASSERT_EQ(calculator.getValue(), calculator.getValue());
        }
    }
}

TEST(QiecCalculator, LeavesItsStatesAloneWhenAConstantChanges)
{
    QiecCalculator calculator({}, {}, 40.0);
    calculator.updateTau1(1e9);
    calculator.updateTau2(0.1);
    EXPECT_DOUBLE_EQ(calculator.getValue(), 40.0);
    EXPECT_NEAR(calculator.addValue(0.0, 0.02), 40.0, 1e-6) << "the held peak is still 40";
    calculator.setResetPending(3.0);
    EXPECT_DOUBLE_EQ(calculator.getValue(), 3.0);
}

TEST(QiecCalculator, TakesWhatIsInTheConfigurationAlready)
{
    const auto tree = treeWith({{Tau2, 0.1}, {Initial, 25.0}});
    QiecCalculator calculator(Tau1, Tau2, Initial, tree);
    EXPECT_DOUBLE_EQ(calculator.getValue(), 25.0);
    EXPECT_DOUBLE_EQ(firstReadingOf(calculator, 0.02), firstReading(0.02, 0.1));

    tree->write(Tau2, 0.2);
    EXPECT_DOUBLE_EQ(firstReadingOf(calculator, 0.02), firstReading(0.02, 0.2));
    tree->write(Initial, QStringLiteral("7.5"));
    EXPECT_DOUBLE_EQ(calculator.getValue(), 7.5);

    QiecCalculator deaf({}, {}, {}, tree);
    EXPECT_DOUBLE_EQ(deaf.getValue(), 0.0);
    tree->write(QString(), 1.0);
    EXPECT_DOUBLE_EQ(firstReadingOf(deaf, 0.02), firstReading(0.02));
}

TEST(QiecCalculator, UsesTheLatestConstantsAfterWritersFromOtherThreads)
{
    const auto tree = treeWith({});
    QiecCalculator calculator(Tau1, Tau2, Initial, tree);
    std::atomic<bool> stepping = true;
    std::thread writers[] = {std::thread([&] {
                                 int i = 0;
                                 do {
                                     tree->write(Tau2, 0.1 + 0.1 * (i++ % 10));
                                 } while (stepping || i % 10 != 0);
                             }),
                             std::thread([&] {
                                 while (stepping) {
                                     tree->write(Tau1, 0.3);
                                     tree->write(Initial, 1.0);
                                 }
                             })};
    for (int step = 0; step < 5000; ++step) {
        const double reading = calculator.addValue(1.0, step % 2 ? 0.02 : 0.03);
        ASSERT_GE(reading, 0.0);
        ASSERT_LE(reading, 1.0 + 1e-12);
    }
    stepping = false;
    for (std::thread &writer : writers)
        writer.join();
    EXPECT_DOUBLE_EQ(firstReadingOf(calculator, 0.1), firstReading(0.1, 1.0));
}

TEST(QiecCalculator, LosesNoConstantThatIsWrittenWhileItIsMade)
{
    for (int round = 0; round < 300; ++round) {
        const auto tree = treeWith({{Tau2, 0.1}});
        std::atomic<bool> go = false;
        std::thread writer([&] {
            while (!go) {
            }
            tree->write(Tau2, 0.7);
        });
        go = true;
        QiecCalculator calculator(Tau1, Tau2, Initial, tree);
        writer.join();
        ASSERT_DOUBLE_EQ(firstReadingOf(calculator, 0.02), firstReading(0.02, 0.7)) << "round " << round;
    }
}

} // namespace
