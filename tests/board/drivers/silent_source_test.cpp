/* A camera and a microphone that give nothing any more: whoever captures can end, and the board goes on. */
#include "capturer.h"
#include "encode_desk.h"
#include "sound_desk.h"
#include "whole_desk.h"

namespace orka::board::desk {
namespace {

/* What waits for a source until it is cancelled, and fails where that does not come. */
class Silence {
  public:
    void wait()
    {
        std::unique_lock lock(mutex_);
        reached_ = true;
        EXPECT_TRUE(changed_.wait_for(lock, eternity, [this] { return cancelled_; })) << "never cancelled";
    }
    void cancel()
    {
        const std::lock_guard lock(mutex_);
        cancelled_ = true;
        changed_.notify_all();
    }
    bool reached()
    {
        const std::lock_guard lock(mutex_);
        return reached_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool reached_ = false;
    bool cancelled_ = false;
};

struct SilentPictures final : CameraView {
    explicit SilentPictures(Silence &of) : silence(of) {}
    void picture(const Standard &, uint64_t, std::span<uint8_t>) override { silence.wait(); }
    void cancel() override { silence.cancel(); }
    Silence &silence;
};

struct SilentSound final : MicrophoneView {
    explicit SilentSound(Silence &of) : silence(of) {}
    void sound(uint32_t, uint32_t, uint64_t, std::span<int16_t>) override { silence.wait(); }
    void cancel() override { silence.cancel(); }
    Silence &silence;
};

template <typename Source, typename View, typename Interface>
struct Silent final : Source {
    explicit Silent(Silence &of) : silence(of) {}
    std::unique_ptr<Interface> open() override { return std::make_unique<View>(silence); }
    Silence &silence;
};

class SilentSource : public WholeDesk {
  protected:
    SilentSource()
    {
        desk.on_reactor([this] {
            board->camera = &silent_camera;
            board->microphone = &silent_microphone;
        });
    }
    bool is_waited_for()
    {
        return eventually([this] { return silence.reached(); });
    }

    Silence silence;
    Silent<Camera, SilentPictures, CameraView> silent_camera{silence};
    Silent<Microphone, SilentSound, MicrophoneView> silent_microphone{silence};
};

TEST_F(SilentSource, LetsAProgramThatCapturesClose)
{
    Capturer capturer(desk);
    ASSERT_EQ(capturer.set_up(capture_mode(480)), 0);
    ASSERT_EQ(capturer.enable(1), 0);
    ASSERT_TRUE(is_waited_for());
    capturer.close();
    EXPECT_EQ(desk.queues(), 0U);
}

TEST_F(SilentSource, LetsAVideoEncoderBeTornDown)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    ASSERT_EQ(recorder.set_up(), 0);
    ASSERT_EQ(recorder.init(), 0);
    ASSERT_EQ(recorder.start(), 0);
    ASSERT_TRUE(is_waited_for());
    EXPECT_EQ(recorder.tear_down(), 0);
    EXPECT_EQ(desk.queues(), 0U);
}

TEST_F(SilentSource, LetsAnAudioEncoderBeTornDown)
{
    SoundRecorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    ASSERT_EQ(recorder.set_up(sound_params()), 0);
    ASSERT_EQ(recorder.start(), 0);
    ASSERT_TRUE(is_waited_for());
    EXPECT_EQ(recorder.tear_down(), 0);
    EXPECT_EQ(desk.queues(), 0U);
}

TEST_F(SilentSource, LetsAnEncoderOfStillsBeTornDown)
{
    OpenNode stills(desk, wire::node::imgencode, 1);
    ASSERT_EQ(stills.load(wire::IENCODE_LOAD_IMAGE, "image_enc"), 0);
    ASSERT_EQ(stills.error_of(wire::IENCODE_SETUP_IMAGE, wire::image_encode_setup_record{.type = 4}), 0);
    ASSERT_EQ(stills.error_of(wire::IENCODE_GET_IMAGE, wire::encode_frame_request_record{.queueid = 8}), 0);
    ASSERT_TRUE(is_waited_for());
    EXPECT_EQ(stills.error_of(wire::IENCODE_TEARDOWN_IMAGE, wire::audio_encoder_record{}), 0);
    EXPECT_EQ(desk.queues(), 0U);
}

} // namespace
} // namespace orka::board::desk
