/*
 * Status codes, switches and their texts.
 *
 * Every text returned here is constant, belongs to the library and is never null. All functions may be called
 * from any thread, and none of them fails.
 *
 * How the library speaks of failures: a line "ERROR:<function>():[<line>] <MODULE>: <message>" on standard
 * error, written once by the function that noticed the failure; where the system refused a call, a second
 * line follows with errno's number and text. Lines that begin with "WARNING:" go to standard output. A line
 * that begins with "FATAL:" on standard error is followed by exit(1). Pointers that a call cannot work
 * without are asserted: NULL aborts the process, in release builds too.
 */
#ifndef ORKA_STATUS_H
#define ORKA_STATUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * The outcome of a call: 0 is success, positive values are outcomes that are no errors, negative ones are
 * failures.
 */
typedef int32_t orka_status_t;

enum {
    ORKA_STATUS_TIMEOUT = 2,
    ORKA_STATUS_COMPLETED = 1,
    ORKA_STATUS_SUCCESS = 0,
    ORKA_STATUS_ERROR = -1,
    ORKA_STATUS_NULL_POINTER = -2,
    ORKA_STATUS_INVALID_PARAMETER = -3,
    ORKA_STATUS_OUT_OF_RANGE = -4,
    ORKA_STATUS_INITIALIZATION = -5, /* a handle that is no valid handle, or no longer one */
    ORKA_STATUS_VERSION = -6,
    ORKA_STATUS_INSUFFICIENT_MEMORY = -7,
    ORKA_STATUS_INSUFFICIENT_DATA = -8,
    ORKA_STATUS_INVALID_STATE = -9,
    ORKA_STATUS_INTR = -10,     /* interrupted by a signal */
    ORKA_STATUS_CRUNTIME = -11, /* the C library refused something that it should not refuse */
    ORKA_STATUS_THREAD = -12,
    ORKA_STATUS_MUTEX = -13, /* of mutexes and of condition variables */
    ORKA_STATUS_ADDRESS_RESOLUTION = -14,
    ORKA_STATUS_IO = -15,
    ORKA_STATUS_FILE = -16,
    ORKA_STATUS_NETWORK = -17
};

/* A switch that may also be left to the library. */
typedef int32_t orka_enable_mode_t;

enum { ORKA_ENABLE_MODE_AUTO = -1, ORKA_ENABLE_MODE_OFF = 0, ORKA_ENABLE_MODE_ON = 1 };

/* The text of a status, "SUCCESS" or "ERROR(I/O)" say; "INVALID STATUS" for any other number. */
const char *orka_status_string(orka_status_t status);

/* "FALSE" for 0, "TRUE" for 1, "INVALID" for anything else. */
const char *orka_bool_string(int value);
const char *orka_bool_string_tf(int value);

/* "NO" for 0, "YES" for 1, "INVALID" for anything else. */
const char *orka_bool_string_yn(int value);

/* "AUTO", "OFF" or "ON"; "INVALID" for anything else. */
const char *orka_enable_mode_string(orka_enable_mode_t mode);

/*
 * The mode of a name, whatever its case: "ON", "YES", "TRUE" give ON; "OFF", "NO", "FALSE" give OFF; NULL,
 * "DEFAULT", "AUTO", "DETECT" give AUTO. Any other name is reported with an ERROR line and gives AUTO as
 * well.
 */
orka_enable_mode_t orka_enable_mode_byname(const char *name);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
