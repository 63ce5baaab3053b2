#include "orka_pthread.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sched.h>

#include "common/orka_inline_internal.h"
#include "common/orka_pthread_internal.h"
#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_PTHREAD:";

/*
 * Every operation is its texts, a core, and two entries over the core: one that traces, one that is quiet.
 * announce() and conclude() do what all cores have in common.
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
 * What a traced operation says before, after, and of an error, one text behind the other. Each may take one
 * 32-bit word: the object's address, or the new cancel state. Some errors name no object; an empty text says
 * nothing.
 *
 * Kept on purpose: the two errors without "Error", "Desstroying", and the "Locked Mutex" of trylock.
 */
static constexpr char create_thread[] = "Creating Thread [0x%08X].\0"
                                        "Created Thread [0x%08X].\0"
                                        "Error Creating Thread [0x%08X].";
static constexpr char detach_thread[] = "Detaching Thread [0x%08X].\0"
                                        "Detached Thread [0x%08X].\0"
                                        "Detaching Thread.";
static constexpr char join_thread[] = "Joining Thread [0x%08X].\0"
                                      "Joined Thread [0x%08X].\0"
                                      "Error Joining Thread [0x%08X].";
static constexpr char cancel_thread[] = "Cancelling Thread [0x%08X].\0"
                                        "Cancelled Thread [0x%08X].\0"
                                        "Error Cancelling Thread [0x%08X].";
static constexpr char set_cancel_state[] = "Setting Thread Cancel State to %d.\0"
                                           "Set Thread Cancel State to %d.\0"
                                           "Setting Thread Cancel State.";
static constexpr char set_priority[] = "\0"
                                       "\0"
                                       "Error Setting Thread Priority [0x%08X].";
static constexpr char init_mutex[] = "Initializing Mutex [0x%08X].\0"
                                     "Initialized Mutex [0x%08X].\0"
                                     "Error Initializing Mutex [0x%08X].";
static constexpr char destroy_mutex[] = "Destroying Mutex [0x%08X].\0"
                                        "Destroyed Mutex [0x%08X].\0"
                                        "Error Destroying Mutex [0x%08X].";
static constexpr char lock_mutex[] = "Locking Mutex [0x%08X].\0"
                                     "Locked Mutex [0x%08X].\0"
                                     "Error Locking Mutex [0x%08X].";
static constexpr char trylock_mutex[] = "Try Locking Mutex [0x%08X].\0"
                                        "Locked Mutex [0x%08X].\0"
                                        "Error Try Locking Mutex [0x%08X].";
static constexpr char unlock_mutex[] = "Unlocking Mutex [0x%08X].\0"
                                       "Unlocked Mutex [0x%08X].\0"
                                       "Error Unlocking Mutex [0x%08X].";
static constexpr char init_cond[] = "Initializing Conditional Variable [0x%08X].\0"
                                    "Initialized Conditional Variable [0x%08X].\0"
                                    "Error Initializing Conditional Variable [0x%08X].";
static constexpr char destroy_cond[] = "Destroying Conditional Variable [0x%08X].\0"
                                       "Destroyed Conditional Variable [0x%08X].\0"
                                       "Error Desstroying Conditional Variable [0x%08X].";
static constexpr char wait_cond[] = "Waiting on Condition [0x%08X].\0"
                                    "Condition Received [0x%08X].\0"
                                    "Error Waiting on Condition [0x%08X].";
static constexpr char broadcast_cond[] = "Broadcasting Condition [0x%08X].\0"
                                         "Broadcasted Condition [0x%08X].\0"
                                         "Error Broadcasting Condition [0x%08X].";
static constexpr char signal_cond[] = "Signaling Condition [0x%08X].\0"
                                      "Signaled Condition [0x%08X].\0"
                                      "Error Signaling Condition [0x%08X].";

enum class step { before, after, error };

static const char *text_of(const char *texts, step wanted)
{
    for (int left = static_cast<int>(wanted); left > 0; left--)
        texts += strlen(texts) + 1;
    return texts;
}

/*
 * Printing: one printf a line, so that lines of several threads stay whole. Not marked cold: what is inlined
 * around a call that is, g++ takes to be rare itself, and moves out of the way.
 */

struct line_text {
    char text[96];
};

template <typename... Words>
[[gnu::noinline]] static line_text fill_in(const char *message, Words... words)
{
    line_text line;

    snprintf(line.text, sizeof line.text, message, words...);
    return line;
}

