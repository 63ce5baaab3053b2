#include "orka_status.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <strings.h>

#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_STATUS:";

/* Codes and texts */

struct status_desc {
    orka_status_t status;
    const char *text;
};

static constexpr status_desc statusdesc[] = {
    {ORKA_STATUS_TIMEOUT, "TIMEOUT"},
    {ORKA_STATUS_COMPLETED, "COMPLETED"},
    {ORKA_STATUS_SUCCESS, "SUCCESS"},
    {ORKA_STATUS_ERROR, "ERROR"},
    {ORKA_STATUS_NULL_POINTER, "ERROR(NULL POINTER DEREFERENCE)"},
    {ORKA_STATUS_INVALID_PARAMETER, "ERROR(INVALID PARAMETER)"},
    {ORKA_STATUS_OUT_OF_RANGE, "ERROR(OUT OF RANGE)"},
    {ORKA_STATUS_INITIALIZATION, "ERROR(INITIALIZATION)"},
    {ORKA_STATUS_VERSION, "ERROR(VERSION)"},
    {ORKA_STATUS_INSUFFICIENT_MEMORY, "ERROR(INSUFFICIENT MEMORY)"},
    {ORKA_STATUS_INSUFFICIENT_DATA, "ERROR(INSUFFICIENT DATA)"},
    {ORKA_STATUS_INVALID_STATE, "ERROR(INVALID STATE)"},
    {ORKA_STATUS_INTR, "ERROR(INTR)"},
    {ORKA_STATUS_CRUNTIME, "ERROR(UNEXPECTED C-RUNTIME ERROR)"},
    {ORKA_STATUS_THREAD, "ERROR(THREAD)"},
    {ORKA_STATUS_MUTEX, "ERROR(MUTEX)"},
    {ORKA_STATUS_ADDRESS_RESOLUTION, "ERROR(ADDRESS RESOLUTION)"},
    {ORKA_STATUS_IO, "ERROR(I/O)"},
    {ORKA_STATUS_FILE, "ERROR(FILE)"},
    {ORKA_STATUS_NETWORK, "ERROR(NETWORK)"},
};
static constexpr size_t statusdesc_size = 20;
static_assert(std::size(statusdesc) == statusdesc_size);

static const char invalid_status[] = "INVALID STATUS";

const char *orka_status_string(orka_status_t status)
{
    for (size_t row = 0; row < statusdesc_size; row++) {
        if (statusdesc[row].status == status)
            return statusdesc[row].text;
    }
    return invalid_status;
}

const char *orka_bool_string_tf(int value)
{
    switch (value) {
    case 0:
        return "FALSE";
    case 1:
        return "TRUE";
    default:
        return "INVALID";
    }
}

const char *orka_bool_string(int value)
{
    return orka_bool_string_tf(value);
}

const char *orka_bool_string_yn(int value)
{
    switch (value) {
    case 0:
        return "NO";
    case 1:
        return "YES";
    default:
        return "INVALID";
    }
}

const char *orka_enable_mode_string(orka_enable_mode_t mode)
{
    switch (mode) {
    case ORKA_ENABLE_MODE_AUTO:
        return "AUTO";
    case ORKA_ENABLE_MODE_OFF:
        return "OFF";
    case ORKA_ENABLE_MODE_ON:
        return "ON";
    default:
        return "INVALID";
    }
}

struct enable_mode_name {
    const char *name;
    orka_enable_mode_t mode;
};

static constexpr enable_mode_name enable_mode_names[] = {
    {"DEFAULT", ORKA_ENABLE_MODE_AUTO}, {"AUTO", ORKA_ENABLE_MODE_AUTO}, {"DETECT", ORKA_ENABLE_MODE_AUTO},
    {"ON", ORKA_ENABLE_MODE_ON},        {"YES", ORKA_ENABLE_MODE_ON},    {"TRUE", ORKA_ENABLE_MODE_ON},
    {"OFF", ORKA_ENABLE_MODE_OFF},      {"NO", ORKA_ENABLE_MODE_OFF},    {"FALSE", ORKA_ENABLE_MODE_OFF},
};

orka_enable_mode_t orka_enable_mode_byname(const char *name)
{
    if (name == nullptr)
        return ORKA_ENABLE_MODE_AUTO;

    for (const enable_mode_name &row : enable_mode_names) {
        if (strcasecmp(name, row.name) == 0)
            return row.mode;
    }
    report_error(HERE, "Invalid Enable Mode '%s'.", name);
    return ORKA_ENABLE_MODE_AUTO;
}

/* The diagnostic writer */

static constexpr int no_errno = -1;

/* The name of the function, in two parts. */
static const char *prefix_of(const call_site &site)
{
    return site.is_prefixed ? orka_modules[site.module].prefix : "";
}

static const char *name_of(const call_site &site)
{
    return reinterpret_cast<const char *>(&site) + sizeof site;
}

__attribute__((cold, format(printf, 5, 0))) static void write_report(FILE *stream, const char *kind,
                                                                     int saved_errno, const call_site &site,
                                                                     const char *message, va_list arguments)
{
    fprintf(stream, "%s:%s%s():[%d] ", kind, prefix_of(site), name_of(site), site.line);
    fprintf(stream, "%s ", orka_modules[site.module].tag);
    vfprintf(stream, message, arguments);
    fprintf(stream, "\n");
    if (saved_errno != no_errno) {
        fprintf(stream, "\t(%d): ", saved_errno);
        errno = saved_errno;
        perror("");
    }
    fflush(stream);
}

void report_error(const call_site &site, const char *message, ...)
{
    va_list arguments;

    va_start(arguments, message);
    write_report(stderr, "ERROR", no_errno, site, message, arguments);
    va_end(arguments);
}

void report_error_errno(int saved_errno, const call_site &site, const char *message, ...)
{
    va_list arguments;

    va_start(arguments, message);
    write_report(stderr, "ERROR", saved_errno, site, message, arguments);
    va_end(arguments);
}

void report_warning(const call_site &site, const char *message, ...)
{
    va_list arguments;

    va_start(arguments, message);
    write_report(stdout, "WARNING", no_errno, site, message, arguments);
    va_end(arguments);
}

void report_fatal(const call_site &site, const char *message, ...)
{
    va_list arguments;

    va_start(arguments, message);
    write_report(stderr, "FATAL", no_errno, site, message, arguments);
    va_end(arguments);
    exit(1);
}

void report_fatal_errno(int saved_errno, const call_site &site, const char *message, ...)
{
    va_list arguments;

    va_start(arguments, message);
    write_report(stderr, "FATAL", saved_errno, site, message, arguments);
    va_end(arguments);
    exit(1);
}

/* Assertions */

/* libc's own, which <assert.h> hides in release builds. */
extern "C" [[noreturn]] void __assert_fail(const char *assertion, const char *file, unsigned int line,
                                           const char *function) noexcept;

void orka_assertion_failed(const call_site &site, const char *text, const char *file)
{
    char function[64];

    snprintf(function, sizeof function, "%s%s", prefix_of(site), name_of(site));
    __assert_fail(text, file, site.line, function);
}
