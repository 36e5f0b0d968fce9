#pragma once

#include "recording/replay/replay_walk.h"

#include <QString>
#include <QUrl>

namespace NoxHost
{

/// What a `replay:` URL asks for.
struct ReplayRequest
{
    QString path;
    double speed = 1.0; ///< 2.0 is twice as fast; zero or negative as fast as possible
    CommonNOX::Importer::ReplaySelection selection;
};

/// `replay:FILE.pdr`, with `speed`, `span` (see readSpan()) and `channel` (numbers with commas) as query items. False,
/// with one sentence, for anything else.
bool readReplayUrl(const QUrl &url, ReplayRequest &request, QString &error);
QUrl makeReplayUrl(const ReplayRequest &request);

/// "FROM:TO" in seconds; either side may be empty, TO is not part of it.
bool readSpan(const QString &text, CommonNOX::Importer::ReplaySelection &selection);
/// Numbers of channels with commas in between.
bool readChannels(const QString &text, CommonNOX::Importer::ReplaySelection &selection);

} // namespace NoxHost
