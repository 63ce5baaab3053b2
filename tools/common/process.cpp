#include "common/process.h"

#include <string>

#include <unistd.h>

#include "common/failure.h"

namespace orka {

namespace {

std::atomic<bool> stop_requested = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void request_stop(int)
{
    stop_requested = true;
}

} // namespace

const std::atomic<bool> &listen_to_signals()
{
    struct sigaction action = {};
    action.sa_handler = request_stop;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
    return stop_requested;
}

SignalsHeld::SignalsHeld()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalsHeld::~SignalsHeld()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void check_board(const char *node)
{
    if (access(node, F_OK) != 0)
        throw Failure(std::string("no ") + node + ": run it under `orka-board run -- …`", status_no_board);
}

} // namespace orka
