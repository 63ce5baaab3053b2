/* The video encoders on the desk, with scripted codecs, and programs that use them. */
#ifndef ORKA_TESTS_BOARD_ENCODE_DESK_H
#define ORKA_TESTS_BOARD_ENCODE_DESK_H

#include <nlohmann/json.hpp>

#include "desk.h"
#include "fake_encoders.h"

namespace orka::board::desk {

inline orka_iencode_video_params_t encode_params(uint32_t codec = 1, uint32_t channel = 0)
{
    return {.codec = codec,
            .frame_rate = 30,
            .key_distance = 15,
            .width = 320,
            .height = 240,
            .bitrate = 3000,
            .bufsize = 0x10000,
            .bufcount = 120,
            .channel = channel};
}

constexpr wire::node nth(wire::node first, uint32_t channel)
{
    return static_cast<wire::node>(static_cast<uint32_t>(first) + channel);
}

/* A program with the files that one channel takes, one request a line. */
class Recorder {
  public:
    explicit Recorder(Desk &desk, uint32_t channel = 0, int32_t process = 1)
        : common(wire::node::iencode, process), stills(wire::node::imgencode, process),
          file(nth(wire::node::vencode0, channel), process),
          vectors(nth(wire::node::vmvencode0, channel), process), desk_(desk), channel_(channel)
    {
        for (TestFile *const opened : {&common, &stills, &file, &vectors})
            desk.open(*opened);
    }
    ~Recorder() { close(); }
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;

    void close()
    {
        if (std::exchange(closed_, true))
            return;
        for (TestFile *const closing : {&vectors, &file, &stills, &common})
            desk_.close(*closing);
    }

    int load(const std::string &name, int32_t channel, int32_t stream)
    {
        wire::encode_framework_record record{channel, stream, {}};
        name.copy(record.name, sizeof record.name);
        return answer(common, wire::IENCODE_LOAD_VIDEO, record).error;
    }
    int load(const std::string &name) { return load(name, static_cast<int32_t>(channel_), 0); }
    int load_for_stills(const std::string &name)
    {
        std::vector<uint8_t> bytes(name.begin(), name.end());
        bytes.push_back(0);
        return Player::answer_of(*desk_.begin(stills, wire::IENCODE_LOAD_IMAGE, bytes)).error;
    }
    int set_up(orka_iencode_video_params_t params)
    {
        return answer(common, wire::IENCODE_SETUP_VIDEO, params).error;
    }
    int set_up() { return set_up(encode_params(1, channel_)); }
    int order(uint32_t number) { return answer(file, number).error; }
    int init() { return order(wire::IENCODE_INIT_VIDEO); }
    int start() { return order(wire::IENCODE_START_VIDEO); }
    int stop() { return order(wire::IENCODE_STOP_VIDEO); }
    int tear_down() { return order(wire::IENCODE_TEARDOWN_VIDEO); }

    wire::video_encode_queue_record queue()
    {
        return answer(file, wire::IENCODE_VIDEO_QUEUE).as<wire::video_encode_queue_record>();
    }
    wire::video_encode_queue_record vector_queue()
    {
        return answer(vectors, wire::IENCODE_MV_QUEUE).as<wire::video_encode_queue_record>();
    }
    Answer get() { return answer(file, wire::IENCODE_GET_VIDEO_FRAME); }
    Answer get_vectors() { return answer(vectors, wire::IENCODE_GET_MV_FRAME); }
    int release() { return order(wire::IENCODE_RELEASE_VIDEO_FRAME); }
    int release_vectors() { return answer(vectors, wire::IENCODE_RELEASE_MV_FRAME).error; }

    /* As the library takes frames: it polls first. */
    orka_iencode_frame_t wait_frame()
    {
        EXPECT_TRUE(eventually([this] { return file.readable(); }));
        return get().as<orka_iencode_frame_t>();
    }
    orka_iencode_frame_t wait_vectors()
    {
        EXPECT_TRUE(eventually([this] { return vectors.readable(); }));
        return get_vectors().as<orka_iencode_frame_t>();
    }
    Stamp stamp_of(const orka_iencode_frame_t &frame)
    {
        Stamp stamp;
        std::memcpy(&stamp, desk_.bytes(frame.addr, sizeof stamp).data(), sizeof stamp);
        return stamp;
    }
    /* A frame that is given back at once. */
    orka_iencode_frame_t next_frame()
    {
        const orka_iencode_frame_t frame = wait_frame();
        if (frame.kind != ORKA_FRAME_TYPE_LAST) {
            EXPECT_EQ(release(), 0);
        }
        return frame;
    }
    /* Until LAST, which is not among them. */
    std::vector<orka_iencode_frame_t> take_all()
    {
        std::vector<orka_iencode_frame_t> frames;
        for (;;) {
            const orka_iencode_frame_t frame = next_frame();
            if (frame.kind != ORKA_FRAME_TYPE_VIDEO)
                return frames;
            frames.push_back(frame);
        }
    }

    Answer answer(TestFile &on, uint32_t number)
    {
        return Player::answer_of(*desk_.begin(on, number, std::vector<uint8_t>{}));
    }
    template <typename Record>
    Answer answer(TestFile &on, uint32_t number, const Record &record)
    {
        return Player::answer_of(*desk_.begin(on, number, record));
    }

    TestFile common;
    TestFile stills;
    TestFile file;
    TestFile vectors;

  private:
    Desk &desk_;
    const uint32_t channel_;
    bool closed_ = false;
};

class EncodeDesk : public ::testing::Test {
  protected:
    explicit EncodeDesk(bool real_time = false) : desk(real_time)
    {
        desk.attach([this](Machine &machine) {
            machine.camera = &camera;
            return make_video_encode_driver(
                machine, [this](const auto &params, std::string &why) -> std::unique_ptr<VideoEncoder> {
                    why = "not today";
                    return stage.refuses ? nullptr : std::make_unique<FakeEncoder>(stage, params);
                });
        });
    }
    ~EncodeDesk() override { stage.open_gate(); }

    static void set_up(Recorder &recorder, const orka_iencode_video_params_t &params = encode_params(),
                       const std::string &image = "mpeg4_pcm_enc")
    {
        ASSERT_EQ(recorder.load(image), 0);
        ASSERT_EQ(recorder.set_up(params), 0);
        ASSERT_EQ(recorder.init(), 0);
    }
    static void record(Recorder &recorder, const orka_iencode_video_params_t &params = encode_params(),
                       const std::string &image = "mpeg4_pcm_enc")
    {
        set_up(recorder, params, image);
        ASSERT_EQ(recorder.start(), 0);
    }
    /* What the board tells of a channel. */
    nlohmann::json told(uint32_t channel = 0) { return desk.report<nlohmann::json>()["encoders"][channel]; }
    bool holds(uint32_t frames)
    {
        return eventually([&] { return told()["queue"]["waiting"] == frames; });
    }

    EncoderStage stage;
    FakeCamera camera;
    Desk desk;
};

} // namespace orka::board::desk

#endif
