/* The reader-writer mutex: its texts and failures, its policy, and its life. */
#include "orka_pthread.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <thread>
#include <vector>

#include "common/orka_pthread_internal.h"
#include "support/child.h"
#include "support/harness.h"

using namespace orka_test;

namespace {

constexpr const char *source = "src/common/orka_pthread.cpp";

std::string word(const void *address)
{
    char text[16];
    snprintf(text, sizeof text, "[0x%08X]", static_cast<unsigned>(reinterpret_cast<uintptr_t>(address)));
    return text;
}

/* A traced line of "worker" in line 42 about an object and its record. */
std::string traced(const std::string &what, const orka_rdwr_mutex_t &lock, const std::string &end = ".\n")
{
    return "worker():[42] " + what + " " + word(&lock) + " at " + word(lock) + end;
}

/* Waits for what another thread is about to do. */
void wait_until(const std::function<bool()> &happened)
{
    while (!happened())
        sched_yield();
}

uint32_t readers_waiting(orka_rdwr_mutex_t lock)
{
    return lock->readers_waiting;
}

uint32_t writers_waiting(orka_rdwr_mutex_t lock)
{
    return lock->writers_waiting;
}

class RdwrMutex : public HarnessTest {
  protected:
    void SetUp() override { ASSERT_EQ(orka_pthread_rdwr_mutex_init(&lock), ORKA_STATUS_SUCCESS); }

    void TearDown() override
    {
        EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(&lock), ORKA_STATUS_SUCCESS);
        HarnessTest::TearDown();
    }

    std::vector<uint32_t> counts() const
    {
        return {lock->readers_reading, lock->readers_waiting, lock->writer_writing, lock->writers_waiting};
    }

    orka_rdwr_mutex_t lock = nullptr;
};

/* One of the four operations, in its four forms. */
struct Operation {
    const char *name;
    const char *side;
    const char *before; /* "Locking" ... */
    const char *after;
    bool unlocks;
    orka_status_t (*take)(orka_rdwr_mutex_t *); /* what must come before an unlocking */
    orka_status_t (*give)(orka_rdwr_mutex_t *);
    orka_status_t (*plain)(orka_rdwr_mutex_t *);
    orka_status_t (*debug)(orka_rdwr_mutex_t *, const char *, int);
    orka_status_t (*or_die)(orka_rdwr_mutex_t *);
    orka_status_t (*or_die_debug)(orka_rdwr_mutex_t *, const char *, int);

    friend void PrintTo(const Operation &operation, std::ostream *stream) { *stream << operation.name; }
};

#define ORKA_FORMS(operation)                                                                                \
    orka_pthread_rdwr_mutex_##operation, orka_pthread_rdwr_mutex_##operation##_debug,                        \
        orka_pthread_rdwr_mutex_##operation##_or_die, orka_pthread_rdwr_mutex_##operation##_or_die_debug

const Operation operations[] = {
    {"rlock", "Reading", "Locking", "Locked", false, orka_pthread_rdwr_mutex_rlock,
     orka_pthread_rdwr_mutex_runlock, ORKA_FORMS(rlock)},
    {"runlock", "Reading", "UnLocking", "UnLocked", true, orka_pthread_rdwr_mutex_rlock,
     orka_pthread_rdwr_mutex_runlock, ORKA_FORMS(runlock)},
    {"wlock", "Writing", "Locking", "Locked", false, orka_pthread_rdwr_mutex_wlock,
     orka_pthread_rdwr_mutex_wunlock, ORKA_FORMS(wlock)},
    {"wunlock", "Writing", "UnLocking", "UnLocked", true, orka_pthread_rdwr_mutex_wlock,
     orka_pthread_rdwr_mutex_wunlock, ORKA_FORMS(wunlock)},
};

class RdwrOperation : public RdwrMutex, public testing::WithParamInterface<Operation> {
  protected:
    const Operation &operation() const { return GetParam(); }

    void prepare()
    {
        if (operation().unlocks) {
            EXPECT_EQ(operation().take(&lock), ORKA_STATUS_SUCCESS);
        }
    }

    void finish()
    {
        if (!operation().unlocks) {
            EXPECT_EQ(operation().give(&lock), ORKA_STATUS_SUCCESS);
        }
        EXPECT_EQ(counts(), (std::vector<uint32_t>{0, 0, 0, 0}));
    }

