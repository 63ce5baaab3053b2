/*
 * /dev/aencode: the encoder of sound, one channel. What it encodes is the microphone's, or from the first new
 * frame of a stream on the program's own.
 */
#include "drivers/encode_driver.h"

#include <cerrno>
#include <cstring>
#include <set>

#include <nlohmann/json.hpp>

#include "drivers/coded_frame_answer.h"
#include "drivers/encoder.h"
#include "drivers/sound_stream.h"
#include "drivers/waiting.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr EncoderKind audio_kind{
    .node = "aencode",
    .wants_init = false,
    .encodes = &CodecImage::encodes_audio,
    .width = "sample_rate",
    .height = "channels",
};

constexpr uint32_t audio_queue = 3;

nlohmann::json report_of(const Loudspeaker::Heard &heard)
{
    return {{"samples", heard.samples}, {"level", heard.level}};
}

class AudioEncodeDriver final : public Driver {
  public:
    AudioEncodeDriver(Machine &machine, AudioEncoders codecs)
        : machine_(machine), codecs_(std::move(codecs)),
          encoder_(machine, audio_kind, 0, [this] { frames_changed(); }),
          fillers_(machine.reactor, answer_without_coded_frame),
          takers_(machine.reactor, answer_without_coded_frame)
    {
    }

    void opened(File &file) override;
    void closed(File &file) override;
    void control(std::shared_ptr<Call> call) override;
    bool hang(const Call &call) override { return encoder_.hang(call.file()); }
    void report(nlohmann::json &status) const override;

  private:
    /* What a setup makes. */
    struct Setting {
        orka_iencode_frame_t form{}; /* of the frames that the program fills */
        std::shared_ptr<SoundControls> controls;
        std::set<uint32_t> handed_out;
        uint32_t handed_number = 0;
        uint32_t lasts_to_come = 0;
    };

    void load(Call &call);
    void set_gain(Call &call);
    void set_up(Call &call);
    std::unique_ptr<EncodeStream> make_stream(const orka_iencode_audio_params_t &params, std::string &why);
    std::shared_ptr<SoundControls> make_controls(size_t unit);
    void control_channel(std::shared_ptr<Call> call);
    void start(Call &call);
    void stop(Call &call);
    void control_session(std::shared_ptr<Call> call, EncodeSession &session);
    void switch_over(Call &call, std::atomic<bool> SoundControls::*what, bool on);
    void control_frames(std::shared_ptr<Call> call, EncodeSession &session);

    bool deliver(Call &call, EncodeSession &session);
    void get(std::shared_ptr<Call> call, EncodeSession &session);
    void release(Call &call, EncodeSession &session);
    std::optional<uint32_t> lend(FrameQueue &frames) const;
    void hand_out(Call &call, uint32_t address);
    void new_frame(std::shared_ptr<Call> call, EncodeSession &session);
    void commit(Call &call, EncodeSession &session);
    bool is_good(const orka_iencode_frame_t &frame) const;

    void serve_fillers();
    void serve_takers(EncodeSession &session);
    void frames_changed();
    void tell_readable() const;

    Machine &machine_;
    const AudioEncoders codecs_;
    const std::shared_ptr<Gain> gain_ = std::make_shared<Gain>();
    const std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
    Encoder encoder_;
    std::set<File *> files_; /* open */
    Setting setting_;
    Waiting fillers_;
    Waiting takers_;
};

/* Files. */

void AudioEncodeDriver::opened(File &file)
{
    files_.insert(&file);
    tell_readable();
}

void AudioEncodeDriver::closed(File &file)
{
    files_.erase(&file);
    encoder_.closed(file);
}

void AudioEncodeDriver::tell_readable() const
{
    const EncodeSession *const session = encoder_.session();
    for (File *const file : files_)
        file->set_readable(session && encoder_.belongs_to(*file) && session->frames().readable());
}

/* Image and setup. */

