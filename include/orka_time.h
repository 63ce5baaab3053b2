/*
 * Time: milliseconds in 32 bits, the system's timeval, time-outs, and a sleep.
 *
 * Milliseconds are unsigned and wrap every 49.7 days. Of a timeval the low 32 bits of both fields are read,
 * as signed numbers, whatever the width of the system's fields; what is written is sign-extended to that
 * width. Programs for 32-bit systems must be built with the system's own timeval, which _TIME_BITS=64
 * replaces.
 *
 * A NULL pointer is reported on standard error; nothing is written then. All functions may be called from any
 * thread.
 */
#ifndef ORKA_TIME_H
#define ORKA_TIME_H

#include <stdint.h>
#include <sys/time.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Between seconds, milliseconds and the system's timeval. A timeval that is NULL gives 0. */
uint32_t orka_time_convert_seconds_to_msec(uint32_t seconds);
void orka_time_convert_msec_to_timeval(struct timeval *time, uint32_t msec);
uint32_t orka_time_convert_timeval_to_msec(const struct timeval *time);

/*
 * Splits a time: msec counts milliseconds from the last multiple of 1000000 seconds, so that it stays below
 * 10^9 and restarts every 11.6 days; nsec is what is left below the millisecond, in nanoseconds.
 */
void orka_time_convert_timeval_to_msns(const struct timeval *time, uint32_t *msec, uint32_t *nsec);

/* The time of day, as the conversions above give it. */
uint32_t orka_time_current_time_msec(void);
void orka_time_current_time_msns(uint32_t *msec, uint32_t *nsec);

/* The distance, in ms, between now and start, a result of orka_time_current_time_msec; to either side. */
uint32_t orka_time_elapsed_msec(uint32_t start_msec);

/*
 * What is left, in ms, of a time-out that began at start: 0 once it has run out, 0xFFFFFFFF for a negative
 * time-out, which never does.
 */
uint32_t orka_time_remaining_msec(uint32_t start_msec, int32_t timeout_msec);

/*
 * out = a + b, out = a - b. Both return out, which may be a or b itself; it is left as it is when one of the
 * three is NULL. Microseconds of a sum are carried into the seconds; a difference borrows one second at most.
 */
struct timeval *orka_time_timeval_add(const struct timeval *a, const struct timeval *b, struct timeval *out);
struct timeval *orka_time_timeval_sub(const struct timeval *a, const struct timeval *b, struct timeval *out);

/* -1 where a is before b, 1 where it is after, 0 where they are equal or one is NULL. */
int32_t orka_time_timeval_cmp(const struct timeval *a, const struct timeval *b);

/*
 * Sleeps for the sum of its arguments. All but the seconds together must stay below one second: they are
 * summed up as nanoseconds in 32 bits, and a sum of 4294967296 or more wraps and may be a shorter sleep that
 * succeeds. ORKA_STATUS_ERROR, after a report, when the system refuses the time or a signal ends the sleep.
 * ORKA_STATUS_INTR, without one, on systems whose nanosleep returns the error's number itself.
 */
orka_status_t orka_time_nanosleep(uint32_t seconds, uint32_t milliseconds, uint32_t microseconds,
                                  uint32_t nanoseconds);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
