#include "platform/communication/connection.h"

namespace Shared::Communication::Connections
{

Connection::~Connection() = default;

} // namespace Shared::Communication::Connections
