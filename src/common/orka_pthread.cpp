#include "orka_pthread.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sched.h>

#include "common/orka_pthread_internal.h"
#include "common/orka_status_internal.h"

/*
 * Every operation is a row of texts, a core, and two entries over the core: one that traces, one that is
 * quiet. run() does what all cores have in common.
 */

enum class trace_mode { trace = 1, quiet = 2 };

/* On whose behalf a core runs. */
struct caller {
    trace_mode mode;
    const char *function;
    int line;
};

static constexpr caller quiet = {trace_mode::quiet, "", -1};

static constexpr caller traced(const char *function, int line)
{
    return {trace_mode::trace, function, line};
}

/*
 * What a traced operation says. Each text may take one 32-bit word: the object's address, or the new cancel
 * state. Some errors name no object; null says nothing.
 */
struct operation {
    const char *before;
    const char *after;
    const char *error;
    orka_status_t failure;
};

/* Kept on purpose: the two errors without "Error", "Desstroying", and the "Locked Mutex" of trylock. */
static constexpr operation create_thread = {
    .before = "Creating Thread [0x%08X].",
    .after = "Created Thread [0x%08X].",
    .error = "Error Creating Thread [0x%08X].",
    .failure = ORKA_STATUS_THREAD,
};
static constexpr operation detach_thread = {
    .before = "Detaching Thread [0x%08X].",
    .after = "Detached Thread [0x%08X].",
    .error = "Detaching Thread.",
    .failure = ORKA_STATUS_THREAD,
};
static constexpr operation join_thread = {
    .before = "Joining Thread [0x%08X].",
    .after = "Joined Thread [0x%08X].",
    .error = "Error Joining Thread [0x%08X].",
    .failure = ORKA_STATUS_THREAD,
};
static constexpr operation cancel_thread = {
    .before = "Cancelling Thread [0x%08X].",
    .after = "Cancelled Thread [0x%08X].",
    .error = "Error Cancelling Thread [0x%08X].",
    .failure = ORKA_STATUS_THREAD,
};
static constexpr operation set_cancel_state = {
    .before = "Setting Thread Cancel State to %d.",
    .after = "Set Thread Cancel State to %d.",
    .error = "Setting Thread Cancel State.",
    .failure = ORKA_STATUS_THREAD,
};
static constexpr operation set_priority = {
    .before = nullptr,
    .after = nullptr,
    .error = "Error Setting Thread Priority [0x%08X].",
    .failure = ORKA_STATUS_THREAD,
};
static constexpr operation init_mutex = {
    .before = "Initializing Mutex [0x%08X].",
    .after = "Initialized Mutex [0x%08X].",
    .error = "Error Initializing Mutex [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation destroy_mutex = {
    .before = "Destroying Mutex [0x%08X].",
    .after = "Destroyed Mutex [0x%08X].",
    .error = "Error Destroying Mutex [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation lock_mutex = {
    .before = "Locking Mutex [0x%08X].",
    .after = "Locked Mutex [0x%08X].",
    .error = "Error Locking Mutex [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation trylock_mutex = {
    .before = "Try Locking Mutex [0x%08X].",
    .after = "Locked Mutex [0x%08X].",
    .error = "Error Try Locking Mutex [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation unlock_mutex = {
    .before = "Unlocking Mutex [0x%08X].",
    .after = "Unlocked Mutex [0x%08X].",
    .error = "Error Unlocking Mutex [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation init_cond = {
    .before = "Initializing Conditional Variable [0x%08X].",
    .after = "Initialized Conditional Variable [0x%08X].",
    .error = "Error Initializing Conditional Variable [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation destroy_cond = {
    .before = "Destroying Conditional Variable [0x%08X].",
    .after = "Destroyed Conditional Variable [0x%08X].",
    .error = "Error Desstroying Conditional Variable [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation wait_cond = {
    .before = "Waiting on Condition [0x%08X].",
    .after = "Condition Received [0x%08X].",
    .error = "Error Waiting on Condition [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation broadcast_cond = {
    .before = "Broadcasting Condition [0x%08X].",
    .after = "Broadcasted Condition [0x%08X].",
    .error = "Error Broadcasting Condition [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};
static constexpr operation signal_cond = {
    .before = "Signaling Condition [0x%08X].",
    .after = "Signaled Condition [0x%08X].",
    .error = "Error Signaling Condition [0x%08X].",
    .failure = ORKA_STATUS_MUTEX,
};

/* Printing: one printf a line, so that lines of several threads stay whole. */

struct line_text {
    char text[64];
};

[[gnu::cold]] static line_text fill_in(const char *message, uint32_t word)
{
    line_text line;

    snprintf(line.text, sizeof line.text, message, word);
    return line;
}

[[gnu::cold]] static void print_step(const caller &from, const char *message, uint32_t word)
{
    if (message == nullptr)
        return;
    printf("%s():[%d] %s\n", from.function, from.line, fill_in(message, word).text);
    fflush(stdout);
}

[[gnu::cold]] static void print_failure(const caller &from, const char *message, uint32_t word, int result)
{
    printf("%s():[%d] %s\n\t%s\n", from.function, from.line, fill_in(message, word).text, strerror(result));
    fflush(stdout);
}

static uint32_t address_word(const void *object)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(object));
}

