#include "host/replay/replay_url.h"

#include <QStringList>
#include <QUrlQuery>

#include <cmath>
#include <limits>

namespace NoxHost
{

using CommonNOX::Importer::ReplaySelection;

namespace
{

const QString SpeedItem = QStringLiteral("speed");
const QString SpanItem = QStringLiteral("span");
const QString ChannelItem = QStringLiteral("channel");

bool readSecond(const QString &text, std::optional<quint32> &second)
{
    if (text.isEmpty())
        return true;
    bool isNumber = false;
    const quint32 number = text.toUInt(&isNumber);
    if (isNumber)
        second = number;
    return isNumber;
}

QString describe(const std::optional<quint32> &second)
{
    return second ? QString::number(*second) : QString();
}

} // namespace

bool readSpan(const QString &text, ReplaySelection &selection)
{
    const QStringList sides = text.split(QLatin1Char(':'));
    return sides.size() == 2 && readSecond(sides[0], selection.fromSecond) &&
           readSecond(sides[1], selection.toSecond) &&
           (!selection.fromSecond || !selection.toSecond || *selection.fromSecond < *selection.toSecond);
}

bool readChannels(const QString &text, ReplaySelection &selection)
{
    for (const QString &part : text.split(QLatin1Char(','))) {
        bool isNumber = false;
        const int channel = part.trimmed().toInt(&isNumber);
        if (!isNumber || channel < 0)
            return false;
        selection.channels.insert(channel);
    }
    return true;
}

bool readReplayUrl(const QUrl &url, ReplayRequest &request, QString &error)
{
    // "replay:FILE" and "replay://FILE" name the file alike; of a relative one the first part is then the authority.
    request.path = url.authority() + url.path(QUrl::FullyDecoded);
    if (request.path.isEmpty()) {
        error = QStringLiteral("\"%1\" names no file.").arg(url.toString());
        return false;
    }
    for (const auto &[name, value] : QUrlQuery(url).queryItems(QUrl::FullyDecoded)) {
        bool isGood = true;
        if (name == SpeedItem) {
            request.speed = value.toDouble(&isGood);
            isGood = isGood && std::isfinite(request.speed);
        } else if (name == SpanItem) {
            isGood = readSpan(value, request.selection);
        } else if (name == ChannelItem) {
            isGood = readChannels(value, request.selection);
        } else {
            error = QStringLiteral("a replay has no setting \"%1\".").arg(name);
            return false;
        }
        if (!isGood) {
            error = QStringLiteral("\"%1\" is no %2 of a replay.").arg(value, name);
            return false;
        }
    }
    return true;
}

QUrl makeReplayUrl(const ReplayRequest &request)
{
    QUrl url;
    url.setScheme(QStringLiteral("replay"));
    url.setPath(request.path, QUrl::DecodedMode);
    QUrlQuery query;
    query.addQueryItem(SpeedItem, QString::number(request.speed, 'g', 17));
    const ReplaySelection &selection = request.selection;
    if (selection.fromSecond || selection.toSecond)
        query.addQueryItem(SpanItem, describe(selection.fromSecond) + QLatin1Char(':') + describe(selection.toSecond));
    QStringList channels;
    for (const int channel : selection.channels)
        channels.append(QString::number(channel));
    if (!channels.isEmpty())
        query.addQueryItem(ChannelItem, channels.join(QLatin1Char(',')));
    url.setQuery(query);
    return url;
}

} // namespace NoxHost
