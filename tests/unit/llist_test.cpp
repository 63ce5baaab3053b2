#include "orka_llist.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <numeric>
#include <thread>

#include "common/orka_llist_internal.h"
#include "support/child.h"
#include "support/harness.h"

using namespace orka_test;

using Values = std::vector<uintptr_t>;

static constexpr size_t block_size = 21 * 2 * sizeof(void *);

static int32_t by_value(uintptr_t value, uintptr_t key)
{
    return value == key ? 0 : value > key ? 1 : -1;
}

/* Compares as by_value does, and does not know what to do with 99. */
static int32_t not_with_99(uintptr_t value, uintptr_t key)
{
    return value == 99 ? 2 : by_value(value, key);
}

/* What the list holds, by its items; checks what always holds on the way. */
static Values values_of(const orka_llist_t *list)
{
    Values values;
    const orka_llist_item *last = nullptr;

    for (const orka_llist_item *item = list->head; item != nullptr; item = item->next) {
        values.push_back(item->data);
        last = item;
    }
    EXPECT_EQ(list->tail, last);
    EXPECT_EQ(list->count, values.size());
    return values;
}

static size_t count_blocks(const orka_llist_t *list)
{
    size_t count = 0;

    for (const orka_llist_block *block = list->blocks; block != nullptr; block = block->next)
        count++;
    return count;
}

static size_t count_scratch(const orka_llist_t *list)
{
    size_t count = 0;

    for (const orka_llist_item *item = list->scratch; item != nullptr; item = item->next)
        count++;
    return count;
}

class Llist : public HarnessTest {
  protected:
    Llist() : list(orka_llist_init()) {}

    void TearDown() override
    {
        EXPECT_EQ(orka_llist_destroy(list), ORKA_STATUS_SUCCESS);
        HarnessTest::TearDown();
    }

    void fill(const Values &values)
    {
        for (uintptr_t value : values)
            ASSERT_EQ(orka_llist_enqueue(list, value), ORKA_STATUS_SUCCESS);
    }

    void expect_no_cursor()
    {
        EXPECT_EQ(list->cursor, nullptr);
        EXPECT_EQ(list->cursor_index, 0u);
    }

    orka_llist_t *list;
};

/* Creation and destruction */

TEST_F(Llist, ANewListIsEmptyAndAlive)
{
    EXPECT_EQ(list->magic, 0x4C495354u);
    EXPECT_EQ(list->alive, 1u);
    EXPECT_EQ(orka_llist_size(list), 0u);
    EXPECT_EQ(values_of(list), Values{});
    EXPECT_EQ(list->scratch, nullptr);
    EXPECT_EQ(list->blocks, nullptr);
    expect_no_cursor();
}

TEST_F(Llist, CreationWithoutMemoryIsReported)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(orka_llist_init(), nullptr);
    EXPECT_EQ(log.take_error(),
              error_line("orka_llist_init", "ORKA_LLIST: Allocating Memory for List Handle.", ENOMEM));
}

TEST_F(Llist, CreationWithoutAMutexIsReportedAndLeavesNothing)
{
    kernel.watch_block(sizeof(orka_llist_t));
    kernel.fail(Fn::mutex_init, {.result = EAGAIN});
    EXPECT_EQ(orka_llist_init(), nullptr);
    EXPECT_TRUE(kernel.was_freed());
    EXPECT_EQ(log.take_error(), error_line("orka_llist_init", "ORKA_LLIST: Initializing Mutex."));
}

TEST_F(Llist, DestructionZeroesTheHandleBeforeItIsFreed)
{
    kernel.watch_block(sizeof(orka_llist_t));
    orka_llist_t *other = orka_llist_init();

    EXPECT_EQ(orka_llist_destroy(other), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(kernel.freed_bytes(), std::vector<uint8_t>(sizeof(orka_llist_t)));
}

TEST_F(Llist, DestructionZeroesABlockButForItsLastItem)
{
    orka_llist_t *other = orka_llist_init();

    kernel.watch_block(block_size);
    orka_llist_enqueue(other, 0xA5A5A5A5);
    EXPECT_EQ(orka_llist_destroy(other), ORKA_STATUS_SUCCESS);
    const std::vector<uint8_t> freed = kernel.freed_bytes();
    ASSERT_EQ(freed.size(), block_size);
    const size_t zeroed = 20 * 2 * sizeof(void *);
    EXPECT_TRUE(std::all_of(freed.begin(), freed.begin() + zeroed, [](uint8_t byte) { return byte == 0; }));
    EXPECT_TRUE(std::any_of(freed.begin() + zeroed, freed.end(), [](uint8_t byte) { return byte == 0xA5; }));
}

TEST_F(Llist, DestructionDestroysTheMutexAfterUnlockingIt)
{
    orka_llist_t *other = orka_llist_init();

    for (Fn fn : {Fn::mutex_lock, Fn::mutex_unlock, Fn::mutex_destroy})
        kernel.watch(fn);
    EXPECT_EQ(orka_llist_destroy(other), ORKA_STATUS_SUCCESS);
    const std::vector<Call> calls = kernel.calls({Fn::mutex_lock, Fn::mutex_unlock, Fn::mutex_destroy});
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].fn, Fn::mutex_lock);
    EXPECT_EQ(calls[1].fn, Fn::mutex_unlock);
    EXPECT_EQ(calls[2].fn, Fn::mutex_destroy);
}

