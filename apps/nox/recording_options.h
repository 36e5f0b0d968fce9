#pragma once

#include "apps/nox/command.h"
#include "recording/recorder/recording_command.h"

#include <QString>

namespace Nox
{

/// What is to be recorded where: the options `--record`, `--record-template` and `--record-limit`.
class RecordingOptions
{
public:
    static void addTo(CommandLine &line);

    RecordingOptions() = default;
    /// Reads the options; complaints go to the command line.
    explicit RecordingOptions(CommandLine &line);
    /// Into this file.
    static RecordingOptions Into(const QString &path);

    bool isWanted() const { return m_isWanted; }
    /// Starts the recording.
    const CommonNOX::PD::Recording::RecordingCommand &command() const { return m_command; }
    /// Empty for a file that is named completely.
    const QString &nameTemplate() const { return m_template; }

private:
    bool m_isWanted = false;
    QString m_template;
    CommonNOX::PD::Recording::RecordingCommand m_command;
};

} // namespace Nox
