#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

#include <gtest/gtest.h>

namespace
{

using namespace CommonNOX::Evaluation::Processors;

TEST(ProcessorsFactory, EveryNameStandsInItsFamilyOnly)
{
    const auto &factory = ProcessorsFactory::getInstance();
    const auto channelNames = factory.getSingleChannelProcessorNames();
    const auto deviceNames = factory.getDeviceProcessorNames();
    for (const QLatin1String name : {Names::DisplayedPeriod, Names::Frequency, Names::Qiec, Names::Qmax}) {
        EXPECT_TRUE(channelNames.contains(name)) << name.data();
        EXPECT_FALSE(deviceNames.contains(name)) << name.data();
    }
    for (const QString &name : StandardDeviceProcessors()) {
        EXPECT_TRUE(deviceNames.contains(name)) << qPrintable(name);
        EXPECT_FALSE(channelNames.contains(name)) << qPrintable(name);
    }
}

TEST(ProcessorsFactory, FirstCreatorOfANameStays)
{
    auto &factory = ProcessorsFactory::getInstance();
    const auto none = [](auto &&...) { return std::shared_ptr<AbstractSingleChannelProcessor>(); };
    EXPECT_FALSE(factory.registerSingleChannelProcessor(Names::Qiec, none));
    const SingleChannelProcessorFactory &creators = factory;
    EXPECT_NE(creators.createProduct(Names::Qiec, nullptr, nullptr, Names::Qiec, QStringLiteral("device"), 0), nullptr);
}

TEST(ProcessorNames, SettingIsSplitAtSemicolons)
{
    EXPECT_EQ(SplitProcessorNames(QStringLiteral("qiec;;qmax")), QStringList({Names::Qiec, Names::Qmax}));
    EXPECT_EQ(SplitProcessorNames(QStringLiteral(" qmax ;qmax;")), QStringList(QString(Names::Qmax)));
    EXPECT_TRUE(SplitProcessorNames(QString()).isEmpty());
}

} // namespace
