#include "Interruption.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

namespace {

std::atomic<bool> s_isStopped = false;
std::atomic<int> s_signal = 0;
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers may not lock");

void interrupt(int signal)
{
    s_signal = signal;
    s_isStopped = true;
}

} // namespace

void Interruption::install()
{
    struct sigaction action = {};
    action.sa_handler = interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
    action.sa_handler = SIG_IGN;
    action.sa_flags = 0;
    // Beyond a limit of the size of files, too, writing is to fail.
    for (const int signal : {SIGPIPE, SIGXFSZ})
        sigaction(signal, &action, nullptr);
}

void Interruption::stop()
{
    s_isStopped = true;
}

bool Interruption::isRequested()
{
    return s_isStopped;
}

int Interruption::exitCode()
{
    const int signal = s_signal;
    return signal == 0 ? 0 : 128 + signal;
}
