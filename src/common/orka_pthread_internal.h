/*
 * The record behind a reader-writer mutex, and the mutex calls for this library's own hot paths:
 * orka_pthread_mutex_lock_or_die and its opposite on a mutex that cannot be null, without the call in
 * between.
 */
#ifndef ORKA_PTHREAD_INTERNAL_H
#define ORKA_PTHREAD_INTERNAL_H

#include <atomic>
#include <cstdint>

#include "orka_pthread.h"

/*
 * Valid once magic and the three flags say so. The counts change under `mutex` alone; the status dump reads
 * them without it.
 */
struct orka_rdwr_record {
    uint32_t magic;
    uint32_t initialized;
    std::atomic<uint32_t> readers_reading;
    std::atomic<uint32_t> readers_waiting;
    std::atomic<uint32_t> writer_writing; /* 0 or 1 */
    std::atomic<uint32_t> writers_waiting;
    uint32_t mutex_initialized;
    pthread_mutex_t mutex;
    uint32_t cond_initialized;
    pthread_cond_t cond;
};
static_assert(sizeof(void *) != 4 || sizeof(orka_rdwr_record) == 104);

constexpr uint32_t ORKA_RDWR_MAGIC = 0x52445752; /* "RWDR" in memory */

/* What the `_or_die` calls do on failure: one line on standard output, then exit(1). */
[[noreturn, gnu::cold]] void orka_pthread_die(const char *fatal, const void *object, const char *function,
                                              int line);

inline constexpr char orka_pthread_fatal_lock[] = "Fatal Mutex Lock Error";
inline constexpr char orka_pthread_fatal_unlock[] = "Fatal Mutex UnLock Error";

inline void lock_or_die(pthread_mutex_t *mutex)
{
    if (pthread_mutex_lock(mutex) != 0) [[unlikely]]
        orka_pthread_die(orka_pthread_fatal_lock, mutex, "", -1);
}

inline void unlock_or_die(pthread_mutex_t *mutex)
{
    if (pthread_mutex_unlock(mutex) != 0) [[unlikely]]
        orka_pthread_die(orka_pthread_fatal_unlock, mutex, "", -1);
}

#endif
