#include "evaluation/evaluators/device_evaluator.h"
#include "evaluation/evaluators/pd_device_evaluator.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/measurement/voltage_scope.h"

using namespace EvaluationTools;
using namespace CommonNOX::Evaluation;
using Evaluators::DeviceEvaluator;
using Evaluators::PdChannelEvaluator;
using Evaluators::PdDeviceEvaluator;

namespace
{

/// Notes what reaches it: a scope as its peak, an event as minus its number.
class NotingProcessor : public Processors::AbstractDeviceProcessor
{
public:
    bool evaluate(const std::shared_ptr<const CommonNOX::Data::VoltageScope> &scope) override
    {
        note(scope->getPeak());
        return true;
    }
    void handleEvent(DeviceEvaluatorEvent event) override { note(-double(event)); }

    std::vector<double> notes() const
    {
        const std::lock_guard guard(m_mutex);
        return m_notes;
    }

private:
    void note(double what)
    {
        const std::lock_guard guard(m_mutex);
        m_notes.push_back(what);
    }

    mutable std::mutex m_mutex;
    std::vector<double> m_notes;
};

bool waitUntilDone(const DeviceEvaluator &evaluator)
{
    return waitUntil([&] { return evaluator.getDoneCount() == evaluator.getAcceptedCount(); });
}

TEST(DeviceEvaluator, EventsKeepTheirPlaceBetweenScopes)
{
    DeviceEvaluator evaluator;
    const auto processor = std::make_shared<NotingProcessor>();
    EXPECT_FALSE(evaluator.addNewReceivedVoltageScope(scopeOf({1})));
    EXPECT_FALSE(evaluator.evaluatorEvent(DeviceEvaluatorEvent::Reset));
    EXPECT_EQ(evaluator.getAcceptedCount(), 0u);
    EXPECT_EQ(evaluator.getElapsedMilliseconds(), 0);

    evaluator.processorListChanged({processor});
    evaluator.enableEvaluation(true);
    evaluator.enableEvaluation(true);
    EXPECT_FALSE(evaluator.addNewReceivedVoltageScope(nullptr));
    std::vector<double> expected;
    for (int i = 1; i <= 60; ++i) {
        EXPECT_TRUE(evaluator.addNewReceivedVoltageScope(scopeOf({i})));
        EXPECT_TRUE(evaluator.addNewReceivedVoltageScope(scopeOf({}))) << "passed over later";
        EXPECT_TRUE(evaluator.evaluatorEvent(DeviceEvaluatorEvent(i % 3)));
        expected.push_back(i);
        expected.push_back(-(i % 3));
    }
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(processor->notes(), expected);
    EXPECT_EQ(evaluator.getDoneCount(), 180u);
    EXPECT_GE(evaluator.getElapsedMilliseconds(), 0);

    evaluator.enableEvaluation(false);
    evaluator.waitForEnd();
    EXPECT_FALSE(evaluator.addNewReceivedVoltageScope(scopeOf({1})));
    evaluator.enableEvaluation(true);
    EXPECT_TRUE(evaluator.addNewReceivedVoltageScope(scopeOf({500})));
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(processor->notes().back(), 500.0);
}

TEST(DeviceEvaluator, SurvivesAStorm)
{
    const auto one = std::make_shared<NotingProcessor>(), two = std::make_shared<NotingProcessor>();
    {
        DeviceEvaluator evaluator;
        std::vector<std::thread> storm;
        for (int seed = 0; seed < 3; ++seed) {
            storm.emplace_back([&, seed] {
                for (int round = 0; round < 60; ++round) {
                    evaluator.enableEvaluation((round + seed) % 3 != 0);
                    evaluator.processorListChanged(round % 2 ? QList<DeviceEvaluator::ProcessorPtr>{one}
                                                             : QList<DeviceEvaluator::ProcessorPtr>{one, two});
                    evaluator.addNewReceivedVoltageScope(scopeOf({round}));
                    evaluator.evaluatorEvent(DeviceEvaluatorEvent::Started);
                }
            });
        }
        for (std::thread &thread : storm)
            thread.join();
        evaluator.enableEvaluation(false);
        evaluator.waitForEnd();
        EXPECT_EQ(evaluator.getDoneCount(), evaluator.getAcceptedCount()) << "dropped or done";
        evaluator.enableEvaluation(true);
        EXPECT_TRUE(evaluator.addNewReceivedVoltageScope(scopeOf({9000})));
        EXPECT_TRUE(waitUntilDone(evaluator));
        EXPECT_EQ(one->notes().back(), 9000.0);
    }
    EXPECT_EQ(one.use_count(), 1);
}

using PdDeviceEvaluatorTest = EvaluationTest;

TEST_F(PdDeviceEvaluatorTest, TakesTheScopesOfItsDevice)
{
    const auto pd = device(1);
    const auto processor = std::make_shared<NotingProcessor>();
    {
        PdDeviceEvaluator evaluator(pd);
        evaluator.getEvaluator().processorListChanged({processor});
        evaluator.getEvaluator().enableEvaluation(true);
        pd->addVoltageScope(scopeOf({4, -8}));
        pd->addVoltageScope(nullptr);
        ASSERT_TRUE(waitUntilDone(evaluator.getEvaluator()));
        EXPECT_EQ(processor->notes(), std::vector<double>{8.0});
    }
    pd->addVoltageScope(scopeOf({1}));
    EXPECT_EQ(processor->notes().size(), 1u);
}

TEST_F(PdDeviceEvaluatorTest, AnswersTheConsole)
{
    const QString usage =
        QStringLiteral("usage: evaluation [device|channel] [<channelIndex>]\r\n"
                       "       device: query the device evaluation status\r\n"
                       "       channel <channelIndex>: query the evaluation status for the given channel\r\n");
    const auto pd = device(3);
    PdDeviceEvaluator evaluator(pd);
    auto channel = std::make_shared<PdChannelEvaluator>(pd, 2);
    evaluator.addChannelEvaluator(channel);
    channel->getEvaluator().enableEvaluation(true);
    EXPECT_TRUE(pd->addPeriodBlock(2, 0, blockOf({PeriodSketch().variant(), QVariant()})));
    EXPECT_FALSE(pd->addPeriodBlock(3, 0, blockOf(1))) << "unknown";
    ASSERT_TRUE(waitUntil([&] { return channel->getEvaluator().getProgress().pending == 0; }));

    EXPECT_EQ(evaluator.answerConsoleCommand(QStringLiteral("help")),
              QLatin1String("the following commands are supported: evaluation"));
    EXPECT_EQ(evaluator.answerConsoleCommand(QStringLiteral(" evaluation  device\r\n")),
              QLatin1String("device id: stopped, accepted=0, done=0\r\n"));
    const QString ofChannel = QStringLiteral("evaluation channel 2");
    EXPECT_EQ(evaluator.answerConsoleCommand(ofChannel),
              QLatin1String("channel 2: idle, accepted=2, evaluated=1, dropped=1, pending=0, load=0.00\r\n"));
    for (const char *wrong :
         {"", "evaluation", "evaluation channel", "evaluation channel 0", "evaluation channel x",
          "evaluation channel 2 2", "evaluation channel -1", "evaluation channel 4294967298", "evaluation device 1",
          "evaluation help", "help me", "EVALUATION device", "evaluate device"})
        EXPECT_EQ(evaluator.answerConsoleCommand(QLatin1String(wrong)), usage) << wrong;
    channel.reset();
    EXPECT_EQ(evaluator.answerConsoleCommand(ofChannel), usage) << "gone";
}

TEST_F(PdDeviceEvaluatorTest, ChannelsPublishTheirState)
{
    const auto pd = device(1);
    const auto value = [&](const char *key) {
        return tree->read(QStringLiteral("devices/one/channels/0/") + QLatin1String(key));
    };
    PdChannelEvaluator channel(pd, 0);
    channel.publishEvaluationProperties();
    EXPECT_EQ(value("evaluation_state").toString(), QLatin1String("disabled"));
    const auto processor = std::make_shared<GateProcessor>();
    processor->setOpen(false);
    channel.getEvaluator().processorListChanged({processor});
    channel.getEvaluator().enableEvaluation(true);
    pd->addPeriodBlock(0, 0, blockOf({PeriodSketch().variant(), QVariant()}));
    ASSERT_TRUE(processor->waitUntilEntered(1));
    channel.publishEvaluationProperties();
    EXPECT_EQ(value("evaluation_state").toString(), QLatin1String("evaluating"));
    processor->setOpen(true);
    ASSERT_TRUE(waitUntil([&] { return channel.getEvaluator().getProgress().pending == 0; }));
    channel.publishEvaluationProperties();
    EXPECT_EQ(value("evaluation_state").toString(), QLatin1String("idle"));
    EXPECT_EQ(value("evaluated_periods").toInt(), 1);
    EXPECT_EQ(value("dropped_periods").toInt(), 1);
    EXPECT_TRUE(value("evaluation_load").isValid());
}

} // namespace
