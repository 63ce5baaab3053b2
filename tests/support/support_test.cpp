/* The harness is trusted by every other test, so each of its checks is made to fail here. */
#include "support/child.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace orka_test;
using testing::HasSubstr;

namespace {

TEST(Harness, HasNothingToSayOfAQuietTest)
{
    Harness harness;
    EXPECT_EQ(harness.complaints(), "");
}

TEST(Harness, ComplainsOfALineOnStandardError)
{
    Harness harness;
    fprintf(stderr, "ERROR:f():[12] TAG: Text.\n");
    EXPECT_EQ(harness.complaints(), "unclaimed on standard error:\nERROR:f():[#] TAG: Text.\n");
}

TEST(Harness, ComplainsOfALineOnStandardOutput)
{
    Harness harness;
    printf("text without an end of line");
    EXPECT_EQ(harness.complaints(), "unclaimed on standard output:\ntext without an end of line");
}

TEST(Harness, ComplainsOfALeakedDescriptor)
{
    Harness harness;
    int fd = open("/dev/null", O_RDONLY);
    EXPECT_THAT(harness.complaints(), HasSubstr("descriptors leaked: 1\nleft open: " + std::to_string(fd)));
    close(fd);
}

TEST(Harness, ComplainsOfADescriptorClosedTooMany)
{
    int fd = open("/dev/null", O_RDONLY);
    Harness harness;
    close(fd);
    EXPECT_THAT(harness.complaints(), HasSubstr("descriptors leaked: -1\nclosed: " + std::to_string(fd)));
}

TEST(Harness, ComplainsOfALeakedMapping)
{
    Harness harness;
    harness.kernel.node("/dev/mem");
    int fd = open("/dev/mem", O_RDWR);
    void *mapping = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0x1000);
    close(fd);
    EXPECT_EQ(harness.complaints(), "mappings leaked: 1\n");
    munmap(mapping, 4096);
}

TEST(Harness, ComplainsOfAnAllowedLeakThatDoesNotHappen)
{
    Harness harness;
    harness.allow_leaked_mappings(1);
    EXPECT_EQ(harness.complaints(), "mappings leaked: 0\n");
}

TEST(Harness, ComplainsOfARequestThatNobodyScripted)
{
    Harness harness;
    harness.kernel.node("/dev/idecode");
    int fd = open("/dev/idecode", O_RDWR);
    EXPECT_EQ(ioctl(fd, 0x80086406ul, nullptr), -1);
    EXPECT_EQ(errno, ENOTTY);
    close(fd);
    EXPECT_EQ(harness.complaints(), "unexpected request 0x80086406 on /dev/idecode\n");
}

TEST(Harness, ComplainsOfAFailureThatNoCallMet)
{
    Harness harness;
    harness.kernel.fail(Fn::fsync, {.error = EIO});
    EXPECT_THAT(harness.complaints(), HasSubstr("met by no call"));
}

TEST(HarnessCapture, SeesWhatGoesStraightToTheDescriptors)
{
    Capture log;
    EXPECT_EQ(write(1, "one", 3) + write(2, "two", 3), 6);
    EXPECT_EQ(log.take_output(), "one");
    EXPECT_EQ(log.take_error(), "two");
}

TEST(HarnessCapture, GivesALineOnlyOnce)
{
    Capture log;
    fputs("once\n", stderr);
    EXPECT_EQ(log.take_error(), "once\n");
    EXPECT_EQ(log.take_error(), "");
}

TEST(HarnessCapture, KeepsALineNumberThatIsNotPositive)
{
    EXPECT_EQ(normalise("ERROR:f():[0] x\nFATAL:g():[-3] x\nERROR:h():[] x\n"),
              "ERROR:f():[0] x\nFATAL:g():[-3] x\nERROR:h():[] x\n");
}

TEST(HarnessCapture, LeavesNumbersInOtherTextsAlone)
{
    EXPECT_EQ(normalise("f():[7] Locked.\nWARNING:g():[8] x[9] y\n"),
              "f():[7] Locked.\nWARNING:g():[#] x[9] y\n");
}

TEST(HarnessCapture, MakesLinesLikeThoseOfTheLibrary)
{
    Capture log;
    fprintf(stderr, "ERROR:%s():[%d] %s\n\t(%d): ", "f", 5, "T: x.", ENOENT);
    errno = ENOENT;
    perror("");
    EXPECT_EQ(log.take_error(), error_line("f", "T: x.", ENOENT));
}

