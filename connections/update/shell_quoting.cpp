#include "connections/update/shell_quoting.h"

namespace CommonNOX::Connections
{

QByteArray QuotePathForShell(const QString &path)
{
    QByteArray word = path.toUtf8();
    if (word.isEmpty() || word.contains('\0'))
        return {};
    if (word.startsWith('-'))
        word.prepend("./");
    // Nothing is special between single quotes but their end.
    word.replace('\'', "'\\''");
    return '\'' + word + '\'';
}

} // namespace CommonNOX::Connections
