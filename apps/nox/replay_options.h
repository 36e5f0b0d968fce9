#pragma once

#include "apps/nox/command.h"
#include "host/replay/replay_url.h"

namespace Nox
{

/// The options that every command has which reads a part of a recording: `--span` and `--channel`.
class ReplayOptions
{
public:
    static void addTo(CommandLine &line);

    /// Reads the options; complaints go to the command line.
    explicit ReplayOptions(CommandLine &line);

    const CommonNOX::Importer::ReplaySelection &selection() const { return m_selection; }

private:
    CommonNOX::Importer::ReplaySelection m_selection;
};

} // namespace Nox
