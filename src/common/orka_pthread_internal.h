/*
 * The mutex calls for this library's own hot paths: orka_pthread_mutex_lock_or_die and its opposite on a
 * mutex that cannot be null, without the call in between.
 */
#ifndef ORKA_PTHREAD_INTERNAL_H
#define ORKA_PTHREAD_INTERNAL_H

#include "orka_pthread.h"

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
