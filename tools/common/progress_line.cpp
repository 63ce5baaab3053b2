#include "common/progress_line.h"

#include <cstdio>

#include <unistd.h>

namespace orka {

namespace {

constexpr char wipe_line[] = "\r\033[K";

} // namespace

ProgressLine::ProgressLine() : terminal_(isatty(STDOUT_FILENO)) {}

ProgressLine::~ProgressLine()
{
    if (!shown_)
        return;
    fputs(wipe_line, stdout);
    fflush(stdout);
}

void ProgressLine::show(const std::string &text)
{
    if (!terminal_)
        return;
    shown_ = true;
    printf("%s%s", wipe_line, text.c_str());
    fflush(stdout);
}

} // namespace orka
