#include "apps/nox/recording_file.h"

#include "apps/nox/command.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"
#include "recording/replay/pd_replay_file_loader.h"

namespace Nox
{

using namespace CommonNOX::Importer;

std::shared_ptr<PdReplayFileLoader> openRecording(const QString &path)
{
    const auto loader = std::make_shared<PdReplayFileLoader>();
    NoxHost::ProgressLine progress;
    for (const auto changed :
         {&DeviceReplayDataContainer::fileLoadingProgress, &DeviceReplayDataContainer::indexBuildingProgress})
        QObject::connect(loader.get(), changed, loader.get(), [&progress, &loader](int percent) {
            if (progress.isDue())
                progress.show(percent / 100.0, QStringLiteral("opening"));
            if (NoxHost::isInterrupted())
                loader->cancel();
        });
    loader->setFileInformation(QFileInfo(path));
    const bool isLoaded = loader->loadReplayFile() && loader->buildReplayFileIndex();
    loader->disconnect(loader.get());
    progress.clear();
    if (!isLoaded) {
        printMessage(loader->getError() + QLatin1Char('.'));
        return nullptr;
    }
    if (!loader->getRemark().isEmpty())
        printMessage(loader->getRemark() + QLatin1Char('.'));
    return loader;
}

} // namespace Nox
