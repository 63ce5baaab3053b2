#include "orka_pthread.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <sys/time.h>
#include <unistd.h>

#include "support/child.h"
#include "support/harness.h"

using namespace orka_test;

/* The objects that the calls are made on. */
struct Objects {
    pthread_t thread = pthread_self();
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
};

static void *no_work(void *argument)
{
    return argument;
}

/* One member of the family, and what it says when it is traced. */
struct Member {
    const char *name;
    Fn fn;
    orka_status_t failure;
    std::function<orka_status_t(Objects &)> plain;
    std::function<orka_status_t(Objects &, const char *, int)> debug;
    void *(*object)(Objects &);
    const char *before;
    const char *after;
    const char *error;
};

static void *the_thread(Objects &objects)
{
    return &objects.thread;
}

static void *the_mutex(Objects &objects)
{
    return &objects.mutex;
}

static void *the_cond(Objects &objects)
{
    return &objects.cond;
}

/* The bytes after the caller's name and line; "@" stands for the object's address. */
static const Member members[] = {
    {"create", Fn::thread_create, ORKA_STATUS_THREAD,
     [](Objects &o) { return orka_pthread_create(&o.thread, no_work, nullptr); },
     [](Objects &o, const char *f, int l) {
         return orka_pthread_create_debug(&o.thread, no_work, nullptr, f, l);
     },
     the_thread, "Creating Thread [@].", "Created Thread [@].", "Error Creating Thread [@]."},
    {"detach", Fn::thread_detach, ORKA_STATUS_THREAD,
     [](Objects &o) { return orka_pthread_detach(&o.thread); },
     [](Objects &o, const char *f, int l) { return orka_pthread_detach_debug(&o.thread, f, l); }, the_thread,
     "Detaching Thread [@].", "Detached Thread [@].", "Detaching Thread."},
    {"join", Fn::thread_join, ORKA_STATUS_THREAD,
     [](Objects &o) { return orka_pthread_join(&o.thread, nullptr); },
     [](Objects &o, const char *f, int l) { return orka_pthread_join_debug(&o.thread, nullptr, f, l); },
     the_thread, "Joining Thread [@].", "Joined Thread [@].", "Error Joining Thread [@]."},
    {"cancel", Fn::thread_cancel, ORKA_STATUS_THREAD,
     [](Objects &o) { return orka_pthread_cancel(&o.thread); },
     [](Objects &o, const char *f, int l) { return orka_pthread_cancel_debug(&o.thread, f, l); }, the_thread,
     "Cancelling Thread [@].", "Cancelled Thread [@].", "Error Cancelling Thread [@]."},
    {"setcancelstate", Fn::thread_setcancelstate, ORKA_STATUS_THREAD,
     [](Objects &) { return orka_pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); },
     [](Objects &, const char *f, int l) {
         return orka_pthread_setcancelstate_debug(PTHREAD_CANCEL_DISABLE, nullptr, f, l);
     },
     the_thread, "Setting Thread Cancel State to 1.", "Set Thread Cancel State to 1.",
     "Setting Thread Cancel State."},
    {"setschedparam", Fn::thread_setschedparam, ORKA_STATUS_THREAD,
     [](Objects &o) { return orka_pthread_setschedparam(&o.thread, SCHED_FIFO, 3); },
     [](Objects &o, const char *f, int l) {
         return orka_pthread_setschedparam_debug(&o.thread, SCHED_FIFO, 3, f, l);
     },
     the_thread, nullptr, nullptr, "Error Setting Thread Priority [@]."},
    {"mutex_init", Fn::mutex_init, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_mutex_init(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_init_debug(&o.mutex, f, l); },
     the_mutex, "Initializing Mutex [@].", "Initialized Mutex [@].", "Error Initializing Mutex [@]."},
    {"mutex_destroy", Fn::mutex_destroy, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_mutex_destroy(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_destroy_debug(&o.mutex, f, l); },
     the_mutex, "Destroying Mutex [@].", "Destroyed Mutex [@].", "Error Destroying Mutex [@]."},
    {"mutex_lock", Fn::mutex_lock, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_mutex_lock(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_lock_debug(&o.mutex, f, l); },
     the_mutex, "Locking Mutex [@].", "Locked Mutex [@].", "Error Locking Mutex [@]."},
    {"mutex_trylock", Fn::mutex_trylock, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_mutex_trylock(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_trylock_debug(&o.mutex, f, l); },
     the_mutex, "Try Locking Mutex [@].", "Locked Mutex [@].", "Error Try Locking Mutex [@]."},
    {"mutex_unlock", Fn::mutex_unlock, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_mutex_unlock(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_unlock_debug(&o.mutex, f, l); },
     the_mutex, "Unlocking Mutex [@].", "Unlocked Mutex [@].", "Error Unlocking Mutex [@]."},
    {"cond_init", Fn::cond_init, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_cond_init(&o.cond); },
     [](Objects &o, const char *f, int l) { return orka_pthread_cond_init_debug(&o.cond, f, l); }, the_cond,
     "Initializing Conditional Variable [@].", "Initialized Conditional Variable [@].",
     "Error Initializing Conditional Variable [@]."},
    {"cond_destroy", Fn::cond_destroy, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_cond_destroy(&o.cond); },
     [](Objects &o, const char *f, int l) { return orka_pthread_cond_destroy_debug(&o.cond, f, l); },
     the_cond, "Destroying Conditional Variable [@].", "Destroyed Conditional Variable [@].",
     "Error Desstroying Conditional Variable [@]."},
    {"cond_wait", Fn::cond_wait, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_cond_wait(&o.cond, &o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_cond_wait_debug(&o.cond, &o.mutex, f, l); },
     the_cond, "Waiting on Condition [@].", "Condition Received [@].", "Error Waiting on Condition [@]."},
    {"cond_broadcast", Fn::cond_broadcast, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_cond_broadcast(&o.cond); },
     [](Objects &o, const char *f, int l) { return orka_pthread_cond_broadcast_debug(&o.cond, f, l); },
     the_cond, "Broadcasting Condition [@].", "Broadcasted Condition [@].",
     "Error Broadcasting Condition [@]."},
    {"cond_signal", Fn::cond_signal, ORKA_STATUS_MUTEX,
     [](Objects &o) { return orka_pthread_cond_signal(&o.cond); },
     [](Objects &o, const char *f, int l) { return orka_pthread_cond_signal_debug(&o.cond, f, l); }, the_cond,
     "Signaling Condition [@].", "Signaled Condition [@].", "Error Signaling Condition [@]."},
};

