#include "support/child.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orka_test {
namespace {

/* A child that hangs is killed, and the test fails instead of waiting for ever. */
constexpr unsigned child_seconds = 60;

int stream_file()
{
    int fd = memfd_create("orka-test-child", MFD_CLOEXEC);
    if (fd < 0)
        abort();
    return fd;
}

std::string contents(int fd)
{
    struct stat status;
    if (fstat(fd, &status) != 0)
        abort();
    std::string text(static_cast<size_t>(status.st_size), '\0');
    if (pread(fd, text.data(), text.size(), 0) != status.st_size)
        abort();
    close(fd);
    return normalise(text);
}

pid_t fork_flushed()
{
    fflush(stdout);
    fflush(stderr);
    pid_t child = fork();
    if (child < 0)
        abort();
    if (child == 0)
        alarm(child_seconds);
    return child;
}

int wait_for(pid_t child)
{
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        abort();
    return status;
}

} // namespace

Ending end_of(const std::function<void(Kernel &kernel)> &body)
{
    int output = stream_file();
    int error = stream_file();
    pid_t child = fork_flushed();
    if (child == 0) {
        dup2(output, 1);
        dup2(error, 2);
        static Kernel kernel; /* lives on in exit handlers */
        body(kernel);
        fflush(stdout);
        _exit(0);
    }
    int status = wait_for(child);
    Ending ending;
    ending.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ending.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    ending.output = contents(output);
    ending.error = contents(error);
    return ending;
}

std::string assertion_complaint(const Ending &ending, const std::string &file, const std::string &function,
                                const std::string &expression)
{
    if (ending.signal != SIGABRT)
        return "not aborted: status " + std::to_string(ending.status) + ", signal " +
               std::to_string(ending.signal) + "\n" + ending.error;
    if (!ending.output.empty())
        return "on standard output: " + ending.output;
    size_t name = ending.error.find(" " + file + ":");
    size_t text = ending.error.find(": Assertion `" + expression + "' failed.\n");
    size_t in = ending.error.find(function);
    bool named = in != std::string::npos && in < text && !isalnum(ending.error[in + function.size()]) &&
                 ending.error[in + function.size()] != '_' && name != std::string::npos && name < in;
    return named && text != std::string::npos ? "" : "other assertion: " + ending.error;
}

void in_fresh_process(const std::function<void(Harness &harness)> &body)
{
    pid_t child = fork_flushed();
    if (child == 0) {
        {
            Harness harness;
            body(harness);
            EXPECT_EQ(harness.complaints(), "");
        }
        fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = wait_for(child);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "failed in the child; see above";
}

} // namespace orka_test
