/*
 * Status codes, switches and their texts.
 *
 * Every text returned here is constant, belongs to the library and is never null. All functions may be called
 * from any thread, and none of them fails.
 *
 * How the library speaks of failures: a line "ERROR:<function>():[<line>] <MODULE>: <message>" on standard
 * error, by each function on the way that has words of its own for the failure, most often one; where the
 * system refused a call, a second line follows with errno's number and text. Lines that begin with "WARNING:"
 * go to standard output. A line that begins with "FATAL:" on standard error is followed by exit(1). A pointer
 * that a header calls asserted aborts the process where it is NULL, in release builds too; where nothing is
 * said of it, it must not be NULL.
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

/* All statuses there are. */
enum {
    ORKA_STATUS_TIMEOUT = 2,              /* the time that was allowed ran out */
    ORKA_STATUS_COMPLETED = 1,            /* the application's: no call returns it */
    ORKA_STATUS_SUCCESS = 0,              /* done */
    ORKA_STATUS_ERROR = -1,               /* failed, or refused by the driver */
    ORKA_STATUS_NULL_POINTER = -2,        /* a pointer is NULL that must not be */
    ORKA_STATUS_INVALID_PARAMETER = -3,   /* a value that means nothing here */
    ORKA_STATUS_OUT_OF_RANGE = -4,        /* a value beyond its limits */
    ORKA_STATUS_INITIALIZATION = -5,      /* a handle that is no valid handle, or no longer one */
    ORKA_STATUS_VERSION = -6,             /* the application's: no call returns it */
    ORKA_STATUS_INSUFFICIENT_MEMORY = -7, /* no memory is left */
    ORKA_STATUS_INSUFFICIENT_DATA = -8,   /* the application's: no call returns it */
    ORKA_STATUS_INVALID_STATE = -9,       /* the application's: no call returns it */
    ORKA_STATUS_INTR = -10,               /* interrupted by a signal */
    ORKA_STATUS_CRUNTIME = -11,           /* the C library refused something that it should not refuse */
    ORKA_STATUS_THREAD = -12,             /* of threads */
    ORKA_STATUS_MUTEX = -13,              /* of mutexes and of condition variables */
    ORKA_STATUS_ADDRESS_RESOLUTION = -14, /* the application's: no call returns it */
    ORKA_STATUS_IO = -15,                 /* a device is not there, or an exchange with it failed */
    ORKA_STATUS_FILE = -16,               /* the application's: no call returns it */
    ORKA_STATUS_NETWORK = -17             /* the application's: no call returns it */
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
