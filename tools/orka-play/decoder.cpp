#include "decoder.h"

#include "common/failure.h"

namespace orka::play {

/* The calls that differ between the kinds; the player has one decoder of each. */
struct Decoder::Calls {
    const char *name;
    orka_frame_type_t kind;
    orka_idecode_queue_t *(*queue)();
    orka_status_t (*start)();
    orka_status_t (*stop)();
    orka_status_t (*wait)(int32_t timeout);
    orka_status_t (*teardown)();
};

namespace {

constexpr int32_t channel = 0;
constexpr int32_t stream = 0;

constexpr Decoder::Calls audio_calls = {
    .name = "audio",
    .kind = ORKA_FRAME_TYPE_AUDIO,
    .queue = [] { return orka_idecode_get_audio_queue(channel); },
    .start = [] { return orka_idecode_start_audio_decoder(channel); },
    .stop = [] { return orka_idecode_stop_audio_decoder(channel); },
    .wait = [](int32_t timeout) { return orka_idecode_wait_finish_audio_decoder_timeout(channel, timeout); },
    .teardown = [] { return orka_idecode_teardown_audio_decoder(channel); },
};

constexpr Decoder::Calls video_calls = {
    .name = "video",
    .kind = ORKA_FRAME_TYPE_VIDEO,
    .queue = [] { return orka_idecode_get_video_queue(channel, stream); },
    .start = [] { return orka_idecode_start_video_decoder(channel, stream); },
    .stop = [] { return orka_idecode_stop_video_decoder(channel, stream); },
    .wait =
        [](int32_t timeout) {
            return orka_idecode_wait_finish_video_decoder_timeout(channel, stream, timeout);
        },
    .teardown = [] { return orka_idecode_teardown_video_decoder(channel, stream); },
};

constexpr Decoder::Calls subtitle_calls = {
    .name = "subtitle",
    .kind = ORKA_FRAME_TYPE_SUBTITLE,
    .queue = [] { return orka_idecode_get_subtitle_queue(channel); },
    .start = [] { return orka_idecode_start_subtitle_decoder(channel); },
    .stop = [] { return orka_idecode_stop_subtitle_decoder(channel); },
    .wait = [](int32_t) -> orka_status_t { return ORKA_STATUS_ERROR; },
    .teardown = [] { return orka_idecode_teardown_subtitle_decoder(channel); },
};

} // namespace

Decoder::Decoder(const std::string &image, const orka_idecode_audio_params_t &params) : calls_(audio_calls)
{
    check_load(image, orka_idecode_load_audio_decoder_framework(image.c_str()));
    check(orka_idecode_setup_audio_decoder(&params), "its setup");
    open_queue();
}

Decoder::Decoder(const std::string &image, const orka_idecode_video_params_t &params) : calls_(video_calls)
{
    check_load(image, orka_idecode_load_video_decoder_framework(channel, stream, image.c_str()));
    check(orka_idecode_setup_video_decoder(channel, stream, &params), "its setup");
    const orka_status_t status = orka_idecode_init_video_decoder(channel, stream);
    if (status != ORKA_STATUS_SUCCESS)
        calls_.teardown();
    check(status, "its initialisation");
    open_queue();
}

Decoder::Decoder(const std::string &image, const orka_idecode_subtitle_params_t &params)
    : calls_(subtitle_calls)
{
    check_load(image, orka_idecode_load_subtitle_decoder_framework(image.c_str()));
    check(orka_idecode_setup_subtitle_decoder(&params), "its setup");
    open_queue();
}

Decoder::~Decoder()
{
    if (started_)
        calls_.stop();
    orka_idecode_release_queue(queue_);
    calls_.teardown();
}

void Decoder::open_queue()
{
    queue_ = calls_.queue();
    if (queue_)
        return;
    calls_.teardown();
    throw Failure(std::string("the ") + name() + " decoder gave no queue");
}

orka_frame_type_t Decoder::kind() const
{
    return calls_.kind;
}

const char *Decoder::name() const
{
    return calls_.name;
}

void Decoder::start()
{
    check(calls_.start(), "to start");
    started_ = true;
}

bool Decoder::new_frame(orka_idecode_frame_t &frame, int32_t timeout)
{
    return in_time(orka_idecode_new_frame(&frame, queue_, timeout), "a frame to fill");
}

bool Decoder::get_frame(orka_idecode_frame_t &frame, int32_t timeout)
{
    return in_time(orka_idecode_get_frame(&frame, queue_, timeout), "a decoded frame");
}

bool Decoder::wait_finished(int32_t timeout)
{
    return in_time(calls_.wait(timeout), "to finish");
}

void Decoder::commit(const orka_idecode_frame_t &frame)
{
    check(orka_idecode_commit_frame(&frame, queue_), "a filled frame");
}

void Decoder::release(const orka_idecode_frame_t &frame)
{
    check(orka_idecode_release_frame(&frame, queue_), "a frame back");
}

/* Loading is the first to open the decoder's node. */
void Decoder::check_load(const std::string &image, orka_status_t status) const
{
    if (status == ORKA_STATUS_IO)
        throw Failure(std::string("the ") + name() + " decoder's node cannot be opened", status_no_board);
    check(status, ("the image " + image).c_str());
}

void Decoder::check(orka_status_t status, const char *what) const
{
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure(std::string("the ") + name() + " decoder refused " + what + ": " +
                      orka_status_string(status));
}

bool Decoder::in_time(orka_status_t status, const char *what) const
{
    if (status == ORKA_STATUS_TIMEOUT)
        return false;
    check(status, what);
    return true;
}

} // namespace orka::play