void orka_pthread_die(const char *fatal, const void *object, const char *function, int line)
{
    printf("%s():[%d] %s [0x%08X].\n", function, line, fatal, address_word(object));
    fflush(stdout);
    exit(1);
}

/* The mechanics of every core. */
template <typename Call>
[[gnu::always_inline]] static inline orka_status_t run(const operation &texts, const caller &from,
                                                       uint32_t word, Call posix_call)
{
    const bool tracing = from.mode == trace_mode::trace;

    if (tracing)
        print_step(from, texts.before, word);
    const int result = posix_call();
    if (result != 0) [[unlikely]] {
        if (tracing)
            print_failure(from, texts.error, word, result);
        return texts.failure;
    }
    if (tracing)
        print_step(from, texts.after, word);
    return ORKA_STATUS_SUCCESS;
}

/* Threads */

using start_function = void *(void *);

static orka_status_t orka_pthread_create_actual(pthread_t *thread, start_function *start_routine, void *arg,
                                                caller from)
{
    ORKA_ASSERT_NOT_NULL(thread);
    ORKA_ASSERT_NOT_NULL(start_routine);
    return run(create_thread, from, address_word(thread),
               [=] { return pthread_create(thread, nullptr, start_routine, arg); });
}

orka_status_t orka_pthread_create(pthread_t *thread, start_function *start_routine, void *arg)
{
    return orka_pthread_create_actual(thread, start_routine, arg, quiet);
}

orka_status_t orka_pthread_create_debug(pthread_t *thread, start_function *start_routine, void *arg,
                                        const char *function, int line)
{
    return orka_pthread_create_actual(thread, start_routine, arg, traced(function, line));
}

static orka_status_t orka_pthread_detach_actual(pthread_t *thread, caller from)
{
    return run(detach_thread, from, address_word(thread), [=] { return pthread_detach(*thread); });
}

orka_status_t orka_pthread_detach(pthread_t *thread)
{
    return orka_pthread_detach_actual(thread, quiet);
}

orka_status_t orka_pthread_detach_debug(pthread_t *thread, const char *function, int line)
{
    return orka_pthread_detach_actual(thread, traced(function, line));
}

static orka_status_t orka_pthread_create_detached_actual(pthread_t *thread, start_function *start_routine,
                                                         void *arg, caller from)
{
    const orka_status_t status = orka_pthread_create_actual(thread, start_routine, arg, from);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    return orka_pthread_detach_actual(thread, from);
}

orka_status_t orka_pthread_create_detached(pthread_t *thread, start_function *start_routine, void *arg)
{
    return orka_pthread_create_detached_actual(thread, start_routine, arg, quiet);
}

orka_status_t orka_pthread_create_detached_debug(pthread_t *thread, start_function *start_routine, void *arg,
                                                 const char *function, int line)
{
    return orka_pthread_create_detached_actual(thread, start_routine, arg, traced(function, line));
}

