#include "locks.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "codecmap.h"
#include "common/failure.h"

namespace orka::ctl {

namespace {

struct MediaLock {
    const char *name;
    int (*lock)();
    int (*unlock)();
};

constexpr MediaLock media_locks[] = {
    {"audio", dm320_a_lock, dm320_a_unlock},
    {"video", dm320_v_lock, dm320_v_unlock},
    {"imaging", dm320_i_lock, dm320_i_unlock},
};

[[noreturn]] void give_up(const MediaLock &lock, const char *what)
{
    throw Failure(
        std::string("the ") + lock.name + " lock cannot be " + what + ": " + strerror(errno) +
        " (it is a semaphore of /var/tmp/sem-dm320-media, which all users have to be able to write)");
}

/* A lock tells of itself only whether it can be had: it is taken for a moment. */
bool is_held(const MediaLock &lock)
{
    if (lock.lock() == 0) {
        if (lock.unlock() != 0)
            give_up(lock, "freed");
        return false;
    }
    if (errno != EAGAIN)
        give_up(lock, "asked");
    return true;
}

void show(const MediaLock &lock, bool breaks)
{
    const bool held = is_held(lock);
    if (held && breaks && lock.unlock() != 0)
        give_up(lock, "freed");
    printf("%-7s  %s\n", lock.name, !held ? "free" : breaks ? "was held, is free now" : "held");
}

} // namespace

void add_locks(CLI::App &app)
{
    const auto breaks = std::make_shared<bool>(false);
    CLI::App &locks = *app.add_subcommand("locks", "The media locks that programs share, free or held");
    locks.footer(
        "A program that was killed leaves its locks held. Needs no board.\n"
        "\n"
        "A lock tells of itself only whether it can be had: each one that is free is taken for a moment and "
        "given back. A program that asks for it at that moment finds it held.");
    locks.add_flag("--break", *breaks, "Free the locks that are held, whoever holds them");
    locks.callback([breaks] {
        for (const MediaLock &lock : media_locks)
            show(lock, *breaks);
    });
}

} // namespace orka::ctl
