#include "entries/data_entry.h"
#include "platform/logging.h"
#include "platform/storage/element_loader.h"
#include "platform/storage/storage_recovery.h"
#include "recording/replay/pd_replay_importer.h"
#include "recording/replay/replay_walk.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

using namespace CommonNOX::Importer;
using namespace FrameworkCore::AppData::Storage;

namespace
{

/// Of each kind; a file of the corpus has fewer.
constexpr int MostElements = 200;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// In memory where that can be had.
QString scratchFolder()
{
    const QString memory = QStringLiteral("/dev/shm");
    static const QTemporaryDir folder((QDir(memory).exists() ? memory : QDir::tempPath()) +
                                      QStringLiteral("/fuzz_replay_file-XXXXXX"));
    require(folder.isValid());
    return folder.path();
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// What a reader of entries does with a file.
void loadElements(const StorageReader &reader)
{
    for (std::size_t kind = 0; kind < reader.getKinds().size() && kind < MostElements; ++kind) {
        const EntryKind &known = reader.getKinds()[kind];
        const QStringList uuids = ListElements(reader, known.type, known.category).mid(0, MostElements);
        for (const QString &uuid : uuids) {
            const LoadedElement element = LoadElement(reader, uuid);
            require(!element.value || element.outcome == StorageReader::Outcome::Found);
            if (element.value)
                CommonNOX::DataEntryFromVariant(*element.value);
        }
    }
}

/// Everything that is done with a file goes through here; a loader of whole recordings belongs behind the walk.
void read(const QString &path, StorageReader::Access access)
{
    QString error;
    const auto reader = StorageReader::Open(path, access, error);
    require((reader == nullptr) == !error.isEmpty() && !error.contains(QLatin1Char('\n')));
    if (!reader)
        return;
    const StorageCheck check = CheckStorage(*reader);
    require(check.isComplete && check.damaged >= qint64(check.first.size()));
    loadElements(*reader);
}

/// Opens the file as a recording, which must not change it, and plays some of it.
void play(const QString &path)
{
    const auto loader = std::make_shared<PdReplayFileLoader>();
    loader->setFileInformation(QFileInfo(path));
    PdReplayImporter importer(loader);
    if (!importer.parseReplayFile())
        return;
    for (const int channel : loader->getChannels()) {
        importer.setReplaySpeedFactor(channel, 0.0);
        ImporterInterface::PeriodPtr period;
        ImporterInterface::VoltageScopePtr scope;
        for (int i = 0; i < MostElements && importer.extractNextPeriod(channel, period); ++i)
            importer.extractNextVoltageScope(channel, scope);
        loader->getMarks(channel);
        loader->getChannelTimeNavigation(channel)->findSecond(1);
    }
    ReplayWalk walk(*loader, {1u, 2u, {}});
    RecordedItem item;
    for (int i = 0; i < MostElements && walk.next(item); ++i)
        require(item.entry != nullptr);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString path = scratchFolder() + QStringLiteral("/a.pdr");
    const QString target = scratchFolder() + QStringLiteral("/b.pdr");
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    {
        QFile file(path);
        require(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size());
    }
    read(path, StorageReader::Access::Normal);
    read(path, StorageReader::Access::Rescue);

    const RecoveryReport report = RecoverStorage(path, target);
    require(report.error.isEmpty() == QFile::exists(target) && report.restored <= report.found);
    if (report.error.isEmpty()) {
        // What came back is whole.
        QString error;
        const auto reader = StorageReader::Open(target, StorageReader::Access::Normal, error);
        require(reader != nullptr);
        const StorageCheck check = CheckStorage(*reader);
        require(check.rows == report.restored && !check.isIndexWrong);
    }
    QFile::remove(target);
    play(path);
    QFile::remove(scratchFolder() + QStringLiteral("/a.recovered.pdr"));
    require(contentOf(path) == bytes);
    return 0;
}
