/* Runs a command to its end, as a shell would, and keeps what it said. */
#ifndef ORKA_TESTS_BOARD_COMMAND_H
#define ORKA_TESTS_BOARD_COMMAND_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orka::board {

struct Outcome {
    int status = -1; /* the exit status, or 128 + the signal */
    std::string out;
    std::string err;
};

/*
 * A command under way. Its standard input is empty; what it inherits of signals is as at the start of a
 * session.
 */
class Running {
  public:
    explicit Running(const std::vector<std::string> &words)
    {
        int out[2];
        int err[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
        process_ = fork();
        if (process_ == 0)
            become(words, out[1], err[1]);
        close(out[1]);
        close(err[1]);
        streams_ = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    }
    ~Running()
    {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            finish();
        }
    }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    pid_t process() const { return process_; }

    /* Read standard output, or error, until it holds the text; false when both ended before. */
    bool says(const std::string &text) { return reads(outcome_.out, text); }
    bool complains(const std::string &text) { return reads(outcome_.err, text); }
    const std::string &out() const { return outcome_.out; }

    Outcome finish()
    {
        int status = 0;
        while (read_some())
            ;
        waitpid(process_, &status, 0);
        process_ = -1;
        outcome_.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        for (const pollfd &stream : streams_)
            close(stream.fd < 0 ? ~stream.fd : stream.fd);
        return outcome_;
    }

  private:
    [[noreturn]] static void become(const std::vector<std::string> &words, int out, int err)
    {
        std::vector<char *> argv;
        for (const std::string &word : words)
            argv.push_back(const_cast<char *>(word.c_str()));
        argv.push_back(nullptr);
        dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        execvp(argv[0], argv.data());
        _exit(127);
    }

    bool reads(const std::string &stream, const std::string &text)
    {
        while (stream.find(text) == std::string::npos) {
            if (!read_some())
                return false;
        }
        return true;
    }

    /* False when both streams have ended. */
    bool read_some()
    {
        if (streams_[0].fd < 0 && streams_[1].fd < 0)
            return false;
        poll(streams_.data(), streams_.size(), -1);
        for (size_t i = 0; i < streams_.size(); i++) {
            char part[4096];
            if (streams_[i].revents == 0)
                continue;
            const ssize_t got = read(streams_[i].fd, part, sizeof part);
            if (got > 0)
                (i == 0 ? outcome_.out : outcome_.err).append(part, static_cast<size_t>(got));
            else
                streams_[i].fd = ~streams_[i].fd;
            streams_[i].revents = 0;
        }
        return true;
    }

    pid_t process_ = -1;
    std::vector<pollfd> streams_; /* out and err; a descriptor is negated when it has ended */
    Outcome outcome_;
};

inline Outcome run(const std::vector<std::string> &words)
{
    return Running(words).finish();
}

} // namespace orka::board

#endif