[[gnu::noinline]] static void print_line(const caller &from, const line_text &line)
{
    printf("%s():[%d] %s\n", from.function, from.line, line.text);
    fflush(stdout);
}

[[gnu::noinline]] static void print_line(const caller &from, const line_text &line, const char *reason)
{
    printf("%s():[%d] %s\n\t%s\n", from.function, from.line, line.text, reason);
    fflush(stdout);
}

[[gnu::noinline]] static void print_word(const caller &from, const char *message, uint32_t word)
{
    print_line(from, fill_in(message, word));
}

[[gnu::noinline]] static void print_step(const caller &from, const char *texts, step reached, uint32_t word)
{
    const char *message = text_of(texts, reached);

    if (*message != '\0')
        print_word(from, message, word);
}

[[gnu::noinline]] static void print_failure(const caller &from, const char *texts, uint32_t word, int result)
{
    print_line(from, fill_in(text_of(texts, step::error), word), strerror(result));
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

/* The mechanics of every core: what is said before its call, and what becomes of the call's result. */

static ORKA_INLINE void announce(const char *texts, const caller &from, uint32_t word)
{
    if (from.mode == trace_mode::trace)
        print_step(from, texts, step::before, word);
}

static ORKA_INLINE orka_status_t conclude(const char *texts, const caller &from, uint32_t word, int result,
                                          orka_status_t failure)
{
    const bool tracing = from.mode == trace_mode::trace;

    if (result != 0) [[unlikely]] {
        if (tracing)
            print_failure(from, texts, word, result);
        return failure;
    }
    if (tracing)
        print_step(from, texts, step::after, word);
    return ORKA_STATUS_SUCCESS;
}

static ORKA_INLINE orka_status_t thread_status(const char *texts, const caller &from, uint32_t word,
                                               int result)
{
    return conclude(texts, from, word, result, ORKA_STATUS_THREAD);
}

static ORKA_INLINE orka_status_t mutex_status(const char *texts, const caller &from, const void *object,
                                              int result)
{
    return conclude(texts, from, address_word(object), result, ORKA_STATUS_MUTEX);
}

/* Threads */

using start_function = void *(void *);

static orka_status_t orka_pthread_create_actual(pthread_t *thread, start_function *start_routine, void *arg,
                                                const caller &from)
{
    ORKA_ASSERT_NOT_NULL(thread);
    ORKA_ASSERT_NOT_NULL(start_routine);
    announce(create_thread, from, address_word(thread));
    return thread_status(create_thread, from, address_word(thread),
                         pthread_create(thread, nullptr, start_routine, arg));
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

static orka_status_t orka_pthread_detach_actual(pthread_t *thread, const caller &from)
{
    announce(detach_thread, from, address_word(thread));
    return thread_status(detach_thread, from, address_word(thread), pthread_detach(*thread));
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
                                                         void *arg, const caller &from)
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

static orka_status_t orka_pthread_join_actual(pthread_t *thread, void **retval, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(thread);
    announce(join_thread, from, address_word(thread));
    return thread_status(join_thread, from, address_word(thread), pthread_join(*thread, retval));
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

static orka_status_t orka_pthread_cancel_actual(pthread_t *thread, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(thread);
    announce(cancel_thread, from, address_word(thread));
    return thread_status(cancel_thread, from, address_word(thread), pthread_cancel(*thread));
}

orka_status_t orka_pthread_cancel(pthread_t *thread)
{
    return orka_pthread_cancel_actual(thread, quiet);
}

orka_status_t orka_pthread_cancel_debug(pthread_t *thread, const char *function, int line)
{
    return orka_pthread_cancel_actual(thread, traced(function, line));
}

static orka_status_t orka_pthread_setcancelstate_actual(int state, int *oldstate, const caller &from)
{
    announce(set_cancel_state, from, static_cast<uint32_t>(state));
    return thread_status(set_cancel_state, from, static_cast<uint32_t>(state),
                         pthread_setcancelstate(state, oldstate));
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
                                                       const caller &from)
{
    sched_param param = {};

    param.sched_priority = priority;
    announce(set_priority, from, address_word(thread));
    return thread_status(set_priority, from, address_word(thread),
                         pthread_setschedparam(*thread, policy, &param));
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

static orka_status_t orka_pthread_mutex_init_actual(pthread_mutex_t *mutex, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    announce(init_mutex, from, address_word(mutex));
    return mutex_status(init_mutex, from, mutex, pthread_mutex_init(mutex, nullptr));
}

orka_status_t orka_pthread_mutex_init(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_init_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_init_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_init_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_destroy_actual(pthread_mutex_t *mutex, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    announce(destroy_mutex, from, address_word(mutex));
    return mutex_status(destroy_mutex, from, mutex, pthread_mutex_destroy(mutex));
}

orka_status_t orka_pthread_mutex_destroy(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_destroy_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_destroy_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_destroy_actual(mutex, traced(function, line));
}

static ORKA_INLINE orka_status_t orka_pthread_mutex_lock_actual(pthread_mutex_t *mutex, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    announce(lock_mutex, from, address_word(mutex));
    return mutex_status(lock_mutex, from, mutex, pthread_mutex_lock(mutex));
}

orka_status_t orka_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_lock_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_lock_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_lock_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_lock_or_die_actual(pthread_mutex_t *mutex, const caller &from)
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

static orka_status_t orka_pthread_mutex_trylock_actual(pthread_mutex_t *mutex, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    announce(trylock_mutex, from, address_word(mutex));
    return mutex_status(trylock_mutex, from, mutex, pthread_mutex_trylock(mutex));
}

orka_status_t orka_pthread_mutex_trylock(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_trylock_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_trylock_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_trylock_actual(mutex, traced(function, line));
}

static ORKA_INLINE orka_status_t orka_pthread_mutex_unlock_actual(pthread_mutex_t *mutex, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(mutex);
    announce(unlock_mutex, from, address_word(mutex));
    return mutex_status(unlock_mutex, from, mutex, pthread_mutex_unlock(mutex));
}

orka_status_t orka_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    return orka_pthread_mutex_unlock_actual(mutex, quiet);
}

orka_status_t orka_pthread_mutex_unlock_debug(pthread_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_mutex_unlock_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_mutex_unlock_or_die_actual(pthread_mutex_t *mutex, const caller &from)
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

static orka_status_t orka_pthread_cond_init_actual(pthread_cond_t *cond, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    announce(init_cond, from, address_word(cond));
    return mutex_status(init_cond, from, cond, pthread_cond_init(cond, nullptr));
}

orka_status_t orka_pthread_cond_init(pthread_cond_t *cond)
{
    return orka_pthread_cond_init_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_init_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_init_actual(cond, traced(function, line));
}

static orka_status_t orka_pthread_cond_destroy_actual(pthread_cond_t *cond, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    announce(destroy_cond, from, address_word(cond));
    return mutex_status(destroy_cond, from, cond, pthread_cond_destroy(cond));
}

orka_status_t orka_pthread_cond_destroy(pthread_cond_t *cond)
{
    return orka_pthread_cond_destroy_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_destroy_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_destroy_actual(cond, traced(function, line));
}

static orka_status_t orka_pthread_cond_wait_actual(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                                   const caller &from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    ORKA_ASSERT_NOT_NULL(mutex);
    announce(wait_cond, from, address_word(cond));
    return mutex_status(wait_cond, from, cond, pthread_cond_wait(cond, mutex));
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
                                                          const caller &from)
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

static ORKA_INLINE orka_status_t orka_pthread_cond_broadcast_actual(pthread_cond_t *cond, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    announce(broadcast_cond, from, address_word(cond));
    return mutex_status(broadcast_cond, from, cond, pthread_cond_broadcast(cond));
}

orka_status_t orka_pthread_cond_broadcast(pthread_cond_t *cond)
{
    return orka_pthread_cond_broadcast_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_broadcast_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_broadcast_actual(cond, traced(function, line));
}

static orka_status_t orka_pthread_cond_signal_actual(pthread_cond_t *cond, const caller &from)
{
    ORKA_ASSERT_NOT_NULL(cond);
    announce(signal_cond, from, address_word(cond));
    return mutex_status(signal_cond, from, cond, pthread_cond_signal(cond));
}

orka_status_t orka_pthread_cond_signal(pthread_cond_t *cond)
{
    return orka_pthread_cond_signal_actual(cond, quiet);
}

orka_status_t orka_pthread_cond_signal_debug(pthread_cond_t *cond, const char *function, int line)
{
    return orka_pthread_cond_signal_actual(cond, traced(function, line));
}

/* The reader-writer mutex */

/* On whose behalf a core runs, and on which side. */
struct rdwr_caller {
    caller from;
    const char *side;
};

static constexpr rdwr_caller quiet_reader = {quiet, "Reading"};
static constexpr rdwr_caller quiet_writer = {quiet, "Writing"};

static constexpr rdwr_caller traced_reader(const char *function, int line)
{
    return {traced(function, line), quiet_reader.side};
}

static constexpr rdwr_caller traced_writer(const char *function, int line)
{
    return {traced(function, line), quiet_writer.side};
}

/* One call: by whom and on which object. Two words, so that the quiet way keeps nothing in memory for it. */
struct rdwr_call {
    const rdwr_caller &by;
    const orka_rdwr_mutex_t *mutex;
};

static uint32_t record_word(const orka_rdwr_mutex_t *mutex)
{
    return mutex != nullptr ? address_word(*mutex) : 0;
}

/* Each text takes the two addresses and the side. */
[[gnu::noinline]] static line_text fill_in_call(rdwr_call call, const char *message)
{
    return fill_in(message, address_word(call.mutex), record_word(call.mutex), call.by.side);
}

[[gnu::noinline]] static void print_call(rdwr_call call, const char *message)
{
    print_line(call.by.from, fill_in_call(call, message));
}

[[gnu::noinline]] static void print_call_failure(rdwr_call call, const char *message, orka_status_t status)
{
    print_line(call.by.from, fill_in_call(call, message), orka_status_string(status));
}

static inline bool is_traced(rdwr_call call)
{
    return call.by.from.mode == trace_mode::trace;
}

static inline void trace_call(rdwr_call call, const char *message)
{
    if (is_traced(call)) [[unlikely]]
        print_call(call, message);
}

/*
 * Kept on purpose: a destroyed object still shows its record, which was zeroed before it was freed, and is
 * looked at all the same. The sanitizers are told not to mind.
 */
[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] static inline orka_status_t
orka_pthread_rdwr_mutex_verify(const orka_rdwr_mutex_t *mutex)
{
    if (mutex == nullptr || *mutex == nullptr) [[unlikely]]
        return ORKA_STATUS_NULL_POINTER;

    const orka_rdwr_record *record = *mutex;
    if (record->initialized != 1 || record->magic != ORKA_RDWR_MAGIC || record->mutex_initialized != 1 ||
        record->cond_initialized != 1) [[unlikely]]
        return ORKA_STATUS_INITIALIZATION;
    return ORKA_STATUS_SUCCESS;
}

/*
 * The pointer itself, of which the compiler forgets what it has computed from it: to compute an address again
 * takes less than to keep it in a register that has to be saved.
 */
static inline orka_rdwr_record *computed_anew(orka_rdwr_record *record)
{
    asm("" : "+r"(record));
    return record;
}

/* The mechanics of the four steps on the record's mutex and condition: each looks at the object anew. */
template <typename Step>
static ORKA_INLINE orka_status_t do_step(rdwr_call call, orka_rdwr_record *tmutex, const char *error,
                                         Step step)
{
    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(call.mutex);
    if (valid != ORKA_STATUS_SUCCESS) [[unlikely]]
        return valid;

    /* Every caller has looked at the object before. GCOVR_EXCL_BR_START */
    ORKA_ASSERT_NOT_NULL(tmutex);
    /* GCOVR_EXCL_BR_STOP */
    const orka_status_t status = step(*computed_anew(tmutex));
    if (is_traced(call) && status != ORKA_STATUS_SUCCESS) [[unlikely]]
        print_call_failure(call, error, status);
    return status;
}

static ORKA_INLINE orka_status_t lock_record(rdwr_call call, orka_rdwr_record *tmutex)
{
    return do_step(call, tmutex, "Error Locking RDWR Mutex [0x%08X] at [0x%08X] for %s.",
                   [](orka_rdwr_record &record) { return orka_pthread_mutex_lock(&record.mutex); });
}

static ORKA_INLINE orka_status_t unlock_record(rdwr_call call, orka_rdwr_record *tmutex)
{
    return do_step(call, tmutex, "Error UnLocking RDWR Mutex [0x%08X] at [0x%08X] for %s.",
                   [](orka_rdwr_record &record) { return orka_pthread_mutex_unlock(&record.mutex); });
}

static orka_status_t wait_for_change(rdwr_call call, orka_rdwr_record *tmutex)
{
    return do_step(
        call, tmutex, "Error Waiting RDWR Mutex Condition [0x%08X] at [0x%08X] for %s.",
        [](orka_rdwr_record &record) { return orka_pthread_cond_wait(&record.cond, &record.mutex); });
}

static ORKA_INLINE orka_status_t tell_change(rdwr_call call, orka_rdwr_record *tmutex)
{
    return do_step(call, tmutex, "Error Broadcasting RDWR Mutex Condition [0x%08X] at [0x%08X] for %s.",
                   [](orka_rdwr_record &record) { return orka_pthread_cond_broadcast(&record.cond); });
}

static inline uint32_t read_count(const std::atomic<uint32_t> &count)
{
    return count.load(std::memory_order_relaxed);
}

/*
 * Not atomic steps: whoever changes a count holds the record's mutex. Each reads its count once, because
 * between a lock and its unlock every load and store is waited for; false says that the count cannot go
 * further.
 */
static inline bool can_grow(const std::atomic<uint32_t> &count)
{
    return read_count(count) != UINT32_MAX;
}

static inline bool add_one(std::atomic<uint32_t> &count)
{
    const uint32_t more = read_count(count) + 1;

    count.store(more, std::memory_order_relaxed);
    return more != 0;
}

static inline bool take_one(std::atomic<uint32_t> &count)
{
    const uint32_t before = read_count(count);

    count.store(before - 1, std::memory_order_relaxed);
    return before != 0;
}

/* Readers let waiting writers pass: otherwise a stream of readers would keep them out. */
static inline bool is_closed_to_readers(const orka_rdwr_record &record)
{
    return (read_count(record.writer_writing) | read_count(record.writers_waiting)) != 0;
}

static inline bool is_closed_to_writers(const orka_rdwr_record &record)
{
    return (read_count(record.readers_reading) | read_count(record.writer_writing)) != 0;
}

/* The end of both ways to lock, once it is known whether the lock was had. */
static ORKA_INLINE orka_status_t leave_lock(rdwr_call call, orka_rdwr_record *tmutex, orka_status_t status)
{
    unlock_record(call, tmutex);
    if (is_traced(call) && status == ORKA_STATUS_SUCCESS) [[unlikely]]
        print_call(call, "Locked RDWR Mutex [0x%08X] at [0x%08X] for %s.");
    return status;
}

/* One side's waiting: until when, its count, and what is asserted of it. */
struct waiting_side {
    bool (*is_closed)(const orka_rdwr_record &);
    std::atomic<uint32_t> orka_rdwr_record::*waiting;
    const char *text;
};

/*
 * Waiting is out of line, and its failure too: who need not wait is not to save registers for it. Nor is he
 * counted, since the count would be what it was before the record's mutex is unlocked.
 */
[[gnu::noinline]] static orka_status_t wait_while(const waiting_side &side, const call_site &site,
                                                  rdwr_call call, orka_rdwr_record *tmutex)
{
    std::atomic<uint32_t> &waiting = tmutex->*side.waiting;
    orka_status_t status = ORKA_STATUS_SUCCESS;

    add_one(waiting);
    while (status == ORKA_STATUS_SUCCESS && side.is_closed(*tmutex))
        status = wait_for_change(call, tmutex);
    if (!take_one(waiting))
        assertion_failed(site, side.text);
    return status;
}

[[gnu::noinline]] static orka_status_t give_up(rdwr_call call, orka_rdwr_record *tmutex, orka_status_t status)
{
    return leave_lock(call, tmutex, status);
}

static constexpr waiting_side waiting_readers = {
    is_closed_to_readers,
    &orka_rdwr_record::readers_waiting,
    "tmutex->readers_waiting > 0",
};

static constexpr waiting_side waiting_writers = {
    is_closed_to_writers,
    &orka_rdwr_record::writers_waiting,
    "tmutex->writers_waiting > 0",
};

static ORKA_INLINE orka_status_t orka_pthread_rdwr_mutex_rlock_actual(const orka_rdwr_mutex_t *mutex,
                                                                      const rdwr_caller &by)
{
    const rdwr_call call = {by, mutex};
    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(mutex);
    if (valid != ORKA_STATUS_SUCCESS) [[unlikely]]
        return valid;

    orka_rdwr_record *tmutex = *mutex;
    trace_call(call, "Locking RDWR Mutex [0x%08X] at [0x%08X] for %s.");
    lock_record(call, tmutex);
    ORKA_ASSERT(can_grow(tmutex->readers_waiting), "tmutex->readers_waiting + 1 > tmutex->readers_waiting");
    if (is_closed_to_readers(*tmutex)) [[unlikely]] {
        const orka_status_t waited = wait_while(waiting_readers, HERE, call, tmutex);
        if (waited != ORKA_STATUS_SUCCESS)
            return give_up(call, tmutex, waited);
    }
    ORKA_ASSERT(add_one(tmutex->readers_reading), "tmutex->readers_reading + 1 > tmutex->readers_reading");
    return leave_lock(call, tmutex, ORKA_STATUS_SUCCESS);
}

static ORKA_INLINE orka_status_t orka_pthread_rdwr_mutex_wlock_actual(const orka_rdwr_mutex_t *mutex,
                                                                      const rdwr_caller &by)
{
    const rdwr_call call = {by, mutex};
    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(mutex);
    if (valid != ORKA_STATUS_SUCCESS) [[unlikely]]
        return valid;

    orka_rdwr_record *tmutex = *mutex;
    trace_call(call, "Locking RDWR Mutex [0x%08X] at [0x%08X] for %s.");
    lock_record(call, tmutex);
    ORKA_ASSERT(can_grow(tmutex->writers_waiting), "tmutex->writers_waiting + 1 > tmutex->writers_waiting");
    if (is_closed_to_writers(*tmutex)) [[unlikely]] {
        const orka_status_t waited = wait_while(waiting_writers, HERE, call, tmutex);
        if (waited != ORKA_STATUS_SUCCESS)
            return give_up(call, tmutex, waited);
    }
    /* Nobody writes where it is not closed to writers. GCOVR_EXCL_BR_START */
    ORKA_ASSERT(read_count(tmutex->writer_writing) == 0, "tmutex->writer_writing == 0");
    /* GCOVR_EXCL_BR_STOP */
    tmutex->writer_writing.store(1, std::memory_order_relaxed);
    return leave_lock(call, tmutex, ORKA_STATUS_SUCCESS);
}

/* The end of both ways to unlock. */
static ORKA_INLINE orka_status_t leave_unlock(rdwr_call call, orka_rdwr_record *tmutex)
{
    const orka_status_t status = unlock_record(call, tmutex);

    if (is_traced(call) && status == ORKA_STATUS_SUCCESS) [[unlikely]]
        print_call(call, "UnLocked RDWR Mutex [0x%08X] at [0x%08X] for %s.");
    return status;
}

static ORKA_INLINE orka_status_t orka_pthread_rdwr_mutex_runlock_actual(const orka_rdwr_mutex_t *mutex,
                                                                        const rdwr_caller &by)
{
    const rdwr_call call = {by, mutex};
    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(mutex);
    if (valid != ORKA_STATUS_SUCCESS) [[unlikely]]
        return valid;

    orka_rdwr_record *tmutex = *mutex;
    trace_call(call, "UnLocking RDWR Mutex [0x%08X] at [0x%08X] for %s.");
    lock_record(call, tmutex);
    const uint32_t reading = read_count(tmutex->readers_reading);
    ORKA_ASSERT(reading > 0, "tmutex->readers_reading > 0");
    tmutex->readers_reading.store(reading - 1, std::memory_order_relaxed);
    if (reading == 1)
        tell_change(call, tmutex);
    return leave_unlock(call, tmutex);
}

static ORKA_INLINE orka_status_t orka_pthread_rdwr_mutex_wunlock_actual(const orka_rdwr_mutex_t *mutex,
                                                                        const rdwr_caller &by)
{
    const rdwr_call call = {by, mutex};
    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(mutex);
    if (valid != ORKA_STATUS_SUCCESS) [[unlikely]]
        return valid;

    orka_rdwr_record *tmutex = *mutex;
    trace_call(call, "UnLocking RDWR Mutex [0x%08X] at [0x%08X] for %s.");
    lock_record(call, tmutex);
    ORKA_ASSERT(read_count(tmutex->writer_writing) == 1, "tmutex->writer_writing == 1");
    tmutex->writer_writing.store(0, std::memory_order_relaxed);
    tell_change(call, tmutex);
    return leave_unlock(call, tmutex);
}

/* What the four `_or_die` calls do on failure. Kept on purpose: one text, which speaks of unlocking. */
[[noreturn, gnu::cold]] static void die(rdwr_call call)
{
    print_call(call, "Fatal Mutex UnLock Error [0x%08X] at [0x%08X] for %s.");
    exit(1);
}

static orka_status_t or_die(orka_status_t status, rdwr_call call)
{
    if (status != ORKA_STATUS_SUCCESS) [[unlikely]]
        die(call);
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_pthread_rdwr_mutex_rlock(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_rlock_actual(mutex, quiet_reader);
}

orka_status_t orka_pthread_rdwr_mutex_rlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_rdwr_mutex_rlock_actual(mutex, traced_reader(function, line));
}

orka_status_t orka_pthread_rdwr_mutex_rlock_or_die(orka_rdwr_mutex_t *mutex)
{
    return or_die(orka_pthread_rdwr_mutex_rlock(mutex), {quiet_reader, mutex});
}

orka_status_t orka_pthread_rdwr_mutex_rlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                         int line)
{
    return or_die(orka_pthread_rdwr_mutex_rlock_debug(mutex, function, line),
                  {traced_reader(function, line), mutex});
}

orka_status_t orka_pthread_rdwr_mutex_runlock(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_runlock_actual(mutex, quiet_reader);
}

orka_status_t orka_pthread_rdwr_mutex_runlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_rdwr_mutex_runlock_actual(mutex, traced_reader(function, line));
}

orka_status_t orka_pthread_rdwr_mutex_runlock_or_die(orka_rdwr_mutex_t *mutex)
{
    return or_die(orka_pthread_rdwr_mutex_runlock(mutex), {quiet_reader, mutex});
}

orka_status_t orka_pthread_rdwr_mutex_runlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                           int line)
{
    return or_die(orka_pthread_rdwr_mutex_runlock_debug(mutex, function, line),
                  {traced_reader(function, line), mutex});
}

orka_status_t orka_pthread_rdwr_mutex_wlock(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_wlock_actual(mutex, quiet_writer);
}

orka_status_t orka_pthread_rdwr_mutex_wlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_rdwr_mutex_wlock_actual(mutex, traced_writer(function, line));
}

orka_status_t orka_pthread_rdwr_mutex_wlock_or_die(orka_rdwr_mutex_t *mutex)
{
    return or_die(orka_pthread_rdwr_mutex_wlock(mutex), {quiet_writer, mutex});
}

orka_status_t orka_pthread_rdwr_mutex_wlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                         int line)
{
    return or_die(orka_pthread_rdwr_mutex_wlock_debug(mutex, function, line),
                  {traced_writer(function, line), mutex});
}

