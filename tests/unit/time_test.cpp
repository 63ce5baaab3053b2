/* Time utilities. The clock and the sleep are the test's own while it scripts them. */
#include "orka_time.h"

#include <cerrno>
#include <ctime>
#include <gtest/gtest.h>
#include <optional>
#include <utility>

#include "support/harness.h"

using namespace orka_test;

namespace {

struct Sleep {
    int result;
    int error;
    int calls = 0;
    timespec wanted = {};
    bool has_remainder = false;
};

std::optional<timeval> scripted_clock;
Sleep *scripted_sleep = nullptr;

} // namespace

extern "C" int gettimeofday(timeval *time, void * /*zone*/) noexcept
{
    timespec now = {};

    clock_gettime(CLOCK_REALTIME, &now);
    *time = scripted_clock.value_or(timeval{.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000});
    return 0;
}

extern "C" int nanosleep(const timespec *wanted, timespec *remainder)
{
    if (!scripted_sleep) {
        errno = clock_nanosleep(CLOCK_REALTIME, 0, wanted, remainder);
        return errno ? -1 : 0;
    }
    scripted_sleep->calls++;
    scripted_sleep->wanted = *wanted;
    scripted_sleep->has_remainder = remainder != nullptr;
    errno = scripted_sleep->error;
    return scripted_sleep->result;
}

namespace {

constexpr timeval at(int64_t seconds, int64_t usec)
{
    return {.tv_sec = static_cast<decltype(timeval::tv_sec)>(seconds),
            .tv_usec = static_cast<decltype(timeval::tv_usec)>(usec)};
}

/* A clock that shows this many milliseconds. */
constexpr timeval showing(int64_t msec)
{
    return at(msec / 1000, msec % 1000 * 1000 + 999);
}

#define EXPECT_TIME(time, seconds, usec)                                                                     \
    do {                                                                                                     \
        EXPECT_EQ((time).tv_sec, seconds);                                                                   \
        EXPECT_EQ((time).tv_usec, usec);                                                                     \
    } while (0)

class Time : public HarnessTest {
  protected:
    void TearDown() override
    {
        scripted_clock.reset();
        scripted_sleep = nullptr;
        HarnessTest::TearDown();
    }

    void expect_null_reported(const char *function)
    {
        EXPECT_EQ(log.take_error(), error_line(function, "ORKA_TIME: NULL Pointer Deref."));
    }

