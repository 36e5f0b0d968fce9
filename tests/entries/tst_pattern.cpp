#include "entries/measurement/pattern.h"
#include "entries/measurement/pattern_keys.h"
#include "entries/measurement/synchronized_pattern.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"

#include <QImage>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

using namespace CommonNOX::Data;
using CommonNOX::GatingStatus;
using Shared::Diagrams::AxisScalingType;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr int Overflow = -1;
constexpr int Dropped = -2;

struct Geometry
{
    quint16 columns = 100;
    quint16 rows = 50;
    double scaleX = 360.0;
    double scaleY = 1000.0;
    bool bipolar = false;
    bool logarithmic = false;

    Pattern make() const
    {
        Pattern pattern;
        pattern.setPixelDimensionX(columns);
        pattern.setPixelDimensionY(rows);
        pattern.setPatternScaleX(scaleX);
        pattern.setPatternScaleY(scaleY);
        pattern.setBipolarStatus(bipolar);
        pattern.setAxisScaling(logarithmic ? AxisScalingType::Logarithmic : AxisScalingType::Linear);
        pattern.calculatePatternParameter();
        return pattern;
    }
};

EvaluatedEvent event(double charge, double phase, bool counted = true)
{
    EvaluatedEvent result;
    result.charge = charge;
    result.phase = phase;
    result.counted = counted;
    return result;
}

/// The one place where a pattern has counted something: (row, column), (Overflow, column) or (Dropped, 0).
std::pair<int, int> placeOf(const Pattern &pattern)
{
    std::pair<int, int> place{-3, 0};
    quint64 total = pattern.getDroppedCount();
    if (total > 0)
        place = {Dropped, 0};
    const auto look = [&](const std::vector<quint32> &counts, bool isOverflow) {
        for (std::size_t i = 0; i < counts.size(); ++i) {
            total += counts[i];
            if (counts[i] > 0)
                place = isOverflow ? std::pair(Overflow, int(i))
                                   : std::pair(int(i) / pattern.getColumnCount(), int(i) % pattern.getColumnCount());
        }
    };
    look(pattern.getCounts(), false);
    look(pattern.getOverflowCounts(), true);
    EXPECT_EQ(total, 1u);
    return place;
}

TEST(Pattern, CountsAnEventInItsCell)
{
    const Geometry plain, bipolar{.bipolar = true}, odd{.rows = 51, .bipolar = true}, log{.logarithmic = true},
        both{.bipolar = true, .logarithmic = true};
    const struct
    {
        Geometry geometry;
        double charge, phase;
        int row, column;
    } cases[] = {
        {plain, 500, 90, 25, 25},
        {plain, -500, 90, 25, 25},
        {bipolar, -500, 90, 37, 25},
        {bipolar, 0, 0, 25, 0},
        {odd, 0, 0, 25, 0},
        {odd, -1001, 0, 50, 0}, // the odd row is that of the lowest charges
        {plain, 0, 90, Overflow, 25},
        {plain, 1000, 359.9, 0, 99},
        {plain, 1019, 0, 0, 0}, // cut off from -0.95, as from 0.95
        {plain, 1021, 0, Overflow, 0},
        {bipolar, -1000, 0, Overflow, 0},
        {plain, 1e300, 0, Overflow, 0},
        {plain, 500, 360, Dropped, 0},
        {plain, 500, -3.5, 25, 0}, // so is the column
        {plain, 500, -3.7, Dropped, 0},
        {plain, 500, 1e300, Dropped, 0},
        {plain, 500, nan, Dropped, 0},
        {plain, 500, -infinity, Dropped, 0},
        {plain, nan, 90, Dropped, 0},
        {plain, infinity, 90, Dropped, 0},
        {bipolar, -infinity, 90, Dropped, 0},
        {log, 100, 90, 25, 25}, // half of the two decades above 10
        {log, 10, 90, Overflow, 25},
        {log, 0, 90, Overflow, 25},
        {log, 1000, 90, 0, 25},
        {log, -100, 90, 25, 25},
        {log, infinity, 90, Dropped, 0},
        {log, nan, 90, Dropped, 0},
        {both, -100, 90, 37, 25},
        {both, 5, 90, 25, 25},
        {both, nan, 90, Dropped, 0},
        {both, -1e300, 90, Overflow, 25},
    };
    for (const auto &c : cases) {
        Pattern pattern = c.geometry.make();
        const EvaluatedEvent events[] = {event(c.charge, c.phase), event(c.charge, c.phase, false)};
        pattern.addEvents(events, 2);
        EXPECT_EQ(placeOf(pattern), std::pair(c.row, c.column)) << c.charge << " at " << c.phase;
    }
}

TEST(Pattern, LogarithmicScaleIsConvertedAtEachCalculation)
{
    Pattern pattern = Geometry{.logarithmic = true}.make();
    EXPECT_EQ(pattern.getPatternScaleY(), 2.0);
    EXPECT_EQ(pattern.getChargeAxis().unit, 10.0);
    EXPECT_NEAR(pattern.getLargestCharge(), 1000.0, 1e-9);
    pattern.calculatePatternParameter();
    EXPECT_NEAR(pattern.getPatternScaleY(), std::log10(200.0), 1e-12) << "works on the converted value";
}

