#include "evaluation/processors/qiec_calculator.h"
#include "platform/configuration_tree.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
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
    using Row = std::array<double, 3>;
    for (const auto &[deltaT, tau1, tau2] : {Row{0.02, 0.44, 0.5}, Row{1.0 / 60.0, 0.44, 0.5}, Row{0.1, 2.0, 0.05}}) {
        QiecCalculator calculator({}, {}, 0.0);
        if (tau2 != QiecCalculator::DefaultTau2) {
            calculator.updateTau1(tau1);
            calculator.updateTau2(tau2);
        }
        const double decay = std::exp(-deltaT / tau1);
        const double smoothing = 1.0 - std::exp(-deltaT / tau2);
        std::vector<double> held;
        for (int step = 0; step < 120; ++step) {
            const double input = step == 3 ? 500.0 : step > 40 && step % 7 == 0 ? 80.0 + step : 0.0;
            held.push_back(std::max(input, held.empty() ? 0.0 : held.back() * decay));
            double expected = 0.0;
            for (int k = 0; k <= step; ++k)
                expected += held[std::size_t(k)] * (step - k + 1) * std::pow(1.0 - smoothing, step - k);
            EXPECT_NEAR(calculator.addValue(input, deltaT), expected * smoothing * smoothing, 1e-9)
                << deltaT << " step " << step;
        }
    }
}

TEST(QiecCalculator, KeepsItsFactorsWhileThePeriodLengthJitters)
{
    const double above = std::nextafter(1.05, 2.0), below = std::nextafter(0.95, 0.0);
    const std::pair<std::vector<double>, double> rows[] = {
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
    for (const auto &[lengths, effective] : rows) {
        QiecCalculator calculator({}, {}, 0.0);
        double reading = 0.0;
        for (const double length : lengths)
            reading = firstReadingOf(calculator, length);
        EXPECT_DOUBLE_EQ(reading, firstReading(effective)) << lengths.front() << ".." << lengths.back();
    }
}

TEST(QiecCalculator, LeavesItsStatesAloneWhenAConstantChanges)
{
    QiecCalculator calculator({}, {}, 40.0);
    calculator.updateTau1(1e9);
    calculator.updateTau2(0.1);
    EXPECT_NEAR(calculator.addValue(0.0, 0.02), 40.0, 1e-6) << "the held peak is still 40";
    calculator.setResetPending(3.0);
    EXPECT_NEAR(calculator.addValue(0.0, 0.02), 3.0, 1e-6);
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
    tree->write(QString(), 1.0);
    EXPECT_DOUBLE_EQ(deaf.getValue(), 0.0);
    EXPECT_DOUBLE_EQ(firstReadingOf(deaf, 0.02), firstReading(0.02));
}

TEST(QiecCalculator, UsesTheLatestConstantsAfterAWriterFromAnotherThread)
{
    for (int round = 0; round < 600; ++round) {
        const auto tree = treeWith({{Tau2, 0.1}});
        std::atomic<bool> go = false;
        std::thread writer([&] {
            while (!go) {
            }
            // In some rounds it ends while the calculator is made, in others while this steps.
            for (int i = 0; i < round % 30; ++i) {
                tree->write(Tau1, 0.3);
                tree->write(Initial, 1.0);
                tree->write(Tau2, 0.1 + 0.1 * (i % 10));
            }
            tree->write(Tau2, 0.7);
        });
        go = true;
        QiecCalculator calculator(Tau1, Tau2, Initial, tree);
        for (int step = 0; step < round % 30; ++step) {
            const double reading = calculator.addValue(1.0, step % 2 ? 0.02 : 0.03);
            EXPECT_TRUE(reading >= 0.0 && reading <= 1.0 + 1e-12) << reading;
        }
        writer.join();
        ASSERT_DOUBLE_EQ(firstReadingOf(calculator, 0.1), firstReading(0.1, 0.7)) << "round " << round;
    }
}

} // namespace
