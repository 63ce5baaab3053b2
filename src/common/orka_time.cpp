#include "orka_time.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_TIME:";

static constexpr uint32_t msec_per_second = 1000;
static constexpr int32_t usec_per_msec = 1000;
static constexpr int32_t usec_per_second = 1000000;
static constexpr uint32_t nsec_per_usec = 1000;
static constexpr uint32_t nsec_per_msec = 1000000;

/* A timeval in the width that the arithmetic here has on every system. It wraps and never overflows. */
struct short_time {
    int32_t seconds;
    int32_t usec;
};

static short_time read_time(const timeval &time)
{
    return {static_cast<int32_t>(time.tv_sec), static_cast<int32_t>(time.tv_usec)};
}

static timeval write_time(short_time time)
{
    return {.tv_sec = time.seconds, .tv_usec = time.usec};
}

static int32_t sum(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

static int32_t difference(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

/* Conversions */

struct msns {
    uint32_t msec;
    uint32_t nsec;
};

static uint32_t msec_of(short_time time)
{
    return static_cast<uint32_t>(time.seconds) * msec_per_second +
           static_cast<uint32_t>(time.usec / usec_per_msec);
}

static msns msns_of(short_time time)
{
    constexpr int32_t restart_seconds = 1000000;
    const uint32_t below_msec = static_cast<uint32_t>(time.usec % usec_per_msec);

    return {msec_of({time.seconds % restart_seconds, time.usec}), below_msec * nsec_per_usec};
}

static short_time now()
{
    timeval time = {};

    gettimeofday(&time, nullptr);
    return read_time(time);
}

uint32_t orka_time_convert_seconds_to_msec(uint32_t seconds)
{
    return seconds * msec_per_second;
}

void orka_time_convert_msec_to_timeval(timeval *time, uint32_t msec)
{
    if (time == nullptr) {
        orka_null_pointer(HERE);
        return;
    }
    *time = write_time({static_cast<int32_t>(msec / msec_per_second),
                        static_cast<int32_t>(msec % msec_per_second) * usec_per_msec});
}

uint32_t orka_time_convert_timeval_to_msec(const timeval *time)
{
    if (time == nullptr) {
        orka_null_pointer(HERE);
        return 0;
    }
    return msec_of(read_time(*time));
}

void orka_time_convert_timeval_to_msns(const timeval *time, uint32_t *msec, uint32_t *nsec)
{
    if (time == nullptr || msec == nullptr || nsec == nullptr) {
        orka_null_pointer(HERE);
        return;
    }

    const msns split = msns_of(read_time(*time));
    *msec = split.msec;
    *nsec = split.nsec;
}

/* Time of day and time-outs */

uint32_t orka_time_current_time_msec(void)
{
    return msec_of(now());
}

void orka_time_current_time_msns(uint32_t *msec, uint32_t *nsec)
{
    if (msec == nullptr || nsec == nullptr) {
        orka_null_pointer(HERE);
        return;
    }

    const msns split = msns_of(now());
    *msec = split.msec;
    *nsec = split.nsec;
}

uint32_t orka_time_elapsed_msec(uint32_t start_msec)
{
    const uint32_t now_msec = orka_time_current_time_msec();

    /* A start in the future, as after the count wrapped, is a distance too, and not nearly 50 days. */
    return std::max(now_msec, start_msec) - std::min(now_msec, start_msec);
}

uint32_t orka_time_remaining_msec(uint32_t start_msec, int32_t timeout_msec)
{
    constexpr uint32_t for_ever = UINT32_MAX;

    if (timeout_msec < 0)
        return for_ever;

    const auto timeout = static_cast<uint32_t>(timeout_msec);
    const uint32_t elapsed = orka_time_elapsed_msec(start_msec);
    return timeout > elapsed ? timeout - elapsed : 0;
}

/* Arithmetic */

timeval *orka_time_timeval_add(const timeval *a, const timeval *b, timeval *out)
{
    if (a == nullptr || b == nullptr || out == nullptr) {
        orka_null_pointer(HERE);
        return out;
    }

    const short_time first = read_time(*a);
    const short_time second = read_time(*b);
    const int32_t usec = sum(first.usec, second.usec);

    *out =
        write_time({sum(sum(first.seconds, second.seconds), usec / usec_per_second), usec % usec_per_second});
    return out;
}

timeval *orka_time_timeval_sub(const timeval *a, const timeval *b, timeval *out)
{
    if (a == nullptr || b == nullptr || out == nullptr) {
        orka_null_pointer(HERE);
        return out;
    }

    const short_time first = read_time(*a);
    const short_time second = read_time(*b);
    short_time result = {difference(first.seconds, second.seconds), difference(first.usec, second.usec)};

    if (second.usec > first.usec) {
        result.seconds = difference(result.seconds, 1);
        result.usec = sum(result.usec, usec_per_second);
    }
    *out = write_time(result);
    return out;
}

int32_t orka_time_timeval_cmp(const timeval *a, const timeval *b)
{
    if (a == nullptr || b == nullptr) {
        orka_null_pointer(HERE);
        return 0;
    }

    const short_time first = read_time(*a);
    const short_time second = read_time(*b);

    if (first.seconds != second.seconds)
        return first.seconds > second.seconds ? 1 : -1;
    if (first.usec != second.usec)
        return first.usec > second.usec ? 1 : -1;
    return 0;
}

/* Sleep */

orka_status_t orka_time_nanosleep(uint32_t seconds, uint32_t milliseconds, uint32_t microseconds,
                                  uint32_t nanoseconds)
{
    const uint32_t below_second = milliseconds * nsec_per_msec + microseconds * nsec_per_usec + nanoseconds;
    const timespec wanted = {.tv_sec = static_cast<time_t>(seconds),
                             .tv_nsec = static_cast<decltype(timespec::tv_nsec)>(below_second)};
    timespec unused = {};

    const int result = nanosleep(&wanted, &unused);
    if (result == 0)
        return ORKA_STATUS_SUCCESS;
    /* Kept on purpose: the result alone is looked at. Where it is -1 with errno, every failure is an error.
     */
    static_assert(EINTR == 4);
    if (result == EINTR || result == -EINTR)
        return ORKA_STATUS_INTR;
    report_error(HERE, "Error Callin NanoSleep.");
    return ORKA_STATUS_ERROR;
}
