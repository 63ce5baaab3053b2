/* orka-play: plays a media file through the library's public calls. */
#include <atomic>
#include <cstdio>

#include "clip.h"
#include "common/failure.h"
#include "common/process.h"
#include "name_hint.h"
#include "options.h"
#include "player.h"
#include "still.h"

namespace orka::play {

namespace {

template <typename Played>
exit_status play_with(Clip &clip, const Options &options, const std::atomic<bool> &stop)
{
    Played player(clip, options, stop);
    exit_status status = status_done;
    try {
        player.play();
    } catch (const std::exception &failure) {
        status = say("orka-play", failure);
    }
    player.print_summary();
    return stop ? status_interrupted : status;
}

exit_status play_clip(const Options &options, const std::atomic<bool> &stop)
{
    const NameHint hint(options.file);
    Clip clip(options.file, stop);
    if (const std::string objection = hint.objection(clip); !objection.empty())
        fprintf(stderr, "orka-play: warning: %s: %s\n", options.file.c_str(), objection.c_str());
    return still_type(clip) != ORKA_IMAGE_TYPE_NONE ? play_with<StillPlayer>(clip, options, stop)
                                                    : play_with<Player>(clip, options, stop);
}

} // namespace

} // namespace orka::play

int main(int argc, char **argv)
{
    using namespace orka;
    using namespace orka::play;
    int status = status_done;
    const std::optional<Options> options = parse_options(argc, argv, status);
    if (!options)
        return status;

    av_log_set_level(AV_LOG_QUIET);
    const std::atomic<bool> &stop = listen_to_signals();
    try {
        return play_clip(*options, stop);
    } catch (const std::exception &failure) {
        const exit_status failed = say("orka-play", failure);
        return stop ? status_interrupted : failed;
    }
}
