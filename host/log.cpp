#include "host/log.h"

namespace NoxHost
{

Q_LOGGING_CATEGORY(hostLog, "NoxHost")

} // namespace NoxHost
