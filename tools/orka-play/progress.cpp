#include "progress.h"

#include <cinttypes>
#include <cstdio>

#include <unistd.h>

namespace orka::play {

namespace {

constexpr char wipe_line[] = "\r\033[K";

} // namespace

Progress::Progress() : terminal_(isatty(STDOUT_FILENO)) {}

Progress::~Progress()
{
    if (!shown_)
        return;
    fputs(wipe_line, stdout);
    fflush(stdout);
}

void Progress::show(const ProgressState &state)
{
    if (!terminal_)
        return;
    shown_ = true;
    printf("%s%.1f s", wipe_line, state.position);
    if (state.length > 0)
        printf(" of %.1f s", state.length);
    printf("  %.1f frames/s  queue %" PRIu32 "/%" PRIu32, state.rate, state.queued, state.queue_limit);
    fflush(stdout);
}

} // namespace orka::play