orka_status_t orka_pthread_rdwr_mutex_wunlock(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_wunlock_actual(mutex, quiet_writer);
}

orka_status_t orka_pthread_rdwr_mutex_wunlock_debug(orka_rdwr_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_rdwr_mutex_wunlock_actual(mutex, traced_writer(function, line));
}

orka_status_t orka_pthread_rdwr_mutex_wunlock_or_die(orka_rdwr_mutex_t *mutex)
{
    return or_die(orka_pthread_rdwr_mutex_wunlock(mutex), {quiet_writer, mutex});
}

orka_status_t orka_pthread_rdwr_mutex_wunlock_or_die_debug(orka_rdwr_mutex_t *mutex, const char *function,
                                                           int line)
{
    return or_die(orka_pthread_rdwr_mutex_wunlock_debug(mutex, function, line),
                  {traced_writer(function, line), mutex});
}

/* The record's life */

static orka_rdwr_record *allocate_record()
{
    void *memory = malloc(sizeof(orka_rdwr_record));

    if (memory != nullptr)
        memset(memory, 0, sizeof(orka_rdwr_record));
    return static_cast<orka_rdwr_record *>(memory);
}

static void release_record(orka_rdwr_record *record)
{
    explicit_bzero(record, sizeof *record);
    free(record);
}