TEST(Pattern, UnusableGeometryChangesNothing)
{
    const Geometry unusable[] = {{.columns = 0},       {.rows = 0},        {.scaleX = 0},
                                 {.scaleX = 1e-13},    {.scaleX = nan},    {.scaleY = 0},
                                 {.scaleY = infinity}, {.scaleY = -1e-13}, {.columns = 65535, .rows = 65535}};
    for (const Geometry &geometry : unusable) {
        Pattern pattern = geometry.make();
        EXPECT_TRUE(pattern.getCounts().empty());
        EXPECT_FALSE(pattern.clearPattern());
        const EvaluatedEvent one = event(5, 5);
        pattern.addEvents(&one, 1);
        QImage image;
        EXPECT_FALSE(pattern.getLastPatternDisplay(&image, &image));
    }
    Pattern pattern = Geometry().make();
    const EvaluatedEvent one = event(500, 90);
    pattern.addEvents(&one, 1);
    pattern.setPatternScaleX(0.0);
    pattern.calculatePatternParameter();
    // Nor do settings that nobody has applied lead a later event astray.
    pattern.setPixelDimensionX(65535);
    pattern.setBipolarStatus(true);
    EXPECT_EQ(placeOf(pattern), std::pair(25, 25));
    pattern.addEvents(&one, 1);
    EXPECT_EQ(pattern.getCounts()[2525], 2u);
}

/// The rows of charges by the definition, one logarithm each.
TEST(Pattern, RowTableGivesTheRowsOfTheLogarithm)
{
    std::mt19937_64 random(1);
    const auto draw = [&](double low, double high) { return std::uniform_real_distribution<>(low, high)(random); };
    for (const quint16 rows : {1, 50, 301, 4000, 65535}) {
        for (const double scale : {1000.0, 999.0, 37.2, 1e-9, 1e290, -5.0}) {
            for (const bool bipolar : {false, true}) {
                const Pattern pattern =
                    Geometry{.columns = 1, .rows = rows, .scaleY = scale, .bipolar = bipolar, .logarithmic = true}
                        .make();
                const ChargeAxis &axis = pattern.getChargeAxis();
                const ChargeRowTable table(axis);
                int wrong = 0;
                const auto check = [&](double charge) {
                    for (const double q : {charge, -charge})
                        wrong += table.rowOf(q) != axis.rowOf(q);
                };
                for (const double special : {0.0, nan, infinity, 5e-324, 1.7e308, axis.unit, scale})
                    check(special);
                for (int i = 0; i < 2000; ++i)
                    check(axis.unit * std::pow(10.0, draw(-1.0, 4.0)));
                // Around edges, where the last bit decides.
                for (int i = 0; i < 60; ++i) {
                    const double edge = std::round(draw(0.0, rows)) / axis.rowsPerUnit;
                    double charge = axis.unit * std::pow(10.0, edge);
                    for (int step = 0; step < 20; ++step)
                        charge = std::nextafter(charge, 0.0);
                    for (int step = 0; step < 40; ++step, charge = std::nextafter(charge, infinity))
                        check(charge);
                }
                EXPECT_EQ(wrong, 0) << rows << " rows to " << scale << (bipolar ? ", bipolar" : "");
            }
        }
    }
}

std::shared_ptr<const Period> periodOf(qint64 start, qint64 end, quint32 rate, int pulses)
{
    namespace Keys = CommonNOX::Entries::Keys;
    using namespace CommonNOX::Entries::Results::Space2D;
    PeakVector peaks;
    for (int i = 0; i < pulses; ++i)
        peaks.append({500, 0, start + (end - start) / 4, i % 2 ? PeakFlagGated : quint8(0)});
    const auto entry = std::make_shared<PeriodV2>();
    entry->set(Keys::StartTime, start);
    entry->set(Keys::EndTime, end);
    entry->set(Keys::SampleRate, rate);
    entry->set(Keys::Peaks, QVariant::fromValue(peaks));
    const auto period = std::make_shared<Period>();
    period->preProcess(std::shared_ptr<const PeriodV2>(entry), GatingStatus::Suppressing, false, 0.0, 360.0, false);
    return period;
}

