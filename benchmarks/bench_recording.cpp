#include "benchmarks/paired.h"
#include "benchmarks/pulses.h"

#include "connections/devices/pd_device.h"
#include "entries/catalogue/results_pd.h"
#include "entries/data_entry_parser.h"
#include "entries/property_keys.h"
#include "host/evaluation/evaluation_session.h"
#include "host/replay/replay_session.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"
#include "recording/recorder/pd_recorder.h"
#include "recording/recorder/recording_command.h"
#include "recording/replay/pd_replay_importer.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <fcntl.h>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace Bench
{

using namespace CommonNOX::Importer;
using CommonNOX::Devices::PdDevice;
using CommonNOX::Entries::Results::Space2D::PeriodBlockV1;
using CommonNOX::PD::Recording::PdRecorder;
using NoxHost::EvaluationSession;
namespace Keys = CommonNOX::Entries::Keys;
namespace Attributes = CommonNOX::PD::Recording::Attributes;

namespace
{

constexpr int Channels = 4;
constexpr int PeaksOfBlock = 1000;
constexpr int BlocksOfPass = 1000; // a channel
constexpr int BlocksOfLargeFile = 100'000;

/// A block of one period of 20 ms.
PdDevice::PeriodBlockPtr makeBlock(quint64 index)
{
    static const std::shared_ptr<PeriodV2> model = MakePeriodEntry(MakePeaks(PeaksOfBlock));
    const auto period = std::make_shared<PeriodV2>(*model);
    period->set(Keys::StartTime, qint64(index) * PeriodTicks);
    period->set(Keys::EndTime, qint64(index + 1) * PeriodTicks);
    const auto block = std::make_shared<PeriodBlockV1>();
    block->set(Keys::Periods, QVariantList{QVariant::fromValue(period)});
    return block;
}

std::shared_ptr<PdDevice> makeDevice(const QString &name)
{
    QList<CommonNOX::Devices::Channels::ChannelInformation> channels;
    for (int i = 0; i < Channels; ++i)
        channels.append(CommonNOX::Devices::Channels::ParseChannelInformationFromString(QString(), i));
    return std::make_shared<PdDevice>(
        Shared::GuiContexts::MakeReader(QString(), std::make_shared<Utilities::ConfigurationTree>()), name, name,
        channels);
}

QString folder()
{
    static const QTemporaryDir instance;
    return instance.path();
}

/// A device that is recorded from the start of this to its end.
class Recording
{
public:
    explicit Recording(const QString &path) : m_device(makeDevice(QStringLiteral("recorded")))
    {
        m_device->initializeRecording(folder());
        CommonNOX::PD::Recording::RecordingCommand command;
        command.isStart = true;
        command.fileName = path;
        const Utilities::GuiContextVisitor context(m_device->getContext());
        const auto tree = context.getConfigurationTree();
        tree->write(tree->joinPath({m_device->getPath(), Attributes::Node, Attributes::Control}),
                    FormatRecordingCommand(command));
    }

    void add(int channel, quint64 index, const PdDevice::PeriodBlockPtr &block)
    {
        while (m_device->getRecorder()->isFull())
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        m_device->addPeriodBlock(channel, index, block);
    }

private:
    const std::shared_ptr<PdDevice> m_device;
};

std::vector<PdDevice::PeriodBlockPtr> makeBlocks()
{
    std::vector<PdDevice::PeriodBlockPtr> blocks;
    for (int i = 0; i < BlocksOfPass; ++i)
        blocks.push_back(makeBlock(quint64(i)));
    return blocks;
}

void record(const QString &path, const std::vector<PdDevice::PeriodBlockPtr> &blocks)
{
    QFile::remove(path);
    Recording recording(path);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        for (int channel = 0; channel < Channels; ++channel)
            recording.add(channel, i, blocks[i]);
    }
}

Contest recorderAgainstWriting()
{
    const auto blocks = std::make_shared<std::vector<PdDevice::PeriodBlockPtr>>(makeBlocks());
    const QByteArray bytes = CommonNOX::Detail::EntryToRawData(blocks->front(), {});
    const QString path = folder() + QStringLiteral("/recorded.pdr");
    const QByteArray plain = QFile::encodeName(folder() + QStringLiteral("/written"));
    const auto write = [bytes, plain] {
        ::unlink(plain.constData());
        const int file = ::open(plain.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        for (int i = 0; i < Channels * BlocksOfPass; ++i) {
            if (::write(file, bytes.constData(), std::size_t(bytes.size())) != bytes.size())
                throw std::runtime_error("the file cannot be written");
        }
        ::close(file);
    };
    const double count = double(Channels) * BlocksOfPass;
    return {{[blocks, path] { record(path, *blocks); }, count}, {write, count}};
}

/// A recording of 10^5 blocks, and one loader of it.
struct LargeFile
{
    QString path = folder() + QStringLiteral("/large.pdr");
    qint64 blockBytes = CommonNOX::Detail::EntryToRawData(makeBlock(0), {}).size();

    LargeFile()
    {
        fill();
        // What the system still has to write would be measured with what is read.
        const int file = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
        ::fsync(file);
        ::close(file);
    }

private:
    void fill() const
    {
        Recording recording(path);
        for (quint64 i = 0; i < BlocksOfLargeFile / Channels; ++i) {
            const auto block = makeBlock(i);
            for (int channel = 0; channel < Channels; ++channel)
                recording.add(channel, i, block);
        }
    }
};

const LargeFile &largeFile()
{
    static const LargeFile instance;
    return instance;
}

std::shared_ptr<PdReplayImporter> openImporter(const QString &path)
{
    const auto loader = std::make_shared<PdReplayFileLoader>();
    loader->setFileInformation(QFileInfo(path));
    const auto importer = std::make_shared<PdReplayImporter>(loader);
    if (!importer->parseReplayFile())
        throw std::runtime_error(loader->getError().toStdString());
    for (const int channel : loader->getChannels())
        importer->setReplaySpeedFactor(channel, 0.0);
    return importer;
}

void takePeriod(PdReplayImporter &importer, int channel)
{
    ImporterInterface::PeriodPtr period;
    if (!importer.extractNextPeriod(channel, period) || !period)
        throw std::runtime_error("there is no period");
    benchmark::DoNotOptimize(period);
}

/// The time elements of all channels, and one block.
qint64 bytesToOpen()
{
    return BlocksOfLargeFile * CommonNOX::PD::Recording::RecordSize + largeFile().blockBytes;
}

class RawFile
{
public:
    explicit RawFile(const QString &path)
        : m_descriptor(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC))
    {}
    ~RawFile() { ::close(m_descriptor); }
    /// Into memory of its own, as whoever keeps what is read.
    void read(qint64 offset, qint64 size) const
    {
        const auto buffer = std::make_unique_for_overwrite<char[]>(std::size_t(size));
        if (::pread(m_descriptor, buffer.get(), std::size_t(size), offset) != size)
            throw std::runtime_error("the file cannot be read");
        benchmark::DoNotOptimize(buffer.get());
    }

private:
    const int m_descriptor;
};

Contest openAgainstReading()
{
    const QString path = largeFile().path;
    const auto file = std::make_shared<RawFile>(path);
    const qint64 bytes = bytesToOpen();
    return {{[path] { takePeriod(*openImporter(path), 0); }}, {[file, bytes] { file->read(0, bytes); }}};
}

double secondsToOpen()
{
    const QString path = largeFile().path;
    const auto begin = std::chrono::steady_clock::now();
    takePeriod(*openImporter(path), 0);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

Contest seekAgainstReading()
{
    const auto importer = openImporter(largeFile().path);
    const auto file = std::make_shared<RawFile>(largeFile().path);
    const auto chance = std::make_shared<std::mt19937>(1);
    const qint64 last = QFileInfo(largeFile().path).size() - largeFile().blockBytes;
    constexpr unsigned Seconds = BlocksOfLargeFile / Channels / 50;
    // So many in turn that each side is measured with its own in the caches: the first ones find the other side's.
    constexpr int Seeks = 100;
    const auto seek = [importer, chance] {
        for (int i = 0; i < Seeks; ++i) {
            const int channel = int((*chance)() % Channels);
            const auto navigation = importer->getLoader()->getChannelTimeNavigation(channel);
            const quint64 element = navigation->findSecond((*chance)() % Seconds);
            importer->setReplaySpan(channel, {unsigned(element), unsigned(navigation->getCount() - 1)});
            takePeriod(*importer, channel);
        }
    };
    const auto read = [file, chance, last] {
        for (int i = 0; i < Seeks; ++i)
            file->read(qint64((*chance)() % quint64(last / 16384)) * 16384, largeFile().blockBytes);
    };
    return {{seek, Seeks}, {read, Seeks}};
}

NoxHost::EvaluationSettings evaluation()
{
    NoxHost::EvaluationSettings settings;
    settings.evaluators = QStringList{QStringLiteral("qiec"), QStringLiteral("qmax")};
    return settings;
}

void replay(const QString &path)
{
    EvaluationSession session(evaluation());
    NoxHost::ReplaySession source(std::make_shared<Utilities::ConfigurationTree>());
    source.setFlowControl([&session] { return session.isFull(); });
    QObject::connect(&source, &NoxHost::MeasuringSession::ready, [&] {
        session.follow(source.getDevice());
        source.start();
    });
    source.open(NoxHost::makeReplayUrl({path, 0.0, {}}));
    while (!source.isLimitReached()) {
        // With a time limit Qt would not wait for events but spin.
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        session.takeReadings();
    }
    session.finish();
    if (session.getPeriodCount() != quint64(Channels) * BlocksOfPass)
        throw std::runtime_error("not everything was replayed");
}

/// What comes from `blockOf` for every channel, as fast as it is evaluated.
void evaluate(const std::function<PdDevice::PeriodBlockPtr(int channel, int index)> &blockOf)
{
    EvaluationSession session(evaluation());
    const auto device = makeDevice(QStringLiteral("memory"));
    session.follow(device);
    for (int i = 0; i < BlocksOfPass; ++i) {
        while (session.isFull())
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        for (int channel = 0; channel < Channels; ++channel)
            device->addPeriodBlock(channel, quint64(i), blockOf(channel, i));
        if (i % 64 == 0)
            session.takeReadings();
    }
    session.finish();
}

QString recordingToReplay(const std::vector<PdDevice::PeriodBlockPtr> &blocks)
{
    static const QString path = folder() + QStringLiteral("/replayed.pdr");
    if (!QFile::exists(path))
        record(path, blocks);
    return path;
}

/// The peer takes each channel's blocks as they are stored, from memory.
Contest replayAgainstStoredBlocks()
{
    const std::vector<PdDevice::PeriodBlockPtr> blocks = makeBlocks();
    const auto stored = std::make_shared<std::vector<QByteArray>>();
    for (int channel = 0; channel < Channels; ++channel) {
        for (const auto &block : blocks) {
            stored->push_back(CommonNOX::Detail::EntryToRawData(block, {}));
            stored->back().detach();
        }
    }
    const auto parse = [stored](int channel, int index) {
        const auto block = std::make_shared<PeriodBlockV1>();
        CommonNOX::Detail::RawDataToEntry((*stored)[std::size_t(channel) * BlocksOfPass + std::size_t(index)], *block);
        return PdDevice::PeriodBlockPtr(block);
    };
    const QString path = recordingToReplay(blocks);
    const double count = double(Channels) * BlocksOfPass;
    return {{[path] { replay(path); }, count}, {[parse] { evaluate(parse); }, count}};
}

/// The peer has all blocks as entries, so that nothing but the few figures that Qiec needs is ever looked at.
Contest replayAgainstEntries()
{
    const auto blocks = std::make_shared<std::vector<PdDevice::PeriodBlockPtr>>(makeBlocks());
    const QString path = recordingToReplay(*blocks);
    const double count = double(Channels) * BlocksOfPass;
    return {{[path] { replay(path); }, count},
            {[blocks] { evaluate([&](int, int index) { return (*blocks)[std::size_t(index)]; }); }, count}};
}

double sizeOfFile()
{
    const QString path = folder() + QStringLiteral("/sized.pdr");
    record(path, makeBlocks());
    return double(QFileInfo(path).size()) /
           (double(Channels) * BlocksOfPass * double(CommonNOX::Detail::EntryToRawData(makeBlock(0), {}).size()));
}

} // namespace

std::vector<Pair> RecordingPairs()
{
    const auto atMost = [](double ratio) { return Limit{Limit::Kind::TimeAtMost, ratio}; };
    const auto atLeast = [](double ratio) { return Limit{Limit::Kind::RateAtLeast, ratio}; };
    return {
        {"recording: 4 channels, blocks of 1000 peaks, to a closed file / write(2) of their bytes", atLeast(0.33),
         &recorderAgainstWriting},
        {"recording: replay at full speed with qiec;qmax / evaluation of its blocks' bytes in memory", atLeast(0.6),
         &replayAgainstStoredBlocks},
        {"recording: the same, time / evaluation of entries in memory",
         {Limit::Kind::None, 0.0},
         &replayAgainstEntries},
        {"recording: open 10^5 blocks, first period / reading the bytes of the index", atMost(5.0),
         &openAgainstReading},
        {"recording: seek to a second of 10^5 blocks, period in hand / reading its block", atMost(6.0),
         &seekAgainstReading},
    };
}

std::vector<Figure> RecordingFigures()
{
    return {{"recording: open 10^5 blocks, first period in hand, s", 1.0, &secondsToOpen},
            {"recording: file size / stream form of its blocks of 1000 peaks", 1.10, &sizeOfFile}};
}

} // namespace Bench