static void destroy_parts(const call_site &site, orka_rdwr_record &record, bool destroys_mutex,
                          bool destroys_cond)
{
    if (destroys_mutex && orka_pthread_mutex_destroy(&record.mutex) != ORKA_STATUS_SUCCESS)
        report_error(site, "Error Destroying Mutex.");
    /* Kept on purpose: the condition variable's failure has the mutex's text. */
    if (destroys_cond && orka_pthread_cond_destroy(&record.cond) != ORKA_STATUS_SUCCESS)
        report_error(site, "Error Destroying Mutex.");
}

static orka_status_t orka_pthread_rdwr_mutex_init_actual(orka_rdwr_mutex_t *mutex, const caller &from)
{
    const bool tracing = from.mode == trace_mode::trace;

    ORKA_ASSERT_NOT_NULL(mutex);
    if (tracing)
        print_word(from, "Initializing RDWR Mutex [0x%08X].", address_word(mutex));

    orka_rdwr_record *record = allocate_record();
    if (record == nullptr)
        return ORKA_STATUS_INSUFFICIENT_MEMORY;
    record->mutex_initialized = orka_pthread_mutex_init(&record->mutex) == ORKA_STATUS_SUCCESS;
    record->cond_initialized = orka_pthread_cond_init(&record->cond) == ORKA_STATUS_SUCCESS;

    if (record->mutex_initialized != 1 || record->cond_initialized != 1) {
        if (tracing)
            print_word(from, "Error Initializing RDWR Mutex [0x%08X].", address_word(mutex));
        /* Kept on purpose: what failed is destroyed, and what succeeded is left. */
        destroy_parts(HERE, *record, record->mutex_initialized != 1, record->cond_initialized != 1);
        release_record(record);
        return ORKA_STATUS_MUTEX;
    }

    record->initialized = 1;
    record->magic = ORKA_RDWR_MAGIC;
    *mutex = record;
    if (tracing)
        print_line(from, fill_in("Initialized RDWR Mutex [0x%08X] at [0x%08X].", address_word(mutex),
                                 address_word(record)));
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_pthread_rdwr_mutex_init(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_init_actual(mutex, quiet);
}

orka_status_t orka_pthread_rdwr_mutex_init_debug(orka_rdwr_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_rdwr_mutex_init_actual(mutex, traced(function, line));
}

static orka_status_t orka_pthread_rdwr_mutex_destroy_actual(const orka_rdwr_mutex_t *mutex,
                                                            const caller &from)
{
    const bool tracing = from.mode == trace_mode::trace;
    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(mutex);

    if (valid != ORKA_STATUS_SUCCESS) {
        report_error(HERE, "Invalid RDWR Mutex.");
        return valid;
    }
    const uint32_t at = record_word(mutex);
    if (tracing)
        print_line(from, fill_in("Destroying RDWR Mutex [0x%08X] at [0x%08X].", address_word(mutex), at));
    destroy_parts(HERE, **mutex, true, true);
    release_record(*mutex);
    if (tracing)
        print_line(from, fill_in("Destroyed RDWR Mutex [0x%08X] at [0x%08X].", address_word(mutex), at));
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_pthread_rdwr_mutex_destroy(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_destroy_actual(mutex, quiet);
}

orka_status_t orka_pthread_rdwr_mutex_destroy_debug(orka_rdwr_mutex_t *mutex, const char *function, int line)
{
    return orka_pthread_rdwr_mutex_destroy_actual(mutex, traced(function, line));
}

/* Kept on purpose: the counts are read without the record's mutex. */
static void print_record(FILE *file, const orka_rdwr_mutex_t *mutex, const orka_rdwr_record *tmutex)
{
    /* A valid object alone comes here: it is not null and its flags are set. GCOVR_EXCL_BR_START */
    const auto yes_or_no = [](uint32_t flag) { return flag == 1 ? "Yes" : "No"; };

    ORKA_ASSERT(mutex != nullptr && tmutex != nullptr, "mutex != ((void *)0) && tmutex != ((void *)0)");
    /* GCOVR_EXCL_BR_STOP */
    fprintf(file, "RDWR Mutex [0x%08X] at [0x%08X]:\n", address_word(mutex), address_word(tmutex));
    fprintf(file, "\tInitialized      :%s\n", yes_or_no(tmutex->initialized));
    fprintf(file, "\tMutex Initialized :%s\n", yes_or_no(tmutex->mutex_initialized));
    fprintf(file, "\tCond Initialized  :%s\n", yes_or_no(tmutex->cond_initialized));
    fprintf(file, "\tReaders Reading   :%d\n", static_cast<int32_t>(read_count(tmutex->readers_reading)));
    fprintf(file, "\tReaders Waiting   :%d\n", static_cast<int32_t>(read_count(tmutex->readers_waiting)));
    fprintf(file, "\tWriters Writing   :%d\n", static_cast<int32_t>(read_count(tmutex->writer_writing)));
    fprintf(file, "\tWriters Waiting   :%d\n", static_cast<int32_t>(read_count(tmutex->writers_waiting)));
}

orka_status_t orka_pthread_rdwr_mutex_fstatus(FILE *file, orka_rdwr_mutex_t *mutex)
{
    ORKA_ASSERT_NOT_NULL(file);

    const orka_status_t valid = orka_pthread_rdwr_mutex_verify(mutex);
    if (valid != ORKA_STATUS_SUCCESS)
        fprintf(file, "RDWR Mutex Invalid\n");
    else
        print_record(file, mutex, *mutex);
    fflush(file);
    return valid;
}

orka_status_t orka_pthread_rdwr_mutex_status(orka_rdwr_mutex_t *mutex)
{
    return orka_pthread_rdwr_mutex_fstatus(stdout, mutex);
}
