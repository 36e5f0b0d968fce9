#include "entries/catalogue/results_pd.h"
#include "entries/measurement/samples.h"
#include "entries/measurement/voltage_scope.h"
#include "entries/property_keys.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>

using namespace CommonNOX;
using Entries::Results::Space2D::VoltageScopeV1;
namespace Keys = CommonNOX::Entries::Keys;

constexpr quint32 Rate = 10000;
constexpr double Pi = 3.14159265358979323846;

static std::shared_ptr<VoltageScopeV1> scopeOf(int size, const std::function<double(double)> &curve)
{
    Entries::SampleVector samples;
    for (int i = 0; i < size; ++i)
        samples.append(int(std::lround(curve(double(i) / Rate))));
    auto entry = std::make_shared<VoltageScopeV1>();
    entry->set(Keys::Samples, QVariant::fromValue(samples));
    entry->set(Keys::SampleRate, Rate);
    return entry;
}

namespace
{

TEST(VoltageScope, MeasuresSines)
{
    struct Row
    {
        const char *what;
        double frequency, noise;
        int size;
    };
    std::mt19937 random(1);
    for (const Row &row : {Row{"very low frequency", 0.1, 0, 250000}, Row{"part of a cycle more", 50, 0, 1133},
                           Row{"odd ratio", 16.7, 0, 5000}, Row{"noise around zero", 50, 20000, 2000}}) {
        std::uniform_real_distribution<double> noise(-row.noise, row.noise);
        auto entry =
            scopeOf(row.size, [&](double t) { return 1e6 * std::sin(2 * Pi * row.frequency * t) + noise(random); });
        entry->set(Keys::Calibration, 2e-6);
        Data::VoltageScope scope;
        ASSERT_TRUE(scope.preProcess(entry)) << row.what;
        EXPECT_NEAR(scope.getFrequency(), row.frequency, row.frequency * (row.noise > 0 ? 0.01 : 1e-3)) << row.what;
        EXPECT_NEAR(scope.getRms(), std::sqrt(2.0), 0.01) << row.what;
        EXPECT_NEAR(scope.getPeak(), 2.0, 0.05) << row.what;
        EXPECT_EQ(scope.getUnit(), QStringLiteral("kV"));
    }
    // An offset moves the extremes and the effective value, not the frequency; the largest magnitude is below zero.
    Data::VoltageScope scope;
    ASSERT_TRUE(scope.preProcess(scopeOf(1000, [](double t) { return 1e6 * std::sin(100 * Pi * t) - 2e6; })));
    EXPECT_NEAR(scope.getFrequency(), 50, 0.05);
    EXPECT_NEAR(scope.getRms(), 1e6 * std::sqrt(4.5), 1e4);
    EXPECT_NEAR(scope.getPeak(), 3e6, 1);
    EXPECT_EQ(scope.getUnit(), QStringLiteral("p.u."));
}

TEST(VoltageScope, WithoutCyclesThereIsNoFrequency)
{
    const auto level = scopeOf(333, [](double) { return -7; });
    level->set(Keys::HardwareCorrection, 0.1);
    Data::VoltageScope scope;
    ASSERT_TRUE(scope.preProcess(level));
    EXPECT_EQ(scope.getFrequency(), 0.0);
    EXPECT_NEAR(scope.getRms(), 0.7, 1e-8);
    ASSERT_TRUE(scope.preProcess(scopeOf(150, [](double t) { return 1000 * std::sin(100 * Pi * t + 3); })));
    EXPECT_EQ(scope.getFrequency(), 0.0) << "a single crossing";
    ASSERT_TRUE(scope.preProcess(scopeOf(1, [](double) { return -5; })));
    EXPECT_EQ(scope.getPeak(), 5.0);
}

TEST(VoltageScope, ARefusedEntryLeavesItEmpty)
{
    const auto noRate = scopeOf(5, [](double) { return 1; });
    noRate->set(Keys::SampleRate, 0u);
    Data::VoltageScope scope;
    for (const auto &entry : {noRate, scopeOf(0, {}), std::shared_ptr<VoltageScopeV1>()}) {
        ASSERT_TRUE(scope.preProcess(scopeOf(100, [](double t) { return 1e4 * std::sin(1000 * t); })));
        EXPECT_FALSE(scope.preProcess(entry) || scope.isValid() || scope.getPeak() > 0);
    }
}

} // namespace
