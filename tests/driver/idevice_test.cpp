/*
 * The registry of device nodes. It remembers what it opened and registered for as long as the process lives,
 * so every test runs in a process of its own.
 */
#include "driver/driver_test.h"

#include <barrier>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace orka_test;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

struct Accessor {
    const char *name;
    int32_t (*call)();
    const char *function;
    const char *node;
    const char *fallback;
    const char *failure;
    int flags = O_RDWR;

    std::string missing_line(int error) const { return error_line(function, failure, error); }

    std::vector<std::string> nodes() const
    {
        return fallback ? std::vector<std::string>{node, fallback} : std::vector<std::string>{node};
    }

    friend void PrintTo(const Accessor &accessor, std::ostream *stream) { *stream << accessor.name; }
};

/* In the order in which the exit handler closes them. */
const Accessor accessors[] = {
    {"imem", orka_idevice_imem_fd, "orka_idevice_imem_fd", "/dev/mem", nullptr,
     "ORKA_IDEVICE: Opening IMEM Device '/dev/mem'.", O_RDWR | O_SYNC},
    {"imanage", orka_idevice_imanage_fd, "orka_idevice_imanage_fd", "/dev/imanage", nullptr,
     "ORKA_IDEVICE: Opening IMANAGE Device '/dev/imanage'."},
    {"iencode", orka_idevice_iencode_fd, "orka_idevice_iencode_fd", "/dev/iencode", nullptr,
     "ORKA_IDEVICE: Opening IENCODE Device '/dev/iencode'."},
    {"iaencode", orka_idevice_iaencode_fd, "orka_idevice_iaencode_fd", "/dev/aencode", "/dev/aencode0",
     "ORKA_IDEVICE: Opening IADECODE Device '/dev/idecode'."},
    {"ivencode0", [] { return orka_idevice_ivencode_fd(0); }, "orka_idevice_ivencode_fd", "/dev/vencode0",
     nullptr, "ORKA_IDEVICE: Opening IVENCODE Device '/dev/vencode0'."},
    {"ivencode1", [] { return orka_idevice_ivencode_fd(1); }, "orka_idevice_ivencode_fd", "/dev/vencode1",
     nullptr, "ORKA_IDEVICE: Opening IVENCODE Device '/dev/vencode1'."},
    {"ivencode2", [] { return orka_idevice_ivencode_fd(2); }, "orka_idevice_ivencode_fd", "/dev/vencode2",
     nullptr, "ORKA_IDEVICE: Opening IVENCODE Device '/dev/vencode2'."},
    {"ivencode3", [] { return orka_idevice_ivencode_fd(3); }, "orka_idevice_ivencode_fd", "/dev/vencode3",
     nullptr, "ORKA_IDEVICE: Opening IVENCODE Device '/dev/vencode3'."},
    {"ivmvencode0", [] { return orka_idevice_ivmvencode_fd(0); }, "orka_idevice_ivmvencode_fd",
     "/dev/vmvencode0", nullptr, "ORKA_IDEVICE: Opening IVMVENCODE Device '/dev/vmvencode0'."},
    {"ivmvencode1", [] { return orka_idevice_ivmvencode_fd(1); }, "orka_idevice_ivmvencode_fd",
     "/dev/vmvencode1", nullptr, "ORKA_IDEVICE: Opening IVMVENCODE Device '/dev/vmvencode1'."},
    {"ivmvencode2", [] { return orka_idevice_ivmvencode_fd(2); }, "orka_idevice_ivmvencode_fd",
     "/dev/vmvencode2", nullptr, "ORKA_IDEVICE: Opening IVMVENCODE Device '/dev/vmvencode2'."},
    {"ivmvencode3", [] { return orka_idevice_ivmvencode_fd(3); }, "orka_idevice_ivmvencode_fd",
     "/dev/vmvencode3", nullptr, "ORKA_IDEVICE: Opening IVMVENCODE Device '/dev/vmvencode3'."},
    {"idecode", orka_idevice_idecode_fd, "orka_idevice_idecode_fd", "/dev/idecode", nullptr,
     "ORKA_IDEVICE: Opening IDECODE Device '/dev/idecode'."},
    {"iadecode", orka_idevice_iadecode_fd, "orka_idevice_iadecode_fd", "/dev/adecode", "/dev/adecode0",
     "ORKA_IDEVICE: Opening IADECODE Device '/dev/idecode'."},
    {"ivdecode", orka_idevice_ivdecode_fd, "orka_idevice_ivdecode_fd", "/dev/vdecode", "/dev/vdecode0",
     "ORKA_IDEVICE: Opening IVDECODE Device '/dev/idecode'."},
    {"dtmf", orka_idevice_dtmf_fd, "orka_idevice_dtmf_fd", "/dev/dtmfdecode", nullptr,
     "ORKA_IDEVICE: Opening DTMF Decode Device '/dev/dtmfdecode'."},
    {"subtitle", orka_idevice_subtitle_fd, "orka_idevice_subtitle_fd", "/dev/subtldecode", nullptr,
     "ORKA_IDEVICE: Opening Subtitle Decode Device '/dev/subtldecode'."},
    {"windisp", orka_idevice_windisp_fd, "orka_idevice_windisp_fd", "/dev/windisp", nullptr,
     "ORKA_IDEVICE: Opening Window Display Device '/dev/windisp'."},
    {"irender", orka_idevice_irender_fd, "orka_idevice_irender_fd", "/dev/irender", nullptr,
     "ORKA_IDEVICE: Opening iRender Device '/dev/irender'."},
    {"icap", orka_idevice_icap_fd, "orka_idevice_icap_fd", "/dev/icapture", "/dev/icap",
     "ORKA_IDEVICE: Opening ICapture Device '/dev/icapture'."},
    {"imgdec", orka_idevice_imgdec_fd, "orka_idevice_imgdec_fd", "/dev/imgdecode", "/dev/imgd0",
     "ORKA_IDEVICE: Opening Image Decoding and Display Device '/dev/imgdecode'."},
    {"imgenc", orka_idevice_imgenc_fd, "orka_idevice_imgenc_fd", "/dev/imgencode", "/dev/imgenc",
     "ORKA_IDEVICE: Opening Image Encoding Device '/dev/imgencode'."},
};

