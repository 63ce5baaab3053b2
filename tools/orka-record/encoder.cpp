#include "encoder.h"

#include "common/failure.h"

namespace orka::record {

/* The calls that differ between the two kinds. */
struct Encoder::Calls {
    const char *name;
    orka_iencode_queue_t *(*queue)(int32_t channel);
    orka_status_t (*start)(int32_t channel);
    orka_status_t (*stop)(int32_t channel);
    orka_status_t (*get)(orka_iencode_frame_t *frame, orka_iencode_queue_t *queue, int32_t timeout);
    orka_status_t (*release)(const orka_iencode_queue_t *queue);
    orka_status_t (*teardown)(int32_t channel);
};

namespace {

constexpr Encoder::Calls audio_calls = {
    .name = "audio",
    .queue = orka_iencode_get_audio_queue,
    .start = [](int32_t) { return orka_iencode_start_audio_encoder(); },
    .stop = [](int32_t) { return orka_iencode_stop_audio_encoder(); },
    .get = orka_iencode_get_audio_frame,
    .release = orka_iencode_release_audio_frame,
    .teardown = [](int32_t) { return orka_iencode_teardown_audio_encoder(); },
};

constexpr Encoder::Calls video_calls = {
    .name = "video",
    .queue = orka_iencode_get_video_queue,
    .start = orka_iencode_start_video_encoder,
    .stop = orka_iencode_stop_video_encoder,
    .get = [](orka_iencode_frame_t *frame, orka_iencode_queue_t *queue,
              int32_t timeout) { return orka_iencode_get_video_frame(frame, queue, timeout); },
    .release = orka_iencode_release_video_frame,
    .teardown = orka_iencode_teardown_video_encoder,
};

} // namespace

Encoder::Encoder(const std::string &image, const orka_iencode_audio_params_t &params)
    : calls_(audio_calls), channel_(0)
{
    check_load(image, orka_iencode_load_audio_encoder_framework(image.c_str()));
    check(orka_iencode_setup_audio_encoder(&params), "its setup");
    open_queue();
}

Encoder::Encoder(const std::string &image, const orka_iencode_video_params_t &params)
    : calls_(video_calls), channel_(static_cast<int32_t>(params.channel))
{
    check_load(image, orka_iencode_load_video_encoder_framework(channel_, 0, image.c_str()));
    check(orka_iencode_setup_video_encoder(&params), "its setup");
    const orka_status_t status = orka_iencode_init_video_encoder(channel_);
    if (status != ORKA_STATUS_SUCCESS)
        calls_.teardown(channel_);
    check(status, "its initialisation");
    open_queue();
}

Encoder::~Encoder()
{
    if (started_)
        calls_.stop(channel_);
    orka_iencode_release_queue(queue_);
    calls_.teardown(channel_);
}

void Encoder::open_queue()
{
    queue_ = calls_.queue(channel_);
    if (queue_)
        return;
    calls_.teardown(channel_);
    throw Failure(std::string("the ") + name() + " encoder gave no queue");
}

const char *Encoder::name() const
{
    return calls_.name;
}

void Encoder::start()
{
    check(calls_.start(channel_), "to start");
    started_ = true;
}

void Encoder::stop()
{
    started_ = false;
    check(calls_.stop(channel_), "to stop");
}

bool Encoder::get_frame(orka_iencode_frame_t &frame, int32_t timeout)
{
    const orka_status_t status = calls_.get(&frame, queue_, timeout);
    if (status == ORKA_STATUS_TIMEOUT)
        return false;
    check(status, "an encoded frame");
    return true;
}

void Encoder::release()
{
    check(calls_.release(queue_), "a frame back");
}

/* Loading is the first to open the encoder's node. */
void Encoder::check_load(const std::string &image, orka_status_t status) const
{
    if (status == ORKA_STATUS_IO)
        throw Failure(std::string("the ") + name() + " encoder's node cannot be opened", status_no_board);
    check(status, ("the image " + image).c_str());
}

void Encoder::check(orka_status_t status, const char *what) const
{
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure(std::string("the ") + name() + " encoder refused " + what + ": " +
                      orka_status_string(status));
}

} // namespace orka::record
