#include "evaluation/context_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/entry_names.h"

#include <QImage>

using namespace EvaluationTools;
using namespace CommonNOX::Evaluation;
using namespace CommonNOX::Evaluation::Processors;

namespace
{

using PatternProcessorTest = EvaluationTest;

TEST_F(PatternProcessorTest, WritesAnEntryAnInterval)
{
    const QString name = CommonNOX::GetDataEntryNameForDeviceChannel(QStringLiteral("id"), QStringLiteral("3"));
    const auto write = [&](const char *key, const QVariant &value) {
        tree->write(QStringLiteral("d/channels/3/") + QLatin1String(key), value);
    };
    write("pattern_pixels_x", 40);
    write("pattern_pixels_y", 30);
    write("pattern_scale_y", 100.0);
    write("pattern_interval", 0.1);
    const SingleChannelProcessorFactory &factory = ProcessorsFactory::getInstance();
    const auto processor = factory.createProduct(Names::Pattern, reader("d"), reader("d/channels/3"), Names::Pattern,
                                                 QStringLiteral("id"), 3u);
    // 50 at 90 degrees: row 15, column 10.
    const auto period = PeriodSketch{.amplitudes = {50}}.period();
    EXPECT_FALSE(processor->evaluate(0, period)) << "without a result entry";
    const auto entry = store->createEntry(Names::Pattern, name, GetResultRetention(Names::Pattern));
    std::vector<quint64> written;
    const auto observing = store->observe(
        [&](const Utilities::DataEntryInterface &, quint64 index, const QVariant &) { written.push_back(index); });
    for (quint64 i = 1; i <= 12; ++i)
        EXPECT_TRUE(processor->evaluate(i, period));
    EXPECT_EQ(written, (std::vector<quint64>{5, 10}));
    EXPECT_EQ(entry->getCount(), 1u) << "the store keeps the latest";
    const auto last = [&](const QString &key) {
        quint64 index = 0;
        QVariant value;
        return entry->getLastValue(index, value) ? CommonNOX::DataEntryFromVariant(value)->get(key) : QVariant();
    };
    const QImage image = QImage::fromData(last(Keys::Image).toByteArray(), "PNG");
    ASSERT_EQ(image.size(), QSize(40, 30));
    EXPECT_NE(image.pixel(10, 15), image.pixel(11, 15));
    EXPECT_EQ(image.pixel(11, 15), qRgb(255, 255, 255));
    EXPECT_EQ(QImage::fromData(last(Keys::Overflow).toByteArray(), "PNG").size(), QSize(40, 1));
    EXPECT_EQ(last(Keys::MaxScaleY), QVariant(100.0));
    EXPECT_EQ(last(Keys::Bipolar), QVariant(false));
    EXPECT_EQ(last(Keys::AxisScaling), QVariant(1));

    // After a reset the interval begins anew, with an empty pattern.
    EXPECT_TRUE(processor->resetProcessorState(0));
    EXPECT_FALSE(processor->resetProcessorState(0));
    const auto quiet = PeriodSketch{.amplitudes = {}}.period();
    for (quint64 i = 13; i <= 17; ++i)
        EXPECT_TRUE(processor->evaluate(i, quiet));
    EXPECT_EQ(written.back(), 17u);
    EXPECT_EQ(QImage::fromData(last(Keys::Image).toByteArray(), "PNG").pixel(10, 15), qRgb(255, 255, 255));
    write("pattern_interval", 0.0);
    EXPECT_TRUE(processor->evaluate(18, period));
    EXPECT_EQ(written.back(), 18u);
}

} // namespace
