/* The audio encoder on the desk, with a scripted codec and a microphone whose samples tell their time. */
#ifndef ORKA_TESTS_BOARD_SOUND_DESK_H
#define ORKA_TESTS_BOARD_SOUND_DESK_H

#include <nlohmann/json.hpp>

#include "drivers/encode_driver.h"
#include "open_node.h"

namespace orka::board::desk {

/* Samples of each channel that the scripted codec takes at once. */
constexpr uint32_t unit = 80;

/* Sample n is n modulo 10000, on the second channel its negative. */
inline int16_t heard_at(uint64_t sample, uint32_t channel)
{
    const auto value = static_cast<int16_t>(sample % 10000);
    return channel == 0 ? value : static_cast<int16_t>(-value);
}

class FakeMicrophone final : public Microphone {
  public:
    std::unique_ptr<MicrophoneView> open() override { return std::make_unique<View>(silent); }
    std::atomic<bool> silent = false;

  private:
    class View final : public MicrophoneView {
      public:
        explicit View(const std::atomic<bool> &silent) : silent_(silent) {}
        void sound(uint32_t, uint32_t channels, uint64_t first, std::span<int16_t> samples) override
        {
            for (size_t i = 0; i < samples.size(); i++)
                samples[i] = silent_ ? int16_t{0}
                                     : heard_at(first + i / channels, static_cast<uint32_t>(i % channels));
        }

      private:
        const std::atomic<bool> &silent_;
    };
};

struct SoundStage {
    std::atomic<bool> refuses = false;
    std::atomic<bool> fails = false;
    std::atomic<bool> with_header = false;
    std::atomic<int> alive = 0;
};

/* Its packets are the samples. */
class FakeSoundEncoder final : public AudioEncoder {
  public:
    FakeSoundEncoder(SoundStage &stage, uint32_t sample_rate, uint32_t channels)
        : stage_(stage), sample_rate_(sample_rate), channels_(channels)
    {
        stage_.alive++;
    }
    ~FakeSoundEncoder() override { stage_.alive--; }

    bool encode(std::span<const int16_t> samples, uint32_t tsms, const CodedSink &sink) override
    {
        if (stage_.fails)
            return false;
        if (stage_.with_header && !std::exchange(header_sent_, true))
            sink({.data = header_, .tsms = tsms, .header = true});
        sink({.data = {reinterpret_cast<const uint8_t *>(samples.data()), samples.size_bytes()},
              .tsms = tsms,
              .duration = static_cast<uint32_t>(samples.size() / channels_ * 1000 / sample_rate_),
              .key = true});
        return true;
    }
    bool drain(const CodedSink &) override { return true; }
    uint32_t frame_samples() const override { return unit; }
    const std::string &error() const override { return error_; }

  private:
    SoundStage &stage_;
    const uint32_t sample_rate_;
    const uint32_t channels_;
    const std::vector<uint8_t> header_{'h', 'd', 'r'};
    bool header_sent_ = false;
    std::string error_ = "as scripted";
};

inline orka_iencode_audio_params_t sound_params(uint32_t channels = 1)
{
    return {.codec = 6,
            .channels = channels,
            .sample_rate = 8000,
            .bitrate = 128,
            .bitrate_bps = 128000,
            .bufsize = 0x10000,
            .bufcount = 20};
}

/* A program with a file of the audio encoder, one request a line. */
class SoundRecorder : public OpenNode {
  public:
    explicit SoundRecorder(Desk &desk, int32_t process = 1) : OpenNode(desk, wire::node::aencode, process) {}

    int load(const std::string &name) { return OpenNode::load(wire::IENCODE_LOAD_AUDIO, name); }
    int set_up(const orka_iencode_audio_params_t &params, uint32_t channel = 0)
    {
        return error_of(wire::IENCODE_SETUP_AUDIO, wire::audio_encode_setup_record{channel, 0, params});
    }
    int order(uint32_t number, uint32_t channel = 0)
    {
        return error_of(number, wire::audio_encoder_record{channel, 0});
    }
    int start() { return order(wire::IENCODE_START_AUDIO); }
    int stop() { return order(wire::IENCODE_STOP_AUDIO); }
    int tear_down() { return order(wire::IENCODE_TEARDOWN_AUDIO); }
    int start_aec() { return error_of(wire::IENCODE_START_AEC, wire::aec_record{}); }
    int stop_aec() { return error_of(wire::IENCODE_STOP_AEC, std::vector<uint8_t>{}); }
    int set_gain(const orka_iencode_gain_t &gain) { return error_of(wire::IENCODE_SET_GAIN, gain); }