using Paths = std::vector<std::string>;

void open_all(Kernel &kernel)
{
    for (const Accessor &accessor : accessors) {
        kernel.node(accessor.node);
        accessor.call();
    }
}

Paths all_nodes()
{
    Paths nodes;
    for (const Accessor &accessor : accessors)
        nodes.push_back(accessor.node);
    return nodes;
}

/* Runs a test in a process of its own and closes what it left open. */
void in_new_process(const std::function<void(Harness &harness)> &body)
{
    in_fresh_process([&](Harness &harness) {
        body(harness);
        orka_idevice_close_atexit();
    });
}

class DeviceNode : public testing::TestWithParam<Accessor> {};

TEST_P(DeviceNode, IsOpenedOnceForReadingAndWriting)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node(GetParam().node);
        int32_t fd = GetParam().call();
        std::vector<Call> calls = harness.kernel.calls(Fn::open);
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_STREQ(calls[0].path, GetParam().node);
        EXPECT_EQ(calls[0].flags, GetParam().flags);
        EXPECT_EQ(calls[0].fd, fd);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(GetParam().call(), fd);
        EXPECT_EQ(harness.kernel.calls(Fn::open).size(), 1u);
    });
}

TEST_P(DeviceNode, ThatIsMissingIsReportedAndTriedAgain)
{
    in_new_process([](Harness &harness) {
        for (int attempt = 0; attempt < 2; attempt++) {
            harness.kernel.forget_calls();
            EXPECT_EQ(GetParam().call(), -1);
            EXPECT_EQ(harness.log.take_error(), GetParam().missing_line(ENOENT));
            EXPECT_EQ(harness.kernel.paths(Fn::open), GetParam().nodes());
        }
        harness.kernel.node(GetParam().node);
        EXPECT_GT(GetParam().call(), 0);
    });
}

TEST_P(DeviceNode, FallsBackSilentlyWhereItHasAnotherName)
{
    in_new_process([](Harness &harness) {
        if (!GetParam().fallback)
            return;
        harness.kernel.node(GetParam().fallback);
        EXPECT_GT(GetParam().call(), 0);
        EXPECT_EQ(harness.kernel.paths(Fn::open), GetParam().nodes());
    });
}

