/* The decoders' pictures on the screen, and the buffers that they lie in. */
#include <nlohmann/json.hpp>

#include "video_desk.h"

namespace orka::board::desk {
namespace {

class PlaneDesk : public VideoDesk {
  protected:
    PlaneDesk()
    {
        desk.attach([this](Machine &machine) {
            board = &machine;
            return make_video_decode_driver(
                machine, [this](const auto &, std::string &) { return std::make_unique<FakeVideo>(stage); });
        });
    }
    /* The value of the picture in the plane, or -1. */
    int seen()
    {
        int value = -1;
        desk.on_reactor([&] {
            if (const UyvyPicture picture = board->video.picture(); !picture.pixels.empty())
                value = picture.pixels.front();
        });
        return value;
    }
    std::string source()
    {
        std::string name;
        desk.on_reactor([&] { name = board->video.source(); });
        return name;
    }
    bool comes_to_show(int value)
    {
        return eventually([&] { return seen() == value; });
    }
    /* One picture in, and out into the program's hands. */
    orka_idecode_frame_t take_one(uint8_t value)
    {
        EXPECT_TRUE(feed(video, show, value));
        return video.get().frame;
    }

    Machine *board = nullptr;
};

TEST_F(PlaneDesk, IsEmptyBeforeTheFirstPicture)
{
    play(video);
    EXPECT_EQ(seen(), -1);
    EXPECT_EQ(source(), "");
}

TEST_F(PlaneDesk, HasThePictureShownLast)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 7, 40));
    ASSERT_TRUE(comes_to_show(7));
    UyvyPicture picture;
    desk.on_reactor([&] { picture = board->video.picture(); });
    EXPECT_EQ(picture.width, fake_width);
    EXPECT_EQ(picture.height, fake_height);
    EXPECT_EQ(picture.stride, fake_width * 2);
    EXPECT_EQ(picture.pixels.size(), size_t{fake_width} * 2 * fake_height);
    EXPECT_EQ(picture.tsms, 40u);
    ASSERT_TRUE(feed(video, show, 8));
    EXPECT_TRUE(comes_to_show(8));
}

TEST_F(PlaneDesk, LooksAtThePictureWhereItWasDecoded)
{
    play(video);
    const orka_idecode_frame_t frame = take_one(7);
    desk.bytes(frame.addr, 1)[0] = 99;
    EXPECT_EQ(seen(), 99);
}

TEST_F(PlaneDesk, ABufferOnTheScreenIsWrittenAgainWhenTheNextPictureIsThere)
{
    play(video);
    const orka_idecode_frame_t first = take_one(1);
    ASSERT_EQ(video.release(first), 0);
    const orka_idecode_frame_t second = take_one(2);
    EXPECT_NE(second.addr, first.addr);
    ASSERT_EQ(video.release(second), 0);
    EXPECT_EQ(take_one(3).addr, first.addr);
}

TEST_F(PlaneDesk, WithAllOtherBuffersInTheProgramsHandsThePictureIsCopiedForTheNextOne)
{
    play(video);
    std::vector<orka_idecode_frame_t> taken;
    for (uint8_t value = 1; value <= 8; value++)
        taken.push_back(take_one(value));
    ASSERT_TRUE(feed(video, show, 9));
    EXPECT_EQ(video.get(50).status, wire::driver_timeout);
    ASSERT_EQ(video.release(taken.back()), 0);
    EXPECT_EQ(video.get().frame.addr, taken.back().addr);
}

TEST_F(PlaneDesk, ThePictureStaysWhenItsBufferIsNeeded)
{
    play(video);
    std::vector<orka_idecode_frame_t> taken;
    for (uint8_t value = 1; value <= 8; value++)
        taken.push_back(take_one(value));
    stage.gate_open = false;
    ASSERT_TRUE(feed(video, late, 9));
    ASSERT_EQ(video.release(taken.back()), 0);
    ASSERT_TRUE(eventually([this] { return stage.at_gate.load(); })) << "the ninth has no room";
    desk.bytes(taken.back().addr, 1)[0] = 99;
    EXPECT_EQ(seen(), 8);
    open_gate();
    EXPECT_TRUE(comes_to_show(9));
}

TEST_F(PlaneDesk, PicturesThatNobodyTakesAreSeenAllTheSame)
{
    play(video);
    for (uint8_t value = 1; value <= 12; value++)
        ASSERT_TRUE(feed(video, show, value));
    EXPECT_TRUE(comes_to_show(12));
}