    std::string line(const std::string &what)
    {
        return traced(what, lock, std::string(" for ") + operation().side + ".\n");
    }

    std::string steps()
    {
        return line(operation().before + std::string(" RDWR Mutex")) +
               line(operation().after + std::string(" RDWR Mutex"));
    }
};

TEST_P(RdwrOperation, SucceedsSilently)
{
    prepare();
    EXPECT_EQ(operation().plain(&lock), ORKA_STATUS_SUCCESS);
    finish();
}

TEST_P(RdwrOperation, PrintsBothItsStepsWhenTraced)
{
    prepare();
    EXPECT_EQ(operation().debug(&lock, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), steps());
    finish();
}

TEST_P(RdwrOperation, OrDieSucceedsSilently)
{
    prepare();
    EXPECT_EQ(operation().or_die(&lock), ORKA_STATUS_SUCCESS);
    finish();
}

TEST_P(RdwrOperation, OrDiePrintsBothItsStepsWhenTraced)
{
    prepare();
    EXPECT_EQ(operation().or_die_debug(&lock, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), steps());
    finish();
}

TEST_P(RdwrOperation, RefusesWhatIsNullSilently)
{
    orka_rdwr_mutex_t none = nullptr;
    EXPECT_EQ(operation().debug(nullptr, "worker", 42), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(operation().debug(&none, "worker", 42), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(operation().plain(&none), ORKA_STATUS_NULL_POINTER);
}

TEST_P(RdwrOperation, RefusesWhatIsNotInitialisedSilently)
{
    for (uint32_t *field :
         {&lock->magic, &lock->initialized, &lock->mutex_initialized, &lock->cond_initialized}) {
        const uint32_t good = *field;
        *field = good + 1;
        EXPECT_EQ(operation().debug(&lock, "worker", 42), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(operation().plain(&lock), ORKA_STATUS_INITIALIZATION);
        *field = good;
    }
}

TEST_P(RdwrOperation, OrDieEndsTheProcessWithOneTextForAll)
{
    Ending ending = end_of([](Kernel &) {
        orka_rdwr_mutex_t none = nullptr;
        GetParam().or_die(&none);
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, "");
    EXPECT_TRUE(ending.output.starts_with("():[-1] Fatal Mutex UnLock Error [0x")) << ending.output;
    EXPECT_TRUE(ending.output.ends_with(std::string("] at [0x00000000] for ") + operation().side + ".\n"))
        << ending.output;
}

TEST_P(RdwrOperation, OrDieNamesItsCallerWhenTraced)
{
    Ending ending = end_of([this](Kernel &) {
        lock->initialized = 0;
        operation().or_die_debug(&lock, "worker", 42);
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, line("Fatal Mutex UnLock Error"));
}

TEST_P(RdwrOperation, OrDieNamesNobodyForANullObject)
{
    Ending ending = end_of([this](Kernel &) { operation().or_die(nullptr); });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output,
              std::string("():[-1] Fatal Mutex UnLock Error [0x00000000] at [0x00000000] for ") +
                  operation().side + ".\n");
}

/* Locking the record's mutex is not checked: the call goes on without it. */
TEST_P(RdwrOperation, GoesOnWhenTheMutexIsNotLocked)
{
    prepare();
    kernel.fail(Fn::mutex_lock, {.result = EDEADLK});
    kernel.fail(Fn::mutex_unlock, {.result = 0});
    EXPECT_EQ(operation().debug(&lock, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), line(operation().before + std::string(" RDWR Mutex")) +
                                     line("Error Locking RDWR Mutex").append("\tERROR(MUTEX)\n") +
                                     line(operation().after + std::string(" RDWR Mutex")));
    finish();
}

TEST_P(RdwrOperation, MindsAMutexThatIsNotUnlockedWhenUnlockingAlone)
{
    prepare();
    kernel.fail(Fn::mutex_unlock, {.result = EPERM});
    EXPECT_EQ(operation().debug(&lock, "worker", 42),
              operation().unlocks ? ORKA_STATUS_MUTEX : ORKA_STATUS_SUCCESS);
    const std::string steps_before = line(operation().before + std::string(" RDWR Mutex")) +
                                     line("Error UnLocking RDWR Mutex").append("\tERROR(MUTEX)\n");
    EXPECT_EQ(log.take_output(),
              operation().unlocks ? steps_before : steps_before + line("Locked RDWR Mutex"));
    pthread_mutex_unlock(&lock->mutex);
    finish();
}

TEST_P(RdwrOperation, IsSilentOfFailuresUnlessTraced)
{
    prepare();
    kernel.fail(Fn::mutex_unlock, {.result = EPERM});
    EXPECT_EQ(operation().plain(&lock), operation().unlocks ? ORKA_STATUS_MUTEX : ORKA_STATUS_SUCCESS);
    pthread_mutex_unlock(&lock->mutex);
    finish();
}

/* The object is looked at anew before the record is unlocked, which it then is not. */
TEST_P(RdwrOperation, LeavesARecordLockedThatBecameInvalidMeanwhile)
{
    prepare();
    kernel.watch(Fn::mutex_unlock);
    kernel.fail(Fn::mutex_lock, {.result = 0, .meanwhile = [this] { lock->initialized = 0; }});
    EXPECT_EQ(operation().debug(&lock, "worker", 42),
              operation().unlocks ? ORKA_STATUS_INITIALIZATION : ORKA_STATUS_SUCCESS);
    lock->initialized = 1;
    for (const Call &call : kernel.calls(Fn::mutex_unlock))
        EXPECT_NE(call.argument, &lock->mutex);
    const std::string steps_before = line(operation().before + std::string(" RDWR Mutex"));
    EXPECT_EQ(log.take_output(),
              operation().unlocks ? steps_before : steps_before + line("Locked RDWR Mutex"));
    finish();
}

TEST_P(RdwrOperation, LooksForTheRecordAnewBeforeUnlockingIt)
{
    prepare();
    const orka_rdwr_mutex_t record = lock;
    kernel.fail(Fn::mutex_lock, {.result = 0, .meanwhile = [this] { lock = nullptr; }});
    EXPECT_EQ(operation().plain(&lock), operation().unlocks ? ORKA_STATUS_NULL_POINTER : ORKA_STATUS_SUCCESS);
    lock = record;
    finish();
}

INSTANTIATE_TEST_SUITE_P(Operations, RdwrOperation, testing::ValuesIn(operations),
                         [](const testing::TestParamInfo<Operation> &info) {
                             return std::string(info.param.name);
                         });

/* Waiting that fails */

TEST_F(RdwrMutex, AReaderWhoseWaitFailsIsGone)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    kernel.fail(Fn::cond_wait, {.result = EINVAL});
    EXPECT_EQ(orka_pthread_rdwr_mutex_rlock_debug(&lock, "worker", 42), ORKA_STATUS_MUTEX);
    EXPECT_EQ(log.take_output(),
              traced("Locking RDWR Mutex", lock, " for Reading.\n") +
                  traced("Error Waiting RDWR Mutex Condition", lock, " for Reading.\n\tERROR(MUTEX)\n"));
    EXPECT_EQ(counts(), (std::vector<uint32_t>{0, 0, 1, 0}));
    EXPECT_EQ(orka_pthread_rdwr_mutex_wunlock(&lock), ORKA_STATUS_SUCCESS);
}

TEST_F(RdwrMutex, AWriterWhoseWaitFailsIsGone)
{
    orka_pthread_rdwr_mutex_rlock(&lock);
    kernel.fail(Fn::cond_wait, {.result = EINVAL});
    EXPECT_EQ(orka_pthread_rdwr_mutex_wlock_debug(&lock, "worker", 42), ORKA_STATUS_MUTEX);
    EXPECT_EQ(log.take_output(),
              traced("Locking RDWR Mutex", lock, " for Writing.\n") +
                  traced("Error Waiting RDWR Mutex Condition", lock, " for Writing.\n\tERROR(MUTEX)\n"));
    EXPECT_EQ(counts(), (std::vector<uint32_t>{1, 0, 0, 0}));
    EXPECT_EQ(orka_pthread_rdwr_mutex_runlock(&lock), ORKA_STATUS_SUCCESS);
}

TEST_F(RdwrMutex, AWaitIsMadeOnTheRecordsOwnPair)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    kernel.watch(Fn::cond_wait);
    kernel.watch(Fn::mutex_unlock);
    kernel.fail(Fn::cond_wait, {.result = EINVAL});
    EXPECT_EQ(orka_pthread_rdwr_mutex_rlock(&lock), ORKA_STATUS_MUTEX);
    EXPECT_EQ(kernel.calls(Fn::cond_wait).at(0).argument, &lock->cond);
    EXPECT_EQ(kernel.calls(Fn::mutex_unlock).at(0).argument, &lock->mutex);
    orka_pthread_rdwr_mutex_wunlock(&lock);
}

/* The record is looked at again before every wait, and before it is unlocked, which it then is not. */
TEST_F(RdwrMutex, ARecordThatBecomesInvalidEndsAWaitSilently)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    std::thread reader([this] {
        EXPECT_EQ(orka_pthread_rdwr_mutex_rlock_debug(&lock, "worker", 42), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(counts(), (std::vector<uint32_t>{0, 0, 1, 0}));
        lock->initialized = 1;
        pthread_mutex_unlock(&lock->mutex);
    });
    wait_until([this] { return readers_waiting(lock) == 1; });
    pthread_mutex_lock(&lock->mutex);
    lock->initialized = 0;
    pthread_cond_broadcast(&lock->cond);
    pthread_mutex_unlock(&lock->mutex);
    reader.join();
    EXPECT_EQ(log.take_output(), traced("Locking RDWR Mutex", lock, " for Reading.\n"));
    EXPECT_EQ(orka_pthread_rdwr_mutex_wunlock(&lock), ORKA_STATUS_SUCCESS);
}

TEST_F(RdwrMutex, ARecordThatBecomesInvalidDuringABroadcastIsNotUnlocked)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    kernel.fail(Fn::cond_broadcast, {.result = 0, .meanwhile = [this] { lock->cond_initialized = 0; }});
    EXPECT_EQ(orka_pthread_rdwr_mutex_wunlock(&lock), ORKA_STATUS_INITIALIZATION);
    lock->cond_initialized = 1;
    EXPECT_EQ(pthread_mutex_trylock(&lock->mutex), EBUSY);
    pthread_mutex_unlock(&lock->mutex);
}

TEST_F(RdwrMutex, ABroadcastThatFailsIsTracedAndPassedOver)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    kernel.fail(Fn::cond_broadcast, {.result = EINVAL});
    EXPECT_EQ(orka_pthread_rdwr_mutex_wunlock_debug(&lock, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(),
              traced("UnLocking RDWR Mutex", lock, " for Writing.\n") +
                  traced("Error Broadcasting RDWR Mutex Condition", lock, " for Writing.\n\tERROR(MUTEX)\n") +
                  traced("UnLocked RDWR Mutex", lock, " for Writing.\n"));
}

/* Policy */

TEST_F(RdwrMutex, ReadersReadTogetherAndTheLastOneBroadcasts)
{
    orka_pthread_rdwr_mutex_rlock(&lock);
    orka_pthread_rdwr_mutex_rlock(&lock);
    EXPECT_EQ(counts(), (std::vector<uint32_t>{2, 0, 0, 0}));
    kernel.watch(Fn::cond_broadcast);
    orka_pthread_rdwr_mutex_runlock(&lock);
    EXPECT_TRUE(kernel.calls(Fn::cond_broadcast).empty());
    orka_pthread_rdwr_mutex_runlock(&lock);
    EXPECT_EQ(kernel.calls(Fn::cond_broadcast).size(), 1u);
    EXPECT_EQ(kernel.calls(Fn::cond_broadcast).at(0).argument, &lock->cond);
}

TEST_F(RdwrMutex, EveryWritersUnlockBroadcasts)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    kernel.watch(Fn::cond_broadcast);
    orka_pthread_rdwr_mutex_wunlock(&lock);
    EXPECT_EQ(kernel.calls(Fn::cond_broadcast).size(), 1u);
}