TEST(Pattern, AddsPeriodsWithTheirDuration)
{
    Pattern pattern = Geometry().make();
    pattern.updatePattern(*periodOf(0, 2000, 100'000, 3));
    EXPECT_DOUBLE_EQ(pattern.getDuration(), 0.02);
    EXPECT_EQ(pattern.getCounts()[2525], 2u) << "the gated pulse does not count";
    pattern.updatePattern(*periodOf(0, 2000, 100'000, 0));
    pattern.updatePattern(*periodOf(2000, 0, 100'000, 1));
    pattern.updatePattern(*periodOf(0, 2000, 0, 1));
    EXPECT_DOUBLE_EQ(pattern.getDuration(), 0.04) << "periods without extent add nothing";
    EXPECT_EQ(pattern.getCounts()[2525], 2u);
    EXPECT_TRUE(pattern.clearPattern());
    EXPECT_EQ(std::accumulate(pattern.getCounts().begin(), pattern.getCounts().end(), 0u), 0u);
}

TEST(Pattern, IsDrawnLogarithmicallyOnItsBackground)
{
    for (const QString &name : GetPaletteNames()) {
        Pattern pattern = Geometry{.columns = 4, .rows = 2, .scaleX = 4, .scaleY = 2}.make();
        pattern.setBackgroundColor(QColor(1, 2, 3));
        pattern.setPatternPalette(*FindPalette(name));
        // One, thirty and a thousand in the columns, and one above all rows.
        std::vector<EvaluatedEvent> events(1 + 30 + 1000 + 1, event(1.5, 2));
        events.front() = event(1.5, 0);
        std::fill_n(events.begin() + 1, 30, event(1.5, 1));
        events.back() = event(9, 3);
        pattern.addEvents(events.data(), int(events.size()));
        QImage image, overflow;
        ASSERT_TRUE(pattern.getLastPatternDisplay(&image, &overflow));
        EXPECT_EQ(image.size(), QSize(4, 2));
        EXPECT_EQ(overflow.size(), QSize(4, 1));
        const auto &colors = GetPaletteColors(*FindPalette(name));
        const auto colorAt = [&](int x) { return std::find(colors.begin(), colors.end(), image.pixel(x, 0)); };
        EXPECT_EQ(image.pixel(3, 0), qRgb(1, 2, 3));
        EXPECT_EQ(image.pixel(0, 1), qRgb(1, 2, 3));
        EXPECT_EQ(colorAt(2), colors.end() - 1);
        EXPECT_NEAR(double(colorAt(1) - colors.begin()), 255 * std::log(31.0) / std::log(1001.0), 1.0);
        EXPECT_LT(colorAt(0), colorAt(1));
        EXPECT_EQ(overflow.pixel(0, 0), qRgb(1, 2, 3));
        EXPECT_EQ(overflow.pixel(3, 0), colors.back());
    }
}

TEST(SynchronizedPattern, FollowsTheKeysOfItsChannel)
{
    const auto tree = std::make_shared<Utilities::ConfigurationTree>();
    const QString root = QStringLiteral("one/channels/3");
    const auto write = [&](const QString &key, const QVariant &value) {
        tree->write(root + QLatin1Char('/') + key, value);
    };
    write(PatternKeys::PixelDimensionX, 20);
    write(PatternKeys::ScaleY, 100.0);
    SynchronizedPattern pattern(Shared::GuiContexts::MakeReader(root, tree));
    EXPECT_EQ(pattern.getId(), root);
    EXPECT_EQ(pattern.getPattern().getColumnCount(), 20);
    write(PatternKeys::AxisScaling, 2);
    for (int i = 0; i < 3; ++i)
        write(PatternKeys::PixelDimensionY, 10 + i);
    EXPECT_NEAR(pattern.getLargestCharge(), 100.0, 1e-9) << "the scale is converted once, however often it changes";
    EXPECT_EQ(pattern.getPattern().getChargeAxis().rows, 12);

    pattern.updatePattern(*periodOf(0, 2000, 100'000, 1));
    const auto isEmpty = [&] { return pattern.getDuration() == 0.0; };
    write(PatternKeys::Palette, QStringLiteral("greys"));
    write(PatternKeys::BackgroundColor, QStringLiteral("#102030"));
    EXPECT_EQ(pattern.getPattern().getPatternPalette(), PatternPalette::Greys);
    EXPECT_EQ(pattern.getPattern().getBackgroundColor(), QColor(0x10, 0x20, 0x30));
    const std::pair<QString, QVariant> unusable[] = {{PatternKeys::PixelDimensionX, 0},
                                                     {PatternKeys::PixelDimensionX, 65536},
                                                     {PatternKeys::ScaleX, nan},
                                                     {PatternKeys::ScaleY, 0.0},
                                                     {PatternKeys::AxisScaling, 7},
                                                     {PatternKeys::Palette, QStringLiteral("mauve")},
                                                     {PatternKeys::BackgroundColor, QStringLiteral("none")}};
    for (const auto &[key, value] : unusable)
        write(key, value);
    EXPECT_FALSE(isEmpty()) << "neither colours nor unusable values empty the pattern";
    EXPECT_NEAR(pattern.getLargestCharge(), 100.0, 1e-9);
    write(PatternKeys::Bipolar, true);
    EXPECT_TRUE(isEmpty());

    EXPECT_TRUE(pattern.setPatternScaleY(50.0));
    EXPECT_FALSE(pattern.setPixelDimensionX(-1));
    EXPECT_FALSE(pattern.setPatternScaleX(infinity));
    EXPECT_EQ(tree->read(root + QStringLiteral("/pattern_scale_y")), QVariant(50.0));
    EXPECT_NEAR(pattern.getLargestCharge(), 50.0, 1e-9);
}

} // namespace
