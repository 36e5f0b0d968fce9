#pragma once

#include <QString>

#include <atomic>
#include <chrono>

namespace CommonNOX::Connections
{

/// Connects to a host by name or address, until the deadline for looking it up and all of its addresses together. The
/// descriptor of a blocking socket without delay, owned by the caller; -1 with a clause in `error`.
int ConnectSocket(const QString &host, quint16 port, std::chrono::steady_clock::time_point deadline,
                  const std::atomic<bool> &isCancelled, QString &error);

/// The agent that SSH_AUTH_SOCK names; owned by the caller. -1 when there is none that takes calls.
int ConnectAgent();

} // namespace CommonNOX::Connections
