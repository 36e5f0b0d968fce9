#include "apps/nox/command.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"
#include "platform/storage/storage_recovery.h"

#include <QFileInfo>

namespace Nox
{

int runRepair(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("repair"), QStringLiteral("BROKEN.pdr FIXED.pdr"),
        QStringLiteral("Brings every entry of a damaged recording that is intact into a new one. The damaged "
                       "file stays as it is."),
        QStringLiteral("nox repair broken.pdr fixed.pdr"));
    if (const auto status = line.parse(arguments, 2, 2))
        return *status;
    const QStringList paths = line.parser().positionalArguments();
    NoxHost::ProgressLine progress;
    const auto report = FrameworkCore::AppData::Storage::RecoverStorage(
        QFileInfo(paths[0]).absoluteFilePath(), QFileInfo(paths[1]).absoluteFilePath(), [&](double done) {
            if (progress.isDue())
                progress.show(done, QStringLiteral("repairing"));
            return !NoxHost::isInterrupted();
        });
    progress.clear();
    if (!report.error.isEmpty()) {
        printMessage(report.error + QLatin1Char('.'));
        return Failed;
    }
    std::printf("%lld of %lld entries came back, in \"%s\"\n", static_cast<long long>(report.restored),
                static_cast<long long>(report.found), qUtf8Printable(toOneLine(report.path)));
    return Done;
}

} // namespace Nox
