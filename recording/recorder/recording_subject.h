#pragma once

#include "connections/channels/channel_information.h"

#include <QString>
#include <QVariant>
#include <QVector>

#include <map>
#include <vector>

namespace CommonNOX::PD::Recording
{

/// A setting of the device or of a channel.
struct RecordedSetting
{
    int channel = -1; ///< -1 for the device
    QString path;
    QVariant value;
};

/// Where a channel was when a recording goes on in a new file.
struct ChannelContinuation
{
    quint64 lastIndex = 0; ///< of the last period of the file before
    double qiec = 0.0;     ///< the latest reading
};

/// What is recorded: the device as it is when the recording starts. A value that crosses threads.
struct RecordingSubject
{
    QString type; ///< identification of the device
    QString serial;
    QString results; ///< the device's name in the data store
    QString softwareVersion;
    QString fpgaVersion;
    QString productClass;
    QString productName;
    QString nameTemplate;
    QString folder;
    QString storageOptions;
    QList<Devices::Channels::ChannelInformation> channels;
    QStringList channelPaths; ///< of the channels' contexts, in the same order
    std::vector<RecordedSetting> settings;
    std::map<int, ChannelContinuation> continuations;
    int fileInfoMs = 5000;
    int qtUtMs = 250;
    int patternMs = 30000;
};

} // namespace CommonNOX::PD::Recording
