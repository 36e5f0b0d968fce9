// Records synthetic blocks until somebody ends it, and looks at what is left of such a file:
//   record_flat_out record FILE (flat | paced)
//   record_flat_out check CACHE-FOLDER FILE...
// The first prints a line "SECONDS COUNT" for each block handed over, flushed, so that a kill loses no line. The second
// prints one JSON object a file.
#include "connections/devices/pd_device.h"
#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_pd.h"
#include "entries/data_entry.h"
#include "entries/measurement/peak.h"
#include "entries/property_keys.h"
#include "platform/configuration_tree.h"
#include "platform/data_repository.h"
#include "platform/reader_interface.h"
#include "platform/storage/element_loader.h"
#include "platform/storage/storage_recovery.h"
#include "platform/visitors.h"
#include "recording/recorder/pd_recorder.h"
#include "recording/recorder/recording_command.h"
#include "recording/replay_file.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdio>
#include <thread>

using namespace CommonNOX;
using namespace CommonNOX::PD::Recording;
using namespace CommonNOX::Entries::Results::Space2D;
using namespace FrameworkCore::AppData::Storage;
namespace Keys = Entries::Keys;

namespace
{

constexpr int Channels = 4;
constexpr int PeaksOfPeriod = 100;
constexpr auto Period = std::chrono::milliseconds(20);

std::shared_ptr<const PeriodBlockV1> makeBlock(quint64 index)
{
    constexpr qint64 TicksOfPeriod = 2000;
    PeakVector peaks;
    for (int i = 0; i < PeaksOfPeriod; ++i)
        peaks.append({int(index) + i, 7, qint64(index) * TicksOfPeriod + i, 0});
    const auto period = std::make_shared<PeriodV2>();
    period->set(Keys::StartTime, qint64(index) * TicksOfPeriod);
    period->set(Keys::EndTime, qint64(index + 1) * TicksOfPeriod);
    period->set(Keys::SampleRate, 100'000u);
    period->set(Keys::Count, quint32(peaks.size()));
    period->set(Keys::Peaks, QVariant::fromValue(peaks));
    const auto block = std::make_shared<PeriodBlockV1>();
    block->set(Keys::Periods, QVariantList{QVariant::fromValue(std::shared_ptr<const PeriodV2>(period))});
    return block;
}

int record(const QString &path, bool isPaced)
{
    using namespace Hardware;
    const auto tree = std::make_shared<Utilities::ConfigurationTree>();
    QList<Devices::Channels::ChannelInformation> channels;
    for (int i = 0; i < Channels; ++i)
        channels.append({i, Coupling::Default, Function::Pd, SynchronisationSource::External, HardwareDestination(0, i),
                         QString(), MultiplexerType(), HardwareSourceConfiguration(), true});
    Devices::PdDevice device(Shared::GuiContexts::MakeReader(QString(), tree), QStringLiteral("devices/one"),
                             QStringLiteral("id"), channels);
    PdRecorder recorder(device, QString());
    bool isStarted = false;
    QObject::connect(&recorder, &PdRecorder::recordingStarted, [&] { isStarted = true; });
    bool isEnded = false;
    QObject::connect(&recorder, &PdRecorder::recordingEnded, [&] { isEnded = true; });
    QObject::connect(&recorder, &PdRecorder::startRefused, [&] { isEnded = true; });
    tree->write(tree->joinPath({device.getPath(), Attributes::Node, Attributes::Control}),
                FormatRecordingCommand({true, path, {}, {}}));
    while (!isStarted && !isEnded)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);

    // The clock of who ends this program.
    const auto seconds = [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
    auto next = std::chrono::steady_clock::now();
    quint64 count = 0;
    for (quint64 index = 0; !isEnded; ++index) {
        for (int channel = 0; channel < Channels; ++channel) {
            device.addPeriodBlock(channel, index, makeBlock(index));
            std::printf("%.6f %llu\n", seconds(), static_cast<unsigned long long>(++count));
        }
        std::fflush(stdout);
        QCoreApplication::processEvents();
        while (recorder.isFull() && !isEnded) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            QCoreApplication::processEvents();
        }
        if (isPaced)
            std::this_thread::sleep_until(next += Period);
    }
    return 1;
}

QJsonObject check(const QString &path, const QString &cacheFolder)
{
    QElapsedTimer timer;
    timer.start();
    QJsonObject told{{QStringLiteral("file"), path}};
    const OpenedStorage opened = OpenStorage(path, cacheFolder);
    told.insert(QStringLiteral("error"), opened.error);
    told.insert(QStringLiteral("interrupted"), opened.wasInterrupted);
    if (opened.recovery) {
        told.insert(QStringLiteral("found"), double(opened.recovery->found));
        told.insert(QStringLiteral("restored"), double(opened.recovery->restored));
        told.insert(QStringLiteral("copy"), opened.recovery->path);
    }
    if (opened.reader) {
        QJsonObject kinds;
        int half = 0;
        int damaged = 0;
        int missing = 0;
        int unknown = 0;
        WalkRows(*opened.reader, [&](const StoredRow &row, StorageReader::Outcome outcome) {
            const EntryKind *kind = opened.reader->getKind(row.kind);
            if (outcome != StorageReader::Outcome::Found || !kind) {
                // A recovered copy leaves out what was lost.
                ++(outcome == StorageReader::Outcome::Missing ? missing : damaged);
                return true;
            }
            kinds[kind->category] = kinds[kind->category].toInt() + 1;
            if (kind->recordSize > 0) {
                half += row.data.isEmpty() || row.data.size() % kind->recordSize != 0;
                return true;
            }
            // The table of kinds has no checksums, so that damage there leaves whole entries of unknown classes.
            if (!Utilities::GetAppDataRepositoryInterface()->createParser(kind->type)) {
                ++unknown;
                return true;
            }
            const auto entry = ParseRow(*opened.reader, row);
            const auto held = entry ? DataEntryFromVariant(*entry) : nullptr;
            // A block that was cut in the middle would have lost peaks.
            if (held && kind->type == TypeOf<PeriodBlockV1>()) {
                const auto periods = held->get(Keys::Periods).toList();
                const auto period = periods.size() == 1 ? DataEntryFromVariant(periods.first()) : nullptr;
                half += !period || period->get(Keys::Peaks).value<PeakVector>().size() != PeaksOfPeriod;
            } else {
                half += !held;
            }
            return true;
        });
        told.insert(QStringLiteral("kinds"), kinds);
        told.insert(QStringLiteral("half"), half);
        told.insert(QStringLiteral("damaged"), damaged);
        told.insert(QStringLiteral("missing"), missing);
        told.insert(QStringLiteral("unknown"), unknown);
    }
    told.insert(QStringLiteral("seconds"), double(timer.elapsed()) / 1000.0);
    return told;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 4 && arguments[1] == QLatin1String("record"))
        return record(arguments[2], arguments[3] == QLatin1String("paced"));
    if (arguments.size() < 4 || arguments[1] != QLatin1String("check")) {
        std::fputs("usage: record_flat_out record FILE (flat | paced)\n"
                   "       record_flat_out check CACHE-FOLDER FILE...\n",
                   stderr);
        return 2;
    }
    for (int i = 3; i < arguments.size(); ++i) {
        std::puts(QJsonDocument(check(arguments[i], arguments[2])).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    }
    return 0;
}
