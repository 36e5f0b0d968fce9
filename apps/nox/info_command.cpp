#include "apps/nox/command.h"
#include "host/replay/recording_summary.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"

#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>

namespace Nox
{

int runInfo(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("info"), QStringLiteral("FILE.pdr"),
        QStringLiteral("Tells what is in a recording, and whether all of it is intact. Nothing is changed."),
        QStringLiteral("nox info recording.pdr --json"));
    line.parser().addOption({QStringLiteral("json"), QStringLiteral("One JSON object.")});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    const QString path = line.parser().positionalArguments().first();
    NoxHost::ProgressLine progress;
    QString error;
    const auto summary = NoxHost::summarize(
        QFileInfo(path).absoluteFilePath(),
        [&](double done) {
            if (progress.isDue())
                progress.show(done, QStringLiteral("checking"));
            return !NoxHost::isInterrupted();
        },
        error);
    progress.clear();
    if (!summary) {
        printMessage(error);
        return Failed;
    }
    if (line.parser().isSet(QStringLiteral("json"))) {
        std::printf("%s\n", QJsonDocument(NoxHost::toJson(*summary)).toJson(QJsonDocument::Compact).constData());
    } else {
        for (const QString &text : NoxHost::toText(*summary).split(QLatin1Char('\n'))) {
            const auto begin = std::find_if(text.begin(), text.end(), [](QChar sign) { return !sign.isSpace(); });
            std::printf("%*s%s\n", int(begin - text.begin()), "", qUtf8Printable(toOneLine(text)));
        }
    }
    if (summary->isIntact())
        return Done;
    printMessage(QStringLiteral("the recording is damaged; \"nox repair\" brings back what is intact."));
    return Failed;
}

} // namespace Nox