static const Member &member(const std::string &name)
{
    for (const Member &one : members) {
        if (one.name == name)
            return one;
    }
    abort();
}

/* A message as it is printed for a caller, "worker" in line 42. */
static std::string printed(const char *message, const void *object)
{
    if (message == nullptr)
        return "";
    char word[16];
    snprintf(word, sizeof word, "0x%08X", static_cast<unsigned>(reinterpret_cast<uintptr_t>(object)));
    std::string text = message;
    if (const size_t at = text.find('@'); at != std::string::npos)
        text.replace(at, 1, word);
    return "worker():[42] " + text + "\n";
}

static std::string printed_failure(const char *message, const void *object, int result)
{
    return printed(message, object) + "\t" + strerror(result) + "\n";
}

class Family : public HarnessTest, public testing::WithParamInterface<Member> {
  protected:
    void answer(Kernel &scripted, int result)
    {
        scripted.watch(GetParam().fn);
        scripted.fail(GetParam().fn, {.result = result});
    }

    orka_status_t plain(int result)
    {
        answer(kernel, result);
        return GetParam().plain(objects);
    }

    orka_status_t debug(int result)
    {
        answer(kernel, result);
        return GetParam().debug(objects, "worker", 42);
    }

    std::string said(const char *message) { return printed(message, GetParam().object(objects)); }

    Objects objects;
};

TEST_P(Family, SucceedsSilently)
{
    EXPECT_EQ(plain(0), ORKA_STATUS_SUCCESS);
}