/* Threads that note the order in which they get the lock. */
class RdwrOrder : public RdwrMutex {
  protected:
    void start_reader()
    {
        threads.emplace_back([this] {
            orka_pthread_rdwr_mutex_rlock(&lock);
            order[taken++] = 'r';
            orka_pthread_rdwr_mutex_runlock(&lock);
        });
    }

    void start_writer()
    {
        threads.emplace_back([this] {
            orka_pthread_rdwr_mutex_wlock(&lock);
            order[taken++] = 'w';
            orka_pthread_rdwr_mutex_wunlock(&lock);
        });
    }

    std::string order_of_all()
    {
        for (std::thread &thread : threads)
            thread.join();
        return {order, static_cast<size_t>(taken.load())};
    }

    char order[8] = {};
    std::atomic<int> taken = 0;
    std::vector<std::thread> threads;
};

TEST_F(RdwrOrder, AReaderWaitsBehindAWriterThatWaitsForReaders)
{
    orka_pthread_rdwr_mutex_rlock(&lock);
    start_writer();
    wait_until([this] { return writers_waiting(lock) == 1; });
    start_reader();
    wait_until([this] { return readers_waiting(lock) == 1; });
    EXPECT_EQ(counts(), (std::vector<uint32_t>{1, 1, 0, 1}));
    orka_pthread_rdwr_mutex_runlock(&lock);
    EXPECT_EQ(order_of_all(), "wr");
}

