#include "entries/log.h"

namespace CommonNOX
{

const QLoggingCategory &libraryLog()
{
    static const QLoggingCategory category("CommonNOX");
    return category;
}

} // namespace CommonNOX
