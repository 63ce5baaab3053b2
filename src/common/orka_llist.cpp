#include "orka_llist.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/orka_llist_internal.h"
#include "common/orka_pthread_internal.h"
#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_LLIST:";

static inline orka_status_t orka_llist_check_handle(const orka_llist_t *list)
{
    if (list == nullptr) [[unlikely]] {
        report_error(HERE, "Null Pointer Deref.");
        return ORKA_STATUS_NULL_POINTER;
    }
    if (list->alive != 1 || list->magic != orka_llist_magic) [[unlikely]] {
        report_error(HERE, "Invalid LList Handle.");
        return ORKA_STATUS_INITIALIZATION;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Items. All of this runs under the list's lock. */

static inline void orka_llist_enqueue_scratch(orka_llist_t *list, orka_llist_item *item)
{
    item->next = list->scratch;
    list->scratch = item;
}

static inline orka_llist_item *orka_llist_dequeue_scratch(orka_llist_t *list)
{
    orka_llist_item *item = list->scratch;

    if (item != nullptr)
        list->scratch = item->next;
    return item;
}

/* The last item of a block is thus handed out first. */
static void add_block(orka_llist_t *list, orka_llist_block *block)
{
    block->next = list->blocks;
    list->blocks = block;
    for (orka_llist_item &item : block->items)
        orka_llist_enqueue_scratch(list, &item);
}

/* Out of line: steady-state queueing never comes here. */
[[gnu::cold]] static orka_llist_item *item_of_new_block(orka_llist_t *list, const call_site &site)
{
    void *block = malloc(sizeof(orka_llist_block));

    if (block == nullptr) {
        report_error_errno(errno, site, "Allocating List Item.");
        return nullptr;
    }
    add_block(list, static_cast<orka_llist_block *>(block));

    orka_llist_item *item = orka_llist_dequeue_scratch(list);
    /* A block brings items. GCOVR_EXCL_START */
    if (item == nullptr)
        report_error(site, "Control Should Not Reach Here.");
    /* GCOVR_EXCL_STOP */
    return item;
}

static inline orka_llist_item *orka_llist_new_item(orka_llist_t *list)
{
    orka_llist_item *item = orka_llist_dequeue_scratch(list);

    if (item == nullptr) [[unlikely]] {
        item = item_of_new_block(list, HERE);
        if (item == nullptr)
            return nullptr;
    }
    item->next = nullptr;
    item->data = 0;
    return item;
}

static inline bool is_full(const orka_llist_t *list)
{
    return list->count == UINT32_MAX && list->head != nullptr;
}

/* An item for one value more, or null. */
static inline orka_llist_item *item_for(orka_llist_t *list, uintptr_t value)
{
    if (is_full(list)) [[unlikely]]
        return nullptr;

    orka_llist_item *item = orka_llist_new_item(list);
    if (item != nullptr) [[likely]]
        item->data = value;
    return item;
}

/* What an operation says that got no item. */
[[gnu::cold]] static orka_status_t no_item(const orka_llist_t *list, const call_site &site)
{
    if (is_full(list))
        report_error(site, "Item Count Overrun.");
    else
        report_error(site, "Allocating List Item.");
    return ORKA_STATUS_INSUFFICIENT_MEMORY;
}

static inline void orka_llist_list_has_changed(orka_llist_t *list)
{
    /* Looked at first: queues have no cursor, and each store before a lock costs. */
    if (list->cursor != nullptr || list->cursor_index != 0) [[unlikely]] {
        list->cursor = nullptr;
        list->cursor_index = 0;
    }
}

/* Puts an item behind `previous`, or at the head where that is null. */
static inline void link_item(orka_llist_t *list, orka_llist_item *previous, orka_llist_item *item)
{
    orka_llist_item *&link = previous != nullptr ? previous->next : list->head;

    item->next = link;
    link = item;
    if (item->next == nullptr)
        list->tail = item;
    list->count++;
    orka_llist_list_has_changed(list);
}

/* Takes the item behind `previous`, or the head where that is null, out of the list and returns its value. */
static inline uintptr_t unlink_item(orka_llist_t *list, orka_llist_item *previous, orka_llist_item *item)
{
    const uintptr_t value = item->data;

    (previous != nullptr ? previous->next : list->head) = item->next;
    if (item->next == nullptr)
        list->tail = previous;
    list->count--;
    orka_llist_enqueue_scratch(list, item);
    orka_llist_list_has_changed(list);
    return value;
}

/* The same as link_item() behind the tail, with less to look at. */
static inline orka_status_t orka_llist_enqueue_actual(orka_llist_t *list, uintptr_t value)
{
    orka_llist_item *item = item_for(list, value);

    if (item == nullptr) [[unlikely]]
        return no_item(list, HERE);

    if (list->tail != nullptr) {
        list->tail->next = item;
        list->count++;
    } else {
        list->head = item;
        list->count = 1;
    }
    list->tail = item;
    orka_llist_list_has_changed(list);
    return ORKA_STATUS_SUCCESS;
}

/* The same as unlink_item() of the head, with less to look at. */
static inline uintptr_t orka_llist_dequeue_actual(orka_llist_t *list)
{
    orka_llist_item *item = list->head;

    if (item == nullptr)
        return 0;

    list->head = item->next;
    if (list->head != nullptr) [[likely]] {
        list->count--;
    } else {
        list->tail = nullptr;
        list->count = 0;
    }
    const uintptr_t value = item->data;
    orka_llist_enqueue_scratch(list, item);
    orka_llist_list_has_changed(list);
    return value;
}

/* An item and the one before it, which is null for the head; no item: there is none. */
struct place {
    orka_llist_item *previous;
    orka_llist_item *item;
};

static place place_of_index(const orka_llist_t *list, uint32_t index)
{
    place at = {nullptr, list->head};

    for (uint32_t step = 0; step < index && at.item != nullptr; step++)
        at = {at.item, at.item->next};
    return at;
}

static inline orka_status_t insert_at(orka_llist_t *list, uintptr_t value, uint32_t index,
                                      const call_site &site)
{
    orka_llist_item *item = item_for(list, value);

    if (item == nullptr) [[unlikely]]
        return no_item(list, site);
    link_item(list, place_of_index(list, index).previous, item);
    return ORKA_STATUS_SUCCESS;
}

/*
 * The first item equal to the key; none also when a comparison fails, which is reported in the caller's
 * name.
 */
static place place_of_key(const orka_llist_t *list, orka_llist_compare_t compare, uintptr_t key,
                          const call_site &site)
{
    for (place at = {nullptr, list->head}; at.item != nullptr; at = {at.item, at.item->next}) {
        const int32_t result = compare(at.item->data, key);

        if (result == 0)
            return at;
        if (result != 1 && result != -1) {
            report_error(site, "Comparison Failure.");
            break;
        }
    }
    return {nullptr, nullptr};
}

/* Creation and destruction */

orka_llist_t *orka_llist_init(void)
{
    void *memory = malloc(sizeof(orka_llist_t));

    if (memory == nullptr) {
        report_error_errno(errno, HERE, "Allocating Memory for List Handle.");
        return nullptr;
    }
    memset(memory, 0, sizeof(orka_llist_t));

    orka_llist_t *list = static_cast<orka_llist_t *>(memory);
    if (orka_pthread_mutex_init(&list->mutex) != ORKA_STATUS_SUCCESS) {
        report_error(HERE, "Initializing Mutex.");
        free(list);
        return nullptr;
    }
    list->alive = 1;
    list->magic = orka_llist_magic;
    return list;
}

orka_status_t orka_llist_destroy(orka_llist_t *list)
{
    return orka_llist_destroy2(list, nullptr);
}

static void free_blocks(orka_llist_t *list)
{
    while (list->blocks != nullptr) {
        orka_llist_block *block = list->blocks;

        list->blocks = block->next;
        /*
         * Kept on purpose: as many bytes as the items have, from the block's start, so the last item stays.
         */
        explicit_bzero(block, sizeof block->items);
        free(block);
    }
}

orka_status_t orka_llist_destroy2(orka_llist_t *list, orka_llist_release_t release)
{
    const orka_status_t status = orka_llist_check_handle(list);

    if (status != ORKA_STATUS_SUCCESS)
        return status;

    lock_or_die(&list->mutex);
    list->alive = 0;
    unlock_or_die(&list->mutex);
    orka_pthread_mutex_destroy(&list->mutex);

    if (release != nullptr) {
        for (const orka_llist_item *item = list->head; item != nullptr; item = item->next)
            release(item->data);
    }
    free_blocks(list);
    explicit_bzero(list, sizeof *list);
    free(list);
    return ORKA_STATUS_SUCCESS;
}

/* The list as a whole */

uint32_t orka_llist_size(orka_llist_t *list)
{
    if (orka_llist_check_handle(list) != ORKA_STATUS_SUCCESS)
        return 0;

    lock_or_die(&list->mutex);
    const uint32_t count = list->count;
    unlock_or_die(&list->mutex);
    return count;
}

static orka_status_t move_all(orka_llist_t *destination, orka_llist_t *source, const call_site &site)
{
    while (const uintptr_t value = orka_llist_dequeue_actual(source)) {
        const orka_status_t status = orka_llist_enqueue_actual(destination, value);

        if (status != ORKA_STATUS_SUCCESS) {
            report_error(site, "Moving List.");
            return status;
        }
    }
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_llist_move_enqueue(orka_llist_t *destination, orka_llist_t *source)
{
    orka_status_t status = orka_llist_check_handle(destination);

    if (status == ORKA_STATUS_SUCCESS)
        status = orka_llist_check_handle(source);
    if (status != ORKA_STATUS_SUCCESS || destination == source)
        return status;

    lock_or_die(&destination->mutex);
    lock_or_die(&source->mutex);
    status = move_all(destination, source, HERE);
    unlock_or_die(&source->mutex);
    unlock_or_die(&destination->mutex);
    return status;
}

/* Queue and stack */

orka_status_t orka_llist_enqueue(orka_llist_t *list, uintptr_t value)
{
    orka_status_t status = orka_llist_check_handle(list);

    if (status != ORKA_STATUS_SUCCESS)
        return status;

    lock_or_die(&list->mutex);
    status = orka_llist_enqueue_actual(list, value);
    unlock_or_die(&list->mutex);
    return status;
}

uintptr_t orka_llist_dequeue(orka_llist_t *list)
{
    if (orka_llist_check_handle(list) != ORKA_STATUS_SUCCESS)
        return 0;

    lock_or_die(&list->mutex);
    const uintptr_t value = orka_llist_dequeue_actual(list);
    unlock_or_die(&list->mutex);
    return value;
}

orka_status_t orka_llist_push(orka_llist_t *list, uintptr_t value)
{
    orka_status_t status = orka_llist_check_handle(list);

    if (status != ORKA_STATUS_SUCCESS)
        return status;

    lock_or_die(&list->mutex);
    status = insert_at(list, value, 0, HERE);
    unlock_or_die(&list->mutex);
    return status;
}

uintptr_t orka_llist_pop(orka_llist_t *list)
{
    return orka_llist_dequeue(list);
}

/* By index */

orka_status_t orka_llist_insert_index(orka_llist_t *list, uintptr_t value, uint32_t index)
{
    orka_status_t status = orka_llist_check_handle(list);

    if (status != ORKA_STATUS_SUCCESS)
        return status;

    lock_or_die(&list->mutex);
    status = insert_at(list, value, index, HERE);
    unlock_or_die(&list->mutex);
    return status;
}

/* Leaves the cursor on the item found. */
static uintptr_t value_at(orka_llist_t *list, uint32_t index)
{
    if (list->cursor != nullptr && index == list->cursor_index + 1) {
        list->cursor = list->cursor->next;
        list->cursor_index++;
    } else {
        list->cursor = place_of_index(list, index).item;
        list->cursor_index = list->cursor != nullptr ? index : 0;
    }
    return list->cursor != nullptr ? list->cursor->data : 0;
}

uintptr_t orka_llist_get_index(orka_llist_t *list, uint32_t index)
{
    if (orka_llist_check_handle(list) != ORKA_STATUS_SUCCESS)
        return 0;

    lock_or_die(&list->mutex);
    const uintptr_t value = value_at(list, index);
    unlock_or_die(&list->mutex);
    return value;
}

uintptr_t orka_llist_del_index(orka_llist_t *list, uint32_t index)
{
    if (orka_llist_check_handle(list) != ORKA_STATUS_SUCCESS)
        return 0;

    lock_or_die(&list->mutex);
    const place at = place_of_index(list, index);
    const uintptr_t value = at.item != nullptr ? unlink_item(list, at.previous, at.item) : 0;
    unlock_or_die(&list->mutex);
    return value;
}

/* By comparison */

static orka_status_t insert_sorted(orka_llist_t *list, uintptr_t value, orka_llist_compare_t compare,
                                   uintptr_t key, const call_site &site)
{
    orka_llist_item *item = item_for(list, value);

    if (item == nullptr)
        return no_item(list, site);

    orka_llist_item *previous = nullptr;
    for (orka_llist_item *next = list->head; next != nullptr; previous = next, next = next->next) {
        const int32_t result = compare(next->data, key);

        if (result == 0 || result == 1)
            break;
        if (result != -1) {
            report_error(site, "Comparison Failure.");
            orka_llist_enqueue_scratch(list, item);
            return ORKA_STATUS_ERROR;
        }
    }
    link_item(list, previous, item);
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_llist_insert(orka_llist_t *list, uintptr_t value, orka_llist_compare_t compare,
                                uintptr_t key)
{
    orka_status_t status = orka_llist_check_handle(list);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    if (compare == nullptr)
        return orka_null_pointer(HERE);

    lock_or_die(&list->mutex);
    status = insert_sorted(list, value, compare, key, HERE);
    unlock_or_die(&list->mutex);
    return status;
}

uintptr_t orka_llist_find(orka_llist_t *list, orka_llist_compare_t compare, uintptr_t key)
{
    if (orka_llist_check_handle(list) != ORKA_STATUS_SUCCESS)
        return 0;
    if (compare == nullptr) {
        orka_null_pointer(HERE);
        return 0;
    }

    lock_or_die(&list->mutex);
    const place at = place_of_key(list, compare, key, HERE);
    const uintptr_t value = at.item != nullptr ? at.item->data : 0;
    unlock_or_die(&list->mutex);
    return value;
}

uintptr_t orka_llist_delete(orka_llist_t *list, orka_llist_compare_t compare, uintptr_t key)
{
    if (orka_llist_check_handle(list) != ORKA_STATUS_SUCCESS)
        return 0;
    if (compare == nullptr) {
        orka_null_pointer(HERE);
        return 0;
    }

    lock_or_die(&list->mutex);
    const place at = place_of_key(list, compare, key, HERE);
    const uintptr_t value = at.item != nullptr ? unlink_item(list, at.previous, at.item) : 0;
    unlock_or_die(&list->mutex);
    return value;
}