TEST_F(Llist, DestructionTakesNoNoticeOfAMutexThatCannotBeDestroyed)
{
    kernel.watch_block(sizeof(orka_llist_t));
    orka_llist_t *other = orka_llist_init();

    kernel.fail(Fn::mutex_destroy, {.result = EBUSY});
    EXPECT_EQ(orka_llist_destroy(other), ORKA_STATUS_SUCCESS);
    EXPECT_TRUE(kernel.was_freed());
}

static Values released;

TEST_F(Llist, DestructionHandsEachValueOverInOrder)
{
    orka_llist_t *other = orka_llist_init();
    Values many(45);
    std::iota(many.begin(), many.end(), 1);

    released.clear();
    for (uintptr_t value : many)
        orka_llist_enqueue(other, value);
    EXPECT_EQ(orka_llist_destroy2(other, [](uintptr_t value) { released.push_back(value); }),
              ORKA_STATUS_SUCCESS);
    EXPECT_EQ(released, many);
}

static orka_llist_t *dying;
static orka_status_t status_in_release;

TEST_F(Llist, AListThatIsBeingDestroyedIsNoLongerValid)
{
    dying = orka_llist_init();
    orka_llist_enqueue(dying, 1);
    orka_llist_destroy2(dying, [](uintptr_t) { status_in_release = orka_llist_enqueue(dying, 2); });
    EXPECT_EQ(status_in_release, ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_check_handle", "ORKA_LLIST: Invalid LList Handle."));
}

TEST_F(Llist, DestructionNeedsNoReleaseFunction)
{
    orka_llist_t *other = orka_llist_init();

    orka_llist_enqueue(other, 1);
    EXPECT_EQ(orka_llist_destroy2(other, nullptr), ORKA_STATUS_SUCCESS);
}

/* Handles */

struct Operation {
    const char *name;
    bool gives_status;
    std::function<intptr_t(orka_llist_t *)> call;
};

static const Operation operations[] = {
    {"destroy", true, [](orka_llist_t *list) { return orka_llist_destroy(list); }},
    {"destroy2", true, [](orka_llist_t *list) { return orka_llist_destroy2(list, nullptr); }},
    {"size", false, [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_size(list)); }},
    {"enqueue", true, [](orka_llist_t *list) { return orka_llist_enqueue(list, 5); }},
    {"dequeue", false, [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_dequeue(list)); }},
    {"push", true, [](orka_llist_t *list) { return orka_llist_push(list, 5); }},
    {"pop", false, [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_pop(list)); }},
    {"insert_index", true, [](orka_llist_t *list) { return orka_llist_insert_index(list, 5, 1); }},
    {"get_index", false,
     [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_get_index(list, 1)); }},
    {"del_index", false,
     [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_del_index(list, 1)); }},
    {"insert", true, [](orka_llist_t *list) { return orka_llist_insert(list, 5, by_value, 5); }},
    {"find", false,
     [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_find(list, by_value, 2)); }},
    {"delete", false,
     [](orka_llist_t *list) { return static_cast<intptr_t>(orka_llist_delete(list, by_value, 2)); }},
};

class Handle : public HarnessTest, public testing::WithParamInterface<Operation> {
  protected:
    void expect_refused(orka_llist_t *list, orka_status_t status, const char *message)
    {
        kernel.watch(Fn::mutex_lock);
        kernel.forget_calls();
        EXPECT_EQ(GetParam().call(list), GetParam().gives_status ? status : 0);
        EXPECT_EQ(log.take_error(), error_line("orka_llist_check_handle", message));
        EXPECT_TRUE(kernel.calls(Fn::mutex_lock).empty());
    }
};

TEST_P(Handle, ThatIsNullIsRefused)
{
    expect_refused(nullptr, ORKA_STATUS_NULL_POINTER, "ORKA_LLIST: Null Pointer Deref.");
}

TEST_P(Handle, ThatIsNotAliveIsRefused)
{
    orka_llist_t *list = orka_llist_init();

    for (uint32_t alive : {0u, 2u}) {
        list->alive = alive;
        expect_refused(list, ORKA_STATUS_INITIALIZATION, "ORKA_LLIST: Invalid LList Handle.");
    }
    list->alive = 1;
    orka_llist_destroy(list);
}

