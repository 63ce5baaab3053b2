/*
 * The shim's start: whether the program has a board, and libc's own functions behind those that are
 * replaced.
 */
#ifndef ORKA_BOARD_SHIM_START_H
#define ORKA_BOARD_SHIM_START_H

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>

namespace orka::board::shim {

using open_function = int(const char *, int, ...);
using openat_function = int(int, const char *, int, ...);
using checked_open_function = int(const char *, int);
using checked_openat_function = int(int, const char *, int);
using ioctl_function = int(int, unsigned long, ...);
using mmap_function = void *(void *, size_t, int, int, int, off_t);
using mmap64_function = void *(void *, size_t, int, int, int, off64_t);
using msync_function = int(void *, size_t, int);
using access_function = int(const char *, int);
using faccessat_function = int(int, const char *, int, int);
using statx_function = int(int, const char *, int, unsigned, struct statx *);
/* The stat family differs in its records, which stay untyped here. */
using stat_function = int(const char *, void *);
using fstatat_function = int(int, const char *, void *, int);
using xstat_function = int(int, const char *, void *);
using fxstatat_function = int(int, int, const char *, void *, int);
using getxattr_function = ssize_t(const char *, const char *, void *, size_t);

/*
 * Null where libc has no such function, and all null before the start; so pass them by reference until it is
 * certain.
 */
struct real_functions {
    open_function *open, *open64;
    openat_function *openat, *openat64;
    checked_open_function *open_2, *open64_2;
    checked_openat_function *openat_2, *openat64_2;
    ioctl_function *ioctl, *ioctl_time64;
    mmap_function *mmap;
    mmap64_function *mmap64;
    msync_function *msync;
    access_function *access, *eaccess, *euidaccess;
    faccessat_function *faccessat;
    statx_function *statx;
    stat_function *stat, *lstat, *stat64, *lstat64, *stat_time64, *lstat_time64;
    fstatat_function *fstatat, *fstatat64, *fstatat_time64;
    xstat_function *xstat, *lxstat, *xstat64, *lxstat64;
    fxstatat_function *fxstatat, *fxstatat64;
    getxattr_function *getxattr, *lgetxattr;
};

extern real_functions real;

/*
 * Whether the program has a board; where it has none, every call passes through. Every replaced function asks
 * this before anything else: it starts the shim where another library's constructor calls before the shim's
 * own ran. What the start itself calls, and what is called before libc is there, finds no board and null
 * functions.
 */
bool has_board();

/*
 * Where the board's server listens; valid when there is a board. A path that does not fit is never connected
 * to.
 */
struct server_address {
    sockaddr_un name;
    socklen_t length;
};
extern server_address server;

} // namespace orka::board::shim

#endif
