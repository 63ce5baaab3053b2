/*
 * Which time a byte of an encoded stream belongs to.
 *
 * Whoever drains a stream in amounts of its own, to a network say, tells the map about each frame as it comes
 * from the encoder and about each amount as it is drained, and asks for the time of the byte that it has
 * reached. Within a frame time goes evenly to the next frame's; where there is no next frame yet, at the
 * byte rate of the frame before.
 *
 * Times are in the unit of the frames' time stamps, which the byte rate takes to be ms. All words are
 * unsigned, 32 bits wide, and wrap: a frame's bytes times the ms to the next one, or times 1000, should stay
 * below 4 GiB.
 *
 * The map remembers nine frames that are not drained. It does not notice a tenth, after which it seems empty.
 * Nothing is locked: one thread at a time.
 *
 * A handle that is NULL gives ORKA_STATUS_NULL_POINTER and one that is none, or was destroyed,
 * ORKA_STATUS_INITIALIZATION, each after two reports on standard error.
 */
#ifndef ORKA_BSTIME_H
#define ORKA_BSTIME_H

#include <stdint.h>

#include "orka_iencode.h"
#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A map, behind a pointer that the library gives out. */
typedef struct orka_bstime orka_bstime_t;

/* A new, empty map, which the caller destroys; NULL, after a report, when there is no memory. */
orka_bstime_t *orka_bstime_init(void);

/* Destroys a map. */
orka_status_t orka_bstime_destroy(orka_bstime_t *handle);

/*
 * Adds a frame behind the others: its size and its timestamp, no other word, are taken from the record, which
 * is not to be NULL and is not kept. A frame without bytes is left out.
 */
orka_status_t orka_bstime_new_entry(orka_bstime_t *handle, const orka_iencode_frame_t *frame);

/* Drains that many bytes: 0, or -1 when the frames hold fewer, all of which are then drained. */
int32_t orka_bstime_bytes_used(orka_bstime_t *handle, uint32_t count);

/*
 * The time, in ms, of the byte that has been reached. A frame that is drained to its last byte still answers
 * once; asked again, the answer is 0, as it is in a map that is new or reset. In a map that was asked to
 * drain more than it held it may be the time of an earlier frame. For a bad handle its status, which as an
 * unsigned number is one of the last before 4294967296.
 */
uint32_t orka_bstime_get_bistream_time(orka_bstime_t *handle);

/* Forgets all frames. */
orka_status_t orka_bstime_reset(orka_bstime_t *handle);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