static orka_status_t orka_pthread_join_actual(pthread_t *thread, void **retval, caller from)
{
    ORKA_ASSERT_NOT_NULL(thread);
    return run(join_thread, from, address_word(thread), [=] { return pthread_join(*thread, retval); });
}

orka_status_t orka_pthread_join(pthread_t *thread, void **retval)
{
    return orka_pthread_join_actual(thread, retval, quiet);
}

orka_status_t orka_pthread_join_debug(pthread_t *thread, void **retval, const char *function, int line)
{
    return orka_pthread_join_actual(thread, retval, traced(function, line));
}

int orka_pthread_yield(void)
{
    /* What the C library's pthread_yield has become. */
    return sched_yield();
}

static orka_status_t orka_pthread_cancel_actual(pthread_t *thread, caller from)
{
    ORKA_ASSERT_NOT_NULL(thread);
    return run(cancel_thread, from, address_word(thread), [=] { return pthread_cancel(*thread); });
}

orka_status_t orka_pthread_cancel(pthread_t *thread)
{
    return orka_pthread_cancel_actual(thread, quiet);
}

orka_status_t orka_pthread_cancel_debug(pthread_t *thread, const char *function, int line)
{
    return orka_pthread_cancel_actual(thread, traced(function, line));
}

static orka_status_t orka_pthread_setcancelstate_actual(int state, int *oldstate, caller from)
{
    return run(set_cancel_state, from, static_cast<uint32_t>(state),
               [=] { return pthread_setcancelstate(state, oldstate); });
}

orka_status_t orka_pthread_setcancelstate(int state, int *oldstate)
{
    return orka_pthread_setcancelstate_actual(state, oldstate, quiet);
}

orka_status_t orka_pthread_setcancelstate_debug(int state, int *oldstate, const char *function, int line)
{
    return orka_pthread_setcancelstate_actual(state, oldstate, traced(function, line));
}

static orka_status_t orka_pthread_setschedparam_actual(pthread_t *thread, int policy, int priority,
                                                       caller from)
{
    return run(set_priority, from, address_word(thread), [=] {
        sched_param param = {};

        param.sched_priority = priority;
        return pthread_setschedparam(*thread, policy, &param);
    });
}

orka_status_t orka_pthread_setschedparam(pthread_t *thread, int policy, int priority)
{
    /* Kept on purpose: no name and line 0, where all other quiet calls give "" and -1. */
    return orka_pthread_setschedparam_actual(thread, policy, priority, {trace_mode::quiet, nullptr, 0});
}

orka_status_t orka_pthread_setschedparam_debug(pthread_t *thread, int policy, int priority,
                                               const char *function, int line)
{
    return orka_pthread_setschedparam_actual(thread, policy, priority, traced(function, line));
}

/* Mutexes */

static orka_status_t orka_pthread_mutex_init_actual(pthread_mutex_t *mutex, caller from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    return run(init_mutex, from, address_word(mutex), [=] { return pthread_mutex_init(mutex, nullptr); });
}