TEST_F(RdwrOrder, AllWritersThatWaitComeBeforeAReader)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    start_reader();
    wait_until([this] { return readers_waiting(lock) == 1; });
    start_writer();
    start_writer();
    wait_until([this] { return writers_waiting(lock) == 2; });
    EXPECT_EQ(counts(), (std::vector<uint32_t>{0, 1, 1, 2}));
    orka_pthread_rdwr_mutex_wunlock(&lock);
    EXPECT_EQ(order_of_all(), "wwr");
}

TEST_F(RdwrOrder, AWriterWaitsForTheLastOfTheReaders)
{
    orka_pthread_rdwr_mutex_rlock(&lock);
    orka_pthread_rdwr_mutex_rlock(&lock);
    start_writer();
    wait_until([this] { return writers_waiting(lock) == 1; });
    orka_pthread_rdwr_mutex_runlock(&lock);
    EXPECT_EQ(counts(), (std::vector<uint32_t>{1, 0, 0, 1}));
    EXPECT_EQ(taken, 0);
    orka_pthread_rdwr_mutex_runlock(&lock);
    EXPECT_EQ(order_of_all(), "w");
}

TEST_F(RdwrMutex, KeepsWritersFromEverybodyAndLosesNoCount)
{
    constexpr int rounds = 300;
    int value = 0; /* plain on purpose: the lock alone keeps it whole */
    std::atomic<int> torn = 0;
    std::vector<std::thread> threads;

    for (int writer = 0; writer < 2; writer++) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; round++) {
                orka_pthread_rdwr_mutex_wlock_or_die(&lock);
                value++;
                sched_yield();
                value++;
                orka_pthread_rdwr_mutex_wunlock_or_die(&lock);
            }
        });
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; round++) {
                orka_pthread_rdwr_mutex_rlock_or_die(&lock);
                torn += value % 2;
                orka_pthread_rdwr_mutex_runlock_or_die(&lock);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(value, 4 * rounds);
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(counts(), (std::vector<uint32_t>{0, 0, 0, 0}));
}

