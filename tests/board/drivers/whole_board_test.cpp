/* What several drivers do together: the same picture and the same sound, from one end to the other. */
#include "whole_desk.h"

#include "capturer.h"
#include "encode_desk.h"

namespace orka::board::desk {
namespace {

/* ---- Pass-through of the encoder's picture ---- */

class PassedThrough : public WholeDesk {
  protected:
    PassedThrough()
    {
        EXPECT_EQ(capturer.set_up(capture_mode(480)), 0);
        EXPECT_EQ(capturer.start_channel(2), 0);
        EXPECT_EQ(capturer.pass_through(1), 0);
        EXPECT_EQ(capturer.enable(1), 0);
    }
    void set_up_encoder()
    {
        orka_iencode_video_params_t params = encode_params(1, 2);
        params.width = 360;
        params.height = 240;
        ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
        ASSERT_EQ(recorder.set_up(params), 0);
    }
    /* What is shown moves with the frames that are got. */
    template <typename Condition>
    bool comes(Condition condition)
    {
        return eventually([&] { return capturer.next_number() < 0 || condition(); });
    }
    bool shows_encoder()
    {
        return comes([this] { return size_on_screen().width == 360 && size_on_screen().height == 240; });
    }
    bool shows_nothing()
    {
        return comes([this] { return size_on_screen().width == 0; });
    }

    Recorder recorder{desk, 2};
    Capturer capturer{desk};
};

TEST_F(PassedThrough, TheEncodersPictureIsShownInItsSizeFromItsSetupToItsTearDown)
{
    capturer.next_number();
    EXPECT_EQ(size_on_screen().width, 0U);
    set_up_encoder();
    EXPECT_TRUE(shows_encoder());
    EXPECT_GT(counter_on_screen(), 0);
    EXPECT_EQ(recorder.tear_down(), 0);
    EXPECT_TRUE(shows_nothing());
}

TEST_F(PassedThrough, TheEncodersPictureGoesWithTheFileThatSetItUp)
{
    set_up_encoder();
    EXPECT_TRUE(shows_encoder());
    recorder.close();
    EXPECT_TRUE(shows_nothing());
}

TEST_F(PassedThrough, TheEncodersPictureIsThatOfTheStartChannel)
{
    set_up_encoder();
    EXPECT_TRUE(shows_encoder());
    EXPECT_EQ(capturer.start_channel(1), 0);
    EXPECT_TRUE(shows_nothing());
    EXPECT_EQ(capturer.start_channel(2), 0);
    EXPECT_TRUE(shows_encoder());
}

TEST_F(PassedThrough, ASetupThatFailsShowsNothing)
{
    EXPECT_NE(recorder.set_up(encode_params(1, 2)), 0) << "no image was loaded";
    capturer.next_number();
    EXPECT_EQ(size_on_screen().width, 0U);
}

} // namespace
} // namespace orka::board::desk
