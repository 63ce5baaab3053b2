/* Two processes that fight for the media locks, and what must hold of it; for any file of semaphores. */
#ifndef ORKA_TESTS_LOCK_FIGHT_H
#define ORKA_TESTS_LOCK_FIGHT_H

#include <sched.h>

#include "codecmap.h"
#include "codecmap/semaphores.h"

namespace orka_test {

struct MediaLocks {
    const char *name;
    int (*lock)();
    int (*unlock)();

    friend void PrintTo(const MediaLocks &locks, std::ostream *stream) { *stream << locks.name; }
};

inline const MediaLocks all_media_locks[] = {{"audio", dm320_a_lock, dm320_a_unlock},
                                             {"video", dm320_v_lock, dm320_v_unlock},
                                             {"imaging", dm320_i_lock, dm320_i_unlock},
                                             {"audio_and_video", dm320_av_lock, dm320_av_unlock}};

/* Adds to a sum with a step in between that another process would spoil. */
inline int add_under_lock(const MediaLocks &locks, Shared *shared, int rounds)
{
    volatile int *sum = &shared->words[0];

    for (int round = 0; round < rounds; round++) {
        while (locks.lock() != 0)
            sched_yield();
        const int before = *sum;
        sched_yield();
        *sum = before + 1;
        if (locks.unlock() != 0)
            return 1;
    }
    return 0;
}

inline void expect_fair_fight(const MediaLocks &locks)
{
    constexpr int rounds = 200;
    Shared *shared = Shared::make();
    ASSERT_NE(shared, nullptr);
    const pid_t one = start_process([&] { return add_under_lock(locks, shared, rounds); });
    const pid_t other = start_process([&] { return add_under_lock(locks, shared, rounds); });
    EXPECT_EQ(end_of_process(one), 0);
    EXPECT_EQ(end_of_process(other), 0);
    EXPECT_EQ(shared->words[0], 2 * rounds);
    Shared::drop(shared);
}

inline void expect_kept_by_the_dead(const MediaLocks &locks)
{
    kill_after([&] { locks.lock(); });
    EXPECT_NE(locks.lock(), 0);
    EXPECT_EQ(locks.unlock(), 0);
    EXPECT_EQ(locks.lock(), 0);
    EXPECT_EQ(locks.unlock(), 0);
}

} // namespace orka_test

#endif
