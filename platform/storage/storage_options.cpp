#include "platform/storage/storage_options.h"

#include <QStringList>
#include <QUrlQuery>

namespace FrameworkCore::AppData::Storage
{

namespace
{

const QString Prefix = QStringLiteral("pragma_");

bool isKnown(const QString &name, const QString &value)
{
    if (name == QLatin1String("synchronous"))
        return QStringList(
                   {QStringLiteral("OFF"), QStringLiteral("NORMAL"), QStringLiteral("FULL"), QStringLiteral("EXTRA")})
            .contains(value);
    if (name == QLatin1String("journal_mode"))
        return QStringList({QStringLiteral("MEMORY"), QStringLiteral("PERSIST"), QStringLiteral("TRUNCATE"),
                            QStringLiteral("DELETE"), QStringLiteral("WAL"), QStringLiteral("OFF")})
            .contains(value);
    bool isNumber = false;
    value.toInt(&isNumber);
    return name == QLatin1String("cache_size") && isNumber;
}

} // namespace

bool ReadStorageUrl(const QUrl &url, StorageOptions &options, QString &error)
{
    options = {};
    options.path = url.path(QUrl::FullyDecoded);
    if (url.scheme() != QLatin1String("file") || options.path.isEmpty()) {
        error = QStringLiteral("a storage needs an address such as file:///folder/name");
        return false;
    }
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto &[key, value] : items) {
        const QString name = key.startsWith(Prefix) ? key.mid(Prefix.size()) : QString();
        if (!isKnown(name, value.toUpper())) {
            error = QStringLiteral("a storage knows no \"%1=%2\"").arg(key.left(80), value.left(80));
            return false;
        }
        options.pragmas += "PRAGMA " + name.toLatin1() + '=' + value.toLatin1() + ';';
    }
    return true;
}

} // namespace FrameworkCore::AppData::Storage
