/*
 * The list as a queue between threads: one enqueue and one dequeue, beside what else a program would take for
 * it. No thread waits for another here; the locks are taken all the same.
 */
#include <cstdint>
#include <deque>
#include <glib.h>
#include <mutex>
#include <pthread.h>
#include <thread>

#include "orka_llist.h"
#include "ratio_table.h"

/* So many values stay in the queue throughout. */
static constexpr uintptr_t resident = 8;

/* The least that such a queue can be: items from a free list, one mutex, and no checks. */
struct bare_item {
    bare_item *next;
    uintptr_t value;
};

struct bare_queue {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    bare_item items[64] = {};
    bare_item *unused = nullptr;
    bare_item *head = nullptr;
    bare_item *tail = nullptr;

    bare_queue()
    {
        for (bare_item &item : items) {
            item.next = unused;
            unused = &item;
        }
    }

    [[gnu::noinline]] void enqueue(uintptr_t value)
    {
        pthread_mutex_lock(&mutex);
        bare_item *item = unused;
        unused = item->next;
        *item = {.next = nullptr, .value = value};
        (tail != nullptr ? tail->next : head) = item;
        tail = item;
        pthread_mutex_unlock(&mutex);
    }

    [[gnu::noinline]] uintptr_t dequeue()
    {
        pthread_mutex_lock(&mutex);
        bare_item *item = head;
        head = item->next;
        if (head == nullptr)
            tail = nullptr;
        const uintptr_t value = item->value;
        item->next = unused;
        unused = item;
        pthread_mutex_unlock(&mutex);
        return value;
    }
};

struct standard_queue {
    std::mutex mutex;
    std::deque<uintptr_t> values;

    [[gnu::noinline]] void enqueue(uintptr_t value)
    {
        const std::lock_guard guard(mutex);
        values.push_back(value);
    }

    [[gnu::noinline]] uintptr_t dequeue()
    {
        const std::lock_guard guard(mutex);
        const uintptr_t value = values.front();
        values.pop_front();
        return value;
    }
};

struct glib_queue {
    GAsyncQueue *queue = g_async_queue_new();

    ~glib_queue() { g_async_queue_unref(queue); }
    void enqueue(uintptr_t value) { g_async_queue_push(queue, reinterpret_cast<gpointer>(value)); }
    uintptr_t dequeue() { return reinterpret_cast<uintptr_t>(g_async_queue_try_pop(queue)); }
};

struct orka_queue {
    orka_llist_t *list = orka_llist_init();

    ~orka_queue() { orka_llist_destroy(list); }
    void enqueue(uintptr_t value) { orka_llist_enqueue(list, value); }
    uintptr_t dequeue() { return orka_llist_dequeue(list); }
};

template <typename Queue>
static void pass_values(benchmark::State &state)
{
    Queue queue;
    uintptr_t value = 1;

    while (value <= resident)
        queue.enqueue(value++);
    for (auto _ : state) {
        queue.enqueue(value);
        if (queue.dequeue() != value - resident)
            state.SkipWithError("a value was lost");
        value++;
    }
}

static void library_list(benchmark::State &state)
{
    pass_values<orka_queue>(state);
}

static void bare_free_list(benchmark::State &state)
{
    pass_values<bare_queue>(state);
}

static void deque_and_mutex(benchmark::State &state)
{
    pass_values<standard_queue>(state);
}

static void g_async_queue(benchmark::State &state)
{
    pass_values<glib_queue>(state);
}

BENCHMARK(library_list);
BENCHMARK(bare_free_list);
BENCHMARK(deque_and_mutex);
BENCHMARK(g_async_queue);

int main(int argc, char **argv)
{
    static constexpr orka::bench::ratio_row rows[] = {
        {"library_list", "bare_free_list", 1.05},
        {"library_list", "deque_and_mutex", 0},
        {"library_list", "g_async_queue", 0.80},
    };

    /*
     * From its first thread on a process locks in earnest: before, libc's mutexes save themselves the
     * atomics.
     */
    std::thread([] {}).join();
    return orka::bench::run_and_compare(argc, argv, rows);
}
