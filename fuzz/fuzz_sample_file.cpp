#include "host/samples/sample_file.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace
{

void require(bool holds)
{
    if (!holds)
        std::abort();
}

QString scratchFile()
{
    const QString memory = QStringLiteral("/dev/shm");
    static const QTemporaryDir folder((QDir(memory).exists() ? memory : QDir::tempPath()) +
                                      QStringLiteral("/fuzz_sample_file-XXXXXX"));
    require(folder.isValid());
    return folder.filePath(QStringLiteral("a"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    {
        QFile file(scratchFile());
        require(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size));
    }
    const NoxHost::SeriesChoice choices[] = {{}, {0, {}}, {{}, 1}, {7, {}}};
    for (const auto &choice : choices) {
        std::vector<double> samples;
        QString error;
        const bool isRead = NoxHost::readSamples(scratchFile(), choice, samples, error);
        require(isRead == error.isEmpty() && !error.contains(QLatin1Char('\n')));
        // Nothing is made up: a sample takes a byte at least.
        require(!isRead || (!samples.empty() && samples.size() <= size));
        for (const double sample : samples)
            require(!isRead || std::isfinite(sample));
    }
    return 0;
}
