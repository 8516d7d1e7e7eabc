#include "safety/interruption.h"

#include "profile/failure.h"

#include <csignal>
#include <cstring>

namespace
{

volatile std::sig_atomic_t caught = 0;

} // namespace

void catch_signals()
{
    struct sigaction action = {};
    action.sa_handler = [](int signal) { caught = signal; };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction before = {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
}

int caught_signal()
{
    return caught;
}

void fail_if_interrupted()
{
    if (const int signal = caught; signal != 0) {
        throw Failure(128 + signal, std::string("interrupted by SIG") + sigabbrev_np(signal));
    }
}