TEST_P(Handle, ThatHasAnotherMagicIsRefused)
{
    orka_llist_t *list = orka_llist_init();

    list->magic = 0x5453494C;
    expect_refused(list, ORKA_STATUS_INITIALIZATION, "ORKA_LLIST: Invalid LList Handle.");
    list->magic = orka_llist_magic;
    orka_llist_destroy(list);
}

TEST_P(Handle, ThatIsValidIsLockedOnceAndUnlockedOnce)
{
    orka_llist_t *list = orka_llist_init();
    const pthread_mutex_t *mutex = &list->mutex;

    kernel.watch(Fn::mutex_lock);
    kernel.watch(Fn::mutex_unlock);
    GetParam().call(list);
    const std::vector<Call> calls = kernel.calls({Fn::mutex_lock, Fn::mutex_unlock});
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].fn, Fn::mutex_lock);
    EXPECT_EQ(calls[1].fn, Fn::mutex_unlock);
    EXPECT_TRUE(calls[0].argument == mutex && calls[1].argument == mutex);
    if (strncmp(GetParam().name, "destroy", 7) != 0)
        orka_llist_destroy(list);
}

TEST_P(Handle, ThatCannotBeLockedEndsTheProcess)
{
    for (auto [fn, fatal] : {std::pair{Fn::mutex_lock, "Fatal Mutex Lock Error"},
                             std::pair{Fn::mutex_unlock, "Fatal Mutex UnLock Error"}}) {
        orka_llist_t *list = orka_llist_init();
        const Ending ending = end_of([&](Kernel &scripted) {
            scripted.fail(fn, {.result = EINVAL});
            GetParam().call(list);
        });
        char line[64];
        snprintf(line, sizeof line, "():[-1] %s [0x%08X].\n", fatal,
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(&list->mutex)));
        EXPECT_EQ(ending.status, 1);
        EXPECT_EQ(ending.output, line);
        EXPECT_EQ(ending.error, "");
        orka_llist_destroy(list);
    }
}

INSTANTIATE_TEST_SUITE_P(Llist, Handle, testing::ValuesIn(operations),
                         [](const auto &row) { return std::string(row.param.name); });

/* Queue and stack */

struct LockedChange {
    void (*make)(orka_llist_t *list);
    int by; /* how many values the list gains */
};

const LockedChange locked_changes[] = {
    {[](orka_llist_t *list) { orka_llist_enqueue(list, 5); }, 1},
    {[](orka_llist_t *list) { orka_llist_push(list, 5); }, 1},
    {[](orka_llist_t *list) { orka_llist_insert_index(list, 5, 0); }, 1},
    {[](orka_llist_t *list) { orka_llist_insert(list, 5, by_value, 5); }, 1},
    {[](orka_llist_t *list) { orka_llist_dequeue(list); }, -1},
    {[](orka_llist_t *list) { orka_llist_del_index(list, 0); }, -1},
    {[](orka_llist_t *list) { orka_llist_delete(list, by_value, 5); }, -1},
};

/* Looks at the list while it is locked and unlocked: the change comes between the two. */
TEST_F(Llist, IsChangedUnderItsLock)
{
    for (const LockedChange &change : locked_changes) {
        const uint32_t before = list->count;
        uint32_t locked = 99;
        uint32_t unlocked = 99;
        kernel.fail(Fn::mutex_lock, {.result = 0, .meanwhile = [&] { locked = list->count; }});
        kernel.fail(Fn::mutex_unlock, {.result = 0, .meanwhile = [&] { unlocked = list->count; }});
        change.make(list);
        EXPECT_EQ(locked, before);
        EXPECT_EQ(unlocked, before + static_cast<uint32_t>(change.by));
    }
}

TEST_F(Llist, AQueueGivesTheFirstFirst)
{
    fill({1, 2, 3});
    EXPECT_EQ(orka_llist_size(list), 3u);
    for (uintptr_t value : {1, 2, 3})
        EXPECT_EQ(orka_llist_dequeue(list), value);
    EXPECT_EQ(values_of(list), Values{});
}

TEST_F(Llist, AStackGivesTheLastFirst)
{
    for (uintptr_t value : {1, 2, 3})
        EXPECT_EQ(orka_llist_push(list, value), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{3, 2, 1}));
    for (uintptr_t value : {3, 2, 1})
        EXPECT_EQ(orka_llist_pop(list), value);
    EXPECT_EQ(values_of(list), Values{});
}

TEST_F(Llist, AnEmptyListGivesZeroAndStaysEmpty)
{
    EXPECT_EQ(orka_llist_dequeue(list), 0u);
    EXPECT_EQ(orka_llist_pop(list), 0u);
    EXPECT_EQ(orka_llist_size(list), 0u);
    EXPECT_EQ(list->blocks, nullptr);
}

TEST_F(Llist, AValueIsAsWideAsAPointer)
{
    orka_llist_enqueue(list, UINTPTR_MAX);
    EXPECT_EQ(orka_llist_dequeue(list), UINTPTR_MAX);
}

