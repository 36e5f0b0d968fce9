#pragma once

namespace NoxHost
{

/// Installs handlers for SIGINT and SIGTERM, which from then on only set a flag. A second signal ends the process.
void installInterruptionHandlers();
/// Whether one of them has come. Any thread.
bool isInterrupted();

} // namespace NoxHost