/* Counts that cannot be */

struct Misuse {
    const char *name;
    const char *function;
    const char *expression;
    std::function<void(orka_rdwr_mutex_t &)> act;

    friend void PrintTo(const Misuse &misuse, std::ostream *stream) { *stream << misuse.name; }
};

/* Waits while somebody takes the caller off the count of those who wait. */
void wait_uncounted(orka_rdwr_mutex_t &lock, std::atomic<uint32_t> &waiting,
                    orka_status_t (*take)(orka_rdwr_mutex_t *))
{
    std::thread other([&] {
        wait_until([&] { return waiting == 1; });
        pthread_mutex_lock(&lock->mutex);
        waiting = 0;
        lock->readers_reading = 0;
        lock->writer_writing = 0;
        pthread_cond_broadcast(&lock->cond);
        pthread_mutex_unlock(&lock->mutex);
    });
    take(&lock);
    other.join();
}

const Misuse misuses[] = {
    {"runlock_without_rlock", "orka_pthread_rdwr_mutex_runlock_actual", "tmutex->readers_reading > 0",
     [](orka_rdwr_mutex_t &lock) { orka_pthread_rdwr_mutex_runlock(&lock); }},
    {"wunlock_without_wlock", "orka_pthread_rdwr_mutex_wunlock_actual", "tmutex->writer_writing == 1",
     [](orka_rdwr_mutex_t &lock) { orka_pthread_rdwr_mutex_wunlock(&lock); }},
    {"too_many_waiting_readers", "orka_pthread_rdwr_mutex_rlock_actual",
     "tmutex->readers_waiting + 1 > tmutex->readers_waiting",
     [](orka_rdwr_mutex_t &lock) {
         lock->readers_waiting = UINT32_MAX;
         orka_pthread_rdwr_mutex_rlock(&lock);
     }},
    {"too_many_readers", "orka_pthread_rdwr_mutex_rlock_actual",
     "tmutex->readers_reading + 1 > tmutex->readers_reading",
     [](orka_rdwr_mutex_t &lock) {
         lock->readers_reading = UINT32_MAX;
         orka_pthread_rdwr_mutex_rlock(&lock);
     }},
    {"too_many_waiting_writers", "orka_pthread_rdwr_mutex_wlock_actual",
     "tmutex->writers_waiting + 1 > tmutex->writers_waiting",
     [](orka_rdwr_mutex_t &lock) {
         lock->writers_waiting = UINT32_MAX;
         orka_pthread_rdwr_mutex_wlock(&lock);
     }},
    {"reader_no_longer_counted", "orka_pthread_rdwr_mutex_rlock_actual", "tmutex->readers_waiting > 0",
     [](orka_rdwr_mutex_t &lock) {
         orka_pthread_rdwr_mutex_wlock(&lock);
         wait_uncounted(lock, lock->readers_waiting, orka_pthread_rdwr_mutex_rlock);
     }},
    {"writer_no_longer_counted", "orka_pthread_rdwr_mutex_wlock_actual", "tmutex->writers_waiting > 0",
     [](orka_rdwr_mutex_t &lock) {
         orka_pthread_rdwr_mutex_rlock(&lock);
         wait_uncounted(lock, lock->writers_waiting, orka_pthread_rdwr_mutex_wlock);
     }},
    {"init_of_null", "orka_pthread_rdwr_mutex_init_actual", "mutex != ((void *)0)",
     [](orka_rdwr_mutex_t &) { orka_pthread_rdwr_mutex_init(nullptr); }},
    {"status_on_null", "orka_pthread_rdwr_mutex_fstatus", "file != ((void *)0)",
     [](orka_rdwr_mutex_t &lock) { orka_pthread_rdwr_mutex_fstatus(nullptr, &lock); }},
};

