#pragma once

#include <QString>

#include <atomic>
#include <chrono>

namespace CommonNOX::Connections
{

/// Connects to a host by name or address, within the time limit for each of its addresses together. The descriptor of a
/// blocking socket without delay, owned by the caller; -1 with a clause in `error`.
int ConnectSocket(const QString &host, quint16 port, std::chrono::milliseconds limit,
                  const std::atomic<bool> &isCancelled, QString &error);

} // namespace CommonNOX::Connections