    uint32_t msec = 7;
    uint32_t nsec = 8;
};

TEST_F(Time, SecondsBecomeMilliseconds)
{
    EXPECT_EQ(orka_time_convert_seconds_to_msec(0), 0u);
    EXPECT_EQ(orka_time_convert_seconds_to_msec(4294967), 4294967000u);
}

TEST_F(Time, SecondsWrapAsMilliseconds)
{
    EXPECT_EQ(orka_time_convert_seconds_to_msec(4294968), 704u);
    EXPECT_EQ(orka_time_convert_seconds_to_msec(UINT32_MAX), 4294966296u);
}

TEST_F(Time, MillisecondsBecomeATimeval)
{
    timeval time = at(-1, -1);
    orka_time_convert_msec_to_timeval(&time, 1500);
    EXPECT_TIME(time, 1, 500000);
    orka_time_convert_msec_to_timeval(&time, UINT32_MAX);
    EXPECT_TIME(time, 4294967, 295000);
    orka_time_convert_msec_to_timeval(&time, 0);
    EXPECT_TIME(time, 0, 0);
}

TEST_F(Time, ATimevalBecomesMilliseconds)
{
    const timeval time = at(12, 345999);
    EXPECT_EQ(orka_time_convert_timeval_to_msec(&time), 12345u);
}

TEST_F(Time, ATimevalWrapsAsMilliseconds)
{
    const timeval time = at(4294967, 296000);
    EXPECT_EQ(orka_time_convert_timeval_to_msec(&time), 0u);
}

TEST_F(Time, ANegativeTimevalWrapsBelowZero)
{
    const timeval before = at(-1, 0);
    const timeval just_before = at(0, -1999);
    EXPECT_EQ(orka_time_convert_timeval_to_msec(&before), UINT32_MAX - 999);
    EXPECT_EQ(orka_time_convert_timeval_to_msec(&just_before), UINT32_MAX);
}

TEST_F(Time, ATimevalSplitsIntoMillisecondsAndNanoseconds)
{
    const timeval time = at(1000123, 456789);
    orka_time_convert_timeval_to_msns(&time, &msec, &nsec);
    EXPECT_EQ(msec, 123456u);
    EXPECT_EQ(nsec, 789000u);
}

TEST_F(Time, SplitMillisecondsRestartEveryMillionSeconds)
{
    const timeval last = at(1999999, 999999);
    orka_time_convert_timeval_to_msns(&last, &msec, &nsec);
    EXPECT_EQ(msec, 999999999u);
    EXPECT_EQ(nsec, 999000u);
    const timeval first = at(2000000, 0);
    orka_time_convert_timeval_to_msns(&first, &msec, &nsec);
    EXPECT_EQ(msec, 0u);
    EXPECT_EQ(nsec, 0u);
}

/* Fields that are wider than 32 bits are read as their low 32, signed. */
TEST_F(Time, AWideTimevalIsReadAsThirtyTwoBits)
{
    if (sizeof(time_t) == 4)
        GTEST_SKIP() << "the system's timeval has fields of 32 bits";
    const timeval wide = at((int64_t{5} << 32) + 2, (int64_t{9} << 32) + 3000);
    EXPECT_EQ(orka_time_convert_timeval_to_msec(&wide), 2003u);
    orka_time_convert_timeval_to_msns(&wide, &msec, &nsec);
    EXPECT_EQ(msec, 2003u);

    timeval result;
    const timeval zero = {};
    EXPECT_TIME(*orka_time_timeval_add(&wide, &zero, &result), 2, 3000);
    EXPECT_TIME(*orka_time_timeval_sub(&wide, &zero, &result), 2, 3000);
    const timeval narrow = at(2, 3000);
    EXPECT_EQ(orka_time_timeval_cmp(&wide, &narrow), 0);
}

TEST_F(Time, SecondsFromTwoToThe31stOnAreNegative)
{
    if (sizeof(time_t) == 4)
        GTEST_SKIP() << "the system's timeval has no such seconds";
    const timeval late = at(int64_t{1} << 31, 0);
    const timeval early = at(0, 0);
    timeval result;
    EXPECT_EQ(orka_time_timeval_cmp(&late, &early), -1);
    EXPECT_TIME(*orka_time_timeval_add(&late, &early, &result), INT32_MIN, 0);
    EXPECT_TIME(*orka_time_timeval_sub(&early, &late, &result), INT32_MIN, 0);
}

TEST_F(Time, CurrentTimeIsThatOfTheDay)
{
    scripted_clock = at(1000123, 456789);
    EXPECT_EQ(orka_time_current_time_msec(), 1000123456u);
    orka_time_current_time_msns(&msec, &nsec);
    EXPECT_EQ(msec, 123456u);
    EXPECT_EQ(nsec, 789000u);
}

TEST_F(Time, ElapsedIsTheTimeSinceTheStart)
{
    scripted_clock = showing(5000);
    EXPECT_EQ(orka_time_elapsed_msec(4850), 150u);
    EXPECT_EQ(orka_time_elapsed_msec(5000), 0u);
}

TEST_F(Time, ElapsedIsADistanceToAStartInTheFutureToo)
{
    scripted_clock = showing(5000);
    EXPECT_EQ(orka_time_elapsed_msec(6000), 1000u);
    EXPECT_EQ(orka_time_elapsed_msec(UINT32_MAX), UINT32_MAX - 5000);
}

TEST_F(Time, RemainingIsWhatIsLeftOfTheTimeOut)
{
    scripted_clock = showing(5000);
    EXPECT_EQ(orka_time_remaining_msec(4850, 400), 250u);
    EXPECT_EQ(orka_time_remaining_msec(4850, 151), 1u);
    EXPECT_EQ(orka_time_remaining_msec(5000, INT32_MAX), static_cast<uint32_t>(INT32_MAX));
}

TEST_F(Time, RemainingIsZeroOnceTheTimeOutHasPassed)
{
    scripted_clock = showing(5000);
    EXPECT_EQ(orka_time_remaining_msec(4850, 150), 0u);
    EXPECT_EQ(orka_time_remaining_msec(4850, 100), 0u);
    EXPECT_EQ(orka_time_remaining_msec(4850, 0), 0u);
}

TEST_F(Time, RemainingOfANegativeTimeOutIsForEver)
{
    EXPECT_EQ(orka_time_remaining_msec(0, -1), UINT32_MAX);
    EXPECT_EQ(orka_time_remaining_msec(0, INT32_MIN), UINT32_MAX);
}

TEST_F(Time, SumsCarryMicrosecondsIntoSeconds)
{
    const timeval a = at(1, 600000);
    const timeval b = at(2, 700000);
    timeval out;
    EXPECT_EQ(orka_time_timeval_add(&a, &b, &out), &out);
    EXPECT_TIME(out, 4, 300000);
}

TEST_F(Time, SumsWithoutACarryAreThoseOfTheFields)
{
    const timeval a = at(1, 300000);
    const timeval b = at(2, 699999);
    timeval out;
    EXPECT_TIME(*orka_time_timeval_add(&a, &b, &out), 3, 999999);
}

TEST_F(Time, SumsOfNegativeMicrosecondsKeepTheirSign)
{
    const timeval a = at(5, -700000);
    const timeval b = at(0, -600000);
    timeval out;
    EXPECT_TIME(*orka_time_timeval_add(&a, &b, &out), 4, -300000);
}

TEST_F(Time, SumsMayReplaceAnArgument)
{
    const timeval b = at(2, 700000);
    timeval a = at(1, 600000);
    EXPECT_EQ(orka_time_timeval_add(&a, &b, &a), &a);
    EXPECT_TIME(a, 4, 300000);
    a = at(1, 600000);
    EXPECT_EQ(orka_time_timeval_add(&b, &a, &a), &a);
    EXPECT_TIME(a, 4, 300000);
}

TEST_F(Time, DifferencesBorrowASecond)
{
    const timeval a = at(4, 300000);
    const timeval b = at(2, 700000);
    timeval out;
    EXPECT_EQ(orka_time_timeval_sub(&a, &b, &out), &out);
    EXPECT_TIME(out, 1, 600000);
}

TEST_F(Time, DifferencesWithoutABorrowAreThoseOfTheFields)
{
    const timeval a = at(4, 300000);
    const timeval b = at(6, 300000);
    timeval out;
    EXPECT_TIME(*orka_time_timeval_sub(&a, &b, &out), -2, 0);
}

TEST_F(Time, DifferencesBorrowOnceAlone)
{
    const timeval a = at(4, 0);
    const timeval b = at(2, 2500000);
    timeval out;
    EXPECT_TIME(*orka_time_timeval_sub(&a, &b, &out), 1, -1500000);
}

TEST_F(Time, DifferencesMayReplaceAnArgument)
{
    timeval a = at(4, 300000);
    timeval b = at(2, 700000);
    EXPECT_EQ(orka_time_timeval_sub(&a, &b, &a), &a);
    EXPECT_TIME(a, 1, 600000);
    a = at(4, 300000);
    EXPECT_EQ(orka_time_timeval_sub(&a, &b, &b), &b);
    EXPECT_TIME(b, 1, 600000);
}

TEST_F(Time, ComparisonLooksAtSecondsFirst)
{
    const timeval a = at(5, 1);
    const timeval b = at(4, 999999);
    const timeval c = at(-6, 999999);
    EXPECT_EQ(orka_time_timeval_cmp(&a, &b), 1);
    EXPECT_EQ(orka_time_timeval_cmp(&b, &a), -1);
    EXPECT_EQ(orka_time_timeval_cmp(&c, &a), -1);
}

TEST_F(Time, ComparisonOfEqualSecondsLooksAtMicroseconds)
{
    const timeval a = at(5, 1);
    const timeval b = at(5, 2);
    const timeval c = at(5, -3);
    EXPECT_EQ(orka_time_timeval_cmp(&a, &b), -1);
    EXPECT_EQ(orka_time_timeval_cmp(&b, &a), 1);
    EXPECT_EQ(orka_time_timeval_cmp(&c, &a), -1);
    EXPECT_EQ(orka_time_timeval_cmp(&a, &a), 0);
}

TEST_F(Time, ConversionsReportNullAndWriteNothing)
{
    const timeval time = at(1, 2);
    orka_time_convert_msec_to_timeval(nullptr, 5);
    expect_null_reported("orka_time_convert_msec_to_timeval");
    EXPECT_EQ(orka_time_convert_timeval_to_msec(nullptr), 0u);
    expect_null_reported("orka_time_convert_timeval_to_msec");
    orka_time_convert_timeval_to_msns(nullptr, &msec, &nsec);
    expect_null_reported("orka_time_convert_timeval_to_msns");
    orka_time_convert_timeval_to_msns(&time, nullptr, &nsec);
    expect_null_reported("orka_time_convert_timeval_to_msns");
    orka_time_convert_timeval_to_msns(&time, &msec, nullptr);
    expect_null_reported("orka_time_convert_timeval_to_msns");
    EXPECT_EQ(msec, 7u);
    EXPECT_EQ(nsec, 8u);
}

TEST_F(Time, TheClockReportsNullAndWritesNothing)
{
    orka_time_current_time_msns(nullptr, &nsec);
    expect_null_reported("orka_time_current_time_msns");
    orka_time_current_time_msns(&msec, nullptr);
    expect_null_reported("orka_time_current_time_msns");
    EXPECT_EQ(msec, 7u);
    EXPECT_EQ(nsec, 8u);
}

using Arithmetic = timeval *(*)(const timeval *, const timeval *, timeval *);

TEST_F(Time, ArithmeticReportsNullAndReturnsItsResultUntouched)
{
    const timeval a = at(1, 2);
    timeval out = at(3, 4);
    const std::pair<const char *, Arithmetic> operations[] = {
        {"orka_time_timeval_add", orka_time_timeval_add}, {"orka_time_timeval_sub", orka_time_timeval_sub}};

    for (const auto &[function, call] : operations) {
        EXPECT_EQ(call(nullptr, &a, &out), &out);
        expect_null_reported(function);
        EXPECT_EQ(call(&a, nullptr, &out), &out);
        expect_null_reported(function);
        EXPECT_EQ(call(&a, &a, nullptr), nullptr);
        expect_null_reported(function);
        EXPECT_TIME(out, 3, 4);
    }
}

TEST_F(Time, ComparisonWithNullIsReportedAndGivesZero)
{
    const timeval a = at(1, 2);
    EXPECT_EQ(orka_time_timeval_cmp(nullptr, &a), 0);
    expect_null_reported("orka_time_timeval_cmp");
    EXPECT_EQ(orka_time_timeval_cmp(&a, nullptr), 0);
    expect_null_reported("orka_time_timeval_cmp");
}

class TimeSleep : public Time {
  protected:
    orka_status_t sleep(uint32_t seconds, uint32_t milliseconds, uint32_t microseconds, uint32_t nanoseconds)
    {
        scripted_sleep = &script;
        return orka_time_nanosleep(seconds, milliseconds, microseconds, nanoseconds);
    }

