/*
 * Threads, mutexes and condition variables: POSIX calls that answer with an orka_status_t, each in a quiet
 * and in a traced form.
 *
 * The objects are the caller's own pthread_t, pthread_mutex_t and pthread_cond_t, passed by address; they are
 * made with default attributes, must be initialised before use and destroyed after, and these calls keep
 * nothing of them. Any thread may call any function.
 *
 * What all of them return: ORKA_STATUS_SUCCESS; on failure ORKA_STATUS_THREAD where a thread is concerned and
 * ORKA_STATUS_MUTEX where a mutex or a condition variable is. errno plays no part. NULL for an object aborts
 * the process, except where a line below says that it is not checked.
 *
 * Each function exists twice. The plain form is silent. The form whose name ends in _debug takes the caller's
 * function name and source line besides, and prints every step with them on standard output, one line a step:
 *
 *     worker():[42] Locking Mutex [0x0804A040].
 *     worker():[42] Locked Mutex [0x0804A040].
 *
 * The address is that of the caller's object, its low 32 bits. A failure is printed with the system's words
 * for it on a second line, behind a tab.
 */
#ifndef ORKA_PTHREAD_H
#define ORKA_PTHREAD_H

#include <pthread.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Threads */

/*
 * Starts a thread that runs start_routine(arg) and stores its id in *thread. A NULL start routine aborts
 * too.
 */
orka_status_t orka_pthread_create(pthread_t *thread, void *(*start_routine)(void *), void *arg);
orka_status_t orka_pthread_create_debug(pthread_t *thread, void *(*start_routine)(void *), void *arg,
                                        const char *function, int line);

/* Lets a thread release its resources by itself when it ends. `thread` is not checked for NULL. */
orka_status_t orka_pthread_detach(pthread_t *thread);
orka_status_t orka_pthread_detach_debug(pthread_t *thread, const char *function, int line);

/* Starts a thread and detaches it. When the detaching fails, that is the status, and the thread runs on. */
orka_status_t orka_pthread_create_detached(pthread_t *thread, void *(*start_routine)(void *), void *arg);
orka_status_t orka_pthread_create_detached_debug(pthread_t *thread, void *(*start_routine)(void *), void *arg,
                                                 const char *function, int line);

/*
 * Waits until a thread has ended and stores what its start routine returned in *retval, unless that is NULL.
 */
orka_status_t orka_pthread_join(pthread_t *thread, void **retval);
orka_status_t orka_pthread_join_debug(pthread_t *thread, void **retval, const char *function, int line);

/* Lets other threads run first. Returns what the system returned, 0 or not, unchanged. */
int orka_pthread_yield(void);

/* Asks a thread to end at its next cancellation point. */
orka_status_t orka_pthread_cancel(pthread_t *thread);
orka_status_t orka_pthread_cancel_debug(pthread_t *thread, const char *function, int line);

/*
 * Sets whether the calling thread can be cancelled: PTHREAD_CANCEL_ENABLE or PTHREAD_CANCEL_DISABLE. The
 * state before goes to *oldstate, unless that is NULL.
 */
orka_status_t orka_pthread_setcancelstate(int state, int *oldstate);
orka_status_t orka_pthread_setcancelstate_debug(int state, int *oldstate, const char *function, int line);

/*
 * Sets a thread's scheduling: policy is SCHED_OTHER, SCHED_FIFO or SCHED_RR, priority in the policy's own
 * range. `thread` is not checked for NULL. The traced form prints failures alone.
 */
orka_status_t orka_pthread_setschedparam(pthread_t *thread, int policy, int priority);
orka_status_t orka_pthread_setschedparam_debug(pthread_t *thread, int policy, int priority,
                                               const char *function, int line);

/* Mutexes */

orka_status_t orka_pthread_mutex_init(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_init_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Fails while the mutex is locked. */
orka_status_t orka_pthread_mutex_destroy(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_destroy_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Waits without limit. */
orka_status_t orka_pthread_mutex_lock(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_lock_debug(pthread_mutex_t *mutex, const char *function, int line);

/*
 * The same, where going on without the mutex makes no sense: a failure prints a "Fatal Mutex Lock Error" line
 * on standard output, in the plain form too, and ends the process with exit(1).
 */
orka_status_t orka_pthread_mutex_lock_or_die(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_lock_or_die_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Locks without waiting. A mutex that is merely busy gives ORKA_STATUS_MUTEX, as any other failure does. */
orka_status_t orka_pthread_mutex_trylock(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_trylock_debug(pthread_mutex_t *mutex, const char *function, int line);

orka_status_t orka_pthread_mutex_unlock(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_unlock_debug(pthread_mutex_t *mutex, const char *function, int line);

/* The same; a failure prints a "Fatal Mutex UnLock Error" line on standard output and ends with exit(1). */
orka_status_t orka_pthread_mutex_unlock_or_die(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_unlock_or_die_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Condition variables */

orka_status_t orka_pthread_cond_init(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_init_debug(pthread_cond_t *cond, const char *function, int line);

orka_status_t orka_pthread_cond_destroy(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_destroy_debug(pthread_cond_t *cond, const char *function, int line);

/*
 * Waits without limit until the condition is signalled; the caller holds the mutex, before and after. It may
 * also wake without a signal, so wait in a loop over the state that is waited for.
 */
orka_status_t orka_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex);
orka_status_t orka_pthread_cond_wait_debug(pthread_cond_t *cond, pthread_mutex_t *mutex, const char *function,
                                           int line);

/* The same; a failure prints a "Fatal Wait Cond Error" line on standard output and ends with exit(1). */
orka_status_t orka_pthread_cond_wait_or_die(pthread_cond_t *cond, pthread_mutex_t *mutex);
orka_status_t orka_pthread_cond_wait_or_die_debug(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                                  const char *function, int line);

/* Wakes every thread that waits. */
orka_status_t orka_pthread_cond_broadcast(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_broadcast_debug(pthread_cond_t *cond, const char *function, int line);

/* Wakes at least one thread that waits. */
orka_status_t orka_pthread_cond_signal(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_signal_debug(pthread_cond_t *cond, const char *function, int line);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
