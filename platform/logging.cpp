#include "platform/logging.h"

namespace Shared
{

const QLoggingCategory &frameworkLog()
{
    static const QLoggingCategory category("FrameworkCommon");
    return category;
}

} // namespace Shared
