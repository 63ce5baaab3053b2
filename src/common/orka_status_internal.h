/*
 * How every module reports a failure, and how it guards the pointers that it cannot work without.
 *
 * A module has a tag, `static const char pname[] = "ORKA_FILE:";`, and says at the place of the failure:
 *
 *     if (close(fd) < 0) {
 *         report_error_errno(errno, HERE, "Closing File '%d' Descriptor.", fd);
 *         return -1;
 *     }
 *
 * which comes out on standard error as
 *
 *     ERROR:orka_file_close_fd():[90] ORKA_FILE: Closing File '7' Descriptor.
 *             (9): Bad file descriptor
 *
 * The prefix, the tag and the end of the line are the writer's; the message alone stands at the call site.
 * errno is an argument, so that nothing between the failing call and the report can change it.
 */
#ifndef ORKA_STATUS_INTERNAL_H
#define ORKA_STATUS_INTERNAL_H

#include "orka_status.h"

/* Where a report is made: the module's tag, the function that noticed, and its source line. */
struct call_site {
    const char *tag;
    const char *function;
    int line;
};

/* Static, so that it costs nothing where there is nothing to report. */
#define HERE                                                                                                 \
    __extension__({                                                                                          \
        static constexpr call_site here = {pname, __func__, __LINE__};                                       \
        &here;                                                                                               \
    })[0]

#define ORKA_REPORTER(format_index)                                                                          \
    __attribute__((cold, noinline, format(printf, format_index, (format_index) + 1)))

/* A failure that is this library's own finding: no errno line. */
ORKA_REPORTER(2) void report_error(const call_site &site, const char *message, ...);

/* A failure of a call that sets errno. */
ORKA_REPORTER(3) void report_error_errno(int saved_errno, const call_site &site, const char *message, ...);

/* Reports that an argument is null. */
__attribute__((cold, noinline)) inline orka_status_t orka_null_pointer(const call_site &site)
{
    report_error(site, "NULL Pointer Deref.");
    return ORKA_STATUS_NULL_POINTER;
}

/* Something odd that is not a failure; goes to standard output. */
ORKA_REPORTER(2) void report_warning(const call_site &site, const char *message, ...);

/* What cannot be lived with: ends the process with exit status 1. */
[[noreturn]] ORKA_REPORTER(2) void report_fatal(const call_site &site, const char *message, ...);
[[noreturn]] ORKA_REPORTER(3) void report_fatal_errno(int saved_errno, const call_site &site,
                                                      const char *message, ...);

/* libc's own, which <assert.h> hides in release builds. */
extern "C" [[noreturn]] void __assert_fail(const char *assertion, const char *file, unsigned int line,
                                           const char *function) noexcept;

/*
 * Assertions are part of the library's contract: they hold in every build type, and the text that they print
 * is the documented one rather than the source's.
 */
#define ORKA_ASSERT(condition, text)                                                                         \
    (__builtin_expect(static_cast<bool>(condition), 1) ? static_cast<void>(0)                                \
                                                       : __assert_fail(text, __FILE__, __LINE__, __func__))

#define ORKA_ASSERT_NOT_NULL(pointer) ORKA_ASSERT((pointer) != nullptr, #pointer " != ((void *)0)")

#endif