TEST_P(DeviceNode, IsReportedWithTheErrorOfTheNameTriedLast)
{
    in_new_process([](Harness &harness) {
        harness.kernel.missing(GetParam().node, EACCES);
        if (GetParam().fallback)
            harness.kernel.missing(GetParam().fallback, EBUSY);
        EXPECT_EQ(GetParam().call(), -1);
        EXPECT_EQ(harness.log.take_error(), GetParam().missing_line(GetParam().fallback ? EBUSY : EACCES));
    });
}

TEST_P(DeviceNode, EndsTheProcessWhenItCannotBeLocked)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().node);
        kernel.fail(Fn::mutex_lock, {.result = EDEADLK});
        GetParam().call();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, MatchesRegex(quiet_lock_death));
    EXPECT_EQ(ending.error, "");
}

TEST_P(DeviceNode, EndsTheProcessWhenItCannotBeUnlocked)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.fail(Fn::mutex_unlock, {.result = EPERM});
        GetParam().call();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, MatchesRegex(quiet_unlock_death));
    EXPECT_EQ(ending.error, GetParam().missing_line(ENOENT));
}

TEST_P(DeviceNode, IsClosedWhenTheProcessExits)
{
    Ending ending = end_of([](Kernel &kernel) {
        static Kernel *watching = &kernel;
        atexit([] {
            for (const std::string &path : watching->paths(Fn::close))
                puts(path.c_str());
        });
        kernel.node(GetParam().node);
        GetParam().call();
        exit(0);
    });
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, std::string(GetParam().node) + "\n");
    EXPECT_EQ(ending.error, "");
}

INSTANTIATE_TEST_SUITE_P(Devices, DeviceNode, testing::ValuesIn(accessors),
                         [](const testing::TestParamInfo<Accessor> &info) {
                             return std::string(info.param.name);
                         });

TEST(DeviceRegistry, HasAMutexForEachDeviceAndOneForEachTable)
{
    in_new_process([](Harness &harness) {
        harness.kernel.watch(Fn::mutex_lock);
        std::set<const void *> mutexes;
        for (const Accessor &accessor : accessors) {
            accessor.call();
            mutexes.insert(harness.kernel.calls(Fn::mutex_lock).back().argument);
        }
        EXPECT_EQ(mutexes.size(), 16u);
        harness.log.take_error();
    });
}

TEST(DeviceRegistry, OpensANodeOnceForThreadsThatComeTogether)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node("/dev/idecode");
        harness.kernel.delay_opens(50);
        int32_t fds[2];
        std::barrier together(2);
        std::thread other([&] {
            together.arrive_and_wait();
            fds[1] = orka_idevice_idecode_fd();
        });
        together.arrive_and_wait();
        fds[0] = orka_idevice_idecode_fd();
        other.join();
        EXPECT_GT(fds[0], 0);
        EXPECT_EQ(fds[0], fds[1]);
        EXPECT_EQ(harness.kernel.calls(Fn::open).size(), 1u);
    });
}

TEST(DeviceRegistry, TakesTheDevicesMutexBeforeThatOfTheExitHandler)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node("/dev/idecode");
        harness.kernel.watch(Fn::mutex_lock);
        harness.kernel.watch(Fn::mutex_unlock);
        orka_idevice_idecode_fd();
        std::vector<Call> calls = harness.kernel.calls({Fn::mutex_lock, Fn::cxa_atexit, Fn::mutex_unlock});
        ASSERT_EQ(calls.size(), 5u);
        EXPECT_EQ(calls[0].fn, Fn::mutex_lock);
        EXPECT_EQ(calls[1].fn, Fn::mutex_lock);
        EXPECT_EQ(calls[2].fn, Fn::cxa_atexit);
        EXPECT_EQ(calls[3].argument, calls[1].argument);
        EXPECT_EQ(calls[4].argument, calls[0].argument);
        EXPECT_NE(calls[0].argument, calls[1].argument);
    });
}

TEST(DeviceRegistry, TakesNoLockOnceANodeIsOpen)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node("/dev/vdecode");
        orka_idevice_ivdecode_fd();
        harness.kernel.watch(Fn::mutex_lock);
        harness.kernel.watch(Fn::mutex_unlock);
        EXPECT_GT(orka_idevice_ivdecode_fd(), 0);
        EXPECT_TRUE(harness.kernel.calls({Fn::mutex_lock, Fn::mutex_unlock}).empty());
    });
}