class RdwrMisuse : public RdwrMutex, public testing::WithParamInterface<Misuse> {};

TEST_P(RdwrMisuse, Aborts)
{
    Ending ending = end_of([this](Kernel &) { GetParam().act(lock); });
    EXPECT_EQ(assertion_complaint(ending, source, GetParam().function, GetParam().expression), "");
}

INSTANTIATE_TEST_SUITE_P(Ways, RdwrMisuse, testing::ValuesIn(misuses),
                         [](const testing::TestParamInfo<Misuse> &info) {
                             return std::string(info.param.name);
                         });

/* Life */

class RdwrLife : public HarnessTest {
  protected:
    void expect_freed_zeroed()
    {
        const std::vector<uint8_t> bytes = kernel.freed_bytes();
        EXPECT_EQ(bytes, std::vector<uint8_t>(sizeof(orka_rdwr_record)));
    }

    /* Initialises with these calls failing; the object is left as it was. */
    void expect_not_initialised(std::initializer_list<Fn> failing, const std::vector<Fn> &destroyed)
    {
        orka_rdwr_mutex_t before = lock;
        kernel.watch_block(sizeof(orka_rdwr_record));
        kernel.watch(Fn::mutex_destroy);
        kernel.watch(Fn::cond_destroy);
        for (Fn fn : failing)
            kernel.fail(fn, {.result = EAGAIN});
        EXPECT_EQ(orka_pthread_rdwr_mutex_init_debug(&lock, "worker", 42), ORKA_STATUS_MUTEX);
        EXPECT_EQ(log.take_output(), "worker():[42] Initializing RDWR Mutex " + word(&lock) +
                                         ".\nworker():[42] Error Initializing RDWR Mutex " + word(&lock) +
                                         ".\n");
        EXPECT_EQ(lock, before);
        expect_freed_zeroed();
        std::vector<Fn> seen;
        for (const Call &call : kernel.calls({Fn::mutex_destroy, Fn::cond_destroy}))
            seen.push_back(call.fn);
        EXPECT_EQ(seen, destroyed);
    }