TEST_P(Family, FailsSilentlyWithItsStatus)
{
    EXPECT_EQ(plain(EPERM), GetParam().failure);
}

TEST_P(Family, TakesAnyResultButZeroAsFailure)
{
    EXPECT_EQ(plain(-1), GetParam().failure);
}

TEST_P(Family, DoesNotLookAtErrno)
{
    errno = EIO;
    EXPECT_EQ(plain(0), ORKA_STATUS_SUCCESS);
}

TEST_P(Family, TracesSuccessInTwoLines)
{
    EXPECT_EQ(debug(0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), said(GetParam().before) + said(GetParam().after));
}

TEST_P(Family, TracesFailureWithTheSystemsWords)
{
    EXPECT_EQ(debug(EPERM), GetParam().failure);
    EXPECT_EQ(log.take_output(),
              said(GetParam().before) + printed_failure(GetParam().error, GetParam().object(objects), EPERM));
}

TEST_P(Family, FlushesWhatItTraces)
{
    const Ending ending = end_of([this](Kernel &scripted) {
        answer(scripted, EAGAIN);
        GetParam().debug(objects, "worker", 42);
        _exit(0);
    });
    EXPECT_EQ(ending.output, said(GetParam().before) +
                                 printed_failure(GetParam().error, GetParam().object(objects), EAGAIN));
}

INSTANTIATE_TEST_SUITE_P(Threads, Family, testing::ValuesIn(members),
                         [](const auto &row) { return std::string(row.param.name); });

/* What reaches the system */

class Pthread : public HarnessTest {
  protected:
    /* The one call that the member makes. */
    Call call_of(const char *name)
    {
        kernel.watch(member(name).fn);
        kernel.fail(member(name).fn, {.result = 0});
        member(name).plain(objects);
        return kernel.calls(member(name).fn).at(0);
    }

    Objects objects;
};

TEST_F(Pthread, EachMutexCallGetsTheMutex)
{
    for (const char *name : {"mutex_init", "mutex_destroy", "mutex_lock", "mutex_trylock", "mutex_unlock"})
        EXPECT_EQ(call_of(name).argument, &objects.mutex) << name;
}

TEST_F(Pthread, EachConditionCallGetsTheCondition)
{
    for (const char *name : {"cond_init", "cond_destroy", "cond_wait", "cond_broadcast", "cond_signal"})
        EXPECT_EQ(call_of(name).argument, &objects.cond) << name;
}

TEST_F(Pthread, SchedulingPassesPolicyAndPriorityOn)
{
    const Call call = call_of("setschedparam");

    EXPECT_EQ(call.flags, SCHED_FIFO);
    EXPECT_EQ(call.offset, 3);
}

TEST_F(Pthread, SchedulingThatSucceedsIsNotTraced)
{
    EXPECT_EQ(orka_pthread_setschedparam_debug(&objects.thread, SCHED_OTHER, 0, "worker", 42),
              ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), "");
}

TEST_F(Pthread, YieldPassesTheResultThrough)
{
    EXPECT_EQ(orka_pthread_yield(), 0);
    kernel.fail(Fn::sched_yield, {.error = ENOSYS, .result = -1});
    EXPECT_EQ(orka_pthread_yield(), -1);
}

TEST_F(Pthread, ALineIsTracedBeforeTheCallIsMade)
{
    const Ending ending = end_of([this](Kernel &) {
        const itimerval soon = {.it_interval = {}, .it_value = {0, 200000}};
        pthread_mutex_lock(&objects.mutex);
        setitimer(ITIMER_REAL, &soon, nullptr);
        orka_pthread_mutex_lock_debug(&objects.mutex, "worker", 42);
    });
    EXPECT_EQ(ending.signal, SIGALRM);
    EXPECT_EQ(ending.output, printed("Locking Mutex [@].", &objects.mutex));
}

/* Threads that run */