TEST(HarnessKernel, KnowsNoNodeThatTheTestDidNotMake)
{
    Kernel kernel;
    EXPECT_EQ(open("/dev/mem", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(HarnessKernel, GivesTheErrorOfAMissingNode)
{
    Kernel kernel;
    kernel.missing("/dev/mem", EACCES);
    EXPECT_EQ(open("/dev/mem", O_RDWR), -1);
    EXPECT_EQ(errno, EACCES);
}

TEST(HarnessKernel, RecordsAnOpenWithItsPathAndFlags)
{
    Kernel kernel;
    kernel.node("/dev/vdecode");
    int fd = open("/dev/vdecode", O_RDWR | O_SYNC);
    Call call = kernel.calls(Fn::open).at(0);
    EXPECT_STREQ(call.path, "/dev/vdecode");
    EXPECT_EQ(call.flags, O_RDWR | O_SYNC);
    EXPECT_EQ(call.fd, fd);
    close(fd);
}

TEST(HarnessKernel, CapturesARequestBeforeItIsAnswered)
{
    Kernel kernel;
    kernel.node("/dev/vdecode");
    kernel.on("/dev/vdecode", 0x1234, 4, [](void *argument) {
        *static_cast<uint32_t *>(argument) = 9;
        return 3;
    });
    int fd = open("/dev/vdecode", O_RDWR);
    uint32_t word = 0x04030201;
    EXPECT_EQ(ioctl(fd, 0x1234ul, &word), 3);
    EXPECT_EQ(word, 9u);
    EXPECT_EQ(kernel.calls(Fn::ioctl).at(0).sent(), (std::vector<uint8_t>{1, 2, 3, 4}));
    close(fd);
}

TEST(HarnessKernel, ShowsPhysicalMemoryThroughAMapping)
{
    Kernel kernel;
    kernel.node("/dev/mem");
    kernel.poke(0x01000010, "hello");
    int fd = open("/dev/mem", O_RDWR | O_SYNC);
    char *at = static_cast<char *>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0x01000000));
    EXPECT_STREQ(at + 0x10, "hello");
    at[0x10] = 'j';
    EXPECT_EQ(kernel.peek(0x01000010, 5), "jello");
    munmap(at, 4096);
    close(fd);
}

TEST(HarnessKernel, FailsTheCallThatItIsToldToFail)
{
    Kernel kernel;
    kernel.fail(Fn::dup, {.error = EMFILE, .skip = 1});
    int copy = dup(0);
    EXPECT_GE(copy, 0);
    EXPECT_EQ(dup(0), -1);
    EXPECT_EQ(errno, EMFILE);
    int third = dup(0);
    EXPECT_GE(third, 0);
    close(copy);
    close(third);
}

TEST(HarnessKernel, FailsPollReadSeekSyncAndTheRest)
{
    Kernel kernel;
    char byte;
    for (Fn fn :
         {Fn::poll, Fn::read, Fn::lseek, Fn::fsync, Fn::msync, Fn::munmap, Fn::mmap, Fn::sysconf, Fn::close})
        kernel.fail(fn, {.error = EIO});
    EXPECT_EQ(poll(nullptr, 0, 0), -1);
    EXPECT_EQ(read(0, &byte, 1), -1);
    EXPECT_EQ(lseek(0, 0, SEEK_CUR), -1);
    EXPECT_EQ(fsync(0), -1);
    EXPECT_EQ(msync(&byte, 1, MS_SYNC), -1);
    EXPECT_EQ(munmap(&byte, 1), -1);
    EXPECT_EQ(mmap(nullptr, 1, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0), MAP_FAILED);
    EXPECT_EQ(sysconf(_SC_PAGESIZE), -1);
    EXPECT_EQ(close(0), -1);
    EXPECT_EQ(kernel.complaints(), "");
}

TEST(HarnessKernel, FailsTheHeap)
{
    Kernel kernel;
    kernel.fail(Fn::malloc, {.error = ENOMEM});
    void *volatile block = malloc(16);
    EXPECT_EQ(block, nullptr);
    kernel.fail(Fn::calloc, {.error = ENOMEM});
    block = calloc(1, 16);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(HarnessKernel, FailsTheHeapByWhicheverNameComesFirst)
{
    Kernel kernel;
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    void *volatile block = calloc(1, 16);
    EXPECT_EQ(block, nullptr);
    block = malloc(16);
    EXPECT_NE(block, nullptr);
    free(block);
}

TEST(HarnessKernel, FailsALockWithItsErrorCode)
{
    Kernel kernel;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    kernel.watch(Fn::mutex_lock);
    kernel.fail(Fn::mutex_lock, {.result = EDEADLK});
    EXPECT_EQ(pthread_mutex_lock(&mutex), EDEADLK);
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(kernel.calls(Fn::mutex_lock).size(), 2u);
    EXPECT_EQ(kernel.calls(Fn::mutex_lock).at(0).argument, &mutex);
}

TEST(HarnessKernel, LetsSomethingHappenDuringACallThatItAnswers)
{
    Kernel kernel;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    int happened = 0;
    kernel.fail(Fn::mutex_lock, {.result = 0, .meanwhile = [&] { happened++; }});
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(happened, 1);
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(happened, 1);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
}

TEST(HarnessKernel, SeesWhatABlockHoldsWhenItIsFreed)
{
    Kernel kernel;
    kernel.watch_block(4);
    volatile uint8_t *block = static_cast<volatile uint8_t *>(malloc(4));
    for (int i = 0; i < 4; i++)
        block[i] = static_cast<uint8_t>(i + 1);
    EXPECT_FALSE(kernel.was_freed());
    free(const_cast<uint8_t *>(block));
    EXPECT_EQ(kernel.freed_bytes(), (std::vector<uint8_t>{1, 2, 3, 4}));
}

void *add_one(void *argument)
{
    ++*static_cast<int *>(argument);
    return argument;
}

TEST(HarnessKernel, LetsThreadsRunAsBefore)
{
    Kernel kernel;
    kernel.watch(Fn::thread_create);
    int value = 1;
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, add_one, &value), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(value, 2);
    EXPECT_EQ(kernel.calls(Fn::thread_create).size(), 1u);
}

TEST(HarnessChild, TellsTheStatusAndBothStreams)
{
    Ending ending = end_of([](Kernel &) {
        puts("out");
        fputs("ERROR:f():[7] err\n", stderr);
        exit(3);
    });
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.output, "out\n");
    EXPECT_EQ(ending.error, "ERROR:f():[#] err\n");
}