orka_status_t orka_pthread_mutex_init(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_init_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_init_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_init_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_destroy_actual(pthread_mutex_t *mutex, caller from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    return run(destroy_mutex, from, address_word(mutex), [=] { return pthread_mutex_destroy(mutex); });
}

orka_status_t orka_pthread_mutex_destroy(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_destroy_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_destroy_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_destroy_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_lock_actual(pthread_mutex_t *mutex, caller from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    return run(lock_mutex, from, address_word(mutex), [=] { return pthread_mutex_lock(mutex); });
}

orka_status_t orka_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_lock_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_lock_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_lock_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_lock_or_die_actual(pthread_mutex_t *mutex, caller from)
{
    if (orka_pthread_mutex_lock_actual(mutex, from) != ORKA_STATUS_SUCCESS)
        orka_pthread_die(orka_pthread_fatal_lock, mutex, from.function, from.line);
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_pthread_mutex_lock_or_die(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_lock_or_die_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_lock_or_die_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_lock_or_die_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_trylock_actual(pthread_mutex_t *mutex, caller from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    return run(trylock_mutex, from, address_word(mutex), [=] { return pthread_mutex_trylock(mutex); });
}

orka_status_t orka_pthread_mutex_trylock(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_trylock_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_trylock_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_trylock_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_unlock_actual(pthread_mutex_t *mutex, caller from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    return run(unlock_mutex, from, address_word(mutex), [=] { return pthread_mutex_unlock(mutex); });
}

orka_status_t orka_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_unlock_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_unlock_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_unlock_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_unlock_or_die_actual(pthread_mutex_t *mutex, caller from)
{
    if (orka_pthread_mutex_unlock_actual(mutex, from) != ORKA_STATUS_SUCCESS)
        orka_pthread_die(orka_pthread_fatal_unlock, mutex, from.function, from.line);
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_pthread_mutex_unlock_or_die(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_unlock_or_die_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_unlock_or_die_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_unlock_or_die_actual(mutex, traced(function, line));
}

/* Condition variables */

static orka_status_t orka_pthread_cond_init_actual(pthread_cond_t *cond, caller from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    return run(init_cond, from, address_word(cond), [=] { return pthread_cond_init(cond, nullptr); });
}

orka_status_t orka_pthread_cond_init(pthread_cond_t *cond)
{
    return orka_pthread_cond_init_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_init_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_init_actual(cond, traced(function, line));
}

static orka_status_t orka_pthread_cond_destroy_actual(pthread_cond_t *cond, caller from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    return run(destroy_cond, from, address_word(cond), [=] { return pthread_cond_destroy(cond); });
}

orka_status_t orka_pthread_cond_destroy(pthread_cond_t *cond)
{
    return orka_pthread_cond_destroy_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_destroy_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_destroy_actual(cond, traced(function, line));
}

static orka_status_t orka_pthread_cond_wait_actual(pthread_cond_t *cond, pthread_mutex_t *mutex, caller from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    ORKA_ASSERT_NOT_NULL(mutex);
    return run(wait_cond, from, address_word(cond), [=] { return pthread_cond_wait(cond, mutex); });
}

orka_status_t orka_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex)
{
    return orka_pthread_cond_wait_actual(cond, mutex, quiet);
}

orka_status_t orka_pthread_cond_wait_debug(pthread_cond_t *cond, pthread_mutex_t *mutex, const char *function,
                                           int line)
{
    return orka_pthread_cond_wait_actual(cond, mutex, traced(function, line));
}

static orka_status_t orka_pthread_cond_wait_or_die_actual(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                                          caller from)
{
    if (orka_pthread_cond_wait_actual(cond, mutex, from) != ORKA_STATUS_SUCCESS)
        orka_pthread_die("Fatal Wait Cond Error", cond, from.function, from.line);
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_pthread_cond_wait_or_die(pthread_cond_t *cond, pthread_mutex_t *mutex)
{
    return orka_pthread_cond_wait_or_die_actual(cond, mutex, quiet);
}

orka_status_t orka_pthread_cond_wait_or_die_debug(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                                  const char *function, int line)
{
    return orka_pthread_cond_wait_or_die_actual(cond, mutex, traced(function, line));
}

static orka_status_t orka_pthread_cond_broadcast_actual(pthread_cond_t *cond, caller from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    return run(broadcast_cond, from, address_word(cond), [=] { return pthread_cond_broadcast(cond); });
}

orka_status_t orka_pthread_cond_broadcast(pthread_cond_t *cond)
{
    return orka_pthread_cond_broadcast_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_broadcast_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_broadcast_actual(cond, traced(function, line));
}

static orka_status_t orka_pthread_cond_signal_actual(pthread_cond_t *cond, caller from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    return run(signal_cond, from, address_word(cond), [=] { return pthread_cond_signal(cond); });
}

orka_status_t orka_pthread_cond_signal(pthread_cond_t *cond)
{
    return orka_pthread_cond_signal_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_signal_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_signal_actual(cond, traced(function, line));
}
