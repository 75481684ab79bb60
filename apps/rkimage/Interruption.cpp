#include "Interruption.h"

#include <signal.h>

#include <atomic>

namespace {

std::atomic<bool> isInterrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may not lock");

void interrupt(int)
{
    isInterrupted = true;
}

} // namespace

void Interruption::install()
{
    struct sigaction action = {};
    action.sa_handler = interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
}

bool Interruption::isRequested()
{
    return isInterrupted;
}
