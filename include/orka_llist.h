/*
 * A list of values behind one mutex: a queue, a stack, an indexed sequence, or sorted by a comparison of
 * yours.
 *
 *     head                  tail
 *      [a] -> [b] -> [c] -> [d]        enqueue appends at the tail, push prepends at the head,
 *                                      dequeue and pop both take from the head
 *
 * Values are the caller's and are not looked at: integers, or pointers cast to uintptr_t. Calls that return a
 * value return 0 for "nothing", so a stored 0 cannot be told from it. Items are recycled within a list: once
 * a list has grown to its working size, no call allocates memory, and none is given back before the list is
 * destroyed.
 *
 * Every call is atomic towards the others on the same list, from any thread. Comparison functions run under
 * the list's lock and must not call back into it. A lock that fails ends the process with exit(1).
 *
 * What all calls return for a bad list, after an ERROR line: NULL gives ORKA_STATUS_NULL_POINTER and what is
 * no list, or one that is being destroyed, ORKA_STATUS_INITIALIZATION; calls that return a value or a size
 * give 0. A NULL comparison counts as a NULL pointer too. Calls that add return
 * ORKA_STATUS_INSUFFICIENT_MEMORY when there is no memory for the item or when the list holds 4294967295
 * values; the list is then as before.
 */
#ifndef ORKA_LLIST_H
#define ORKA_LLIST_H

#include <stdint.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A list, behind a pointer that the library gives out. */
typedef struct orka_llist orka_llist_t;

/*
 * Compares the value of an item with the key that was given to the call: 0 equal, 1 the value is greater, -1
 * the value is smaller. Anything else means that the two cannot be compared and makes the call fail.
 */
typedef int32_t (*orka_llist_compare_t)(uintptr_t value, uintptr_t key);

/* What becomes of a value whose list is destroyed. */
typedef void (*orka_llist_release_t)(uintptr_t value);

/* A new, empty list, which the caller destroys; NULL when memory or a mutex is not to be had. */
orka_llist_t *orka_llist_init(void);

/*
 * Destroys a list with its items. No other thread may still use it. What the values stand for is not
 * touched.
 */
orka_status_t orka_llist_destroy(orka_llist_t *list);

/*
 * Destroys a list as orka_llist_destroy, and hands each value to `release`, in list order, without holding
 * the lock. `release` may be NULL.
 */
orka_status_t orka_llist_destroy2(orka_llist_t *list, orka_llist_release_t release);

/* The number of values. */
uint32_t orka_llist_size(orka_llist_t *list);

/* Appends a value at the tail. */
orka_status_t orka_llist_enqueue(orka_llist_t *list, uintptr_t value);

/* Removes the value at the head and returns it; 0 when the list is empty. */
uintptr_t orka_llist_dequeue(orka_llist_t *list);

/* Prepends a value at the head. */
orka_status_t orka_llist_push(orka_llist_t *list, uintptr_t value);

/* Removes the value at the head and returns it; 0 when the list is empty. */
uintptr_t orka_llist_pop(orka_llist_t *list);

/* Inserts a value so that it stands at `index`, from 0; beyond the end it becomes the new tail. */
orka_status_t orka_llist_insert_index(orka_llist_t *list, uintptr_t value, uint32_t index);

/* The value at an index, from 0; 0 beyond the end. Going through 0, 1, 2 ... costs one step a call. */
uintptr_t orka_llist_get_index(orka_llist_t *list, uint32_t index);

/* Removes the value at an index, from 0, and returns it; 0 beyond the end. */
uintptr_t orka_llist_del_index(orka_llist_t *list, uint32_t index);

/*
 * Inserts a value before the first item that is equal to or greater than the key, or at the tail. It is the
 * key that is compared, not the value. A comparison that fails gives ORKA_STATUS_ERROR and leaves the list as
 * it was.
 */
orka_status_t orka_llist_insert(orka_llist_t *list, uintptr_t value, orka_llist_compare_t compare,
                                uintptr_t key);

/* The first value that is equal to the key; 0 when none is, or when a comparison fails on the way. */
uintptr_t orka_llist_find(orka_llist_t *list, orka_llist_compare_t compare, uintptr_t key);

/* Removes the first value that is equal to the key and returns it; 0 as orka_llist_find. */
uintptr_t orka_llist_delete(orka_llist_t *list, orka_llist_compare_t compare, uintptr_t key);

/*
 * Moves all values of `source`, in order, to the tail of `destination`, atomically towards other calls on
 * either. A value of 0 ends the move and is lost. A list moved to itself stays as it is. When the destination
 * can take no more, its status is returned: what was moved stays there, the value at hand is lost, the rest
 * remains in the source. Threads must not move between the same two lists in opposite directions at the same
 * time.
 */
orka_status_t orka_llist_move_enqueue(orka_llist_t *destination, orka_llist_t *source);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