void AudioEncodeDriver::load(Call &call)
{
    const auto *const name = reinterpret_cast<const char *>(call.in().data());
    encoder_.load(call, {name, strnlen(name, call.in().size())});
}

void AudioEncodeDriver::set_up(Call &call)
{
    const auto record = call.record<wire::audio_encode_setup_record>();
    if (record.channel != 0)
        return call.fail(EINVAL);
    const orka_iencode_audio_params_t &params = record.params;
    encoder_.set_up(
        call,
        {.codec = params.codec,
         .bufsize = params.bufsize,
         .bufcount = params.bufcount,
         .form = {.kind = ORKA_FRAME_TYPE_AUDIO, .width = params.sample_rate, .height = params.channels},
         .make_stream = [&](std::string &why) { return make_stream(params, why); }});
}

std::unique_ptr<EncodeStream> AudioEncodeDriver::make_stream(const orka_iencode_audio_params_t &params,
                                                             std::string &why)
{
    if (!machine_.microphone) {
        why = "there is no microphone";
        return nullptr;
    }
    SoundStream::MakeCodec make = [codecs = codecs_, params](std::string &text) {
        return codecs(params, text);
    };
    std::unique_ptr<AudioEncoder> codec = make(why);
    if (!codec)
        return nullptr;
    const uint32_t stride = params.channels * static_cast<uint32_t>(sizeof(int16_t));
    const uint32_t unit = codec->frame_samples();
    setting_ = {.form = {.kind = ORKA_FRAME_TYPE_AUDIO,
                         .width = params.sample_rate,
                         .height = params.channels,
                         .stride = stride,
                         .capacity = unit * stride},
                .controls = make_controls(size_t{unit} * params.channels)};
    return std::make_unique<SoundStream>(std::move(make), std::move(codec), params,
                                         machine_.microphone->open(), machine_.loudspeaker,
                                         setting_.controls);
}

std::shared_ptr<SoundControls> AudioEncodeDriver::make_controls(size_t unit)
{
    const auto taken = [this, alive = std::weak_ptr(alive_)] {
        machine_.reactor.post([this, alive] {
            if (alive.lock())
                serve_fillers();
        });
    };
    return std::make_shared<SoundControls>(gain_, unit, taken);
}

/* It is the node's, and anybody's. */
void AudioEncodeDriver::set_gain(Call &call)
{
    const auto gain = call.record<orka_iencode_gain_t>();
    gain_->set({.first_mantissa = gain.first_mantissa,
                .second_mantissa = gain.second_mantissa,
                .first_shift = gain.first_shift,
                .second_shift = gain.second_shift});
    call.reply();
}

/* Requests. */

void AudioEncodeDriver::control(std::shared_ptr<Call> call)
{
    switch (call->row().number) {
    case wire::IENCODE_LOAD_AUDIO:
        return load(*call);
    case wire::IENCODE_SET_GAIN:
        return set_gain(*call);
    case wire::IENCODE_START_AEC: /* its record says nothing of a channel */
    case wire::IENCODE_STOP_AEC:
        if (encoder_.admit(*call))
            switch_over(*call, &SoundControls::cancels_echo, call->row().number == wire::IENCODE_START_AEC);
        return;
    default:
        if (call->record<wire::audio_encoder_record>().channel != 0)
            return call->fail(EINVAL);
        control_channel(std::move(call));
    }
}

void AudioEncodeDriver::control_channel(std::shared_ptr<Call> call)
{
    switch (call->row().number) {
    case wire::IENCODE_SETUP_AUDIO:
        return set_up(*call);
    case wire::IENCODE_START_AUDIO:
        return start(*call);
    case wire::IENCODE_STOP_AUDIO:
        return stop(*call);
    case wire::IENCODE_TEARDOWN_AUDIO:
        return encoder_.tear_down(*call);
    default:
        if (EncodeSession *const session = encoder_.admit(*call))
            control_session(std::move(call), *session);
    }
}

