#include "orka_status.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "common/orka_status_internal.h"
#include "support/child.h"
#include "support/harness.h"

using namespace orka_test;

static constexpr char pname[] = "ORKA_STATUS:";

/* Texts */

struct StatusText {
    const char *name;
    orka_status_t status;
    int32_t value;
    const char *text;
};

class Status : public testing::TestWithParam<StatusText> {};

TEST_P(Status, HasItsValue)
{
    EXPECT_EQ(GetParam().status, GetParam().value);
}

TEST_P(Status, HasItsText)
{
    EXPECT_STREQ(orka_status_string(GetParam().value), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, Status,
    testing::Values(
        StatusText{"Timeout", ORKA_STATUS_TIMEOUT, 2, "TIMEOUT"},
        StatusText{"Completed", ORKA_STATUS_COMPLETED, 1, "COMPLETED"},
        StatusText{"Success", ORKA_STATUS_SUCCESS, 0, "SUCCESS"},
        StatusText{"Error", ORKA_STATUS_ERROR, -1, "ERROR"},
        StatusText{"NullPointer", ORKA_STATUS_NULL_POINTER, -2, "ERROR(NULL POINTER DEREFERENCE)"},
        StatusText{"InvalidParameter", ORKA_STATUS_INVALID_PARAMETER, -3, "ERROR(INVALID PARAMETER)"},
        StatusText{"OutOfRange", ORKA_STATUS_OUT_OF_RANGE, -4, "ERROR(OUT OF RANGE)"},
        StatusText{"Initialization", ORKA_STATUS_INITIALIZATION, -5, "ERROR(INITIALIZATION)"},
        StatusText{"Version", ORKA_STATUS_VERSION, -6, "ERROR(VERSION)"},
        StatusText{"InsufficientMemory", ORKA_STATUS_INSUFFICIENT_MEMORY, -7, "ERROR(INSUFFICIENT MEMORY)"},
        StatusText{"InsufficientData", ORKA_STATUS_INSUFFICIENT_DATA, -8, "ERROR(INSUFFICIENT DATA)"},
        StatusText{"InvalidState", ORKA_STATUS_INVALID_STATE, -9, "ERROR(INVALID STATE)"},
        StatusText{"Intr", ORKA_STATUS_INTR, -10, "ERROR(INTR)"},
        StatusText{"CRuntime", ORKA_STATUS_CRUNTIME, -11, "ERROR(UNEXPECTED C-RUNTIME ERROR)"},
        StatusText{"Thread", ORKA_STATUS_THREAD, -12, "ERROR(THREAD)"},
        StatusText{"Mutex", ORKA_STATUS_MUTEX, -13, "ERROR(MUTEX)"},
        StatusText{"AddressResolution", ORKA_STATUS_ADDRESS_RESOLUTION, -14, "ERROR(ADDRESS RESOLUTION)"},
        StatusText{"Io", ORKA_STATUS_IO, -15, "ERROR(I/O)"},
        StatusText{"File", ORKA_STATUS_FILE, -16, "ERROR(FILE)"},
        StatusText{"Network", ORKA_STATUS_NETWORK, -17, "ERROR(NETWORK)"}),
    [](const auto &row) { return row.param.name; });

TEST(StatusTexts, AnyOtherNumberIsAnInvalidStatus)
{
    for (int32_t status : {3, -18, INT32_MAX, INT32_MIN})
        EXPECT_STREQ(orka_status_string(status), "INVALID STATUS") << status;
}

TEST(BoolTexts, TrueAndFalseAreOneAndZero)
{
    for (auto *text_of : {orka_bool_string, orka_bool_string_tf}) {
        EXPECT_STREQ(text_of(0), "FALSE");
        EXPECT_STREQ(text_of(1), "TRUE");
    }
}

TEST(BoolTexts, YesAndNoAreOneAndZero)
{
    EXPECT_STREQ(orka_bool_string_yn(0), "NO");
    EXPECT_STREQ(orka_bool_string_yn(1), "YES");
}

TEST(BoolTexts, AnyOtherValueIsInvalid)
{
    for (auto *text_of : {orka_bool_string, orka_bool_string_tf, orka_bool_string_yn}) {
        for (int value : {2, -1, 256})
            EXPECT_STREQ(text_of(value), "INVALID") << value;
    }
}

TEST(EnableModeTexts, EachModeHasItsName)
{
    EXPECT_STREQ(orka_enable_mode_string(-1), "AUTO");
    EXPECT_STREQ(orka_enable_mode_string(0), "OFF");
    EXPECT_STREQ(orka_enable_mode_string(1), "ON");
}

TEST(EnableModeTexts, AnyOtherModeIsInvalid)
{
    EXPECT_STREQ(orka_enable_mode_string(-2), "INVALID");
    EXPECT_STREQ(orka_enable_mode_string(2), "INVALID");
}

/* Names of modes */

using EnableModeNames = HarnessTest;

TEST_F(EnableModeNames, NoNameMeansAuto)
{
    EXPECT_EQ(orka_enable_mode_byname(nullptr), -1);
}

TEST_F(EnableModeNames, AutoHasThreeNames)
{
    for (const char *name : {"DEFAULT", "Default", "auto", "AUTO", "detect", "DETECT"})
        EXPECT_EQ(orka_enable_mode_byname(name), -1) << name;
}

TEST_F(EnableModeNames, OnHasThreeNames)
{
    for (const char *name : {"ON", "on", "YES", "yes", "TRUE", "True"})
        EXPECT_EQ(orka_enable_mode_byname(name), 1) << name;
}

TEST_F(EnableModeNames, OffHasThreeNames)
{
    for (const char *name : {"OFF", "off", "NO", "no", "FALSE", "False"})
        EXPECT_EQ(orka_enable_mode_byname(name), 0) << name;
}

TEST_F(EnableModeNames, AnUnknownNameIsReportedAndMeansAuto)
{
    EXPECT_EQ(orka_enable_mode_byname("maybe"), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_enable_mode_byname", "ORKA_STATUS: Invalid Enable Mode 'maybe'."));
}

TEST_F(EnableModeNames, NamesAreComparedWhole)
{
    for (const char *name : {"", "o", "ONE", " on", "yes "}) {
        EXPECT_EQ(orka_enable_mode_byname(name), -1) << name;
        EXPECT_EQ(log.take_error(),
                  error_line("orka_enable_mode_byname",
                             "ORKA_STATUS: Invalid Enable Mode '" + std::string(name) + "'."));
    }
}

/* Reports */

using Report = HarnessTest;

static void noticer(const char *word)
{
    report_error(ORKA_SITE(pname, __func__, 17), "Odd %s of %d.", word, 3);
}

TEST_F(Report, AnErrorIsOneLineOnStandardError)
{
    noticer("number");
    EXPECT_EQ(log.take_error(), "ERROR:noticer():[#] ORKA_STATUS: Odd number of 3.\n");
}

TEST_F(Report, TheLineIsThatOfTheCallSite)
{
    const Ending ending = end_of([](Kernel &) {
        const call_site &site = HERE;
        printf("%d\n", site.line - __LINE__);
        report_error(site, "Odd.");
    });
    EXPECT_EQ(ending.output, "-1\n");
    EXPECT_EQ(ending.error, "ERROR:operator()():[#] ORKA_STATUS: Odd.\n");
}

TEST_F(Report, AnErrnoBringsASecondLineInTheSystemsWords)
{
    report_error_errno(ENOENT, ORKA_SITE(pname, "opener", 1), "Opening.");
    EXPECT_EQ(log.take_error(),
              "ERROR:opener():[#] ORKA_STATUS: Opening.\n\t(2): No such file or directory\n");
}

TEST_F(Report, TheErrnoIsTheOneThatWasCaptured)
{
    errno = EIO;
    report_error_errno(EBUSY, ORKA_SITE(pname, "opener", 1), "Opening.");
    EXPECT_EQ(log.take_error(), error_line("opener", "ORKA_STATUS: Opening.", EBUSY));
}

TEST_F(Report, AnErrnoOfZeroIsPrintedToo)
{
    report_error_errno(0, ORKA_SITE(pname, "opener", 1), "Opening.");
    EXPECT_EQ(log.take_error(), "ERROR:opener():[#] ORKA_STATUS: Opening.\n\t(0): Success\n");
}

TEST_F(Report, AWarningGoesToStandardOutput)
{
    report_warning(ORKA_SITE(pname, "measurer", 1), "Too %s.", "wide");
    EXPECT_EQ(log.take_output(), "WARNING:measurer():[#] ORKA_STATUS: Too wide.\n");
}

TEST_F(Report, AFatalFailureEndsTheProcessWithStatusOne)
{
    const Ending ending =
        end_of([](Kernel &) { report_fatal(ORKA_SITE(pname, "keeper", 1), "Lost %d.", 4); });

    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, "FATAL:keeper():[#] ORKA_STATUS: Lost 4.\n");
    EXPECT_EQ(ending.output, "");
}

TEST_F(Report, AFatalFailureOfACallSaysWhatTheSystemSaid)
{
    const Ending ending =
        end_of([](Kernel &) { report_fatal_errno(ENOMEM, ORKA_SITE(pname, "keeper", 1), "Lost."); });

    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, "FATAL:keeper():[#] ORKA_STATUS: Lost.\n\t(12): Cannot allocate memory\n");
}

