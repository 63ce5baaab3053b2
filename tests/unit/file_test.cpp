#include "orka_file.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "support/child.h"
#include "support/harness.h"

using namespace orka_test;

static constexpr int bad_fd = 1000;

class File : public HarnessTest {
  protected:
    File()
    {
        const int fd = mkstemp(path_);
        EXPECT_EQ(write(fd, "0123456789", 10), 10);
        close(fd);
        EXPECT_EQ(pipe(pipe_), 0);
        kernel.forget_calls();
    }

    ~File() override { unlink(path_); }

    void TearDown() override
    {
        close(pipe_[0]);
        close(pipe_[1]);
        HarnessTest::TearDown();
    }

    int open_file() { return open(path_, O_RDONLY); }

    char path_[32] = "/tmp/orka-file-test-XXXXXX";
    int pipe_[2];
};

/* Waiting */

TEST_F(File, PollOfAReadyDescriptorSucceedsAndTellsTheEvents)
{
    uint16_t revents = 77;

    EXPECT_EQ(orka_file_poll_fd(pipe_[1], 0, POLLIN | POLLOUT, &revents), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(revents, POLLOUT);
}

TEST_F(File, PollTellsAHangUpAsAnEvent)
{
    uint16_t revents = 0;

    close(pipe_[1]);
    EXPECT_EQ(orka_file_poll_fd(pipe_[0], 0, POLLIN, &revents), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(revents, POLLHUP);
    pipe_[1] = open_file();
}

TEST_F(File, PollNeedsNoPlaceForEvents)
{
    EXPECT_EQ(orka_file_poll_fd(pipe_[1], 0, POLLOUT, nullptr), ORKA_STATUS_SUCCESS);
}

TEST_F(File, PollTimesOutWhenNothingIsReadyAndLeavesNoEvents)
{
    uint16_t revents = 77;

    EXPECT_EQ(orka_file_poll_fd(pipe_[0], 0, POLLIN, &revents), ORKA_STATUS_TIMEOUT);
    EXPECT_EQ(revents, 0);
}

TEST_F(File, PollPassesDescriptorEventsAndTimeOutOnUnchanged)
{
    orka_file_poll_fd(pipe_[1], -7, POLLOUT | POLLPRI, nullptr);

    const Call call = kernel.calls(Fn::poll).at(0);
    EXPECT_EQ(call.fd, pipe_[1]);
    EXPECT_EQ(call.flags, POLLOUT | POLLPRI);
    EXPECT_EQ(call.offset, -7);
    EXPECT_EQ(call.length, 1u);
}

TEST_F(File, PollInterruptedByASignalSaysSoSilently)
{
    uint16_t revents = 77;

    kernel.fail(Fn::poll, {.error = EINTR});
    EXPECT_EQ(orka_file_poll_fd(pipe_[0], -1, POLLIN, &revents), ORKA_STATUS_INTR);
    EXPECT_EQ(revents, 0);
}

TEST_F(File, PollIsInterruptedByARealSignal)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval soon = {.it_interval = {0, 20000}, .it_value = {0, 20000}};
    const itimerval never = {};

    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_EQ(orka_file_poll_fd_in(pipe_[0], 10000), ORKA_STATUS_INTR);
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_F(File, PollThatFailsIsReported)
{
    kernel.fail(Fn::poll, {.error = ENOMEM});
    EXPECT_EQ(orka_file_poll_fd(7, 0, POLLIN, nullptr), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_poll_fd", "ORKA_FILE: Polling Descriptor '7'.", ENOMEM));
}

TEST_F(File, PollThatAnswersMoreDescriptorsThanThereAreAborts)
{
    const Ending ending = end_of([](Kernel &scripted) {
        scripted.fail(Fn::poll, {.result = 2});
        orka_file_poll_fd(1, 0, POLLIN, nullptr);
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_file.cpp", "orka_file_poll_fd", "pollresult < 0"),
              "");
}

TEST_F(File, PollShorthandsWaitForTheirEvents)
{
    orka_file_poll_fd_in(pipe_[0], 0);
    orka_file_poll_fd_out(pipe_[1], 5);
    orka_file_poll_fd_inout(pipe_[1], 6);

    const std::vector<Call> calls = kernel.calls(Fn::poll);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].flags, 1);
    EXPECT_EQ(calls[1].flags, 4);
    EXPECT_EQ(calls[2].flags, 5);
    EXPECT_EQ(calls[2].offset, 6);
}

TEST_F(File, PollShorthandsGiveTheStatus)
{
    EXPECT_EQ(orka_file_poll_fd_in(pipe_[0], 0), ORKA_STATUS_TIMEOUT);
    EXPECT_EQ(orka_file_poll_fd_out(pipe_[1], 0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_file_poll_fd_inout(pipe_[0], 0), ORKA_STATUS_TIMEOUT);
}

/* Opening */

TEST_F(File, OpenPassesPathFlagsAndModeOn)
{
    const std::string made = std::string(path_) + ".made";
    const int fd = orka_file_open_fd(made.c_str(), O_CREAT | O_EXCL | O_RDWR, 0640);

    const Call call = kernel.calls(Fn::open).back();
    EXPECT_EQ(call.path, made);
    EXPECT_EQ(call.flags, O_CREAT | O_EXCL | O_RDWR);
    EXPECT_EQ(call.mode, 0640);
    EXPECT_GT(fd, 0);
    close(fd);
    unlink(made.c_str());
}

TEST_F(File, OpenThatFailsGivesMinusOneSilently)
{
    EXPECT_EQ(orka_file_open_fd("/nowhere/at/all", O_RDONLY, 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(File, OpenNeverHandsOutDescriptorZero)
{
    in_fresh_process([this](Harness &inner) {
        inner.allow_leaked_descriptors(-1);
        close(0);
        const int fd = orka_file_open_fd(path_, O_RDONLY, 0);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
        char first = 0;
        EXPECT_EQ(read(fd, &first, 1), 1);
        EXPECT_EQ(first, '0');
        close(fd);
    });
}

TEST_F(File, OpenThatCannotGetAwayFromZeroGivesMinusOne)
{
    in_fresh_process([this](Harness &inner) {
        inner.allow_leaked_descriptors(-1);
        close(0);
        inner.kernel.fail(Fn::dup, {.error = EMFILE});
        EXPECT_EQ(orka_file_open_fd(path_, O_RDONLY, 0), -1);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
    });
}

TEST_F(File, OpenReportsAZeroThatCannotBeClosed)
{
    in_fresh_process([this](Harness &inner) {
        close(0);
        inner.kernel.fail(Fn::close, {.error = EIO});
        const int fd = orka_file_open_fd(path_, O_RDONLY, 0);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(inner.log.take_error(),
                  error_line("orka_file_close_fd", "ORKA_FILE: Closing File '0' Descriptor.", EIO));
        close(fd);
    });
}

/* Duplicating */

TEST_F(File, DupGivesASecondDescriptorOfTheSameFile)
{
    const int fd = orka_file_dup_fd(pipe_[1]);

    EXPECT_GT(fd, 0);
    EXPECT_NE(fd, pipe_[1]);
    EXPECT_EQ(write(fd, "x", 1), 1);
    EXPECT_EQ(orka_file_poll_fd_in(pipe_[0], 0), ORKA_STATUS_SUCCESS);
    close(fd);
}

TEST_F(File, DupOfANegativeDescriptorDoesNotAskTheSystem)
{
    EXPECT_EQ(orka_file_dup_fd(-3), -1);
    EXPECT_TRUE(kernel.calls(Fn::dup).empty());
}

TEST_F(File, DupThatFailsGivesMinusOneSilently)
{
    EXPECT_EQ(orka_file_dup_fd(bad_fd), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(File, DupNeverHandsOutDescriptorZero)
{
    in_fresh_process([this](Harness &inner) {
        inner.allow_leaked_descriptors(-1);
        close(0);
        const int fd = orka_file_dup_fd(pipe_[0]);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
        EXPECT_EQ(inner.kernel.calls(Fn::dup).at(1).fd, 0);
        close(fd);
    });
}

TEST_F(File, DupTakesNoNoticeOfAZeroThatCannotBeClosed)
{
    in_fresh_process([this](Harness &inner) {
        close(0);
        inner.kernel.fail(Fn::close, {.error = EIO});
        const int fd = orka_file_dup_fd(pipe_[0]);
        EXPECT_GT(fd, 0);
        EXPECT_NE(fcntl(0, F_GETFD), -1);
        close(fd);
    });
}

TEST_F(File, DupWhoseSecondTryFailsGivesMinusOneAndClosesZero)
{
    in_fresh_process([this](Harness &inner) {
        inner.allow_leaked_descriptors(-1);
        close(0);
        inner.kernel.fail(Fn::dup, {.error = EMFILE, .skip = 1});
        EXPECT_EQ(orka_file_dup_fd(pipe_[0]), -1);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
    });
}

TEST_F(File, DupWhoseSecondTryIsZeroAgainGivesMinusOne)
{
    kernel.fail(Fn::dup, {.result = 0, .times = 2});
    kernel.fail(Fn::close, {.result = 0});
    EXPECT_EQ(orka_file_dup_fd(pipe_[0]), -1);
    EXPECT_EQ(kernel.calls(Fn::close).at(0).fd, 0);
}

/* Sizes */

TEST_F(File, SizeOfADescriptorIsThatOfItsFile)
{
    const int fd = open_file();

    EXPECT_EQ(orka_file_size_fd(fd), 10);
    close(fd);
}

TEST_F(File, SizeOfADescriptorLeavesThePositionWhereItWas)
{
    const int fd = open_file();

    lseek(fd, 4, SEEK_SET);
    EXPECT_EQ(orka_file_size_fd(fd), 10);
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 4);
    close(fd);
}

TEST_F(File, SizeIsFoundByThreeSeeks)
{
    const int fd = open_file();

    lseek(fd, 4, SEEK_SET);
    kernel.forget_calls();
    orka_file_size_fd(fd);
    const std::vector<Call> seeks = kernel.calls(Fn::lseek);
    ASSERT_EQ(seeks.size(), 3u);
    EXPECT_EQ(seeks[0].flags, SEEK_CUR);
    EXPECT_EQ(seeks[1].flags, SEEK_END);
    EXPECT_EQ(seeks[2].flags, SEEK_SET);
    EXPECT_EQ(seeks[2].offset, 4);
    close(fd);
}

TEST_F(File, SizeOfANegativeDescriptorIsRefused)
{
    EXPECT_EQ(orka_file_size_fd(-5), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_size_fd", "ORKA_FILE: File Descriptor '-5' is Invalid."));
}

TEST_F(File, SizeOfWhatHasNoPositionIsReported)
{
    EXPECT_EQ(orka_file_size_fd(pipe_[0]), -1);
    EXPECT_EQ(log.take_error(), error_line("orka_file_size_fd", "ORKA_FILE: Error Reading File.", ESPIPE));
}

TEST_F(File, SizeWithoutAnEndIsReported)
{
    const int fd = open_file();

    kernel.fail(Fn::lseek, {.error = EIO, .skip = 1});
    EXPECT_EQ(orka_file_size_fd(fd), -1);
    EXPECT_EQ(log.take_error(), error_line("orka_file_size_fd", "ORKA_FILE: Error Reading File.", EIO));
    close(fd);
}

TEST_F(File, SizeHoldsWhenThePositionCannotBeRestored)
{
    const int fd = open_file();

    kernel.fail(Fn::lseek, {.error = EIO, .skip = 2});
    EXPECT_EQ(orka_file_size_fd(fd), 10);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_size_fd", "ORKA_FILE: Error Resetting File Position.", EIO));
    close(fd);
}

TEST_F(File, APositionRestoredToAnotherPlaceIsReported)
{
    const int fd = open_file();

    kernel.fail(Fn::lseek, {.error = EINVAL, .result = 3, .skip = 2});
    EXPECT_EQ(orka_file_size_fd(fd), 10);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_size_fd", "ORKA_FILE: Error Resetting File Position.", EINVAL));
    close(fd);
}

TEST_F(File, SizeOfAPathIsThatOfItsFile)
{
    EXPECT_EQ(orka_file_size(path_), 10);
    const Call opened = kernel.calls(Fn::open).back();
    EXPECT_EQ(opened.flags, O_RDONLY);
    EXPECT_EQ(opened.mode, 0);
}

TEST_F(File, SizeOfNoPathIsRefused)
{
    EXPECT_EQ(orka_file_size(nullptr), -1);
    EXPECT_EQ(log.take_error(), error_line("orka_file_size", "ORKA_FILE: NULL Pointer Deref."));
}

TEST_F(File, SizeOfAMissingFileIsReportedWithoutErrno)
{
    EXPECT_EQ(orka_file_size("/nowhere/at/all"), -1);
    EXPECT_EQ(log.take_error(), error_line("orka_file_size", "ORKA_FILE: Opening File '/nowhere/at/all'."));
}

TEST_F(File, SizeOfAPathThatCannotBeMeasuredIsReportedOnceAndClosesTheFile)
{
    kernel.fail(Fn::lseek, {.error = EIO});
    EXPECT_EQ(orka_file_size(path_), -1);
    EXPECT_EQ(log.take_error(), error_line("orka_file_size_fd", "ORKA_FILE: Error Reading File.", EIO));
}

/* Closing */

TEST_F(File, CloseClosesTheDescriptor)
{
    const int fd = open_file();

    EXPECT_EQ(orka_file_close_fd(fd), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(File, CloseOfANegativeDescriptorIsRefused)
{
    EXPECT_EQ(orka_file_close_fd(-1), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_close_fd", "ORKA_FILE: File Descriptor '-1' is Invalid."));
    EXPECT_TRUE(kernel.calls(Fn::close).empty());
}

TEST_F(File, CloseThatFailsIsReported)
{
    EXPECT_EQ(orka_file_close_fd(bad_fd), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_close_fd", "ORKA_FILE: Closing File '1000' Descriptor.", EBADF));
}

/* Closing at exit */

TEST_F(File, ARegisteredDescriptorIsFlushedAndClosedAtExit)
{
    const Ending ending = end_of([this](Kernel &scripted) {
        static Kernel *seen = &scripted;
        dup2(open_file(), 90);
        atexit([] {
            for (const Call &call : seen->calls({Fn::fsync, Fn::close}))
                printf("%s %d\n", call.fn == Fn::fsync ? "fsync" : "close", call.fd);
        });
        seen->forget_calls();
        printf("registered %d\n", orka_file_register_onexit_close_fd(90));
        exit(5);
    });
    EXPECT_EQ(ending.status, 5);
    EXPECT_EQ(ending.output, "registered 0\nfsync 90\nclose 90\n");
    EXPECT_EQ(ending.error, "");
}

TEST_F(File, ARegisteredDescriptorThatCannotBeFlushedIsClosedAllTheSame)
{
    const Ending ending = end_of([this](Kernel &scripted) {
        static Kernel *seen = &scripted;
        dup2(open_file(), 90);
        atexit([] { printf("closed %d\n", seen->calls(Fn::close).at(0).fd); });
        seen->forget_calls();
        orka_file_register_onexit_close_fd(90);
        seen->fail(Fn::fsync, {.error = EIO});
        exit(0);
    });
    EXPECT_EQ(ending.output, "closed 90\n");
    EXPECT_EQ(ending.error, "");
}

TEST_F(File, ADescriptorClosedBeforeExitIsReportedThen)
{
    const Ending ending = end_of([](Kernel &) {
        orka_file_register_onexit_close_fd(bad_fd);
        exit(0);
    });
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error,
              error_line("orka_file_close_fd", "ORKA_FILE: Closing File '1000' Descriptor.", EBADF));
}

TEST_F(File, SeveralDescriptorsAreEachClosedAtExit)
{
    const Ending ending = end_of([](Kernel &) {
        for (int fd : {bad_fd, bad_fd + 1})
            orka_file_register_onexit_close_fd(fd);
        exit(0);
    });
    EXPECT_EQ(ending.error,
              error_line("orka_file_close_fd", "ORKA_FILE: Closing File '1001' Descriptor.", EBADF) +
                  error_line("orka_file_close_fd", "ORKA_FILE: Closing File '1000' Descriptor.", EBADF));
}

TEST_F(File, ARecordSaysThatItIsClosedBeforeItIsFreed)
{
    const Ending ending = end_of([](Kernel &scripted) {
        scripted.watch_block(sizeof(int));
        orka_file_register_onexit_close_fd(bad_fd);
        const uintptr_t handler = scripted.calls(Fn::on_exit).at(0).address;
        reinterpret_cast<void (*)(int, void *)>(handler)(0, scripted.watched_block());
        for (const uint8_t byte : scripted.freed_bytes())
            printf("%02x", byte);
        fflush(stdout);
        _exit(0);
    });
    EXPECT_EQ(ending.output, "ffffffff");
}

TEST_F(File, WhatIsDoneAtExitMindsARecordThatIsMissingOrClosed)
{
    const Ending ending = end_of([](Kernel &scripted) {
        orka_file_register_onexit_close_fd(bad_fd);
        const uintptr_t handler = scripted.calls(Fn::on_exit).at(0).address;
        int *closed = static_cast<int *>(malloc(sizeof(int)));
        *closed = -1;
        for (int *record : {closed, static_cast<int *>(nullptr)})
            reinterpret_cast<void (*)(int, void *)>(handler)(0, record);
        printf("%zu\n", scripted.calls({Fn::fsync, Fn::close}).size());
    });
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "0\n");
    EXPECT_EQ(ending.error, "");
}

TEST_F(File, RegisteringANegativeDescriptorIsRefused)
{
    EXPECT_EQ(orka_file_register_onexit_close_fd(-2), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_file_register_onexit_close_fd",
                                           "ORKA_FILE: File Descriptor '-2' is Invalid."));
    EXPECT_TRUE(kernel.calls(Fn::on_exit).empty());
}

TEST_F(File, RegisteringWithoutMemoryIsReported)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(orka_file_register_onexit_close_fd(9), ORKA_STATUS_INSUFFICIENT_MEMORY);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_register_onexit_close_fd", "ORKA_FILE: Insufficient Memory.", ENOMEM));
    EXPECT_TRUE(kernel.calls(Fn::on_exit).empty());
}

TEST_F(File, RegisteringThatFailsIsReportedAndLeavesNothing)
{
    kernel.watch_block(sizeof(int));
    kernel.fail(Fn::on_exit, {.error = ENOMEM});
    EXPECT_EQ(orka_file_register_onexit_close_fd(9), ORKA_STATUS_CRUNTIME);
    EXPECT_TRUE(kernel.was_freed());
    EXPECT_EQ(log.take_error(), error_line("orka_file_register_onexit_close_fd",
                                           "ORKA_FILE: Registering on_exit() function.", ENOMEM));
}

/* Reading */

TEST_F(File, LoadReadsFromTheStart)
{
    char buffer[8] = {};

    EXPECT_EQ(orka_file_load_buffer(path_, 0, buffer, 4), 4);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_TRUE(kernel.calls(Fn::lseek).empty());
}

TEST_F(File, LoadReadsFromAnOffset)
{
    char buffer[8] = {};

    EXPECT_EQ(orka_file_load_buffer(path_, 3, buffer, 4), 4);
    EXPECT_STREQ(buffer, "3456");
}

TEST_F(File, LoadWithANegativeOffsetReadsFromTheStart)
{
    char buffer[8] = {};

    EXPECT_EQ(orka_file_load_buffer(path_, -3, buffer, 4), 4);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_TRUE(kernel.calls(Fn::lseek).empty());
}

TEST_F(File, LoadBeyondTheEndGivesTheShorterCount)
{
    char buffer[32] = {};

    EXPECT_EQ(orka_file_load_buffer(path_, 7, buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "789");
    EXPECT_EQ(orka_file_load_buffer(path_, 70, buffer, sizeof buffer), 0);
}

TEST_F(File, LoadDoesNotReadAgainAfterAShortCount)
{
    char buffer[8] = {};

    kernel.fail(Fn::read, {.result = 2});
    EXPECT_EQ(orka_file_load_buffer(path_, 0, buffer, 4), 2);
    EXPECT_EQ(kernel.calls(Fn::read).size(), 1u);
}

TEST_F(File, LoadNeedsAPathAndABuffer)
{
    char buffer[8];
    const std::string refused = error_line("orka_file_load_buffer", "ORKA_FILE: NULL Pointer Deref.");

    EXPECT_EQ(orka_file_load_buffer(nullptr, 0, buffer, 4), -1);
    EXPECT_EQ(log.take_error(), refused);
    EXPECT_EQ(orka_file_load_buffer(path_, 0, nullptr, 4), -1);
    EXPECT_EQ(log.take_error(), refused);
}

TEST_F(File, LoadOfAMissingFileIsReportedWithoutErrno)
{
    char buffer[8];

    EXPECT_EQ(orka_file_load_buffer("/nowhere/at/all", 0, buffer, 4), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_load_buffer", "ORKA_FILE: Opening File '/nowhere/at/all'."));
}

TEST_F(File, LoadThatCannotSeekIsReportedAndClosesTheFile)
{
    char buffer[8];

    kernel.fail(Fn::lseek, {.error = EIO});
    EXPECT_EQ(orka_file_load_buffer(path_, 1, buffer, 4), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_load_buffer", "ORKA_FILE: Seeking to File Offset.", EIO));
    EXPECT_TRUE(kernel.calls(Fn::read).empty());
}

TEST_F(File, LoadThatCannotReadIsReportedAndClosesTheFile)
{
    char buffer[8];

    EXPECT_EQ(orka_file_load_buffer("/tmp", 0, buffer, 4), -1);
    EXPECT_EQ(log.take_error(),
              error_line("orka_file_load_buffer", "ORKA_FILE: Reading from File '/tmp'.", EISDIR));
}
