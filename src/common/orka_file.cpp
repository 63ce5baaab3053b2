#include "orka_file.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_FILE:";

/* Waiting */

orka_status_t orka_file_poll_fd(int fd, int timeout, uint16_t events, uint16_t *revents)
{
    pollfd polled = {.fd = fd, .events = static_cast<short>(events), .revents = 0};

    if (revents != nullptr)
        *revents = 0;

    const int pollresult = poll(&polled, 1, timeout);
    const int saved_errno = errno;
    if (pollresult == 1) {
        if (revents != nullptr)
            *revents = static_cast<uint16_t>(polled.revents);
        return ORKA_STATUS_SUCCESS;
    }
    if (pollresult == 0)
        return ORKA_STATUS_TIMEOUT;

    ORKA_ASSERT(pollresult < 0, "pollresult < 0");
    if (saved_errno == EINTR)
        return ORKA_STATUS_INTR;
    report_error_errno(saved_errno, HERE, "Polling Descriptor '%d'.", fd);
    return ORKA_STATUS_ERROR;
}

orka_status_t orka_file_poll_fd_in(int fd, int timeout)
{
    return orka_file_poll_fd(fd, timeout, POLLIN, nullptr);
}

orka_status_t orka_file_poll_fd_out(int fd, int timeout)
{
    return orka_file_poll_fd(fd, timeout, POLLOUT, nullptr);
}

orka_status_t orka_file_poll_fd_inout(int fd, int timeout)
{
    return orka_file_poll_fd(fd, timeout, POLLIN | POLLOUT, nullptr);
}

/* Descriptors, none of them 0 */

int orka_file_open_fd(const char *path, int flags, mode_t mode)
{
    const int fd = open(path, flags, mode);

    if (fd < 0)
        return -1;
    if (fd > 0)
        return fd;

    const int duplicate = orka_file_dup_fd(fd);
    orka_file_close_fd(fd);
    return duplicate;
}

int orka_file_dup_fd(int fd)
{
    if (fd < 0)
        return -1;

    const int first = dup(fd);
    if (first < 0)
        return -1;
    if (first > 0)
        return first;

    const int second = dup(first);
    close(first);
    return second > 0 ? second : -1;
}

int orka_file_close_fd(int fd)
{
    if (fd < 0) {
        report_error(HERE, "File Descriptor '%d' is Invalid.", fd);
        return -1;
    }
    if (close(fd) < 0) {
        report_error_errno(errno, HERE, "Closing File '%d' Descriptor.", fd);
        return -1;
    }
    return 0;
}

/* Sizes */

int64_t orka_file_size_fd(int fd)
{
    if (fd < 0) {
        report_error(HERE, "File Descriptor '%d' is Invalid.", fd);
        return -1;
    }

    const off_t position = lseek(fd, 0, SEEK_CUR);
    if (position < 0) {
        report_error_errno(errno, HERE, "Error Reading File.");
        return -1;
    }
    const off_t size = lseek(fd, 0, SEEK_END);
    if (size < 0) {
        report_error_errno(errno, HERE, "Error Reading File.");
        return -1;
    }
    /* Kept on purpose: the size holds although the position is lost. */
    if (lseek(fd, position, SEEK_SET) != position)
        report_error_errno(errno, HERE, "Error Resetting File Position.");
    return size;
}

int64_t orka_file_size(const char *path)
{
    if (path == nullptr) {
        orka_null_pointer(HERE);
        return -1;
    }

    const int fd = orka_file_open_fd(path, O_RDONLY, 0);
    if (fd < 0) {
        report_error(HERE, "Opening File '%s'.", path);
        return -1;
    }
    const int64_t size = orka_file_size_fd(fd);
    orka_file_close_fd(fd);
    return size;
}

/* Closing at exit */

/* Written for whoever looks at the record where it is freed. */
struct onexit_record {
    volatile int fd;
};

static void onexit_close_fd(int, void *argument)
{
    onexit_record *record = static_cast<onexit_record *>(argument);

    if (record != nullptr && record->fd >= 0) {
        fsync(record->fd);
        orka_file_close_fd(record->fd);
        record->fd = -1;
    }
    free(record);
}

orka_status_t orka_file_register_onexit_close_fd(int fd)
{
    if (fd < 0) {
        report_error(HERE, "File Descriptor '%d' is Invalid.", fd);
        return ORKA_STATUS_ERROR;
    }

    onexit_record *record = static_cast<onexit_record *>(malloc(sizeof(onexit_record)));
    if (record == nullptr) {
        report_error_errno(errno, HERE, "Insufficient Memory.");
        return ORKA_STATUS_INSUFFICIENT_MEMORY;
    }
    record->fd = fd;
    if (on_exit(onexit_close_fd, record) != 0) {
        report_error_errno(errno, HERE, "Registering on_exit() function.");
        free(record);
        return ORKA_STATUS_CRUNTIME;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Reading */

/* One read from an offset of an open file. */
static int read_region(int fd, const char *path, int offset, void *buffer, uint32_t length,
                       const call_site &site)
{
    if (offset > 0 && lseek(fd, offset, SEEK_SET) < 0) {
        report_error_errno(errno, site, "Seeking to File Offset.");
        return -1;
    }

    const ssize_t count = read(fd, buffer, length);
    if (count < 0) {
        report_error_errno(errno, site, "Reading from File '%s'.", path);
        return -1;
    }
    /* The kernel reads less than 2 GiB at a time. */
    return static_cast<int>(count);
}

int orka_file_load_buffer(const char *path, int offset, void *buffer, uint32_t length)
{
    if (path == nullptr || buffer == nullptr) {
        orka_null_pointer(HERE);
        return -1;
    }

    const int fd = orka_file_open_fd(path, O_RDONLY, 0);
    if (fd < 0) {
        report_error(HERE, "Opening File '%s'.", path);
        return -1;
    }
    const int count = read_region(fd, path, offset, buffer, length, HERE);
    orka_file_close_fd(fd);
    return count;
}
