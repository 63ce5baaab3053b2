#include "options.h"

#include <cmath>
#include <cstdio>

#include <CLI/CLI.hpp>

#include "catalogue.h"
#include "common/checks.h"
#include "common/failure.h"
#include "common/size.h"
#include "manual/manual.h"

namespace orka::record {

namespace {

constexpr char description[] =
    "Records what a DM320 board's camera and microphone deliver: `orka-board run -- orka-record FILE` where "
    "there is none on the desk.";

constexpr char notes[] =
    "FILE's extension chooses the container: .avi .mp4 .mkv .mov .ts; bare streams: .m4v .h263 .h264 .m2v "
    ".mp3 .aac .wav; a still: .jpg .jpeg .png .bmp .gif (256 colours) .tif .tiff\n"
    "\n"
    "Pairs that a codec image encodes: MPEG4 with AAC, MP3, PCM, G711, G722, G723, G726, WMA or no sound; "
    "H263 with G711, G722, G723, G726 or no sound; H264 and MPEG2 with PCM or no sound; each sound alone.\n"
    "\n"
    "Without --audio: the container's usual sound, which is MP3 in .avi and .ts, AAC in .mp4, .mkv and .mov; "
    "where no image encodes it beside the picture, the first of AAC, MP3, PCM, G711, G722, G723, G726, WMA "
    "that one encodes and the container carries; where there is none, no sound. A line on standard error "
    "says so.\n"
    "\n"
    "With --seconds the file lasts that long, to within half a picture and half a packet of sound.\n"
    "\n"
    "Without --seconds, INT (Ctrl-C), TERM or HUP ends the recording; the file is then whole.\n"
    "\n"
    "Exit status: 0 recorded; 1 an encoder or the file failed (what was written so far plays); 2 usage; "
    "3 no board.";

struct Texts {
    std::string video;
    std::string audio;
    std::string size;
    std::string standard = "ntsc";
    bool no_video = false;
    bool no_audio = false;
};

std::string check_seconds(const std::string &text)
{
    char *end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    return *end == '\0' && std::isfinite(seconds) && seconds > 0 ? "" : "a number of seconds above 0";
}

void declare(CLI::App &app, Options &options, Texts &texts)
{
    app.footer(notes);
    app.set_version_flag("--version", ORKA_VERSION);
    app.add_option("FILE", options.file, "Where to; its extension chooses the container")->required();
    CLI::Option *const video =
        app.add_option("--video", texts.video, "MPEG4, H263, H264, MPEG2; by default the container's first")
            ->option_text("TYPE");
    CLI::Option *const audio =
        app.add_option("--audio", texts.audio, "AAC, MP3, PCM, G711, G722, G723, G726, WMA; likewise")
            ->option_text("TYPE");
    app.add_flag("--no-audio", texts.no_audio, "Leave the sound out")->excludes(audio);
    app.add_flag("--no-video", texts.no_video, "Leave the picture out")->excludes(video);
    app.add_option("--size", texts.size, "Of the picture; by default the standard's, 352x288 for H263")
        ->option_text("WxH");
    app.add_option("--quality", options.quality, "Of a JPEG still, 100 the best; by default the encoder's")
        ->option_text("1-100")
        ->check(CLI::Range(1, 100));
    app.add_option("--bitrate", options.bitrate, "Of the picture; by default the encoder's")
        ->option_text("KBIT/S")
        ->check(CLI::Range(1, 100000));
    app.add_option("--audio-bitrate", options.audio_bitrate, "Of the sound; by default the type's")
        ->option_text("KBIT/S")
        ->check(CLI::Range(1, 4000));
    app.add_option("--sample-rate", options.sample_rate, "Of the sound; by default the type's")
        ->option_text("HZ")
        ->check(CLI::Range(1, 192000));
    app.add_option("--seconds", options.seconds, "How long; by default until a signal")
        ->option_text("N")
        ->check(CLI::Validator(check_seconds, ""));
    app.add_option(
           "--give-up", options.give_up,
           "End with an error when an encoder says nothing for so long, by default 60; 0: wait without end")
        ->option_text("SECONDS")
        ->check(CLI::Validator(check_duration, ""));
    app.add_option("--channel", options.channel, "Of the video encoder")
        ->check(CLI::Range(0, 3))
        ->capture_default_str();
    app.add_option("--standard", texts.standard, "30 pictures of 480 lines a second (default), or 25 of 576")
        ->option_text("ntsc|pal")
        ->check(CLI::IsMember({"ntsc", "pal"}));
    app.add_flag("--view", options.view, "Show the picture on the display, where it moves with --clock real");
}

orka_audio_type_t usual_sound(const Options &options)
{
    const std::vector<orka_audio_type_t> sounds = sounds_beside(options.video, *options.container);
    return sounds.empty() ? ORKA_AUDIO_TYPE_NONE : sounds.front();
}

void choose_types(Options &options, const Texts &texts)
{
    options.video = options.container->video;
    if (!texts.video.empty())
        options.video = orka_media_video_type(texts.video.c_str());
    if (texts.no_video)
        options.video = ORKA_VIDEO_TYPE_NONE;
    if (!texts.audio.empty())
        options.audio = orka_media_audio_type(texts.audio.c_str());
    else if (texts.no_audio)
        options.audio = ORKA_AUDIO_TYPE_NONE;
    else
        options.audio = usual_sound(options);
}

/* A name that is no type's reads as NONE; so does "NONE" itself, which --no-video and --no-audio are for. */
void check_names(const Options &options, const Texts &texts)
{
    if (!texts.video.empty() && options.video <= ORKA_VIDEO_TYPE_NONE)
        throw CLI::ValidationError("--video", "there is no video type '" + texts.video + "'");
    if (!texts.audio.empty() && options.audio <= ORKA_AUDIO_TYPE_NONE)
        throw CLI::ValidationError("--audio", "there is no audio type '" + texts.audio + "'");
}

/* Nobody asked for the sound, but most people expect the usual one. */
void tell_of_another_sound(const Options &options, const Texts &texts)
{
    const orka_audio_type_t usual = options.container->audio;
    if (!texts.audio.empty() || texts.no_audio || options.audio == usual)
        return;
    fprintf(stderr, "orka-record: recording %s%s: no codec image encodes %s\n",
            pair_text(options.video, options.audio).c_str(),
            options.audio == ORKA_AUDIO_TYPE_NONE ? " without sound" : "",
            pair_text(options.video, usual).c_str());
}

/* An option, whether it means anything here, and why it would not. */
struct Scope {
    const char *option;
    bool meant;
    const char *otherwise;
};

void check_scopes(const CLI::App &app, const Options &options)
{
    const bool still = options.container->is_still();
    const bool encoded = options.video != ORKA_VIDEO_TYPE_NONE;
    const bool sound = options.audio != ORKA_AUDIO_TYPE_NONE;
    constexpr char is_still[] = "is a still";
    constexpr char no_picture[] = "has no picture";
    constexpr char no_sound[] = "has no sound";
    const Scope scopes[] = {
        {"--quality", options.container->still == ORKA_IMAGE_TYPE_JPEG, "is no JPEG still"},
        {"--bitrate", !still, is_still},
        {"--audio-bitrate", !still, is_still},
        {"--sample-rate", !still, is_still},
        {"--seconds", !still, is_still},
        {"--channel", !still, is_still},
        {"--view", !still, is_still},
        {"--bitrate", encoded, no_picture},
        {"--size", still || encoded || options.view, no_picture},
        {"--standard", still || encoded || options.view, no_picture},
        {"--channel", encoded || options.view, no_picture},
        {"--audio-bitrate", sound, no_sound},
        {"--sample-rate", sound, no_sound},
    };
    for (const Scope &scope : scopes) {
        if (app.count(scope.option) != 0 && !scope.meant)
            throw CLI::ValidationError(scope.option,
                                       "means nothing for " + options.file + ", which " + scope.otherwise);
    }
}

void check_container(const Options &options, bool no_video)
{
    const bool nothing = options.video == ORKA_VIDEO_TYPE_NONE && options.audio == ORKA_AUDIO_TYPE_NONE;
    if (options.container->is_still() ? no_video : nothing)
        throw CLI::ValidationError("FILE", "there is nothing to record");
    if (options.container->carries(options.video, options.audio))
        return;
    const std::string others = extensions_for(options.video, options.audio);
    throw CLI::ValidationError("FILE",
                               "a " + std::string(options.container->extension) + " file cannot carry " +
                                   pair_text(options.video, options.audio) +
                                   (others.empty() ? "; no container can" : "; these can: " + others));
}

void settle(const CLI::App &app, Options &options, const Texts &texts)
{
    options.container = find_container(options.file);
    if (options.container == nullptr)
        throw CLI::ValidationError(
            "FILE", "'" + options.file + "' has no extension that names a container: " + all_extensions());
    if (!texts.size.empty())
        options.size = read_size(texts.size);
    options.pal = texts.standard == "pal";
    choose_types(options, texts);
    check_names(options, texts);
    check_container(options, texts.no_video);
    check_scopes(app, options);
    tell_of_another_sound(options, texts);
}

} // namespace

std::optional<Options> parse_options(int argc, char **argv, int &status)
{
    CLI::App app(description, "orka-record");
    Options options;
    Texts texts;
    declare(app, options, texts);
    manual::add_options(app, ORKA_VERSION);
    try {
        app.parse(argc, argv);
        settle(app, options, texts);
    } catch (const CLI::ParseError &error) {
        status = app.exit(error) == 0 ? status_done : status_usage;
        return std::nullopt;
    } catch (const Failure &failure) {
        fprintf(stderr, "orka-record: %s\n", failure.what());
        status = failure.status();
        return std::nullopt;
    }
    return options;
}

} // namespace orka::record
