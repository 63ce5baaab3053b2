/*
 * Files and descriptors.
 *
 * A descriptor of 0 is never handed out: where the system gives 0, it is duplicated to a higher number and
 * closed, so that a result above 0 is a descriptor and nothing else is. All functions may be called from any
 * thread. Failures are reported with an ERROR line unless said otherwise. NULL for a path or for a buffer is
 * a failure like any other.
 */
#ifndef ORKA_FILE_H
#define ORKA_FILE_H

#include <stdint.h>
#include <sys/types.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Waits until a descriptor is ready for one of `events` (POLLIN, POLLOUT ... of <poll.h>), for at most
 * `timeout` milliseconds: negative waits without limit, 0 only looks. A negative descriptor is never ready.
 * What it is ready for goes to *revents,
 * or 0; `revents` may be NULL. Returns ORKA_STATUS_SUCCESS when ready, also by an error or a hang-up,
 * ORKA_STATUS_TIMEOUT when not, ORKA_STATUS_INTR when a signal came first (nothing is reported then), or
 * ORKA_STATUS_ERROR.
 */
orka_status_t orka_file_poll_fd(int fd, int timeout, uint16_t events, uint16_t *revents);

/* orka_file_poll_fd until there is something to read, room to write, or either. */
orka_status_t orka_file_poll_fd_in(int fd, int timeout);
orka_status_t orka_file_poll_fd_out(int fd, int timeout);
orka_status_t orka_file_poll_fd_inout(int fd, int timeout);

/*
 * Opens a file with the flags and the mode of open(2). Returns a descriptor above 0, which the caller closes,
 * or -1; reports nothing.
 */
int orka_file_open_fd(const char *path, int flags, mode_t mode);

/* Duplicates a descriptor. Returns one above 0, which the caller closes, or -1; reports nothing. */
int orka_file_dup_fd(int fd);

/*
 * The size in bytes of the file behind a descriptor, or -1. The file's position stays where it is, unless it
 * cannot be read or set again, which is reported.
 */
int64_t orka_file_size_fd(int fd);

/* The size in bytes of a file, or -1. Files of 2 GiB and more cannot be opened where off_t has 32 bits. */
int64_t orka_file_size(const char *path);

/* Closes a descriptor. Returns 0, or -1. */
int orka_file_close_fd(int fd);

/*
 * Has a descriptor flushed to storage and closed when the process exits; the caller does not close it any
 * more. Returns ORKA_STATUS_ERROR for a negative descriptor, ORKA_STATUS_INSUFFICIENT_MEMORY, or
 * ORKA_STATUS_CRUNTIME when the exit handler cannot be registered.
 */
orka_status_t orka_file_register_onexit_close_fd(int fd);

/*
 * Reads a part of a file into a buffer with one read: at most `length` bytes, from `offset` bytes after the
 * file's start; an offset of 0 or below reads from the start. Returns the number of bytes read, fewer where
 * the file ends, or -1.
 */
int orka_file_load_buffer(const char *path, int offset, void *buffer, uint32_t length);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
