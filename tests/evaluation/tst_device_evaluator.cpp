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
    const auto processor = std::make_shared<NotingProcessor>();
    {
        DeviceEvaluator evaluator;
        EXPECT_FALSE(evaluator.addNewReceivedVoltageScope(scopeOf({1})));
        EXPECT_FALSE(evaluator.evaluatorEvent(DeviceEvaluatorEvent::Reset));
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
            expected.insert(expected.end(), {double(i), -double(i % 3)});
        }
        ASSERT_TRUE(waitUntilDone(evaluator));
        EXPECT_EQ(processor->notes(), expected);
        EXPECT_EQ(evaluator.getDoneCount(), 180u);

        for (int i = 0; i < 50; ++i)
            EXPECT_TRUE(evaluator.addNewReceivedVoltageScope(scopeOf({7})));
        evaluator.enableEvaluation(false);
        evaluator.waitForEnd();
        EXPECT_EQ(evaluator.getDoneCount(), 230u) << "dropped or done";
        EXPECT_FALSE(evaluator.addNewReceivedVoltageScope(scopeOf({1})));
        EXPECT_EQ(evaluator.getAcceptedCount(), 230u);
        evaluator.enableEvaluation(true);
        EXPECT_TRUE(evaluator.addNewReceivedVoltageScope(scopeOf({500})));
        ASSERT_TRUE(waitUntilDone(evaluator));
        EXPECT_EQ(processor->notes().back(), 500.0);
    }
    EXPECT_EQ(processor.use_count(), 1);
}

using PdDeviceEvaluatorTest = EvaluationTest;

TEST_F(PdDeviceEvaluatorTest, TakesTheScopesOfItsDeviceUntilItGoes)
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
    }
    pd->addVoltageScope(scopeOf({1}));
    EXPECT_EQ(processor->notes(), std::vector<double>{8.0});
}

TEST_F(PdDeviceEvaluatorTest, AnswersTheConsole)
{
    const std::string usage = "usage: evaluation [device|channel] [<channelIndex>]\r\n"
                              "       device: query the device evaluation status\r\n"
                              "       channel <channelIndex>: query the evaluation status for the given channel\r\n";
    const auto pd = device(3);
    PdDeviceEvaluator evaluator(pd);
    auto channel = std::make_shared<PdChannelEvaluator>(pd, 2);
    evaluator.addChannelEvaluator(channel);
    channel->getEvaluator().enableEvaluation(true);
    EXPECT_TRUE(pd->addPeriodBlock(2, 0, blockOf({PeriodSketch().variant(), QVariant()})));
    EXPECT_FALSE(pd->addPeriodBlock(3, 0, blockOf(1))) << "unknown";
    ASSERT_TRUE(EvaluationTools::waitUntilDone(channel->getEvaluator()));

    const auto answer = [&](const char *command) {
        return evaluator.answerConsoleCommand(QLatin1String(command)).toStdString();
    };
    EXPECT_EQ(answer("help"), "the following commands are supported: evaluation");
    EXPECT_EQ(answer(" evaluation  device\r\n"), "device id: stopped, accepted=0, done=0\r\n");
    EXPECT_EQ(answer("evaluation channel 2"),
              "channel 2: idle, accepted=2, evaluated=1, dropped=1, pending=0, load=0.00\r\n");
    for (const char *wrong : {"", "evaluation", "evaluation channel", "evaluation channel 0", "evaluation channel x",
                              "evaluation channel 2 2", "evaluation channel 4294967298", "evaluation device 1",
                              "help me", "EVALUATION device"})
        EXPECT_EQ(answer(wrong), usage) << wrong;
    channel.reset();
    EXPECT_EQ(answer("evaluation channel 2"), usage) << "gone";
}

TEST_F(PdDeviceEvaluatorTest, ChannelsPublishTheirState)
{
    const auto pd = device(1);
    PdChannelEvaluator channel(pd, 0);
    const auto published = [&](const char *key) {
        channel.publishEvaluationProperties();
        return tree->read(QStringLiteral("devices/one/channels/0/") + QLatin1String(key)).toString().toStdString();
    };
    EXPECT_EQ(published("evaluation_state"), "disabled");
    const auto processor = std::make_shared<GateProcessor>();
    processor->setOpen(false);
    channel.getEvaluator().processorListChanged({processor});
    channel.getEvaluator().enableEvaluation(true);
    pd->addPeriodBlock(0, 0, blockOf({PeriodSketch().variant(), QVariant(), QVariant()}));
    ASSERT_TRUE(processor->waitUntilEntered(1));
    EXPECT_EQ(published("evaluation_state"), "evaluating");
    processor->setOpen(true);
    ASSERT_TRUE(EvaluationTools::waitUntilDone(channel.getEvaluator()));
    EXPECT_EQ(published("evaluation_state"), "idle");
    EXPECT_EQ(published("evaluated_periods"), "1");
    EXPECT_EQ(published("dropped_periods"), "2");
    EXPECT_NE(published("evaluation_load"), "");
}

} // namespace