TEST_F(Llist, AQueueThatRanEmptyFillsAgain)
{
    fill({1});
    orka_llist_dequeue(list);
    fill({2, 3});
    orka_llist_push(list, 1);
    EXPECT_EQ(values_of(list), (Values{1, 2, 3}));
}

/* Items and blocks */

TEST_F(Llist, ABlockIsTwentyOneItemsFromOneMalloc)
{
    kernel.watch(Fn::malloc);
    orka_llist_enqueue(list, 1);
    const std::vector<Call> calls = kernel.calls(Fn::malloc);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].length, block_size);
    EXPECT_EQ(calls[0].address, reinterpret_cast<uintptr_t>(list->blocks));
    EXPECT_EQ(count_scratch(list), 19u);
}

TEST_F(Llist, ABlocksLastItemIsHandedOutFirst)
{
    fill({1, 2});
    EXPECT_EQ(list->head, &list->blocks->items[19]);
    EXPECT_EQ(list->tail, &list->blocks->items[18]);
}

TEST_F(Llist, AnItemThatComesBackIsHandedOutNext)
{
    fill({1, 2, 3});
    const orka_llist_item *first = list->head;

    orka_llist_dequeue(list);
    fill({4});
    EXPECT_EQ(list->tail, first);
}

TEST_F(Llist, TheTwentyFirstItemNeedsASecondBlock)
{
    for (uintptr_t value = 1; value <= 20; value++)
        orka_llist_enqueue(list, value);
    EXPECT_EQ(count_blocks(list), 1u);
    const orka_llist_block *first = list->blocks;
    orka_llist_enqueue(list, 21);
    EXPECT_EQ(count_blocks(list), 2u);
    EXPECT_EQ(list->blocks->next, first);
}

TEST_F(Llist, SteadyQueueingDoesNotAllocate)
{
    fill(Values(20, 7));
    kernel.watch(Fn::malloc);
    for (int round = 0; round < 20; round++)
        orka_llist_dequeue(list);
    for (int round = 0; round < 20; round++)
        orka_llist_enqueue(list, 8);
    EXPECT_TRUE(kernel.calls(Fn::malloc).empty());
    EXPECT_EQ(count_blocks(list), 1u);
}

/* Adding that fails */

struct Addition {
    const char *name;
    const char *reporter;
    orka_status_t (*call)(orka_llist_t *);
};

static const Addition additions[] = {
    {"enqueue", "orka_llist_enqueue_actual", [](orka_llist_t *list) { return orka_llist_enqueue(list, 5); }},
    {"push", "orka_llist_push", [](orka_llist_t *list) { return orka_llist_push(list, 5); }},
    {"insert_index", "orka_llist_insert_index",
     [](orka_llist_t *list) { return orka_llist_insert_index(list, 5, 1); }},
    {"insert", "orka_llist_insert",
     [](orka_llist_t *list) { return orka_llist_insert(list, 5, by_value, 5); }},
};

class Adding : public HarnessTest, public testing::WithParamInterface<Addition> {
  protected:
    Adding() : list(orka_llist_init()) {}
    ~Adding() override { orka_llist_destroy(list); }

    orka_llist_t *list;
};

TEST_P(Adding, ToAnEmptyListMakesHeadAndTail)
{
    EXPECT_EQ(GetParam().call(list), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), Values{5});
}

TEST_P(Adding, WithoutMemoryIsReportedByBothWhoNoticed)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(GetParam().call(list), ORKA_STATUS_INSUFFICIENT_MEMORY);
    EXPECT_EQ(log.take_error(),
              error_line("orka_llist_new_item", "ORKA_LLIST: Allocating List Item.", ENOMEM) +
                  error_line(GetParam().reporter, "ORKA_LLIST: Allocating List Item."));
    EXPECT_EQ(values_of(list), Values{});
}

TEST_P(Adding, WithoutMemoryLeavesTheListAsItWas)
{
    for (int i = 0; i < 20; i++)
        orka_llist_enqueue(list, 1);
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(GetParam().call(list), ORKA_STATUS_INSUFFICIENT_MEMORY);
    log.take_error();
    EXPECT_EQ(values_of(list), Values(20, 1));
    EXPECT_EQ(count_blocks(list), 1u);
}

TEST_P(Adding, ToAFullListIsReported)
{
    orka_llist_enqueue(list, 1);
    list->count = UINT32_MAX;
    EXPECT_EQ(GetParam().call(list), ORKA_STATUS_INSUFFICIENT_MEMORY);
    EXPECT_EQ(log.take_error(), error_line(GetParam().reporter, "ORKA_LLIST: Item Count Overrun."));
    list->count = 1;
    EXPECT_EQ(values_of(list), Values{1});
}

TEST_P(Adding, ToAnEmptyListDoesNotMindItsCount)
{
    list->count = UINT32_MAX;
    EXPECT_EQ(GetParam().call(list), ORKA_STATUS_SUCCESS);
    EXPECT_NE(list->head, nullptr);
}

