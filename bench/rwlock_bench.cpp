/*
 * The reader-writer mutex beside what else a program would take for it: uncontended, shared by two threads,
 * and a writer's longest wait in a storm of readers.
 */
#include <algorithm>
#include <atomic>
#include <chrono>
#include <glib.h>
#include <pthread.h>
#include <shared_mutex>
#include <thread>

#include "orka_pthread.h"
#include "ratio_table.h"

struct library_lock {
    orka_rdwr_mutex_t lock = nullptr;

    library_lock() { orka_pthread_rdwr_mutex_init(&lock); }
    ~library_lock() { orka_pthread_rdwr_mutex_destroy(&lock); }
    void read_lock() { orka_pthread_rdwr_mutex_rlock(&lock); }
    void read_unlock() { orka_pthread_rdwr_mutex_runlock(&lock); }
    void write_lock() { orka_pthread_rdwr_mutex_wlock(&lock); }
    void write_unlock() { orka_pthread_rdwr_mutex_wunlock(&lock); }
};

/* The least that a lock of this policy can be: one mutex, one condition variable, and no checks. */
struct lock_in_place {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
    unsigned readers = 0;
    unsigned readers_waiting = 0;
    unsigned writers = 0;
    unsigned writers_waiting = 0;

    [[gnu::always_inline]] void read_lock_inline()
    {
        pthread_mutex_lock(&mutex);
        readers_waiting++;
        while (writers != 0 || writers_waiting != 0)
            pthread_cond_wait(&changed, &mutex);
        readers_waiting--;
        readers++;
        pthread_mutex_unlock(&mutex);
    }

    [[gnu::always_inline]] void read_unlock_inline()
    {
        pthread_mutex_lock(&mutex);
        if (--readers == 0)
            pthread_cond_broadcast(&changed);
        pthread_mutex_unlock(&mutex);
    }

    [[gnu::always_inline]] void write_lock_inline()
    {
        pthread_mutex_lock(&mutex);
        writers_waiting++;
        while (readers != 0 || writers != 0)
            pthread_cond_wait(&changed, &mutex);
        writers_waiting--;
        writers++;
        pthread_mutex_unlock(&mutex);
    }

    [[gnu::always_inline]] void write_unlock_inline()
    {
        pthread_mutex_lock(&mutex);
        writers--;
        pthread_cond_broadcast(&changed);
        pthread_mutex_unlock(&mutex);
    }

    [[gnu::noipa]] void read_lock() { read_lock_inline(); }
    [[gnu::noipa]] void read_unlock() { read_unlock_inline(); }
    [[gnu::noipa]] void write_lock() { write_lock_inline(); }
    [[gnu::noipa]] void write_unlock() { write_unlock_inline(); }
};

/*
 * The same behind one pointer, as the library's object is: an atomic operation makes the next load wait. Not
 * to be seen through by the compiler, which would pass the record itself.
 */
struct bare_lock {
    lock_in_place *record = new lock_in_place;

    bare_lock() = default;
    ~bare_lock() { delete record; }
    bare_lock(const bare_lock &) = delete;
    bare_lock &operator=(const bare_lock &) = delete;
    [[gnu::noipa]] void read_lock() { record->read_lock_inline(); }
    [[gnu::noipa]] void read_unlock() { record->read_unlock_inline(); }
    [[gnu::noipa]] void write_lock() { record->write_lock_inline(); }
    [[gnu::noipa]] void write_unlock() { record->write_unlock_inline(); }
};

/* libc's, with the policy that is closest: writers first. */
struct system_lock {
    pthread_rwlock_t lock;

    system_lock()
    {
        pthread_rwlockattr_t attributes;
        pthread_rwlockattr_init(&attributes);
        pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        pthread_rwlock_init(&lock, &attributes);
        pthread_rwlockattr_destroy(&attributes);
    }

    ~system_lock() { pthread_rwlock_destroy(&lock); }
    void read_lock() { pthread_rwlock_rdlock(&lock); }
    void read_unlock() { pthread_rwlock_unlock(&lock); }
    void write_lock() { pthread_rwlock_wrlock(&lock); }
    void write_unlock() { pthread_rwlock_unlock(&lock); }
};

struct standard_lock {
    std::shared_mutex lock;

    void read_lock() { lock.lock_shared(); }
    void read_unlock() { lock.unlock_shared(); }
    void write_lock() { lock.lock(); }
    void write_unlock() { lock.unlock(); }
};

struct glib_lock {
    GRWLock lock;

    glib_lock() { g_rw_lock_init(&lock); }
    ~glib_lock() { g_rw_lock_clear(&lock); }
    void read_lock() { g_rw_lock_reader_lock(&lock); }
    void read_unlock() { g_rw_lock_reader_unlock(&lock); }
    void write_lock() { g_rw_lock_writer_lock(&lock); }
    void write_unlock() { g_rw_lock_writer_unlock(&lock); }
};

