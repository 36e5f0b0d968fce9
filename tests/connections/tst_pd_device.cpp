#include "connections/devices/pd_device.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <thread>

using namespace CommonNOX;
using Devices::PdDevice;
using Entries::SampleVector;
using Entries::Results::Space2D::PeriodBlockV1;
using Entries::Results::Space2D::VoltageScopeV1;
namespace Keys = Entries::Keys;

namespace
{

class PdDeviceTest : public ::testing::Test
{
protected:
    static Devices::Channels::ChannelInformation channel(int index)
    {
        using namespace Hardware;
        return {index,
                Coupling::Default,
                Function::Pd,
                SynchronisationSource::External,
                HardwareDestination(0, index),
                QString(),
                MultiplexerType(),
                HardwareSourceConfiguration(),
                index == 4};
    }

    const std::shared_ptr<Utilities::ConfigurationTree> tree = std::make_shared<Utilities::ConfigurationTree>();
    PdDevice device{Shared::GuiContexts::MakeReader(QStringLiteral("elsewhere"), tree),
                    QStringLiteral("lab/devices/one"),
                    QStringLiteral("192.0.2.7:4000"),
                    {channel(1), channel(4)}};
};

TEST_F(PdDeviceTest, ContextsLieAtItsPathOfTheReadersTree)
{
    EXPECT_EQ(device.findChannel(4)->getChannelIndex(), 4) << "by index, not by place";
    Utilities::GuiContextVisitor(device.getChannelContext(4)).setProperty(QStringLiteral("enabled"), true);
    EXPECT_TRUE(tree->read(QStringLiteral("lab/devices/one/channels/4/enabled")).toBool());

    const PdDevice lost(nullptr, QStringLiteral("p"), QStringLiteral("i"), {});
    EXPECT_EQ(lost.getContext()->getTree(), Utilities::GetApplicationConfigurationTree());

    const QString number = QStringLiteral("lab/devices/one/serial_number");
    tree->write(number, QString());
    EXPECT_EQ(device.getSerialNumber(), QLatin1String("192.0.2.7:4000")) << "until the instrument tells its own";
    tree->write(number, 4711);
    EXPECT_EQ(device.getSerialNumber(), QLatin1String("4711"));
}

TEST_F(PdDeviceTest, HandsWhatItReceivesToEverySubscriber)
{
    QStringList notes;
    const auto receiver = [&](const char *who) {
        return [&notes, who](int from, quint64 index, const PdDevice::PeriodBlockPtr &block, const auto &) {
            notes.append(QStringLiteral("%1 %2 %3 %4").arg(QLatin1String(who)).arg(from).arg(index).arg(block ? 1 : 0));
        };
    };
    auto first = device.subscribePeriodBlocks(receiver("a"));
    const auto second = device.subscribePeriodBlocks(receiver("b"));
    EXPECT_FALSE(device.addPeriodBlock(0, 5, std::make_shared<PeriodBlockV1>())) << "unknown channel";
    EXPECT_TRUE(device.addPeriodBlock(4, 1ull << 40, std::make_shared<PeriodBlockV1>()));
    first.reset();
    EXPECT_TRUE(device.addPeriodBlock(1, 6, nullptr));
    EXPECT_EQ(notes, QStringList({QStringLiteral("a 4 1099511627776 1"), QStringLiteral("b 4 1099511627776 1"),
                                  QStringLiteral("b 1 6 0")}));
}

TEST_F(PdDeviceTest, NotesTheVoltageInForceWhereBlocksAreReceived)
{
    const auto scope = [](qint32 peak) {
        const auto entry = std::make_shared<VoltageScopeV1>();
        entry->set(Keys::Samples, QVariant::fromValue(SampleVector{1, -peak, 2}));
        entry->set(Keys::SampleRate, 1000u);
        return entry;
    };
    const auto block = std::make_shared<PeriodBlockV1>();
    block->set(Keys::Periods, QVariantList{0, 0, 0});
    PdDevice::TestVoltages last;
    const auto subscription = device.subscribePeriodBlocks(
        [&](int, quint64, const auto &, const PdDevice::TestVoltages &voltages) { last = voltages; });
    device.addPeriodBlock(1, 0, block);
    EXPECT_TRUE(last.isEmpty());
    device.addVoltageScope(scope(5), 10);
    device.addVoltageScope(scope(7), 12);
    device.addVoltageScope(nullptr, 11);
    device.addPeriodBlock(1, 9, block);
    EXPECT_TRUE(std::isnan(last.value(0))) << "before the first scope";
    EXPECT_EQ(last.mid(1), PdDevice::TestVoltages({5.0, 5.0}));
    device.addPeriodBlock(4, 11, block);
    EXPECT_EQ(last, PdDevice::TestVoltages({5.0, 7.0, 7.0}));
}

TEST_F(PdDeviceTest, ASubscriberMayGoWhileBlocksArrive)
{
    std::atomic<bool> feeding = true;
    std::thread feeder([&] {
        while (feeding)
            device.addPeriodBlock(1, 0, nullptr);
    });
    for (int round = 0; round < 500; ++round) {
        auto calls = std::make_unique<int>(0);
        auto subscription = device.subscribePeriodBlocks([&](int, quint64, const auto &, const auto &) { ++*calls; });
        subscription.reset();
        calls.reset(); // no call may be under way any more
    }
    feeding = false;
    feeder.join();
}

} // namespace
