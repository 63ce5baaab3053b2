#include "support/capture.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orka_test {
namespace {

Capture *current = nullptr;

/* Stand around GoogleTest's printer: failures reported in the middle of a capture go to the terminal. */
class Before : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult &) override
    {
        if (current)
            current->pause();
    }
};

class After : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult &) override
    {
        if (current)
            current->resume();
    }
};

void surround_printer()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
    testing::TestEventListener *printer = listeners.Release(listeners.default_result_printer());
    listeners.Append(new Before);
    if (printer)
        listeners.Append(printer);
    listeners.Append(new After);
}

void flush()
{
    fflush(stdout);
    fflush(stderr);
}

std::string take(int fd)
{
    flush();
    struct stat status;
    if (fstat(fd, &status) != 0)
        abort();
    std::string text(static_cast<size_t>(status.st_size), '\0');
    if (pread(fd, text.data(), text.size(), 0) != status.st_size || ftruncate(fd, 0) != 0)
        abort();
    return text;
}

std::string errno_line(int error)
{
    return "\t(" + std::to_string(error) + "): " + strerror(error) + "\n";
}

/*
 * How long "ERROR:name():" is at the beginning of the line, with any of the three kinds; 0 when it is none.
 */
size_t prefix_length(std::string_view line)
{
    constexpr std::string_view mark = "():[";
    if (!line.starts_with("ERROR:") && !line.starts_with("WARNING:") && !line.starts_with("FATAL:"))
        return 0;
    size_t at = line.find(mark);
    size_t space = line.find(' ');
    return at < space ? at + mark.size() - 1 : 0;
}

void append_line(std::string &result, std::string_view line)
{
    size_t prefix = prefix_length(line);
    size_t digits = prefix + 1;
    while (prefix && digits < line.size() && isdigit(line[digits]))
        digits++;
    bool numbered =
        prefix && digits > prefix + 1 && line[prefix + 1] != '0' && line.substr(digits, 2) == "] ";
    result += line.substr(0, prefix);
    result += numbered ? "[#] " : "";
    result += line.substr(numbered ? digits + 2 : prefix);
}

std::string line(const char *kind, std::string_view function, std::string_view message)
{
    return std::string(kind) + ":" + std::string(function) + "():[#] " + std::string(message) + "\n";
}

} // namespace

Capture::Capture()
{
    surround_printer();
    flush();
    for (int i = 0; i < 2; i++) {
        saved_[i] = fcntl(1 + i, F_DUPFD_CLOEXEC, 100);
        int file = memfd_create("orka-test-stream", MFD_CLOEXEC);
        captured_[i] = fcntl(file, F_DUPFD_CLOEXEC, 100);
        close(file);
        if (saved_[i] < 0 || captured_[i] < 0 || fcntl(captured_[i], F_SETFL, O_APPEND) != 0)
            abort();
    }
    resume();
    current = this;
}

Capture::~Capture()
{
    pause();
    current = nullptr;
    for (int i = 0; i < 2; i++) {
        close(saved_[i]);
        close(captured_[i]);
    }
}

std::string Capture::take_error()
{
    return normalise(take(captured_[1]));
}

std::string Capture::take_output()
{
    return normalise(take(captured_[0]));
}

void Capture::pause()
{
    flush();
    dup2(saved_[0], 1);
    dup2(saved_[1], 2);
}

void Capture::resume()
{
    flush();
    dup2(captured_[0], 1);
    dup2(captured_[1], 2);
}

std::string error_line(std::string_view function, std::string_view message)
{
    return line("ERROR", function, message);
}

std::string error_line(std::string_view function, std::string_view message, int error)
{
    return error_line(function, message) + errno_line(error);
}

std::string warning_line(std::string_view function, std::string_view message)
{
    return line("WARNING", function, message);
}

std::string fatal_line(std::string_view function, std::string_view message)
{
    return line("FATAL", function, message);
}

std::string fatal_line(std::string_view function, std::string_view message, int error)
{
    return fatal_line(function, message) + errno_line(error);
}

std::string normalise(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        size_t end = text.find('\n');
        size_t length = end == std::string_view::npos ? text.size() : end + 1;
        append_line(result, text.substr(0, length));
        text.remove_prefix(length);
    }
    return result;
}

} // namespace orka_test