void AudioEncodeDriver::start(Call &call)
{
    const EncodeSession *const session = encoder_.session();
    const bool was_encoding = session && session->state() == EncodeState::encoding;
    encoder_.order(call, EncodeOrder::start);
    if (session && !was_encoding && session->state() == EncodeState::encoding)
        setting_.lasts_to_come++;
}

/* The program's sound ends before the worker can end the stream that it belongs to. */
void AudioEncodeDriver::stop(Call &call)
{
    EncodeSession *const session = encoder_.session();
    const bool ends =
        session && encoder_.belongs_to(call.file()) && session->state() == EncodeState::encoding;
    if (ends)
        setting_.controls->program.stop();
    encoder_.order(call, EncodeOrder::stop);
    if (ends)
        fillers_.answer_all(wire::driver_failure);
}

void AudioEncodeDriver::control_session(std::shared_ptr<Call> call, EncodeSession &session)
{
    switch (call->row().number) {
    case wire::IENCODE_PASSTHRU_ENABLE:
    case wire::IENCODE_PASSTHRU_DISABLE:
        return switch_over(*call, &SoundControls::passes_through,
                           call->row().number == wire::IENCODE_PASSTHRU_ENABLE);
    default:
        if (call->record<wire::audio_encode_queue_record>().queueid != audio_queue)
            return call->fail(EINVAL);
        control_frames(std::move(call), session);
    }
}

void AudioEncodeDriver::switch_over(Call &call, std::atomic<bool> SoundControls::*what, bool on)
{
    if (((*setting_.controls).*what).exchange(on) == on)
        return call.fail(EINVAL);
    call.reply();
}

void AudioEncodeDriver::control_frames(std::shared_ptr<Call> call, EncodeSession &session)
{
    switch (call->row().number) {
    case wire::IENCODE_AUDIO_QUEUE: {
        auto record = call->record<wire::audio_encode_queue_record>();
        record.length = session.frames().length();
        record.pbase = session.frames().base();
        return call->reply_record(record);
    }
    case wire::IENCODE_GET_FRAME:
        return get(std::move(call), session);
    case wire::IENCODE_RELEASE_FRAME:
        return release(*call, session);
    case wire::IENCODE_NEW_FRAME:
        return new_frame(std::move(call), session);
    default:
        return commit(*call, session);
    }
}

/* Coded sound, on its way out. */

bool AudioEncodeDriver::deliver(Call &call, EncodeSession &session)
{
    const std::optional<orka_iencode_frame_t> frame = session.frames().take();
    if (!frame)
        return false;
    session.taken(*frame);
    if (frame->kind == ORKA_FRAME_TYPE_LAST)
        setting_.lasts_to_come--;
    answer_coded_frame(call, wire::driver_done, *frame);
    return true;
}

/* What was encoded before a stop can be taken after it, up to its LAST; then nothing more comes. */
void AudioEncodeDriver::get(std::shared_ptr<Call> call, EncodeSession &session)
{
    const int32_t timeout = coded_frame_timeout(*call);
    if (timeout < -1)
        return call->fail(EINVAL);
    if (takers_.empty() && deliver(*call, session))
        return frames_changed();
    takers_.add(std::move(call), timeout);
    serve_takers(session);
}

void AudioEncodeDriver::serve_takers(EncodeSession &session)
{
    while (!takers_.empty() && session.frames().readable())
        deliver(*takers_.take(), session);
    if (session.state() == EncodeState::stopped && setting_.lasts_to_come == 0)
        takers_.answer_all(wire::driver_failure);
}

void AudioEncodeDriver::release(Call &call, EncodeSession &session)
{
    const auto frame = call.record<wire::encode_frame_return_record>().frame;
    const bool is_last = frame.kind == ORKA_FRAME_TYPE_LAST && frame.addr == session.frames().base();
    if (!session.frames().release(frame.addr) && !is_last)
        return call.fail(EINVAL);
    session.room_came();
    call.reply();
    serve_fillers();
}