    orka_status_t sleep_that_returns(int result, int error = 0)
    {
        script.result = result;
        script.error = error;
        return sleep(0, 0, 0, 1);
    }

    void expect_reported()
    {
        EXPECT_EQ(log.take_error(), error_line("orka_time_nanosleep", "ORKA_TIME: Error Callin NanoSleep."));
    }

    Sleep script = {.result = 0, .error = 0};
};

TEST_F(TimeSleep, AddsUpWhatIsBelowTheSecond)
{
    EXPECT_EQ(sleep(3, 4, 5, 6), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(script.calls, 1);
    EXPECT_EQ(script.wanted.tv_sec, 3);
    EXPECT_EQ(script.wanted.tv_nsec, 4005006);
    EXPECT_TRUE(script.has_remainder);
}

TEST_F(TimeSleep, CarriesNothingIntoTheSeconds)
{
    EXPECT_EQ(sleep(0, 1500, 0, 0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(script.wanted.tv_sec, 0);
    EXPECT_EQ(script.wanted.tv_nsec, 1500000000);
}

TEST_F(TimeSleep, AddsInThirtyTwoBits)
{
    EXPECT_EQ(sleep(0, 4295, 0, 0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(script.wanted.tv_nsec, 32704);
}

TEST_F(TimeSleep, ThatReturnsTheNumberOfInterruptionIsSilentlyInterrupted)
{
    EXPECT_EQ(sleep_that_returns(4), ORKA_STATUS_INTR);
    EXPECT_EQ(sleep_that_returns(-4), ORKA_STATUS_INTR);
}

TEST_F(TimeSleep, ThatReturnsAnythingElseIsAnError)
{
    for (int result : {-1, 1, 22, -22}) {
        EXPECT_EQ(sleep_that_returns(result, EINVAL), ORKA_STATUS_ERROR);
        expect_reported();
    }
}

TEST_F(TimeSleep, ThatFailsWithAnErrnoOfInterruptionIsAnError)
{
    EXPECT_EQ(sleep_that_returns(-1, EINTR), ORKA_STATUS_ERROR);
    expect_reported();
}

TEST_F(TimeSleep, OfASecondAndAHalfInMillisecondsIsRefusedByTheSystem)
{
    EXPECT_EQ(orka_time_nanosleep(0, 1500, 0, 0), ORKA_STATUS_ERROR);
    expect_reported();
}

TEST_F(TimeSleep, OfANanosecondIsTakenByTheSystem)
{
    EXPECT_EQ(orka_time_nanosleep(0, 0, 0, 1), ORKA_STATUS_SUCCESS);
}

} // namespace