TEST_P(Adding, UnlocksTheListWhenItFails)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    GetParam().call(list);
    log.take_error();
    EXPECT_EQ(pthread_mutex_trylock(&list->mutex), 0);
    pthread_mutex_unlock(&list->mutex);
}

INSTANTIATE_TEST_SUITE_P(Llist, Adding, testing::ValuesIn(additions),
                         [](const auto &row) { return std::string(row.param.name); });

/* By index */

TEST_F(Llist, AValueIsInsertedAtItsIndex)
{
    fill({1, 2, 3});
    EXPECT_EQ(orka_llist_insert_index(list, 9, 1), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{1, 9, 2, 3}));
    EXPECT_EQ(orka_llist_get_index(list, 1), 9u);
}

TEST_F(Llist, AValueInsertedAtZeroBecomesTheHead)
{
    fill({1, 2});
    EXPECT_EQ(orka_llist_insert_index(list, 9, 0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{9, 1, 2}));
}

TEST_F(Llist, AValueInsertedAtTheEndBecomesTheTail)
{
    fill({1, 2});
    EXPECT_EQ(orka_llist_insert_index(list, 9, 2), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{1, 2, 9}));
}

TEST_F(Llist, AValueInsertedBeyondTheEndBecomesTheTail)
{
    fill({1, 2});
    EXPECT_EQ(orka_llist_insert_index(list, 9, 5), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{1, 2, 9}));
}

TEST_F(Llist, EachIndexGivesItsValue)
{
    fill({10, 11, 12});
    EXPECT_EQ(orka_llist_get_index(list, 2), 12u);
    EXPECT_EQ(orka_llist_get_index(list, 0), 10u);
    EXPECT_EQ(orka_llist_get_index(list, 1), 11u);
    EXPECT_EQ(orka_llist_get_index(list, 1), 11u);
}

TEST_F(Llist, AnIndexOfAnEmptyListGivesZero)
{
    EXPECT_EQ(orka_llist_get_index(list, 0), 0u);
    EXPECT_EQ(orka_llist_del_index(list, 0), 0u);
}

TEST_F(Llist, GoingUpByIndexMovesTheCursorOneStepACall)
{
    fill({10, 11, 12});
    for (uint32_t index = 0; index < 3; index++) {
        EXPECT_EQ(orka_llist_get_index(list, index), 10 + index);
        EXPECT_EQ(list->cursor_index, index);
        EXPECT_EQ(list->cursor->data, 10 + index);
    }
}

TEST_F(Llist, TheNextIndexIsTakenFromTheCursor)
{
    fill({10, 11, 12});
    orka_llist_get_index(list, 0);
    list->cursor = list->head->next;
    EXPECT_EQ(orka_llist_get_index(list, 1), 12u);
}

TEST_F(Llist, AnyOtherIndexIsTakenFromTheHead)
{
    fill({10, 11, 12});
    orka_llist_get_index(list, 0);
    list->cursor = list->head->next;
    EXPECT_EQ(orka_llist_get_index(list, 0), 10u);
    EXPECT_EQ(orka_llist_get_index(list, 2), 12u);
}

TEST_F(Llist, TheCursorRunsOffTheEndByOne)
{
    fill({10, 11});
    orka_llist_get_index(list, 0);
    orka_llist_get_index(list, 1);
    EXPECT_EQ(orka_llist_get_index(list, 2), 0u);
    EXPECT_EQ(list->cursor, nullptr);
    EXPECT_EQ(orka_llist_get_index(list, 1), 11u);
}

TEST_F(Llist, AnIndexBeyondTheEndGivesZeroAndClearsTheCursor)
{
    fill({10, 11});
    orka_llist_get_index(list, 0);
    EXPECT_EQ(orka_llist_get_index(list, 7), 0u);
    expect_no_cursor();
}

TEST_F(Llist, AnItemIsDeletedByIndexFromTheMiddle)
{
    fill({10, 11, 12});
    EXPECT_EQ(orka_llist_del_index(list, 1), 11u);
    EXPECT_EQ(values_of(list), (Values{10, 12}));
}

TEST_F(Llist, AnItemIsDeletedByIndexFromTheHead)
{
    fill({10, 11});
    EXPECT_EQ(orka_llist_del_index(list, 0), 10u);
    EXPECT_EQ(values_of(list), Values{11});
}

TEST_F(Llist, AnItemIsDeletedByIndexFromTheTail)
{
    fill({10, 11});
    EXPECT_EQ(orka_llist_del_index(list, 1), 11u);
    EXPECT_EQ(values_of(list), Values{10});
    fill({12});
    EXPECT_EQ(values_of(list), (Values{10, 12}));
}