TEST_F(PlaneDesk, AFlushLeavesThePicture)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 7));
    ASSERT_TRUE(comes_to_show(7));
    ASSERT_EQ(video.flush(), 0);
    EXPECT_EQ(seen(), 7);
    EXPECT_TRUE(feed(video, show, 8));
    EXPECT_TRUE(comes_to_show(8));
}

TEST_F(PlaneDesk, AStopLeavesThePictureAndATearDownTakesIt)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 7));
    ASSERT_TRUE(comes_to_show(7));
    ASSERT_EQ(video.stop(), 0);
    EXPECT_EQ(seen(), 7);
    ASSERT_EQ(video.tear_down(), 0);
    EXPECT_EQ(seen(), -1);
}

TEST_F(PlaneDesk, APictureGoesWithItsProgram)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 7));
    ASSERT_TRUE(comes_to_show(7));
    desk.close(video.file);
    EXPECT_EQ(seen(), -1);
}

TEST_F(PlaneDesk, TheLowestDecoderThatIsStartedHasThePlane)
{
    Player second{desk, wire::node::vdecode, 1, 1};
    play(second);
    ASSERT_TRUE(feed(second, show, 20));
    ASSERT_TRUE(comes_to_show(20));
    play(video);
    EXPECT_EQ(source(), "vdecode 1/1") << "a decoder without a picture covers one that has";
    ASSERT_TRUE(feed(video, show, 10));
    ASSERT_TRUE(comes_to_show(10));
    EXPECT_EQ(source(), "vdecode 0/0");
    ASSERT_TRUE(feed(second, show, 21));
    ASSERT_EQ(second.get().status, wire::driver_done);
    ASSERT_EQ(second.get().status, wire::driver_done);
    EXPECT_EQ(seen(), 10);
    ASSERT_EQ(video.stop(), 0);
    EXPECT_EQ(seen(), 21);
    ASSERT_EQ(second.tear_down(), 0);
    EXPECT_EQ(seen(), -1);
}

TEST_F(PlaneDesk, WithNoneStartedTheOneThatShowedLastKeepsThePlane)
{
    Player second{desk, wire::node::vdecode, 2};
    play(second);
    play(video);
    ASSERT_TRUE(feed(video, show, 10));
    ASSERT_EQ(video.get().status, wire::driver_done);
    ASSERT_TRUE(feed(second, show, 20));
    ASSERT_EQ(second.get().status, wire::driver_done);
    ASSERT_EQ(video.stop(), 0);
    ASSERT_EQ(second.stop(), 0);
    EXPECT_EQ(source(), "vdecode 2/0");
}

TEST_F(PlaneDesk, ReportsEveryDecoderThatIsSetUp)
{
    EXPECT_EQ(desk.report<nlohmann::json>()["decoders"].size(), 0u);
    play(video);
    ASSERT_TRUE(feed(video, show, 1, 5));
    ASSERT_TRUE(feed(video, show, 2, 45));
    ASSERT_EQ(video.get().status, wire::driver_done);
    ASSERT_TRUE(comes_to_show(2));
    const nlohmann::json all = desk.report<nlohmann::json>()["decoders"];
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0]["node"], "vdecode");
    EXPECT_EQ(all[0]["channel"], 0);
    EXPECT_EQ(all[0]["stream"], 0);
    EXPECT_EQ(all[0]["state"], "playing");
    EXPECT_EQ(all[0]["image"], "mpeg4_pcm_dec");
    EXPECT_EQ(all[0]["codec"], 1);
    EXPECT_EQ(all[0]["process"], 1);
    EXPECT_EQ(all[0]["frames_in"], 2);
    EXPECT_EQ(all[0]["frames_out"], 1);
    EXPECT_EQ(all[0]["dropped"], 0);
    EXPECT_EQ(all[0]["tsms"], 45);
    EXPECT_EQ(all[0]["queue"]["in_limit"], 400);
    EXPECT_EQ(all[0]["queue"]["shown"], 1);
    EXPECT_EQ(all[0]["queue"]["taken"], 1);
}

TEST_F(PlaneDesk, ReportsWhatAFlushDropped)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 1));
    ASSERT_TRUE(comes_to_show(1));
    ASSERT_EQ(video.flush(), 0);
    EXPECT_EQ(desk.report<nlohmann::json>()["decoders"][0]["dropped"], 1);
}

} // namespace
} // namespace orka::board::desk