TEST(HarnessChild, TellsTheSignal)
{
    Ending ending = end_of([](Kernel &) {
        signal(SIGUSR1, SIG_DFL);
        raise(SIGUSR1);
    });
    EXPECT_EQ(ending.status, -1);
    EXPECT_EQ(ending.signal, SIGUSR1);
}

Ending failed_assertion()
{
    return {-1, SIGABRT, "", "prog: src/a.cpp:12: int f(int): Assertion `p != ((void *)0)' failed.\n"};
}

TEST(HarnessChild, AcceptsTheAssertionThatWasMeant)
{
    EXPECT_EQ(assertion_complaint(failed_assertion(), "src/a.cpp", "f", "p != ((void *)0)"), "");
}

TEST(HarnessChild, RefusesAnyOtherAssertion)
{
    Ending ending = failed_assertion();
    EXPECT_NE(assertion_complaint(ending, "src/b.cpp", "f", "p != ((void *)0)"), "");
    EXPECT_NE(assertion_complaint(ending, "a.cpp", "f", "p != ((void *)0)"), "");
    EXPECT_NE(assertion_complaint(ending, "src/a.cpp", "in", "p != ((void *)0)"), "");
    EXPECT_NE(assertion_complaint(ending, "src/a.cpp", "f", "p != NULL"), "");
    ending.signal = 0;
    EXPECT_NE(assertion_complaint(ending, "src/a.cpp", "f", "p != ((void *)0)"), "");
}

int status_of_failures(const std::function<void(Harness &)> &body)
{
    return end_of([&](Kernel &) {
               in_fresh_process(body);
               _exit(testing::Test::HasFailure() ? 1 : 0);
           })
        .status;
}

TEST(HarnessChild, PassesOnWhatFailsInAFreshProcess)
{
    EXPECT_EQ(status_of_failures([](Harness &) { ADD_FAILURE() << "on purpose"; }), 1);
    EXPECT_EQ(status_of_failures([](Harness &) { fputs("unclaimed\n", stderr); }), 1);
    EXPECT_EQ(status_of_failures([](Harness &) { raise(SIGKILL); }), 1);
    EXPECT_EQ(status_of_failures([](Harness &) {}), 0);
}

TEST(HarnessChild, RunsAFreshProcessToItsEnd)
{
    in_fresh_process([](Harness &harness) {
        fputs("claimed\n", stderr);
        EXPECT_EQ(harness.log.take_error(), "claimed\n");
    });
}

} // namespace