TEST_F(Report, AFatalFailureRunsExitHandlers)
{
    const Ending ending = end_of([](Kernel &) {
        atexit([] { fputs("handled\n", stderr); });
        report_fatal(ORKA_SITE(pname, "keeper", 1), "Lost.");
    });
    EXPECT_EQ(ending.error, "FATAL:keeper():[#] ORKA_STATUS: Lost.\nhandled\n");
}

TEST_F(Report, StandardErrorIsFlushedEvenWhenItIsBuffered)
{
    const Ending ending = end_of([](Kernel &) {
        setvbuf(stderr, nullptr, _IOFBF, 4096);
        report_error(ORKA_SITE(pname, "noticer", 1), "Odd.");
        _exit(0);
    });
    EXPECT_EQ(ending.error, "ERROR:noticer():[#] ORKA_STATUS: Odd.\n");
}

TEST_F(Report, StandardOutputIsFlushedAfterAWarning)
{
    const Ending ending = end_of([](Kernel &) {
        report_warning(ORKA_SITE(pname, "noticer", 1), "Odd.");
        _exit(0);
    });
    EXPECT_EQ(ending.output, "WARNING:noticer():[#] ORKA_STATUS: Odd.\n");
}

/* Assertions */

using Assertion = HarnessTest;

static void needs_name(const char *name)
{
    ORKA_ASSERT_NOT_NULL(name);
}

static void needs_order(int first, int second)
{
    ORKA_ASSERT(first < second, "first < second");
}

TEST_F(Assertion, ANullPointerAbortsWithTheDocumentedText)
{
    const Ending ending = end_of([](Kernel &) { needs_name(nullptr); });

    EXPECT_EQ(assertion_complaint(ending, "tests/unit/status_test.cpp", "needs_name", "name != ((void *)0)"),
              "");
}

TEST_F(Assertion, AFalseConditionAbortsWithTheGivenText)
{
    const Ending ending = end_of([](Kernel &) { needs_order(2, 1); });

    EXPECT_EQ(assertion_complaint(ending, "tests/unit/status_test.cpp", "needs_order", "first < second"), "");
}

TEST_F(Assertion, WhatHoldsGoesOn)
{
    needs_name("name");
    needs_order(1, 2);
    EXPECT_EQ(log.take_error(), "");
}