TEST_F(Llist, TheLastItemDeletedByIndexLeavesAnEmptyList)
{
    fill({10});
    EXPECT_EQ(orka_llist_del_index(list, 0), 10u);
    EXPECT_EQ(values_of(list), Values{});
    EXPECT_EQ(count_scratch(list), 20u);
}

TEST_F(Llist, AnIndexBeyondTheEndDeletesNothing)
{
    fill({10, 11});
    EXPECT_EQ(orka_llist_del_index(list, 2), 0u);
    EXPECT_EQ(orka_llist_del_index(list, UINT32_MAX), 0u);
    EXPECT_EQ(values_of(list), (Values{10, 11}));
}

/* What changes the list resets the cursor */

static const std::pair<const char *, void (*)(orka_llist_t *)> changes[] = {
    {"enqueue", [](orka_llist_t *list) { orka_llist_enqueue(list, 5); }},
    {"dequeue", [](orka_llist_t *list) { orka_llist_dequeue(list); }},
    {"push", [](orka_llist_t *list) { orka_llist_push(list, 5); }},
    {"pop", [](orka_llist_t *list) { orka_llist_pop(list); }},
    {"insert_index", [](orka_llist_t *list) { orka_llist_insert_index(list, 5, 9); }},
    {"del_index", [](orka_llist_t *list) { orka_llist_del_index(list, 0); }},
    {"insert", [](orka_llist_t *list) { orka_llist_insert(list, 5, by_value, 5); }},
    {"delete", [](orka_llist_t *list) { orka_llist_delete(list, by_value, 1); }},
};

TEST_F(Llist, EveryChangeResetsTheCursor)
{
    for (const auto &[name, change] : changes) {
        SCOPED_TRACE(name);
        fill({1, 2, 3});
        EXPECT_NE(orka_llist_get_index(list, 1), 0u);
        EXPECT_NE(list->cursor, nullptr);
        change(list);
        expect_no_cursor();
        while (orka_llist_dequeue(list) != 0)
            ;
    }
}

TEST_F(Llist, AChangeResetsTheIndexOfACursorThatRanOffTheEnd)
{
    fill({10});
    orka_llist_get_index(list, 0);
    orka_llist_get_index(list, 1);
    EXPECT_EQ(list->cursor, nullptr);
    EXPECT_EQ(list->cursor_index, 1u);
    orka_llist_enqueue(list, 11);
    expect_no_cursor();
}

TEST_F(Llist, WhatChangesNothingKeepsTheCursor)
{
    fill({1, 99});
    orka_llist_get_index(list, 0);
    orka_llist_size(list);
    orka_llist_find(list, by_value, 99);
    orka_llist_del_index(list, 7);
    EXPECT_EQ(orka_llist_delete(list, by_value, 5), 0u);
    EXPECT_EQ(orka_llist_insert(list, 7, not_with_99, 100), ORKA_STATUS_ERROR);
    log.take_error();
    EXPECT_EQ(list->cursor, list->head);
}

/* By comparison */

TEST_F(Llist, SortedInsertionKeepsTheOrder)
{
    for (uintptr_t value : {5, 1, 9, 3, 7})
        EXPECT_EQ(orka_llist_insert(list, value, by_value, value), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{1, 3, 5, 7, 9}));
}

TEST_F(Llist, SortedInsertionComparesTheKeyAndNotTheValue)
{
    fill({10, 20, 30});
    EXPECT_EQ(orka_llist_insert(list, 99, by_value, 15), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{10, 99, 20, 30}));
}

TEST_F(Llist, SortedInsertionGoesBeforeAnEqualItem)
{
    fill({10, 20});
    EXPECT_EQ(orka_llist_insert(list, 99, by_value, 20), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{10, 99, 20}));
}

TEST_F(Llist, SortedInsertionBeforeAllMakesANewHead)
{
    fill({10, 20});
    EXPECT_EQ(orka_llist_insert(list, 99, by_value, 1), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{99, 10, 20}));
}

TEST_F(Llist, SortedInsertionAfterAllMakesANewTail)
{
    fill({10, 20});
    EXPECT_EQ(orka_llist_insert(list, 99, by_value, 21), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{10, 20, 99}));
}

TEST_F(Llist, SortedInsertionIntoAnEmptyListComparesNothing)
{
    auto never = [](uintptr_t, uintptr_t) -> int32_t { abort(); };

    EXPECT_EQ(orka_llist_insert(list, 5, never, 5), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), Values{5});
}

