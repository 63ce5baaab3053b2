/* The list: the input is a list of calls on two lists, which two deques follow. */
#include <algorithm>
#include <array>
#include <deque>

#include "fuzz/fuzz.h"
#include "fuzz/script.h"
#include "orka_llist.h"

using namespace orka_test;

namespace {

using Values = std::deque<uintptr_t>;

/* By the tens, so that several values are equal. */
int32_t compare_tens(uintptr_t value, uintptr_t key)
{
    const uintptr_t left = value / 10;
    const uintptr_t right = key / 10;
    return left == right ? 0 : left > right ? 1 : -1;
}

struct List {
    orka_llist_t *list = orka_llist_init();
    Values values;
};

Values::iterator place_of(Values &values, uint32_t index)
{
    return values.begin() + std::min<std::ptrdiff_t>(index, static_cast<std::ptrdiff_t>(values.size()));
}

Values::iterator first_like(Values &values, uintptr_t key)
{
    return std::ranges::find_if(values, [&](uintptr_t value) { return compare_tens(value, key) == 0; });
}

uintptr_t take(Values &values, Values::iterator at)
{
    if (at == values.end())
        return 0;
    const uintptr_t value = *at;
    values.erase(at);
    return value;
}

/* A value of 0 ends the move, and is lost. */
void move_all(Values &to, Values &from)
{
    while (&to != &from && !from.empty()) {
        const uintptr_t value = from.front();
        from.pop_front();
        if (value == 0)
            return;
        to.push_back(value);
    }
}

void insert_sorted(Values &values, uintptr_t value, uintptr_t key)
{
    const auto at =
        std::ranges::find_if(values, [&](uintptr_t other) { return compare_tens(other, key) >= 0; });
    values.insert(at, value);
}

void add(List &list, uint32_t how, Script &script)
{
    const uintptr_t value = script.byte();
    orka_status_t status = ORKA_STATUS_ERROR;

    if (how == 0) {
        status = orka_llist_enqueue(list.list, value);
        list.values.push_back(value);
    } else if (how == 1) {
        status = orka_llist_push(list.list, value);
        list.values.push_front(value);
    } else if (how == 2) {
        const uint32_t index = script.byte();
        status = orka_llist_insert_index(list.list, value, index);
        list.values.insert(place_of(list.values, index), value);
    } else {
        const uintptr_t key = script.byte();
        status = orka_llist_insert(list.list, value, compare_tens, key);
        insert_sorted(list.values, value, key);
    }
    require(status == ORKA_STATUS_SUCCESS, "adding");
}

void remove(List &list, uint32_t how, Script &script)
{
    Values &values = list.values;

    if (how == 0) {
        require(orka_llist_dequeue(list.list) == take(values, values.begin()), "dequeue");
    } else if (how == 1) {
        require(orka_llist_pop(list.list) == take(values, values.begin()), "pop");
    } else if (how == 2) {
        const uint32_t index = script.byte();
        require(orka_llist_del_index(list.list, index) == take(values, place_of(values, index)),
                "delete by index");
    } else {
        const uintptr_t key = script.byte();
        require(orka_llist_delete(list.list, compare_tens, key) == take(values, first_like(values, key)),
                "delete by comparison");
    }
}

/* From an index on, as programs walk through a list. */
void walk(List &list, Script &script)
{
    uint32_t index = script.byte();

    for (uint32_t steps = script.byte() % 8; steps != 0; steps--, index++) {
        const uintptr_t expected = index < list.values.size() ? list.values[index] : 0;
        require(orka_llist_get_index(list.list, index) == expected, "get by index");
    }
}

void find(List &list, Script &script)
{
    const uintptr_t key = script.byte();
    const auto at = first_like(list.values, key);
    require(orka_llist_find(list.list, compare_tens, key) == (at == list.values.end() ? 0 : *at), "find");
}

void move_to(List &to, List &from)
{
    require(orka_llist_move_enqueue(to.list, from.list) == ORKA_STATUS_SUCCESS, "move");
    move_all(to.values, from.values);
}

void call(std::array<List, 2> &lists, Script &script)
{
    const uint8_t what = script.byte();
    List &list = lists[what & 1];

    switch (what >> 1 & 7) {
    case 0:
    case 1:
    case 2:
        return add(list, what >> 4 & 3, script);
    case 3:
    case 4:
        return remove(list, what >> 4 & 3, script);
    case 5:
        return walk(list, script);
    case 6:
        return find(list, script);
    default:
        return move_to(list, lists[what >> 4 & 1]);
    }
}

Values released;

/* Hands out what is left, in order. */
void destroy(List &list)
{
    released.clear();
    require(orka_llist_destroy2(list.list, [](uintptr_t value) { released.push_back(value); }) ==
                ORKA_STATUS_SUCCESS,
            "destroy");
    require(released == list.values, "what was left");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::array<List, 2> lists;

    for (Script script({data, size}); !script.ended();) {
        call(lists, script);
        for (const List &list : lists)
            require(orka_llist_size(list.list) == list.values.size(), "size");
    }
    std::ranges::for_each(lists, destroy);
    return 0;
}
