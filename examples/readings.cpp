// A host in one page: makes period entries, evaluates them on a channel's threads and prints the weighted charge.
#include <entries/catalogue/results_pd.h>
#include <entries/entry_names.h>
#include <entries/measurement/peak.h>
#include <entries/property_keys.h>
#include <evaluation/evaluators/single_channel_evaluator.h>
#include <evaluation/tasks/processor_set.h>
#include <platform/data_store.h>

#include <chrono>
#include <cstdio>
#include <thread>

using namespace CommonNOX;
using namespace CommonNOX::Entries::Results::Space2D;
namespace Keys = CommonNOX::Entries::Keys;

// A 50 Hz period at a million ticks a second, with one pulse of 100 pC.
static std::shared_ptr<const PeriodBlockV1> makeBlock(qint64 index)
{
    const auto period = std::make_shared<PeriodV2>();
    period->set(Keys::StartTime, index * 20000);
    period->set(Keys::EndTime, (index + 1) * 20000);
    period->set(Keys::SampleRate, 1000000u);
    period->set(Keys::PdCalibration, 0.01);
    period->set(Keys::Peaks, QVariant::fromValue(PeakVector{{10000, 0, index * 20000 + 5000, 0}}));
    const auto block = std::make_shared<PeriodBlockV1>();
    block->set(Keys::Periods, QVariantList{QVariant::fromValue(PeriodV2ConstPtr(period))});
    return block;
}

int main()
{
    const auto context = Shared::GuiContexts::MakeReader(QStringLiteral("example"));
    auto processors = Tasks::MakeSingleChannelProcessorSet(context, context, QStringLiteral("S0001"), 0);
    processors.setNames({QStringLiteral("qiec")});

    Evaluation::Evaluators::SingleChannelEvaluator evaluator;
    evaluator.processorListChanged(processors.getProcessors());
    evaluator.enableEvaluation(true);
    for (quint64 index = 0; index < 50; ++index)
        evaluator.addNewReceivedPeriod(index, makeBlock(qint64(index)));
    while (evaluator.getProgress().pending > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));

    const auto name = GetDataEntryNameForDeviceChannel(QStringLiteral("S0001"), QStringLiteral("0"));
    const auto results = Utilities::GetAppDataStore()->findEntry(QStringLiteral("qiec"), name);
    for (const auto &[index, value] : results->getValues(0, 49)) {
        const auto reading = DataEntryFromVariant(value);
        std::printf("%llu: %.2f %s\n", static_cast<unsigned long long>(index), reading->get(Keys::Value).toDouble(),
                    qPrintable(reading->get(Keys::Unit).toString()));
    }
}
