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

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "orka_status.h"

/* A module's tag, its `pname`, and how the names of its functions begin. */
struct module_names {
    char tag[18];
    char prefix[18];
};

inline constexpr module_names orka_modules[] = {
    {"ORKA_STATUS:", "orka_status_"},     {"ORKA_TIME:", "orka_time_"},
    {"ORKA_PTHREAD:", "orka_pthread_"},   {"ORKA_LLIST:", "orka_llist_"},
    {"ORKA_FILE:", "orka_file_"},         {"ORKA_IDEVICE:", "orka_idevice_"},
    {"ORKA_IMEM:", "orka_imem_"},         {"ORKA_IMEDIA:", "orka_media_"},
    {"ORKA_IENCODE:", "orka_iencode_"},   {"ORKA_IDECODE:", "orka_idecode_"},
    {"ORKA_BSTIME:", "orka_bstime_"},     {"ORKA_VIDEO_UTILS:", "orka_video_utils_"},
    {"ORKA_ICAPTURE:", "orka_icapture_"}, {"ORKA_IDISPLAY:", "orka_idisplay_"},
};

/* The row for a tag. A tag without a row does not compile. */
consteval uint8_t module_row(std::string_view tag)
{
    uint8_t row = 0;

    while (orka_modules[row].tag != tag)
        row++;
    return row;
}

/*
 * Where a report is made. There are hundreds, so they are small: the name of the function that noticed
 * stands right behind, without what the names of the module begin with, and there is no pointer that would
 * have to be relocated when the library is loaded.
 */
struct call_site {
    uint16_t line;
    uint8_t module;   /* row of orka_modules */
    bool is_prefixed; /* the module's prefix belongs before the name */
};

template <size_t size>
struct named_site : call_site {
    char name[size];
};

/* How many bytes of a function's name its module's prefix is; 0 where the name begins otherwise. */
consteval size_t prefix_size(std::string_view tag, std::string_view function)
{
    const std::string_view prefix = orka_modules[module_row(tag)].prefix;

    return function.starts_with(prefix) ? prefix.size() : 0;
}

template <size_t prefix, size_t size>
consteval auto site_at(std::string_view tag, const char (&function)[size], int line)
{
    named_site<size - prefix> site = {};

    site.line = static_cast<uint16_t>(line);
    site.module = module_row(tag);
    site.is_prefixed = prefix != 0;
    for (size_t at = prefix; at < size; at++)
        site.name[at - prefix] = function[at];
    return site;
}

#define ORKA_SITE(tag, function, line) site_at<prefix_size(tag, function)>(tag, function, line)

/* Static, so that it costs nothing where there is nothing to report. */
#define HERE                                                                                                 \
    __extension__({                                                                                          \
        static constexpr auto here = ORKA_SITE(pname, __func__, __LINE__);                                   \
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

/*
 * Assertions are part of the library's contract: they hold in every build type, and the text that they print
 * is the documented one rather than the source's.
 */
[[noreturn, gnu::cold]] void orka_assertion_failed(const call_site &site, const char *text, const char *file);

/* One for each source file, whose name it knows. */
[[noreturn, gnu::cold, gnu::noinline]] static inline void assertion_failed(const call_site &site,
                                                                           const char *text)
{
    orka_assertion_failed(site, text, __BASE_FILE__);
}

#define ORKA_ASSERT(condition, text)                                                                         \
    (__builtin_expect(static_cast<bool>(condition), 1) ? static_cast<void>(0) : assertion_failed(HERE, text))

#define ORKA_ASSERT_NOT_NULL(pointer) ORKA_ASSERT((pointer) != nullptr, #pointer " != ((void *)0)")

#endif