TEST(DeviceRegistry, UnlocksPhysicalMemoryThoughItDidNotLockIt)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node("/dev/mem");
        harness.kernel.watch(Fn::mutex_lock);
        harness.kernel.watch(Fn::mutex_unlock);
        orka_idevice_imem_fd();
        const void *mutex = harness.kernel.calls(Fn::mutex_lock).at(0).argument;
        harness.kernel.forget_calls();
        EXPECT_GT(orka_idevice_imem_fd(), 0);
        EXPECT_TRUE(harness.kernel.calls(Fn::mutex_lock).empty());
        ASSERT_EQ(harness.kernel.calls(Fn::mutex_unlock).size(), 1u);
        EXPECT_EQ(harness.kernel.calls(Fn::mutex_unlock)[0].argument, mutex);
    });
}

TEST(DeviceRegistry, HasNoChannelsOutsideZeroToThree)
{
    in_new_process([](Harness &harness) {
        for (int32_t channel : {-1, 4, INT32_MIN, INT32_MAX}) {
            EXPECT_EQ(orka_idevice_ivencode_fd(channel), -1);
            EXPECT_EQ(orka_idevice_ivmvencode_fd(channel), -1);
        }
        EXPECT_TRUE(harness.kernel.calls(Fn::open).empty());
    });
}

TEST(DeviceRegistry, NeverHandsOutDescriptorZero)
{
    in_new_process([](Harness &harness) {
        close(0);
        harness.kernel.node("/dev/idecode");
        EXPECT_GT(orka_idevice_idecode_fd(), 0);
        EXPECT_EQ(harness.kernel.calls(Fn::open).at(0).fd, 0);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
        harness.allow_leaked_descriptors(-1);
    });
}

TEST(DeviceExitHandler, IsRegisteredOnceForAllNodes)
{
    in_new_process([](Harness &harness) {
        open_all(harness.kernel);
        EXPECT_EQ(harness.kernel.calls(Fn::cxa_atexit).size(), 1u);
    });
}

TEST(DeviceExitHandler, IsNotRegisteredBeforeANodeOpened)
{
    in_new_process([](Harness &harness) {
        orka_idevice_idecode_fd();
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_idevice_idecode_fd",
                             "ORKA_IDEVICE: Opening IDECODE Device '/dev/idecode'.", ENOENT));
        EXPECT_TRUE(harness.kernel.calls(Fn::cxa_atexit).empty());
    });
}

TEST(DeviceExitHandler, IsRegisteredByTheNextNodeWhenTheFirstCouldNot)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node("/dev/idecode");
        harness.kernel.node("/dev/irender");
        const std::string line = error_line("orka_idevice_register_close_atexit",
                                            "ORKA_IDEVICE: Registering atexit() function.", ENOMEM);
        harness.kernel.fail(Fn::cxa_atexit, {.error = ENOMEM});
        EXPECT_GT(orka_idevice_idecode_fd(), 0);
        EXPECT_EQ(harness.log.take_error(), line);
        EXPECT_GT(orka_idevice_irender_fd(), 0);
        std::vector<Call> calls = harness.kernel.calls(Fn::cxa_atexit);
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_EQ(calls[1].result, 0);
        orka_idevice_register_close_atexit();
        EXPECT_EQ(harness.kernel.calls(Fn::cxa_atexit).size(), 2u);
    });
}

/* The second comes while the first is about to lock; so the lock is the second's, and the first only seems
 * to. */
TEST(DeviceExitHandler, IsRegisteredOnceByTwoThatComeTogether)
{
    in_new_process([](Harness &harness) {
        harness.kernel.fail(Fn::mutex_lock, {.result = 0, .meanwhile = orka_idevice_register_close_atexit});
        harness.kernel.fail(Fn::mutex_unlock, {.result = 0, .skip = 1});
        orka_idevice_register_close_atexit();
        EXPECT_EQ(harness.kernel.calls(Fn::cxa_atexit).size(), 1u);
    });
}

