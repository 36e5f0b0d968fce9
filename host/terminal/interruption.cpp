#include "host/terminal/interruption.h"

#include <atomic>
#include <csignal>

namespace NoxHost
{

namespace
{

std::atomic<bool> interrupted = false;

void onSignal(int)
{
    interrupted.store(true);
}

} // namespace

void installInterruptionHandlers()
{
    struct sigaction action = {};
    action.sa_handler = onSignal;
    // Without a restart, so that a read that waits returns; and once, so that a program that does not answer can
    // still be ended.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool isInterrupted()
{
    return interrupted.load();
}

} // namespace NoxHost
