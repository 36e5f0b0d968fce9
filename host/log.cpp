#include "host/log.h"

namespace NoxHost
{

const QLoggingCategory &hostLog()
{
    static const QLoggingCategory category("NoxHost");
    return category;
}

QString printableText(const QString &text)
{
    constexpr int MaximumLength = 80;
    QString printable = text.left(MaximumLength);
    for (QChar &character : printable) {
        if (!character.isPrint())
            character = QLatin1Char('?');
    }
    return printable;
}

} // namespace NoxHost
