/*
 * Threads, mutexes, condition variables and a reader-writer mutex: POSIX calls that answer with an
 * orka_status_t, each in a quiet and in a traced form.
 *
 * The objects are the caller's own pthread_t, pthread_mutex_t and pthread_cond_t, passed by address; they are
 * made with default attributes, must be initialised before use and destroyed after, and these calls keep
 * nothing of them. Any thread may call any function.
 *
 * What all of them return: ORKA_STATUS_SUCCESS; on failure ORKA_STATUS_THREAD where a thread is concerned and
 * ORKA_STATUS_MUTEX where a mutex or a condition variable is. errno plays no part. NULL for an object aborts
 * the process, except where a line below says that it is not checked.
 *
 * Each function but those that print or yield exists twice. The plain form is silent. The form whose name
 * ends in _debug takes the caller's function name and source line besides, and prints every step with them on
 * standard output, one line a step:
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
#include <stdio.h>

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

/* Makes a mutex. */
orka_status_t orka_pthread_mutex_init(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_init_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Destroys a mutex; fails while it is locked. */
orka_status_t orka_pthread_mutex_destroy(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_destroy_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Locks a mutex; waits for it without limit. */
orka_status_t orka_pthread_mutex_lock(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_lock_debug(pthread_mutex_t *mutex, const char *function, int line);

/*
 * Locks a mutex where going on without the mutex makes no sense: a failure prints a "Fatal Mutex Lock Error"
 * line on standard output, in the plain form too, and ends the process with exit(1).
 */
orka_status_t orka_pthread_mutex_lock_or_die(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_lock_or_die_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Locks without waiting. A mutex that is merely busy gives ORKA_STATUS_MUTEX, as any other failure does. */
orka_status_t orka_pthread_mutex_trylock(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_trylock_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Gives the mutex back. */
orka_status_t orka_pthread_mutex_unlock(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_unlock_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Unlocks; a failure prints a "Fatal Mutex UnLock Error" line on standard output and ends with exit(1). */
orka_status_t orka_pthread_mutex_unlock_or_die(pthread_mutex_t *mutex);
orka_status_t orka_pthread_mutex_unlock_or_die_debug(pthread_mutex_t *mutex, const char *function, int line);

/* Condition variables */

/* Makes a condition variable. */
orka_status_t orka_pthread_cond_init(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_init_debug(pthread_cond_t *cond, const char *function, int line);

/* Destroys a condition variable that nobody waits for. */
orka_status_t orka_pthread_cond_destroy(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_destroy_debug(pthread_cond_t *cond, const char *function, int line);

/*
 * Waits without limit until the condition is signalled; the caller holds the mutex, before and after. It may
 * also wake without a signal, so wait in a loop over the state that is waited for.
 */
orka_status_t orka_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex);
orka_status_t orka_pthread_cond_wait_debug(pthread_cond_t *cond, pthread_mutex_t *mutex, const char *function,
                                           int line);

/* orka_pthread_cond_wait; a failure prints a "Fatal Wait Cond Error" line on standard output and ends with
 * exit(1). */
orka_status_t orka_pthread_cond_wait_or_die(pthread_cond_t *cond, pthread_mutex_t *mutex);
orka_status_t orka_pthread_cond_wait_or_die_debug(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                                  const char *function, int line);

/* Wakes every thread that waits. */
orka_status_t orka_pthread_cond_broadcast(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_broadcast_debug(pthread_cond_t *cond, const char *function, int line);

/* Wakes at least one thread that waits. */
orka_status_t orka_pthread_cond_signal(pthread_cond_t *cond);
orka_status_t orka_pthread_cond_signal_debug(pthread_cond_t *cond, const char *function, int line);

/*
 * A reader-writer mutex: many readers or one writer, and writers first. A reader waits while a writer has the
 * lock or waits for it, so that a stream of readers keeps no writer out; a writer waits for the readers and
 * the writer that have it.
 *
 *     orka_rdwr_mutex_t lock;               points to a record on the heap, from init to destroy
 *     orka_pthread_rdwr_mutex_init(&lock);
 *
 * Not recursive: a thread that has the lock and asks for it again may wait for itself. A call on NULL, or on
 * an object that holds NULL, as one does that was never initialised, gives ORKA_STATUS_NULL_POINTER; on one
 * whose record is not initialised, or no longer, where that shows, ORKA_STATUS_INITIALIZATION; nothing is
 * printed of it. Failures of the condition variable, and of unlocking, give ORKA_STATUS_MUTEX; a mutex in the
 * record that cannot be locked goes unnoticed. Giving back a side that nobody holds aborts the process.
 *
 * The traced forms print the address of the object and that of its record:
 *
 *     worker():[42] Locking RDWR Mutex [0x0804A040] at [0x0804B1A0] for Reading.
 */
typedef struct orka_rdwr_record *orka_rdwr_mutex_t;

/* A NULL mutex aborts. ORKA_STATUS_INSUFFICIENT_MEMORY without memory for the record. */
orka_status_t orka_pthread_rdwr_mutex_init(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_init_debug(orka_rdwr_mutex_t *mutex, const char *function, int line);

/*
 * Frees the record; nobody may hold the lock or wait for it. The object is left as it is and shows where the
 * record was. An object that is not initialised is reported on standard error, as is what the system refuses,
 * which is a success all the same.
 */
orka_status_t orka_pthread_rdwr_mutex_destroy(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_destroy_debug(orka_rdwr_mutex_t *mutex, const char *function, int line);

/*
 * Locking and unlocking, for a reader (r) and for a writer (w). The forms that end in _or_die print a "Fatal
 * Mutex UnLock Error" line on standard output when they fail, whichever of the four it is, and end the
 * process with exit(1).
 */
orka_status_t orka_pthread_rdwr_mutex_rlock(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_rlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line);
orka_status_t orka_pthread_rdwr_mutex_rlock_or_die(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_rlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                         int line);
orka_status_t orka_pthread_rdwr_mutex_runlock(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_runlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line);
orka_status_t orka_pthread_rdwr_mutex_runlock_or_die(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_runlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                           int line);
orka_status_t orka_pthread_rdwr_mutex_wlock(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_wlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line);
orka_status_t orka_pthread_rdwr_mutex_wlock_or_die(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_wlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                         int line);
orka_status_t orka_pthread_rdwr_mutex_wunlock(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_wunlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line);
orka_status_t orka_pthread_rdwr_mutex_wunlock_or_die(orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_wunlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                           int line);

/*
 * Prints who has the lock and who waits for it on a stream (a NULL file aborts) or on standard output,
 * without taking it: the counts may be of different moments. "RDWR Mutex Invalid" where the object is not
 * initialised, and its status.
 */
orka_status_t orka_pthread_rdwr_mutex_fstatus(FILE *file, orka_rdwr_mutex_t *mutex);
orka_status_t orka_pthread_rdwr_mutex_status(orka_rdwr_mutex_t *mutex);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
