#pragma once

#include <QString>

#include <memory>

namespace CommonNOX::Importer
{
class PdReplayFileLoader;
} // namespace CommonNOX::Importer

namespace Nox
{

/// Opens a recording, with a progress bar, and says what is remarkable about it. Null, with a message, when that fails
/// or is interrupted.
std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> openRecording(const QString &path);

} // namespace Nox
