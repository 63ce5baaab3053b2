/* orka-play: plays a media file through the library's public calls. */
#include <atomic>
#include <csignal>
#include <cstdio>

#include "clip.h"
#include "failure.h"
#include "options.h"
#include "player.h"

namespace orka::play {

namespace {

std::atomic<bool> stop_requested = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void request_stop(int)
{
    stop_requested = true;
}

/* The first one stops the player in order; a second one ends it at once. */
void listen_to_signals()
{
    struct sigaction action = {};
    action.sa_handler = request_stop;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
}

exit_status play_clip(const Options &options)
{
    Clip clip(options.file, stop_requested);
    Player player(clip, options, stop_requested);
    exit_status status = status_played;
    try {
        player.play();
    } catch (const Failure &failure) {
        fprintf(stderr, "orka-play: %s\n", failure.what());
        status = failure.status();
    }
    player.print_summary();
    return stop_requested ? status_interrupted : status;
}

} // namespace

} // namespace orka::play

int main(int argc, char **argv)
{
    using namespace orka::play;
    int status = status_played;
    const std::optional<Options> options = parse_options(argc, argv, status);
    if (!options)
        return status;

    av_log_set_level(AV_LOG_QUIET);
    listen_to_signals();
    try {
        return play_clip(*options);
    } catch (const Failure &failure) {
        fprintf(stderr, "orka-play: %s\n", failure.what());
        return stop_requested ? status_interrupted : failure.status();
    }
}