/* The program's sound, on its way in. */

std::optional<uint32_t> AudioEncodeDriver::lend(FrameQueue &frames) const
{
    if (!setting_.controls->program.has_room(setting_.handed_out.size()))
        return std::nullopt;
    return frames.lend(setting_.form.capacity);
}

void AudioEncodeDriver::hand_out(Call &call, uint32_t address)
{
    setting_.handed_out.insert(address);
    orka_iencode_frame_t frame = setting_.form;
    frame.number = setting_.handed_number++;
    frame.addr = address;
    answer_coded_frame(call, wire::driver_done, frame);
}

void AudioEncodeDriver::new_frame(std::shared_ptr<Call> call, EncodeSession &session)
{
    const int32_t timeout = coded_frame_timeout(*call);
    if (timeout < -1)
        return call->fail(EINVAL);
    setting_.controls->program.claim();
    session.room_came();
    const std::optional<uint32_t> address = fillers_.empty() ? lend(session.frames()) : std::nullopt;
    if (address)
        return hand_out(*call, *address);
    if (session.state() == EncodeState::stopped)
        return answer_without_coded_frame(*call, wire::driver_failure);
    fillers_.add(std::move(call), timeout);
}

bool AudioEncodeDriver::is_good(const orka_iencode_frame_t &frame) const
{
    return frame.kind == ORKA_FRAME_TYPE_AUDIO && setting_.handed_out.contains(frame.addr) &&
           frame.size <= setting_.form.capacity && frame.size % setting_.form.stride == 0;
}

void AudioEncodeDriver::commit(Call &call, EncodeSession &session)
{
    const auto frame = call.record<wire::encode_frame_return_record>().frame;
    if (!is_good(frame))
        return call.fail(EINVAL);
    /* Buffers begin aligned, so their bytes can be samples in place. */
    const std::span<const uint8_t> bytes = machine_.memory.at(frame.addr, frame.size);
    setting_.controls->program.give(
        {reinterpret_cast<const int16_t *>(bytes.data()), bytes.size() / sizeof(int16_t)});
    setting_.handed_out.erase(frame.addr);
    session.frames().take_back(frame.addr);
    session.room_came();
    call.reply();
    serve_fillers();
}

void AudioEncodeDriver::serve_fillers()
{
    EncodeSession *const session = encoder_.session();
    while (session && !fillers_.empty()) {
        const std::optional<uint32_t> address = lend(session->frames());
        if (!address)
            return;
        hand_out(*fillers_.take(), *address);
    }
}

/* Frames came, went, or ended with the session. */
void AudioEncodeDriver::frames_changed()
{
    if (EncodeSession *const session = encoder_.session()) {
        serve_takers(*session);
    } else {
        fillers_.answer_all(wire::driver_failure);
        takers_.answer_all(wire::driver_failure);
        setting_ = {};
    }
    tell_readable();
}

void AudioEncodeDriver::report(nlohmann::json &status) const
{
    encoder_.report(status);
    nlohmann::json &encoder = status["encoders"].back();
    if (const SoundControls *const controls = setting_.controls.get()) {
        encoder["source"] = controls->program.is_claimed() ? "program" : "microphone";
        encoder["echo_cancelled"] = controls->cancels_echo.load();
        encoder["passed_through"] = controls->passes_through.load();
    }
    status["audio_output"] = {{"decoded", report_of(machine_.loudspeaker.played())},
                              {"passed_through", report_of(machine_.loudspeaker.passed())}};
}

} // namespace

std::unique_ptr<Driver> make_audio_encode_driver(Machine &machine, AudioEncoders codecs)
{
    return std::make_unique<AudioEncodeDriver>(machine, std::move(codecs));
}

std::unique_ptr<Driver> make_audio_encode_driver(Machine &machine)
{
    return make_audio_encode_driver(machine, AudioEncoder::create);
}

} // namespace orka::board