TEST_F(Llist, SortedInsertionThatCannotCompareLeavesTheListAsItWas)
{
    fill({1, 99, 200});
    EXPECT_EQ(orka_llist_insert(list, 5, not_with_99, 150), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_insert", "ORKA_LLIST: Comparison Failure."));
    EXPECT_EQ(values_of(list), (Values{1, 99, 200}));
    EXPECT_EQ(count_scratch(list), 17u);
}

TEST_F(Llist, OnlyMinusOneZeroAndOneAreComparisons)
{
    static int32_t answer;
    auto answers = [](uintptr_t, uintptr_t) { return answer; };

    fill({1});
    for (int32_t odd : {2, -2, INT32_MAX, INT32_MIN}) {
        answer = odd;
        EXPECT_EQ(orka_llist_insert(list, 5, answers, 5), ORKA_STATUS_ERROR) << odd;
        EXPECT_EQ(orka_llist_find(list, answers, 5), 0u) << odd;
        EXPECT_EQ(orka_llist_delete(list, answers, 5), 0u) << odd;
        EXPECT_EQ(log.take_error(), error_line("orka_llist_insert", "ORKA_LLIST: Comparison Failure.") +
                                        error_line("orka_llist_find", "ORKA_LLIST: Comparison Failure.") +
                                        error_line("orka_llist_delete", "ORKA_LLIST: Comparison Failure."));
    }
}

/* Equal when the last digits are. */
static int32_t by_last_digit(uintptr_t value, uintptr_t key)
{
    return by_value(value % 10, key % 10);
}

TEST_F(Llist, TheFirstEqualValueIsFoundInAnUnsortedList)
{
    fill({33, 12, 22, 11});
    EXPECT_EQ(orka_llist_find(list, by_last_digit, 2), 12u);
    EXPECT_EQ(orka_llist_find(list, by_last_digit, 1), 11u);
    EXPECT_EQ(values_of(list), (Values{33, 12, 22, 11}));
}

TEST_F(Llist, WhatIsNotThereIsNotFound)
{
    fill({33, 12});
    EXPECT_EQ(orka_llist_find(list, by_value, 13), 0u);
}

TEST_F(Llist, ASearchEndsWhereItCannotCompare)
{
    fill({1, 99, 3});
    EXPECT_EQ(orka_llist_find(list, not_with_99, 3), 0u);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_find", "ORKA_LLIST: Comparison Failure."));
    EXPECT_EQ(orka_llist_find(list, not_with_99, 1), 1u);
}

TEST_F(Llist, TheFirstEqualItemIsDeleted)
{
    fill({33, 12, 22, 11});
    EXPECT_EQ(orka_llist_delete(list, by_last_digit, 2), 12u);
    EXPECT_EQ(values_of(list), (Values{33, 22, 11}));
    EXPECT_EQ(count_scratch(list), 17u);
}

TEST_F(Llist, TheHeadIsDeletedByComparison)
{
    fill({1, 2});
    EXPECT_EQ(orka_llist_delete(list, by_value, 1), 1u);
    EXPECT_EQ(values_of(list), Values{2});
}

TEST_F(Llist, TheTailIsDeletedByComparison)
{
    fill({1, 2});
    EXPECT_EQ(orka_llist_delete(list, by_value, 2), 2u);
    EXPECT_EQ(values_of(list), Values{1});
    fill({3});
    EXPECT_EQ(values_of(list), (Values{1, 3}));
}

TEST_F(Llist, TheLastItemIsDeletedByComparison)
{
    fill({1});
    EXPECT_EQ(orka_llist_delete(list, by_value, 1), 1u);
    EXPECT_EQ(values_of(list), Values{});
}

TEST_F(Llist, DeletionThatCannotCompareLeavesTheListAsItWas)
{
    fill({1, 99, 3});
    EXPECT_EQ(orka_llist_delete(list, not_with_99, 3), 0u);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_delete", "ORKA_LLIST: Comparison Failure."));
    EXPECT_EQ(values_of(list), (Values{1, 99, 3}));
}

TEST_F(Llist, ANullComparisonIsRefused)
{
    fill({1});
    EXPECT_EQ(orka_llist_insert(list, 5, nullptr, 5), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(orka_llist_find(list, nullptr, 1), 0u);
    EXPECT_EQ(orka_llist_delete(list, nullptr, 1), 0u);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_insert", "ORKA_LLIST: NULL Pointer Deref.") +
                                    error_line("orka_llist_find", "ORKA_LLIST: NULL Pointer Deref.") +
                                    error_line("orka_llist_delete", "ORKA_LLIST: NULL Pointer Deref."));
    EXPECT_EQ(values_of(list), Values{1});
}

/* Moving */

class Move : public Llist {
  protected:
    Move() : source(orka_llist_init()) {}

    void TearDown() override
    {
        orka_llist_destroy(source);
        Llist::TearDown();
    }

    void fill_source(const Values &values)
    {
        for (uintptr_t value : values)
            orka_llist_enqueue(source, value);
    }

    orka_llist_t *source;
};

TEST_F(Move, AppendsTheSourceInOrder)
{
    fill({1, 2});
    fill_source({3, 4, 5});
    EXPECT_EQ(orka_llist_move_enqueue(list, source), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), (Values{1, 2, 3, 4, 5}));
    EXPECT_EQ(values_of(source), Values{});
}

