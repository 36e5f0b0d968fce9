#pragma once

#include "entries/catalogue/replay_header.h"
#include "platform/storage/storage_check.h"

#include <QJsonObject>
#include <QString>

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace NoxHost
{

/// What is in a recording, told without changing anything, also of one that is damaged.
struct RecordingSummary
{
    using State = FrameworkCore::AppData::Storage::StorageReader::State;
    struct Channel
    {
        int channel = 0;
        QString name;
        quint64 periods = 0;
        quint64 firstPeriod = 0; ///< indices
        quint64 lastPeriod = 0;
        quint64 rebuilt = 0; ///< periods whose time element is missing
    };

    QString path;
    qint64 size = 0; ///< bytes
    State state = State::Closed;
    bool isCutShort = false; ///< SQLite would not open it as it is
    std::shared_ptr<const CommonNOX::Entries::Recording::PdReplayHeaderV2> header; ///< null when it cannot be read
    std::optional<qint64> startMs;                                                 ///< since 1970-01-01 UTC
    double seconds = 0.0;                                                          ///< recorded time
    std::vector<Channel> channels;
    std::map<QString, qint64> counts; ///< entries by category
    FrameworkCore::AppData::Storage::StorageCheck check;

    bool isIntact() const { return !isCutShort && header && check.isIntact(); }
};

/// Nothing, with one sentence, for what is no recording, and when `progress` ended it.
std::optional<RecordingSummary>
summarize(const QString &path, const FrameworkCore::AppData::Storage::StorageProgress &progress, QString &error);

/// docs/replay-file.md tells the keys.
QJsonObject toJson(const RecordingSummary &summary);
/// Lines for a person.
QString toText(const RecordingSummary &summary);

} // namespace NoxHost