TEST_F(Pthread, AThreadGetsItsArgumentAndGivesItsResult)
{
    int word = 0;
    void *result = nullptr;

    ASSERT_EQ(orka_pthread_create(&objects.thread, no_work, &word), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_join(&objects.thread, &result), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(result, &word);
}

TEST_F(Pthread, AThreadIsJoinable)
{
    static int state;
    auto look = [](void *) -> void * {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getdetachstate(&attributes, &state);
        pthread_attr_destroy(&attributes);
        return nullptr;
    };
    state = -1;
    ASSERT_EQ(orka_pthread_create(&objects.thread, look, nullptr), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_join(&objects.thread, nullptr), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(state, PTHREAD_CREATE_JOINABLE);
}

/* A thread that runs until it is told to end. */
struct Worker {
    static void *run(void *argument)
    {
        Worker *worker = static_cast<Worker *>(argument);

        pthread_mutex_lock(&worker->mutex);
        while (!worker->may_end)
            pthread_cond_wait(&worker->cond, &worker->mutex);
        worker->ended = true;
        pthread_cond_broadcast(&worker->cond);
        pthread_mutex_unlock(&worker->mutex);
        return nullptr;
    }

    void end()
    {
        pthread_mutex_lock(&mutex);
        may_end = true;
        pthread_cond_broadcast(&cond);
        while (!ended)
            pthread_cond_wait(&cond, &mutex);
        pthread_mutex_unlock(&mutex);
    }

    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
    bool may_end = false;
    bool ended = false;
};

TEST_F(Pthread, ADetachedThreadRuns)
{
    static Worker worker;

    ASSERT_EQ(orka_pthread_create_detached(&objects.thread, Worker::run, &worker), ORKA_STATUS_SUCCESS);
    worker.end();
    EXPECT_TRUE(worker.ended);
}

TEST_F(Pthread, AThreadThatCannotBeDetachedRunsOn)
{
    static Worker worker;

    kernel.fail(Fn::thread_detach, {.result = EINVAL});
    EXPECT_EQ(orka_pthread_create_detached(&objects.thread, Worker::run, &worker), ORKA_STATUS_THREAD);
    worker.end();
    EXPECT_EQ(pthread_join(objects.thread, nullptr), 0);
}

TEST_F(Pthread, AThreadThatCannotBeCreatedIsNotDetached)
{
    kernel.watch(Fn::thread_detach);
    kernel.fail(Fn::thread_create, {.result = EAGAIN});
    EXPECT_EQ(orka_pthread_create_detached(&objects.thread, no_work, nullptr), ORKA_STATUS_THREAD);
    EXPECT_TRUE(kernel.calls(Fn::thread_detach).empty());
}

TEST_F(Pthread, CreatingDetachedTracesBothSteps)
{
    kernel.fail(Fn::thread_create, {.result = 0});
    kernel.fail(Fn::thread_detach, {.result = 0});
    EXPECT_EQ(orka_pthread_create_detached_debug(&objects.thread, no_work, nullptr, "worker", 42),
              ORKA_STATUS_SUCCESS);
    std::string text;
    for (const char *line :
         {"Creating Thread [@].", "Created Thread [@].", "Detaching Thread [@].", "Detached Thread [@]."})
        text += printed(line, &objects.thread);
    EXPECT_EQ(log.take_output(), text);
}

TEST_F(Pthread, CreatingDetachedTracesTheStepThatFails)
{
    kernel.fail(Fn::thread_create, {.result = EAGAIN});
    EXPECT_EQ(orka_pthread_create_detached_debug(&objects.thread, no_work, nullptr, "worker", 42),
              ORKA_STATUS_THREAD);
    EXPECT_EQ(log.take_output(), printed("Creating Thread [@].", &objects.thread) +
                                     printed_failure("Error Creating Thread [@].", &objects.thread, EAGAIN));
}

TEST_F(Pthread, CancelStateIsSetAndTheOneBeforeIsGiven)
{
    int before = -1;

    EXPECT_EQ(orka_pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(before, PTHREAD_CANCEL_ENABLE);
    EXPECT_EQ(orka_pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(before, PTHREAD_CANCEL_DISABLE);
}

TEST_F(Pthread, ACancelStateThatDoesNotExistIsRefused)
{
    EXPECT_EQ(orka_pthread_setcancelstate(17, nullptr), ORKA_STATUS_THREAD);
}

/* A thread can be cancelled inside the library: its frames can be unwound on every ABI. */
static void *wait_for_ever(void *argument)
{
    Objects *objects = static_cast<Objects *>(argument);

    orka_pthread_mutex_lock(&objects->mutex);
    pthread_cleanup_push(
        [](void *mutex) { orka_pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex)); },
        &objects->mutex);
    for (;;)
        orka_pthread_cond_wait(&objects->cond, &objects->mutex);
    pthread_cleanup_pop(1);
    return nullptr;
}

TEST_F(Pthread, AThreadThatWaitsCanBeCancelled)
{
    void *result = nullptr;

    ASSERT_EQ(orka_pthread_create(&objects.thread, wait_for_ever, &objects), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_cancel(&objects.thread), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_join(&objects.thread, &result), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(orka_pthread_mutex_trylock(&objects.mutex), ORKA_STATUS_SUCCESS);
    orka_pthread_mutex_unlock(&objects.mutex);
}

/* Mutexes and conditions that work */

TEST_F(Pthread, ABusyMutexIsAMutexFailure)
{
    ASSERT_EQ(orka_pthread_mutex_lock(&objects.mutex), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_mutex_trylock(&objects.mutex), ORKA_STATUS_MUTEX);
    EXPECT_EQ(orka_pthread_mutex_trylock_debug(&objects.mutex, "worker", 42), ORKA_STATUS_MUTEX);
    EXPECT_EQ(log.take_output(), printed("Try Locking Mutex [@].", &objects.mutex) +
                                     printed_failure("Error Try Locking Mutex [@].", &objects.mutex, EBUSY));
    EXPECT_EQ(orka_pthread_mutex_unlock(&objects.mutex), ORKA_STATUS_SUCCESS);
}

TEST_F(Pthread, ALockedMutexIsBusyUntilItIsUnlocked)
{
    ASSERT_EQ(orka_pthread_mutex_init(&objects.mutex), ORKA_STATUS_SUCCESS);
    ASSERT_EQ(orka_pthread_mutex_lock_or_die(&objects.mutex), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(pthread_mutex_trylock(&objects.mutex), EBUSY);
    ASSERT_EQ(orka_pthread_mutex_unlock_or_die(&objects.mutex), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(pthread_mutex_trylock(&objects.mutex), 0);
    pthread_mutex_unlock(&objects.mutex);
    EXPECT_EQ(orka_pthread_mutex_destroy(&objects.mutex), ORKA_STATUS_SUCCESS);
}

/* Two threads hand a turn to each other through one condition. */
struct Turns {
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    int turn = 0;
    orka_status_t (*wake)(pthread_cond_t *);
};

static void take_turns(Turns &turns, int parity)
{
    orka_pthread_mutex_lock_or_die(&turns.mutex);
    while (turns.turn < 10) {
        while (turns.turn < 10 && turns.turn % 2 != parity)
            orka_pthread_cond_wait_or_die(&turns.cond, &turns.mutex);
        turns.turn++;
        turns.wake(&turns.cond);
    }
    orka_pthread_mutex_unlock_or_die(&turns.mutex);
}

static void play(orka_status_t (*wake)(pthread_cond_t *))
{
    Turns turns = {.wake = wake};
    pthread_t thread;

    orka_pthread_mutex_init(&turns.mutex);
    orka_pthread_cond_init(&turns.cond);
    auto second = [](void *argument) -> void * {
        take_turns(*static_cast<Turns *>(argument), 1);
        return nullptr;
    };
    ASSERT_EQ(orka_pthread_create(&thread, second, &turns), ORKA_STATUS_SUCCESS);
    take_turns(turns, 0);
    EXPECT_EQ(orka_pthread_join(&thread, nullptr), ORKA_STATUS_SUCCESS);
    EXPECT_GE(turns.turn, 10);
    EXPECT_EQ(orka_pthread_cond_destroy(&turns.cond), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_mutex_destroy(&turns.mutex), ORKA_STATUS_SUCCESS);
}

TEST_F(Pthread, ASignalWakesTheOneThatWaits)
{
    play(orka_pthread_cond_signal);
}

TEST_F(Pthread, ABroadcastWakesTheOneThatWaits)
{
    play(orka_pthread_cond_broadcast);
}

/* Or die */

struct Fatal {
    const char *name;
    const char *member;
    std::function<orka_status_t(Objects &)> plain;
    std::function<orka_status_t(Objects &, const char *, int)> debug;
    const char *fatal;
};

static const Fatal fatals[] = {
    {"mutex_lock_or_die", "mutex_lock", [](Objects &o) { return orka_pthread_mutex_lock_or_die(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_lock_or_die_debug(&o.mutex, f, l); },
     "Fatal Mutex Lock Error [@]."},
    {"mutex_unlock_or_die", "mutex_unlock",
     [](Objects &o) { return orka_pthread_mutex_unlock_or_die(&o.mutex); },
     [](Objects &o, const char *f, int l) { return orka_pthread_mutex_unlock_or_die_debug(&o.mutex, f, l); },
     "Fatal Mutex UnLock Error [@]."},
    {"cond_wait_or_die", "cond_wait",
     [](Objects &o) { return orka_pthread_cond_wait_or_die(&o.cond, &o.mutex); },
     [](Objects &o, const char *f, int l) {
         return orka_pthread_cond_wait_or_die_debug(&o.cond, &o.mutex, f, l);
     },
     "Fatal Wait Cond Error [@]."},
};

class OrDie : public HarnessTest, public testing::WithParamInterface<Fatal> {
  protected:
    const Member &core() { return member(GetParam().member); }
    std::string said(const char *message) { return printed(message, core().object(objects)); }

    Objects objects;
};

TEST_P(OrDie, SucceedsSilently)
{
    kernel.fail(core().fn, {.result = 0});
    EXPECT_EQ(GetParam().plain(objects), ORKA_STATUS_SUCCESS);
}

TEST_P(OrDie, TracesSuccessAsTheOrdinaryCallDoes)
{
    kernel.fail(core().fn, {.result = 0});
    EXPECT_EQ(GetParam().debug(objects, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), said(core().before) + said(core().after));
}

TEST_P(OrDie, DiesWithOneLineInTheQuietForm)
{
    const Ending ending = end_of([this](Kernel &scripted) {
        scripted.fail(core().fn, {.result = EINVAL});
        GetParam().plain(objects);
    });
    std::string fatal = said(GetParam().fatal);
    fatal.replace(0, strlen("worker():[42]"), "():[-1]");
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, fatal);
    EXPECT_EQ(ending.error, "");
}

TEST_P(OrDie, DiesAfterTheOrdinaryLinesInTheTracedForm)
{
    const Ending ending = end_of([this](Kernel &scripted) {
        scripted.fail(core().fn, {.result = EINVAL});
        GetParam().debug(objects, "worker", 42);
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, said(core().before) +
                                 printed_failure(core().error, core().object(objects), EINVAL) +
                                 said(GetParam().fatal));
    EXPECT_EQ(ending.error, "");
}

TEST_P(OrDie, DiesThroughExitHandlers)
{
    const Ending ending = end_of([this](Kernel &scripted) {
        atexit([] { fputs("handled\n", stderr); });
        scripted.fail(core().fn, {.result = EINVAL});
        GetParam().plain(objects);
    });
    EXPECT_EQ(ending.error, "handled\n");
}

INSTANTIATE_TEST_SUITE_P(Threads, OrDie, testing::ValuesIn(fatals),
                         [](const auto &row) { return std::string(row.param.name); });

/* NULL */

struct NullObject {
    const char *name;
    const char *core;
    const char *expression;
    void (*call)(Objects &);
};

static const NullObject null_objects[] = {
    {"create_thread", "orka_pthread_create_actual", "thread != ((void *)0)",
     [](Objects &) { orka_pthread_create(nullptr, no_work, nullptr); }},
    {"create_start_routine", "orka_pthread_create_actual", "start_routine != ((void *)0)",
     [](Objects &o) { orka_pthread_create(&o.thread, nullptr, nullptr); }},
    {"create_both", "orka_pthread_create_actual", "thread != ((void *)0)",
     [](Objects &) { orka_pthread_create(nullptr, nullptr, nullptr); }},
    {"create_detached", "orka_pthread_create_actual", "thread != ((void *)0)",
     [](Objects &) { orka_pthread_create_detached(nullptr, no_work, nullptr); }},
    {"join", "orka_pthread_join_actual", "thread != ((void *)0)",
     [](Objects &) { orka_pthread_join(nullptr, nullptr); }},
    {"cancel", "orka_pthread_cancel_actual", "thread != ((void *)0)",
     [](Objects &) { orka_pthread_cancel(nullptr); }},
    {"mutex_init", "orka_pthread_mutex_init_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_init(nullptr); }},
    {"mutex_destroy", "orka_pthread_mutex_destroy_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_destroy(nullptr); }},
    {"mutex_lock", "orka_pthread_mutex_lock_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_lock(nullptr); }},
    {"mutex_lock_or_die", "orka_pthread_mutex_lock_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_lock_or_die(nullptr); }},
    {"mutex_lock_debug", "orka_pthread_mutex_lock_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_lock_debug(nullptr, "worker", 42); }},
    {"mutex_trylock", "orka_pthread_mutex_trylock_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_trylock(nullptr); }},
    {"mutex_unlock", "orka_pthread_mutex_unlock_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_unlock(nullptr); }},
    {"mutex_unlock_or_die", "orka_pthread_mutex_unlock_actual", "mutex != ((void *)0)",
     [](Objects &) { orka_pthread_mutex_unlock_or_die(nullptr); }},
    {"cond_init", "orka_pthread_cond_init_actual", "cond != ((void *)0)",
     [](Objects &) { orka_pthread_cond_init(nullptr); }},
    {"cond_destroy", "orka_pthread_cond_destroy_actual", "cond != ((void *)0)",
     [](Objects &) { orka_pthread_cond_destroy(nullptr); }},
    {"cond_wait_cond", "orka_pthread_cond_wait_actual", "cond != ((void *)0)",
     [](Objects &o) { orka_pthread_cond_wait(nullptr, &o.mutex); }},
    {"cond_wait_mutex", "orka_pthread_cond_wait_actual", "mutex != ((void *)0)",
     [](Objects &o) { orka_pthread_cond_wait(&o.cond, nullptr); }},
    {"cond_wait_both", "orka_pthread_cond_wait_actual", "cond != ((void *)0)",
     [](Objects &) { orka_pthread_cond_wait_or_die(nullptr, nullptr); }},
    {"cond_broadcast", "orka_pthread_cond_broadcast_actual", "cond != ((void *)0)",
     [](Objects &) { orka_pthread_cond_broadcast(nullptr); }},
    {"cond_signal", "orka_pthread_cond_signal_actual", "cond != ((void *)0)",
     [](Objects &) { orka_pthread_cond_signal(nullptr); }},
};

class NullArgument : public HarnessTest, public testing::WithParamInterface<NullObject> {};

TEST_P(NullArgument, Aborts)
{
    const Ending ending = end_of([](Kernel &) {
        Objects objects;
        GetParam().call(objects);
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_pthread.cpp", GetParam().core, GetParam().expression),
        "");
}

INSTANTIATE_TEST_SUITE_P(Threads, NullArgument, testing::ValuesIn(null_objects),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(Pthread, DetachingAndSchedulingDoNotCheckTheThread)
{
    for (auto *call : {+[](Kernel &) { orka_pthread_detach(nullptr); },
                       +[](Kernel &) { orka_pthread_setschedparam(nullptr, SCHED_OTHER, 0); }}) {
        const Ending ending = end_of(call);
        EXPECT_EQ(ending.error.find("Assertion"), std::string::npos) << ending.error;
        EXPECT_NE(ending.status, 0);
    }
}
