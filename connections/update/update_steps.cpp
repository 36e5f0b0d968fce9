#include "connections/update/device_update_worker.h"

#include <QRegularExpression>

#include <algorithm>

namespace CommonNOX::Devices
{

using Connections::FileCopyDescription;

QVector<UpdateStep> DeviceUpdateWorker::MakeSteps(const UpdatePackage &package, QString &error)
{
    const DeviceUpdateManifest &manifest = package.getManifest();
    QVector<UpdateStep> steps;
    for (const QString &command : manifest.getPreCommands())
        steps.append({UpdateStep::Kind::PreCommand, command, {}});
    // What tells the versions changes behind everything else, so that a device never tells more than it has.
    QVector<FileCopyDescription> files = manifest.getCopyFileDescriptions();
    const QStringList versionPaths = manifest.getVersionPaths();
    std::stable_partition(files.begin(), files.end(),
                          [&](const FileCopyDescription &file) { return !versionPaths.contains(file.destination); });
    for (const bool isPreparation : {true, false}) {
        for (FileCopyDescription file : qAsConst(files)) {
            if (file.prepare != isPreparation)
                continue;
            const QString name = file.source;
            file.source = package.resolve(name, error);
            if (file.source.isEmpty())
                return {};
            // Links inside a package may give a file another name than its source has.
            if (file.destination.endsWith(QLatin1Char('/')))
                file.destination += name.mid(name.lastIndexOf(QLatin1Char('/')) + 1);
            steps.append({isPreparation ? UpdateStep::Kind::PreparationCopy : UpdateStep::Kind::Copy, {}, file});
        }
    }
    for (const QString &command : manifest.getPostCommands())
        steps.append({UpdateStep::Kind::PostCommand, command, {}});
    error.clear();
    return steps;
}

QString DescribeUpdateStep(const UpdateStep &step)
{
    switch (step.kind) {
    case UpdateStep::Kind::PreCommand:
    case UpdateStep::Kind::PostCommand:
        return QStringLiteral("run: ") + QString(step.command).replace(QLatin1Char('\n'), QLatin1String("\\n"));
    case UpdateStep::Kind::PreparationCopy:
        return QStringLiteral("prepare: %1 to %2").arg(step.file.source, step.file.destination);
    case UpdateStep::Kind::Copy:
        break;
    }
    return QStringLiteral("copy: %1 to %2").arg(step.file.source, step.file.destination);
}

int ReadProgressLine(const QString &line)
{
    static const QRegularExpression percentage(QStringLiteral("(?<![\\d.])([0-9]{1,3})(?:\\.[0-9]+)? ?%$"));
    static const QRegularExpression count(QStringLiteral("^([0-9]{1,9})/([0-9]{1,9})$"));
    const QString text = line.trimmed();
    if (const auto match = percentage.match(text); match.hasMatch()) {
        const int percent = match.captured(1).toInt();
        return percent <= 100 ? percent : -1;
    }
    if (const auto match = count.match(text); match.hasMatch()) {
        const qint64 done = match.captured(1).toLongLong();
        const qint64 all = match.captured(2).toLongLong();
        return all > 0 && done <= all ? int(done * 100 / all) : -1;
    }
    return -1;
}

} // namespace CommonNOX::Devices