TEST_F(Move, OfAnEmptyListMovesNothing)
{
    fill({1});
    EXPECT_EQ(orka_llist_move_enqueue(list, source), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), Values{1});
}

TEST_F(Move, OfAListToItselfDoesNothing)
{
    fill({1, 2});
    kernel.watch(Fn::mutex_lock);
    EXPECT_EQ(orka_llist_move_enqueue(list, list), ORKA_STATUS_SUCCESS);
    EXPECT_TRUE(kernel.calls(Fn::mutex_lock).empty());
    EXPECT_EQ(values_of(list), (Values{1, 2}));
}

TEST_F(Move, EndsAtAZeroWhichIsLost)
{
    fill_source({0, 1, 2});
    EXPECT_EQ(orka_llist_move_enqueue(list, source), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(values_of(list), Values{});
    EXPECT_EQ(values_of(source), (Values{1, 2}));
}

TEST_F(Move, LocksTheDestinationFirstAndUnlocksItLast)
{
    kernel.watch(Fn::mutex_lock);
    kernel.watch(Fn::mutex_unlock);
    orka_llist_move_enqueue(list, source);
    std::vector<const void *> objects;
    for (const Call &call : kernel.calls({Fn::mutex_lock, Fn::mutex_unlock}))
        objects.push_back(call.argument);
    EXPECT_EQ(objects,
              (std::vector<const void *>{&list->mutex, &source->mutex, &source->mutex, &list->mutex}));
}

TEST_F(Move, EndsTheProcessWhereEitherListCannotBeLockedOrUnlocked)
{
    const auto dies = [this](Fn fn, int skip) {
        const Ending ending = end_of([=, this](Kernel &scripted) {
            scripted.fail(fn, {.result = EINVAL, .skip = skip});
            orka_llist_move_enqueue(list, source);
        });
        EXPECT_EQ(ending.status, 1);
        return ending.output;
    };
    const auto line = [](const char *fatal, const orka_llist_t *of) {
        char text[64];
        snprintf(text, sizeof text, "():[-1] %s [0x%08X].\n", fatal,
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(&of->mutex)));
        return std::string(text);
    };
    EXPECT_EQ(dies(Fn::mutex_lock, 0), line("Fatal Mutex Lock Error", list));
    EXPECT_EQ(dies(Fn::mutex_lock, 1), line("Fatal Mutex Lock Error", source));
    EXPECT_EQ(dies(Fn::mutex_unlock, 0), line("Fatal Mutex UnLock Error", source));
    EXPECT_EQ(dies(Fn::mutex_unlock, 1), line("Fatal Mutex UnLock Error", list));
}

TEST_F(Move, ThatRunsOutOfMemoryKeepsWhatWasMovedAndLosesTheValueAtHand)
{
    fill(Values(19, 1));
    fill_source({2, 3, 4});
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(orka_llist_move_enqueue(list, source), ORKA_STATUS_INSUFFICIENT_MEMORY);
    EXPECT_EQ(log.take_error(),
              error_line("orka_llist_new_item", "ORKA_LLIST: Allocating List Item.", ENOMEM) +
                  error_line("orka_llist_enqueue_actual", "ORKA_LLIST: Allocating List Item.") +
                  error_line("orka_llist_move_enqueue", "ORKA_LLIST: Moving List."));
    EXPECT_EQ(values_of(list).back(), 2u);
    EXPECT_EQ(values_of(source), Values{4});
}

TEST_F(Move, ChecksTheDestinationFirst)
{
    list->alive = 0;
    EXPECT_EQ(orka_llist_move_enqueue(list, nullptr), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_check_handle", "ORKA_LLIST: Invalid LList Handle."));
    list->alive = 1;
}

TEST_F(Move, ChecksTheSourceToo)
{
    EXPECT_EQ(orka_llist_move_enqueue(list, nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_check_handle", "ORKA_LLIST: Null Pointer Deref."));
}

TEST_F(Move, ChecksAListThatIsMovedToItself)
{
    EXPECT_EQ(orka_llist_move_enqueue(nullptr, nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line("orka_llist_check_handle", "ORKA_LLIST: Null Pointer Deref."));
}

/* Threads */

TEST_F(Llist, ThreadsShareAQueueWithoutLosingAValue)
{
    constexpr uintptr_t each = 500;
    uintptr_t sums[2] = {};
    uintptr_t counts[2] = {};
    auto produce = [this] {
        for (uintptr_t value = 1; value <= each; value++)
            orka_llist_enqueue(list, value);
    };
    auto consume = [&](int me) {
        while (counts[me] < each) {
            const uintptr_t value = orka_llist_dequeue(list);
            sums[me] += value;
            counts[me] += value != 0;
        }
    };
    std::thread threads[] = {std::thread(produce), std::thread(produce), std::thread(consume, 0),
                             std::thread(consume, 1)};
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(sums[0] + sums[1], each * (each + 1));
    EXPECT_EQ(orka_llist_size(list), 0u);
}