    static std::string destroying_line(const char *function)
    {
        return error_line(function, "ORKA_PTHREAD: Error Destroying Mutex.");
    }

    orka_rdwr_mutex_t lock = nullptr;
};

TEST_F(RdwrLife, BeginsWithAValidRecord)
{
    EXPECT_EQ(orka_pthread_rdwr_mutex_init_debug(&lock, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(), "worker():[42] Initializing RDWR Mutex " + word(&lock) + ".\n" +
                                     traced("Initialized RDWR Mutex", lock));
    EXPECT_EQ(memcmp(lock, "RWDR", 4), 0);
    EXPECT_EQ(lock->initialized, 1u);
    EXPECT_EQ(lock->mutex_initialized, 1u);
    EXPECT_EQ(lock->cond_initialized, 1u);
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(&lock), ORKA_STATUS_SUCCESS);
}

TEST_F(RdwrLife, EndsZeroedWhileTheObjectStillShowsTheRecord)
{
    kernel.watch_block(sizeof(orka_rdwr_record));
    orka_pthread_rdwr_mutex_init(&lock);
    orka_rdwr_mutex_t record = lock;
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy_debug(&lock, "worker", 42), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(),
              traced("Destroying RDWR Mutex", lock) + traced("Destroyed RDWR Mutex", lock));
    EXPECT_EQ(lock, record);
    expect_freed_zeroed();
}

TEST_F(RdwrLife, DestroysItsMutexAndItsConditionVariable)
{
    orka_pthread_rdwr_mutex_init(&lock);
    const void *mutex = &lock->mutex;
    const void *cond = &lock->cond;
    kernel.watch(Fn::mutex_destroy);
    kernel.watch(Fn::cond_destroy);
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(&lock), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(kernel.calls(Fn::mutex_destroy).at(0).argument, mutex);
    EXPECT_EQ(kernel.calls(Fn::cond_destroy).at(0).argument, cond);
}

TEST_F(RdwrLife, EndsWithSuccessThoughItsPartsAreNotDestroyed)
{
    orka_pthread_rdwr_mutex_init(&lock);
    kernel.fail(Fn::mutex_destroy, {.result = EBUSY});
    kernel.fail(Fn::cond_destroy, {.result = EBUSY});
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(&lock), ORKA_STATUS_SUCCESS);
    const std::string line = destroying_line("orka_pthread_rdwr_mutex_destroy_actual");
    EXPECT_EQ(log.take_error(), line + line);
}

TEST_F(RdwrLife, DoesNotEndTwice)
{
    orka_pthread_rdwr_mutex_init(&lock);
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(&lock), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy_debug(&lock, "worker", 42), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(),
              error_line("orka_pthread_rdwr_mutex_destroy_actual", "ORKA_PTHREAD: Invalid RDWR Mutex."));
}

TEST_F(RdwrLife, DoesNotEndBeforeItBegan)
{
    const std::string line =
        error_line("orka_pthread_rdwr_mutex_destroy_actual", "ORKA_PTHREAD: Invalid RDWR Mutex.");
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(&lock), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), line);
    EXPECT_EQ(orka_pthread_rdwr_mutex_destroy(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), line);
}

TEST_F(RdwrLife, DoesNotBeginWithoutMemory)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(orka_pthread_rdwr_mutex_init(&lock), ORKA_STATUS_INSUFFICIENT_MEMORY);
    EXPECT_EQ(lock, nullptr);
}

TEST_F(RdwrLife, DoesNotBeginWithoutMemoryAndSaysNothingMoreWhenTraced)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(orka_pthread_rdwr_mutex_init_debug(&lock, "worker", 42), ORKA_STATUS_INSUFFICIENT_MEMORY);
    EXPECT_EQ(log.take_output(), "worker():[42] Initializing RDWR Mutex " + word(&lock) + ".\n");
}

TEST_F(RdwrLife, SaysNothingOfItsPartsUnlessTraced)
{
    kernel.fail(Fn::cond_init, {.result = EAGAIN});
    EXPECT_EQ(orka_pthread_rdwr_mutex_init(&lock), ORKA_STATUS_MUTEX);
    EXPECT_EQ(lock, nullptr);
}