TEST(DeviceExitHandler, EndsTheProcessWhenItCannotBeRegisteredUnderItsLock)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node("/dev/idecode");
        kernel.fail(Fn::mutex_lock, {.result = EDEADLK, .skip = 1});
        orka_idevice_idecode_fd();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, MatchesRegex(quiet_lock_death));
}

TEST(DeviceExitHandler, EndsTheProcessWhenItsLockCannotBeGivenBack)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node("/dev/idecode");
        /* exit() runs the handler just registered, which would wait for the device that this thread holds. */
        kernel.fail(Fn::mutex_lock, {.result = EDEADLK, .skip = 2, .times = 16});
        kernel.fail(Fn::mutex_unlock, {.result = EPERM, .times = 32});
        orka_idevice_idecode_fd();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, MatchesRegex(quiet_unlock_death));
}

TEST(DeviceExitHandler, ClosesAllNodesInItsOrder)
{
    in_fresh_process([](Harness &harness) {
        open_all(harness.kernel);
        orka_idevice_close_atexit();
        EXPECT_EQ(harness.kernel.paths(Fn::close), all_nodes());
    });
}

TEST(DeviceExitHandler, HoldsTheLockOfATableOverAllItsChannels)
{
    in_fresh_process([](Harness &harness) {
        open_all(harness.kernel);
        harness.kernel.watch(Fn::mutex_lock);
        orka_idevice_close_atexit();
        EXPECT_EQ(harness.kernel.calls(Fn::mutex_lock).size(), 16u);
        std::vector<Call> calls = harness.kernel.calls({Fn::mutex_lock, Fn::close});
        EXPECT_EQ(calls.at(8).fn, Fn::mutex_lock);
        for (size_t i = 9; i < 13; i++)
            EXPECT_EQ(calls.at(i).fn, Fn::close);
    });
}

TEST(DeviceExitHandler, ClosesNothingThatIsNotOpen)
{
    in_fresh_process([](Harness &harness) {
        orka_idevice_close_atexit();
        EXPECT_TRUE(harness.kernel.calls(Fn::close).empty());
    });
}

TEST(DeviceExitHandler, GoesOnWhereANodeCannotBeClosed)
{
    in_fresh_process([](Harness &harness) {
        open_all(harness.kernel);
        int32_t fd = orka_idevice_imem_fd();
        const std::string line = error_line(
            "orka_file_close_fd", "ORKA_FILE: Closing File '" + std::to_string(fd) + "' Descriptor.", EIO);
        harness.kernel.fail(Fn::close, {.error = EIO});
        orka_idevice_close_atexit();
        EXPECT_EQ(harness.log.take_error(), line);
        EXPECT_EQ(harness.kernel.paths(Fn::close), all_nodes());
        harness.allow_leaked_descriptors(1);
        close(fd);
        harness.allow_leaked_descriptors(-1);
    });
}

TEST(DeviceExitHandler, TakesNoNoticeOfLocksThatFail)
{
    in_fresh_process([](Harness &harness) {
        open_all(harness.kernel);
        harness.kernel.fail(Fn::mutex_lock, {.result = EDEADLK, .times = 16});
        harness.kernel.fail(Fn::mutex_unlock, {.result = EPERM, .times = 16});
        orka_idevice_close_atexit();
        EXPECT_EQ(harness.kernel.paths(Fn::close), all_nodes());
    });
}

TEST(DeviceExitHandler, ForgetsEveryNodeButCapture)
{
    in_fresh_process([](Harness &harness) {
        open_all(harness.kernel);
        int32_t capture = orka_idevice_icap_fd();
        orka_idevice_close_atexit();
        harness.kernel.forget_calls();
        EXPECT_EQ(orka_idevice_icap_fd(), capture);
        EXPECT_TRUE(harness.kernel.calls(Fn::open).empty());
        for (const Accessor &accessor : accessors)
            accessor.call();
        EXPECT_EQ(harness.kernel.calls(Fn::open).size(), std::size(accessors) - 1);
        orka_idevice_close_atexit();
        /* The number that capture kept may be another node's by now: the second round closes it twice. */
        harness.log.take_error();
    });
}

struct Closer {
    const char *name;
    int32_t (*close)();
    int32_t (*open)();
    const char *node;
    const char *function;
    const char *failure;