    Answer queue(uint32_t queueid = 3)
    {
        wire::audio_encode_queue_record record{};
        record.queueid = queueid;
        return Player::answer_of(*desk_.begin(file, wire::IENCODE_AUDIO_QUEUE, record));
    }
    std::shared_ptr<TestCall> begin(uint32_t number, int32_t timeout, bool nonblocking = false,
                                    uint32_t queueid = 3)
    {
        const wire::encode_frame_request_record record{0, 0, queueid, static_cast<uint32_t>(timeout), 77, {}};
        return desk_.begin(file, number, record, nonblocking);
    }
    std::shared_ptr<TestCall> begin_get(int32_t timeout) { return begin(wire::IENCODE_GET_FRAME, timeout); }
    std::shared_ptr<TestCall> begin_new(int32_t timeout) { return begin(wire::IENCODE_NEW_FRAME, timeout); }
    static wire::encode_frame_request_record frame_of(TestCall &call)
    {
        return Player::answer_of(call).as<wire::encode_frame_request_record>();
    }
    wire::encode_frame_request_record get(int32_t timeout = 10'000) { return frame_of(*begin_get(timeout)); }
    wire::encode_frame_request_record new_frame(int32_t timeout = 10'000)
    {
        return frame_of(*begin_new(timeout));
    }
    int release(const orka_iencode_frame_t &frame) { return give(wire::IENCODE_RELEASE_FRAME, frame); }
    int commit(const orka_iencode_frame_t &frame) { return give(wire::IENCODE_COMMIT_FRAME, frame); }

    std::vector<int16_t> samples_of(const orka_iencode_frame_t &frame)
    {
        std::vector<int16_t> samples(frame.size / sizeof(int16_t));
        std::memcpy(samples.data(), desk_.bytes(frame.addr, frame.size).data(), frame.size);
        return samples;
    }
    /* The samples of the next packet, which is given back at once. */
    std::vector<int16_t> next()
    {
        const orka_iencode_frame_t frame = get().frame;
        const std::vector<int16_t> samples = samples_of(frame);
        EXPECT_EQ(release(frame), 0);
        return samples;
    }
    /* Up to LAST. */
    std::vector<int16_t> rest()
    {
        std::vector<int16_t> all;
        for (;;) {
            const wire::encode_frame_request_record answer = get();
            if (answer.status != wire::driver_done || answer.frame.kind != ORKA_FRAME_TYPE_AUDIO)
                return all;
            const std::vector<int16_t> samples = samples_of(answer.frame);
            all.insert(all.end(), samples.begin(), samples.end());
            release(answer.frame);
        }
    }
    /* A frame of the program's own. */
    int feed(std::span<const int16_t> samples)
    {
        orka_iencode_frame_t frame = new_frame().frame;
        std::memcpy(desk_.bytes(frame.addr, frame.capacity).data(), samples.data(), samples.size_bytes());
        frame.size = static_cast<uint32_t>(samples.size_bytes());
        return commit(frame);
    }

  private:
    int give(uint32_t number, const orka_iencode_frame_t &frame)
    {
        return error_of(number, wire::encode_frame_return_record{0, 0, 3, frame});
    }
};

class SoundDesk : public ::testing::Test {
  protected:
    explicit SoundDesk(bool real_time = false) : desk(real_time)
    {
        desk.attach([this](Machine &board) {
            machine = &board;
            board.microphone = &microphone;
            return make_audio_encode_driver(
                board, [this](const auto &params, std::string &why) -> std::unique_ptr<AudioEncoder> {
                    why = "not today";
                    if (stage.refuses)
                        return nullptr;
                    return std::make_unique<FakeSoundEncoder>(stage, params.sample_rate, params.channels);
                });
        });
    }

    static void set_up(SoundRecorder &recorder, const orka_iencode_audio_params_t &params = sound_params())
    {
        ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
        ASSERT_EQ(recorder.set_up(params), 0);
    }
    static void record(SoundRecorder &recorder, const orka_iencode_audio_params_t &params = sound_params())
    {
        set_up(recorder, params);
        ASSERT_EQ(recorder.start(), 0);
    }
    nlohmann::json status() { return desk.report<nlohmann::json>(); }
    nlohmann::json told() { return status()["encoders"][0]; }

    SoundStage stage;
    FakeMicrophone microphone;
    Machine *machine = nullptr;
    Desk desk;
};

} // namespace orka::board::desk

#endif