TEST_F(RdwrLife, DestroysAMutexThatFailedAndLeavesTheConditionVariable)
{
    expect_not_initialised({Fn::mutex_init}, {Fn::mutex_destroy});
}

TEST_F(RdwrLife, DestroysAConditionVariableThatFailedAndLeavesTheMutex)
{
    expect_not_initialised({Fn::cond_init}, {Fn::cond_destroy});
}

TEST_F(RdwrLife, DestroysBothThatFailed)
{
    expect_not_initialised({Fn::mutex_init, Fn::cond_init}, {Fn::mutex_destroy, Fn::cond_destroy});
}

TEST_F(RdwrLife, ReportsWhatCannotBeDestroyedAfterItFailed)
{
    kernel.fail(Fn::mutex_destroy, {.result = EBUSY});
    kernel.fail(Fn::cond_destroy, {.result = EBUSY});
    expect_not_initialised({Fn::mutex_init, Fn::cond_init}, {Fn::mutex_destroy, Fn::cond_destroy});
    const std::string line = destroying_line("orka_pthread_rdwr_mutex_init_actual");
    EXPECT_EQ(log.take_error(), line + line);
}

/* Status */

std::string status_text(const orka_rdwr_mutex_t &lock, const std::string &counts)
{
    return "RDWR Mutex " + word(&lock) + " at " + word(lock) + ":\n" +
           "\tInitialized      :Yes\n\tMutex Initialized :Yes\n\tCond Initialized  :Yes\n" + counts;
}

TEST_F(RdwrMutex, ShowsWhoHasItAndWhoWaits)
{
    lock->readers_reading = 3;
    lock->readers_waiting = 1;
    lock->writer_writing = 0;
    lock->writers_waiting = 4000000000u;
    EXPECT_EQ(orka_pthread_rdwr_mutex_status(&lock), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_output(),
              status_text(lock, "\tReaders Reading   :3\n\tReaders Waiting   :1\n"
                                "\tWriters Writing   :0\n\tWriters Waiting   :-294967296\n"));
}

TEST_F(RdwrMutex, ShowsItselfOnAnyStreamAndFlushesIt)
{
    orka_pthread_rdwr_mutex_wlock(&lock);
    EXPECT_EQ(orka_pthread_rdwr_mutex_fstatus(stderr, &lock), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_error(), status_text(lock, "\tReaders Reading   :0\n\tReaders Waiting   :0\n"
                                                  "\tWriters Writing   :1\n\tWriters Waiting   :0\n"));
    orka_pthread_rdwr_mutex_wunlock(&lock);
}

TEST_F(RdwrMutex, ShowsItselfWithoutBeingLocked)
{
    kernel.watch(Fn::mutex_lock);
    EXPECT_EQ(orka_pthread_rdwr_mutex_status(&lock), ORKA_STATUS_SUCCESS);
    for (const Call &call : kernel.calls(Fn::mutex_lock))
        EXPECT_NE(call.argument, &lock->mutex);
    log.take_output();
}

TEST_F(RdwrMutex, ShowsItselfWhileOthersUseIt)
{
    std::atomic<bool> stop = false;
    std::thread user([&] {
        while (!stop) {
            orka_pthread_rdwr_mutex_wlock(&lock);
            orka_pthread_rdwr_mutex_wunlock(&lock);
        }
    });
    for (int round = 0; round < 50; round++)
        EXPECT_EQ(orka_pthread_rdwr_mutex_status(&lock), ORKA_STATUS_SUCCESS);
    stop = true;
    user.join();
    log.take_output();
}

TEST_F(RdwrLife, ShowsNothingBeforeAndAfter)
{
    EXPECT_EQ(orka_pthread_rdwr_mutex_status(&lock), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_output(), "RDWR Mutex Invalid\n");
    EXPECT_EQ(orka_pthread_rdwr_mutex_status(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_output(), "RDWR Mutex Invalid\n");
    orka_pthread_rdwr_mutex_init(&lock);
    orka_pthread_rdwr_mutex_destroy(&lock);
    EXPECT_EQ(orka_pthread_rdwr_mutex_status(&lock), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_output(), "RDWR Mutex Invalid\n");
}

} // namespace