/* One round: a read and a write, each locked and unlocked, with nobody else about. */
template <typename Lock>
static void uncontended(benchmark::State &state)
{
    Lock lock;

    for (auto _ : state) {
        lock.read_lock();
        lock.read_unlock();
        lock.write_lock();
        lock.write_unlock();
    }
}

/* What is guarded: a few words, so that holding the lock takes a moment. */
struct guarded_words {
    unsigned words[8] = {};

    [[gnu::noinline]] unsigned read() const
    {
        unsigned sum = 0;
        for (const unsigned &word : words)
            sum += word;
        return sum;
    }

    [[gnu::noinline]] void write()
    {
        for (unsigned &word : words)
            word++;
    }
};

/* One round of each thread: so many of a hundred accesses read. */
template <typename Lock, unsigned reads_of_hundred>
static void two_threads(benchmark::State &state)
{
    static Lock lock;
    static guarded_words words;
    unsigned turn = state.thread_index() == 0 ? 0 : 50;

    for (auto _ : state) {
        turn = (turn + 37) % 100;
        if (turn < reads_of_hundred) {
            lock.read_lock();
            benchmark::DoNotOptimize(words.read());
            lock.read_unlock();
        } else {
            lock.write_lock();
            words.write();
            lock.write_unlock();
        }
    }
}

/* Readers that come without a pause and hold the lock for some microseconds. */
template <typename Lock>
class reader_storm {
  public:
    explicit reader_storm(Lock &lock) : lock_(lock)
    {
        for (std::thread &reader : readers_)
            reader = std::thread([this] { read_until_told(); });
        while (reads_ < 100)
            std::this_thread::yield();
    }

    ~reader_storm()
    {
        stop_ = true;
        for (std::thread &reader : readers_)
            reader.join();
    }

    reader_storm(const reader_storm &) = delete;
    reader_storm &operator=(const reader_storm &) = delete;

  private:
    void read_until_told()
    {
        const guarded_words words;

        while (!stop_) {
            lock_.read_lock();
            for (int pass = 0; pass < 200; pass++)
                benchmark::DoNotOptimize(words.read());
            lock_.read_unlock();
            reads_++;
        }
    }

    Lock &lock_;
    std::atomic<bool> stop_ = false;
    std::atomic<unsigned> reads_ = 0;
    std::thread readers_[3];
};

/* One round: the longest of twenty waits of one writer, which pauses between them. */
template <typename Lock>
static void writer_in_storm(benchmark::State &state)
{
    using clock = std::chrono::steady_clock;
    Lock lock;
    reader_storm<Lock> storm(lock);

    for (auto _ : state) {
        clock::duration longest = {};
        for (int wait = 0; wait < 20; wait++) {
            const clock::time_point asked = clock::now();
            lock.write_lock();
            longest = std::max(longest, clock::now() - asked);
            lock.write_unlock();
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        state.SetIterationTime(std::chrono::duration<double>(longest).count());
    }
}

template <typename Lock>
static void add_benchmarks(const std::string &name)
{
    benchmark::RegisterBenchmark((name + "_alone").c_str(), uncontended<Lock>);
    benchmark::RegisterBenchmark((name + "_90_10").c_str(), two_threads<Lock, 90>)->Threads(2)->UseRealTime();
    benchmark::RegisterBenchmark((name + "_50_50").c_str(), two_threads<Lock, 50>)->Threads(2)->UseRealTime();
    benchmark::RegisterBenchmark((name + "_storm").c_str(), writer_in_storm<Lock>)
        ->Iterations(2)
        ->UseManualTime();
}

int main(int argc, char **argv)
{
    static constexpr orka::bench::ratio_row rows[] = {
        {"library_alone", "bare_alone", 1.10},  {"library_alone", "in_place_alone", 0},
        {"library_alone", "system_alone", 0},   {"library_alone", "standard_alone", 0},
        {"library_alone", "glib_alone", 0},     {"library_90_10", "bare_90_10", 0},
        {"library_90_10", "in_place_90_10", 0}, {"library_90_10", "system_90_10", 0},
        {"library_90_10", "standard_90_10", 0}, {"library_90_10", "glib_90_10", 0},
        {"library_50_50", "bare_50_50", 0},     {"library_50_50", "in_place_50_50", 0},
        {"library_50_50", "system_50_50", 0},   {"library_50_50", "standard_50_50", 0},
        {"library_50_50", "glib_50_50", 0},     {"library_storm", "bare_storm", 0},
        {"library_storm", "in_place_storm", 0}, {"library_storm", "system_storm", 1.00},
        {"library_storm", "standard_storm", 0}, {"library_storm", "glib_storm", 0},
    };

    add_benchmarks<library_lock>("library");
    add_benchmarks<bare_lock>("bare");
    add_benchmarks<lock_in_place>("in_place");
    add_benchmarks<system_lock>("system");
    add_benchmarks<standard_lock>("standard");
    add_benchmarks<glib_lock>("glib");

    /* From its first thread on a process locks in earnest. */
    std::thread([] {}).join();
    return orka::bench::run_and_compare(argc, argv, rows);
}
