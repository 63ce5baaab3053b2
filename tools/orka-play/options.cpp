#include "options.h"

#include <CLI/CLI.hpp>

#include "common/checks.h"
#include "common/display_mode.h"
#include "common/failure.h"
#include "manual/manual.h"

namespace orka::play {

namespace {

/* The audio decoder takes names in place, the NUL included in these. */
constexpr size_t image_name_limit = 33;

constexpr char description[] =
    "Plays a media file through the decoders of a DM320 board: `orka-board run -- orka-play FILE` "
    "where there is none on the desk.";

constexpr char exit_statuses[] =
    "Exit status: 0 played; 1 the clip, a decoder or an output file failed (a clip that is truncated or in "
    "part damaged is played as far as it goes, and ends with 1; first pictures that refer to what lies "
    "before the clip's beginning are told and are no failure); 2 usage; 3 no board; 130 interrupted.";

std::string check_image_name(const std::string &name)
{
    return name.size() < image_name_limit ? "" : "an image's name has at most 32 characters";
}

std::string check_output(const std::string &name)
{
    try {
        const ModeName known(name);
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "";
}

void declare(CLI::App &app, Options &options)
{
    app.footer(exit_statuses);
    app.set_version_flag("--version", ORKA_VERSION);
    app.add_option("FILE", options.file,
                   "The clip, in any container that libavformat reads, or a still: "
                   "BMP, GIF (the first picture), JPEG, PNG, TIFF")
        ->required();
    auto *no_audio = app.add_flag("--no-audio", options.no_audio, "Leave the sound out");
    app.add_flag("--no-video", options.no_video, "Leave the picture out")->excludes(no_audio);
    auto *no_subtitles = app.add_flag("--no-subtitles", options.no_subtitles, "Leave the subtitles out");
    app.add_option("--subtitles", options.subtitles,
                   "Show the subtitles of this file (.srt, .vtt, .ass and others), not the clip's own")
        ->option_text("FILE")
        ->excludes(no_subtitles);
    app.add_option("--image", options.image, "Load this codec image, whatever the clip's codecs select")
        ->option_text("NAME")
        ->check(CLI::Validator(check_image_name, ""));
    app.add_option(
           "--output", options.output,
           "Set the display up with this output while the clip plays, as `orka-ctl list display` names it")
        ->option_text("DEVICE/MODE")
        ->check(CLI::Validator(check_output, ""));
    app.add_option("--framemd5", options.framemd5, "Write one line a picture, with its time, size and MD5")
        ->option_text("FILE");
    app.add_option("--pcm", options.pcm, "Write the sound as it is decoded: signed 16 bits, little-endian")
        ->option_text("FILE");
    auto *snapshot = app.add_option("--snapshot", options.snapshot, "Save the last picture")
                         ->option_text("FILE.png")
                         ->check(CLI::Validator(check_png_name, ""));
    app.add_option("--snapshot-at", options.snapshot_at,
                   "Save the picture that is shown at this time instead")
        ->option_text("SECONDS")
        ->check(CLI::Validator(check_duration, ""))
        ->needs(snapshot);
    app.add_option("--seconds", options.seconds,
                   "How long a still is shown; by default 5 with --clock real, else no longer than it takes")
        ->option_text("N")
        ->check(CLI::Validator(check_duration, ""));
    app.add_option("--give-up", options.give_up,
                   "End with an error when a decoder that has packets says nothing for so long, by default "
                   "60; 0: wait without end")
        ->option_text("SECONDS")
        ->check(CLI::Validator(check_duration, ""));
}

} // namespace

std::optional<Options> parse_options(int argc, char **argv, int &status)
{
    CLI::App app(description, "orka-play");
    Options options;
    std::string clock = "fast";
    declare(app, options);
    app.add_option("--clock", clock,
                   "Take pictures and sound at their time, or as fast as they come (default)")
        ->option_text("real|fast")
        ->check(CLI::IsMember({"real", "fast"}));
    manual::add_options(app, ORKA_VERSION);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        status = app.exit(error) == 0 ? status_done : status_usage;
        return std::nullopt;
    }
    options.real_time = clock == "real";
    return options;
}

} // namespace orka::play
