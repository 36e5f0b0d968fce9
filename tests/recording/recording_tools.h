#pragma once

#include "entries/catalogue/recording.h"
#include "entries/data_entry_parser.h"
#include "platform/storage/element_loader.h"
#include "platform/storage/storage_recovery.h"
#include "recording/recorder/pd_recorder.h"
#include "recording/recorder/recording_command.h"
#include "recording/replay_file.h"
#include "tests/evaluation/evaluation_tools.h"
#include "tests/support/event_loop.h"
#include "tests/support/log_catcher.h"

#include <QDir>
#include <QTemporaryDir>

/// What the tests of recording share: a device with a recorder in a folder of its own, and what its files hold.
namespace RecordingTools
{

using namespace EvaluationTools;
using namespace CommonNOX::PD::Recording;
using namespace CommonNOX::Entries::Recording;
using FrameworkCore::AppData::Storage::StorageReader;
namespace Storage = FrameworkCore::AppData::Storage;

/// Periods of 20 ms, one behind the other from `firstIndex` on.
inline CommonNOX::Devices::PdDevice::PeriodBlockPtr blockAt(quint64 firstIndex, int periods = 1, int peaks = 3)
{
    QVariantList list;
    for (int i = 0; i < periods; ++i) {
        PeriodSketch sketch;
        sketch.amplitudes.assign(std::size_t(peaks), 100 + i);
        sketch.start = qint64(firstIndex + quint64(i)) * 2000;
        sketch.end = sketch.start + 2000;
        list.append(sketch.variant());
    }
    return blockOf(list);
}

/// A recorded file, as a reader of entries sees it.
class RecordedFile
{
public:
    explicit RecordedFile(const QString &path) : opened(Storage::OpenStorage(path, QDir::tempPath())) {}

    bool isIntact() const { return opened.reader && Storage::CheckStorage(*opened.reader).isIntact(); }

    template <class Entry>
    QStringList uuids(const QString &category = {}) const
    {
        return opened.reader ? Storage::ListElements(*opened.reader, TypeOf<Entry>(), category) : QStringList();
    }

    CommonNOX::DataEntryConstPtr load(const QString &uuid) const
    {
        const auto element = Storage::LoadElement(*opened.reader, uuid);
        return element.value ? CommonNOX::DataEntryFromVariant(*element.value) : nullptr;
    }

    /// All entries of a class whose classification is the given one, or any.
    template <class Entry>
    std::vector<CommonNOX::DataEntryConstPtr> entries(const QString &classification = {}) const
    {
        std::vector<CommonNOX::DataEntryConstPtr> found;
        const QStringList all = uuids<Entry>();
        for (const QString &uuid : all) {
            const auto element = Storage::LoadElement(*opened.reader, uuid);
            if (classification.isEmpty() || element.kind.classification == classification)
                found.push_back(element.value ? CommonNOX::DataEntryFromVariant(*element.value) : nullptr);
        }
        return found;
    }

    /// The indices that a channel's time elements tell.
    std::vector<quint64> indices(int channel = 0) const
    {
        std::vector<quint64> indices;
        for (const auto &element : entries<PdTimeNavigationElementV1>(ToClassification(channel)))
            indices.push_back(element ? element->get(Keys::GlobalIndex).toULongLong() : ~0ull);
        return indices;
    }

    Storage::OpenedStorage opened;
};

/// From `first`, each one above the one before.
inline std::vector<quint64> countUp(quint64 first, std::size_t count)
{
    std::vector<quint64> numbers(count);
    for (std::size_t i = 0; i < count; ++i)
        numbers[i] = first + i;
    return numbers;
}

class RecordingTest : public EvaluationTest
{
protected:
    RecordingTest()
    {
        application();
        setAttribute(Attributes::QtUtTimeout, 10);
    }

    void makeRecorder(int channels = 1)
    {
        recorder.reset(); // before the device that it belongs to
        pd = device(channels);
        recorder = std::make_unique<PdRecorder>(*pd, folder.path());
        QObject::connect(recorder.get(), &PdRecorder::recordingStarted,
                         [this](const QString &path) { started.append(path); });
        QObject::connect(recorder.get(), &PdRecorder::recordingEnded,
                         [this](const QString &path, const QString &reason, bool error) {
                             ended.append({path, reason, error});
                         });
        QObject::connect(recorder.get(), &PdRecorder::startRefused,
                         [this](const QString &reason) { refused.append(reason); });
    }

    QString pathOf(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }
    QString attributePath(const QString &name) const
    {
        return tree->joinPath({QStringLiteral("devices/one"), Attributes::Node, name});
    }
    QVariant attribute(const QString &name) const { return tree->read(attributePath(name)); }
    void setAttribute(const QString &name, const QVariant &value) const { tree->write(attributePath(name), value); }
    void setChannelSetting(int channel, const char *name, const QVariant &value) const
    {
        const Utilities::GuiContextVisitor context(pd->getChannelContext(channel));
        tree->write(tree->joinPath({context.getContextPath(), QString::fromLatin1(name)}), value);
    }

    void command(const RecordingCommand &what) const
    {
        setAttribute(Attributes::Control, FormatRecordingCommand(what));
    }
    bool start(const char *name, const RecordingLimit &limit = {})
    {
        const int before = started.size();
        command({true, pathOf(name), QStringLiteral("a comment"), limit});
        return runUntil([&] { return started.size() > before; });
    }
    /// Waits for the next end of a recording.
    bool waitForEnd()
    {
        return runUntil([this] { return ended.size() > endsSeen; }) && ++endsSeen;
    }
    bool stop()
    {
        command({});
        return waitForEnd();
    }
    void add(quint64 first, int count, int peaks = 3) const
    {
        for (int i = 0; i < count; ++i)
            pd->addPeriodBlock(0, first + quint64(i), blockAt(first + quint64(i), 1, peaks));
    }

    /// Waits until so many blocks are in the file.
    bool waitForBlocks(const char *name, int count) const
    {
        return runUntil([&] { return RecordedFile(pathOf(name)).uuids<Space2D::PeriodBlockV1>().size() >= count; });
    }

    struct End
    {
        QString path;
        QString reason;
        bool error;
    };
    QTemporaryDir folder;
    std::shared_ptr<CommonNOX::Devices::PdDevice> pd;
    std::unique_ptr<PdRecorder> recorder;
    QStringList started;
    QStringList refused;
    QList<End> ended;
    int endsSeen = 0;
};

} // namespace RecordingTools
