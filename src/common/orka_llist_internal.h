/* What a list is made of. */
#ifndef ORKA_LLIST_INTERNAL_H
#define ORKA_LLIST_INTERNAL_H

#include <cstddef>
#include <pthread.h>

#include "orka_llist.h"

constexpr uint32_t orka_llist_magic = 0x4C495354; /* "LIST" */

struct orka_llist_item {
    orka_llist_item *next;
    uintptr_t data;
};

/*
 * Items come and go by the free list alone; malloc is asked for a block of them at a time. The link to the
 * next block takes the place of one more item.
 */
constexpr uint32_t orka_llist_block_items = 20;

struct orka_llist_block {
    orka_llist_block *next;
    uintptr_t unused;
    orka_llist_item items[orka_llist_block_items];
};
static_assert(offsetof(orka_llist_block, items) == sizeof(orka_llist_item));
static_assert(sizeof(orka_llist_block) == 21 * sizeof(orka_llist_item));
static_assert(sizeof(orka_llist_block) == (sizeof(void *) == 4 ? 168 : 336));

/*
 * head is null if and only if tail is null and count is 0. The cursor is the item that orka_llist_get_index
 * found last; whatever changes the list resets it.
 */
struct orka_llist {
    uint32_t magic;
    uint32_t alive; /* 1 while the list may be used */
    orka_llist_item *head;
    orka_llist_item *tail;
    orka_llist_item *scratch; /* free items */
    orka_llist_block *blocks;
    uint32_t count;
    orka_llist_item *cursor;
    uint32_t cursor_index;
    pthread_mutex_t mutex;
};

#endif