    friend void PrintTo(const Closer &closer, std::ostream *stream) { *stream << closer.name; }
};

const Closer closers[] = {
    {"windisp", orka_idevice_windisp_fd_close, orka_idevice_windisp_fd, "/dev/windisp",
     "orka_idevice_windisp_fd_close", "ORKA_IDEVICE: Closing WinDisp FD."},
    {"irender", orka_idevice_irender_fd_close, orka_idevice_irender_fd, "/dev/irender",
     "orka_idevice_irender_fd_close", "ORKA_IDEVICE: Closing iRender FD."},
    {"icap", orka_idevice_icap_fd_close, orka_idevice_icap_fd, "/dev/icapture", "orka_idevice_icap_fd_close",
     "ORKA_IDEVICE: Closing ICapture FD."},
    {"imgdec", orka_idevice_imgdec_fd_close, orka_idevice_imgdec_fd, "/dev/imgdecode",
     "orka_idevice_imgdec_fd_close", "ORKA_IDEVICE: Closing Image Decoding and Display FD."},
    {"imgenc", orka_idevice_imgenc_fd_close, orka_idevice_imgenc_fd, "/dev/imgencode",
     "orka_idevice_imgenc_fd_close", "ORKA_IDEVICE: Closing Image Encoding FD."},
};

class DeviceClosing : public testing::TestWithParam<Closer> {};

TEST_P(DeviceClosing, ThatIsNotOpenDoesNothing)
{
    in_fresh_process([](Harness &harness) {
        EXPECT_EQ(GetParam().close(), 0);
        EXPECT_TRUE(harness.kernel.calls(Fn::close).empty());
    });
}

TEST_P(DeviceClosing, LetsTheNextCallOpenItAnew)
{
    in_fresh_process([](Harness &harness) {
        harness.kernel.node(GetParam().node);
        GetParam().open();
        EXPECT_EQ(GetParam().close(), 0);
        EXPECT_EQ(harness.kernel.paths(Fn::close), Paths{GetParam().node});
        EXPECT_GT(GetParam().open(), 0);
        EXPECT_EQ(harness.kernel.calls(Fn::open).size(), 2u);
        EXPECT_EQ(GetParam().close(), 0);
    });
}

TEST_P(DeviceClosing, ForgetsItThoughTheCloseFailed)
{
    in_fresh_process([](Harness &harness) {
        harness.kernel.node(GetParam().node);
        int32_t fd = GetParam().open();
        const std::string lines =
            error_line("orka_file_close_fd",
                       "ORKA_FILE: Closing File '" + std::to_string(fd) + "' Descriptor.", EIO) +
            error_line(GetParam().function, GetParam().failure);
        harness.kernel.fail(Fn::close, {.error = EIO});
        EXPECT_EQ(GetParam().close(), -1);
        EXPECT_EQ(harness.log.take_error(), lines);
        EXPECT_EQ(GetParam().close(), 0);
        close(fd);
    });
}

TEST_P(DeviceClosing, EndsTheProcessWhenItCannotBeLocked)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.fail(Fn::mutex_lock, {.result = EDEADLK});
        GetParam().close();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, MatchesRegex(quiet_lock_death));
}

TEST_P(DeviceClosing, EndsTheProcessWhenItCannotBeUnlocked)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.fail(Fn::mutex_unlock, {.result = EPERM});
        GetParam().close();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, MatchesRegex(quiet_unlock_death));
}

INSTANTIATE_TEST_SUITE_P(Devices, DeviceClosing, testing::ValuesIn(closers),
                         [](const testing::TestParamInfo<Closer> &info) {
                             return std::string(info.param.name);
                         });

TEST(DeviceCapture, IsClosedTwiceOnceTheExitHandlerRan)
{
    in_fresh_process([](Harness &harness) {
        harness.kernel.node("/dev/icapture");
        int32_t fd = orka_idevice_icap_fd();
        orka_idevice_close_atexit();
        EXPECT_EQ(orka_idevice_icap_fd_close(), -1);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_file_close_fd",
                             "ORKA_FILE: Closing File '" + std::to_string(fd) + "' Descriptor.", EBADF) +
                      error_line("orka_idevice_icap_fd_close", "ORKA_IDEVICE: Closing ICapture FD."));
    });
}

} // namespace
