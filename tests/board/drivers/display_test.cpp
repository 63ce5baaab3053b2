/* The display's requests: what each does, and what it refuses. */
#include "display_desk.h"

namespace orka::board::desk {
namespace {

bool operator==(const Answer &answer, const orka_display_params_t &params)
{
    return answer.out.size() == sizeof params && std::memcmp(answer.out.data(), &params, sizeof params) == 0;
}

/* The output. */

TEST_F(DisplayDesk, BeforeAnySetupTheOutputIsInternal480i)
{
    const orka_display_params_t params = output();
    EXPECT_STREQ(params.device, "INTERNAL");
    EXPECT_STREQ(params.mode, "480i");
    EXPECT_EQ(params.width, 720);
    EXPECT_EQ(params.height, 480);
    EXPECT_EQ(params.interlaced, 1u);
    EXPECT_EQ(params.resize, -1);
    EXPECT_EQ(params.pe_width, 640u);
    EXPECT_EQ(params.pe_height, 480u);
}

class DisplayMode : public DisplayDesk,
                    public ::testing::WithParamInterface<std::pair<const char *, orka_display_params_t>> {};

TEST_P(DisplayMode, IsGivenBackAsItWasSetUp)
{
    orka_display_params_t params = GetParam().second;
    params.words[4] = 77;
    params.reserved112 = 78;
    params.src_width = 79;
    EXPECT_EQ(set_up(params), 0);
    EXPECT_TRUE(ask(program, wire::IDISPLAY_GET_OUTPUT) == params);
}

TEST_P(DisplayMode, IsGivenBackAsTheOutputWasSet)
{
    EXPECT_EQ(error(wire::IDISPLAY_SET_OUTPUT, GetParam().second), 0);
    EXPECT_TRUE(ask(program, wire::IDISPLAY_GET_OUTPUT) == GetParam().second);
}

TEST_P(DisplayMode, IsTheSizeOfTheScreen)
{
    EXPECT_EQ(error(wire::IDISPLAY_SET_OUTPUT, GetParam().second), 0);
    EXPECT_EQ(screen().width, GetParam().second.width);
    EXPECT_EQ(screen().height, GetParam().second.height);
}

INSTANTIATE_TEST_SUITE_P(Each, DisplayMode,
                         ::testing::Values(std::pair{"Ntsc", ntsc_tv()}, std::pair{"Pal", pal_tv()},
                                           std::pair{"Vga", vga()}, std::pair{"Qvga", qvga()}),
                         [](const auto &test) { return test.param.first; });

struct BadOutput {
    const char *name;
    void (*spoil)(orka_display_params_t &params);
    const char *why;
};

class DisplayRecord : public DisplayDesk, public ::testing::WithParamInterface<BadOutput> {};

TEST_P(DisplayRecord, IsRefusedBySetup)
{
    orka_display_params_t params = ntsc_tv();
    GetParam().spoil(params);
    EXPECT_EQ(set_up(params), EINVAL);
    EXPECT_EQ(desk.queues(), 0u);
}

TEST_P(DisplayRecord, IsRefusedBySetOutputAndTheOutputStays)
{
    orka_display_params_t params = ntsc_tv();
    GetParam().spoil(params);
    EXPECT_EQ(error(wire::IDISPLAY_SET_OUTPUT, params), EINVAL);
    EXPECT_STREQ(output().mode, "480i");
    EXPECT_EQ(output().resize, -1);
    EXPECT_EQ(desk.log(), std::string("display: ") + GetParam().why + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    With, DisplayRecord,
    ::testing::Values(
        BadOutput{"ASecondOutput", [](auto &params) { params.output = 1; }, "there is no output 1, only 0"},
        BadOutput{"AnUnknownDevice", [](auto &params) { params.device[0] = 'X'; },
                  "there is no mode 'XNTERNAL' '480i'"},
        BadOutput{"TheModeOfAnotherDevice", [](auto &params) { std::strcpy(params.mode, "VGA"); },
                  "there is no mode 'INTERNAL' 'VGA'"},
        BadOutput{"ANameWithoutEnd", [](auto &params) { std::memset(params.mode, 'm', sizeof params.mode); },
                  "there is no mode 'INTERNAL' 'mmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmm'"},
        BadOutput{"AnotherWidth", [](auto &params) { params.width = 640; },
                  "INTERNAL 480i is 720x480 interlaced, not 640x480 interlaced"},
        BadOutput{"AnotherHeight", [](auto &params) { params.height = 0; },
                  "INTERNAL 480i is 720x480 interlaced, not 720x0 interlaced"},
        BadOutput{"AnotherScan", [](auto &params) { params.interlaced = 2; },
                  "INTERNAL 480i is 720x480 interlaced, not 720x480 progressive"},
        BadOutput{"NoPictureArea", [](auto &params) { params.pe_width = 0; },
                  "a picture area of 0x480 does not fit into INTERNAL 480i"},
        BadOutput{"TooHighAPictureArea", [](auto &params) { params.pe_height = 481; },
                  "a picture area of 640x481 does not fit into INTERNAL 480i"},
        BadOutput{"AResizeBelow", [](auto &params) { params.resize = -2; }, "resize is -2, not -1, 0 or 1"},
        BadOutput{"AResizeAbove", [](auto &params) { params.resize = 2; }, "resize is 2, not -1, 0 or 1"}),
    [](const auto &test) { return test.param.name; });

/* Whose it is, and for how long. */

TEST_F(DisplayDesk, ASecondSetupIsRefused)
{
    ASSERT_EQ(set_up(), 0);
    EXPECT_EQ(set_up(pal_tv()), EINVAL);
    EXPECT_EQ(ask(other, wire::IDISPLAY_SETUP, pal_tv()).error, EBUSY);
    EXPECT_STREQ(output().mode, "480i");
}

TEST_F(DisplayDesk, AnybodyMaySwitchIt)
{
    ASSERT_EQ(set_up(), 0);
    EXPECT_EQ(ask(other, wire::IDISPLAY_SET_OUTPUT, pal_tv()).error, 0);
    EXPECT_EQ(ask(other, wire::IDISPLAY_ENABLE, uint32_t{0}).error, 0);
    EXPECT_EQ(ask(other, wire::IDISPLAY_MASK).error, 0);
    EXPECT_EQ(ask(other, wire::IDISPLAY_UNMASK).error, 0);
    EXPECT_EQ(ask(other, wire::IDISPLAY_RESYNC).error, 0);
    EXPECT_EQ(ask(other, wire::IDECODE_SET_RESIZE, wire::resize_record{}).error, 0);
    EXPECT_STREQ(output().mode, "576i");
}

class DisplayOwner : public DisplayDesk, public ::testing::WithParamInterface<uint32_t> {
  protected:
    std::vector<uint8_t> record() const
    {
        return std::vector<uint8_t>(wire::find_request(wire::node::idecode, GetParam())->in);
    }
};

TEST_P(DisplayOwner, IsRefusedBeforeSetup)
{
    EXPECT_EQ(ask(program, GetParam(), record()).error, EINVAL);
}

TEST_P(DisplayOwner, IsBusyForAnother)
{
    ASSERT_EQ(set_up(), 0);
    EXPECT_EQ(ask(other, GetParam(), record()).error, EBUSY);
}

TEST_P(DisplayOwner, IsRefusedAfterTearDown)
{
    ASSERT_EQ(set_up(), 0);
    ASSERT_EQ(error(wire::IDISPLAY_TEARDOWN), 0);
    EXPECT_EQ(ask(program, GetParam(), record()).error, EINVAL);
}

INSTANTIATE_TEST_SUITE_P(
    Asks, DisplayOwner,
    ::testing::Values(wire::IDISPLAY_TEARDOWN, wire::IDISPLAY_OSD_ZOOM, wire::IDISPLAY_BUFFER_BASE,
                      wire::IDISPLAY_BUFFER_SIZE, wire::IDISPLAY_GET_FRAME_BUFFER,
                      wire::IDISPLAY_GET_FRAME_DIMENSION, wire::IDISPLAY_RELEASE_FRAME_BUFFER),
    [](const auto &test) { return std::string(wire::find_request(wire::node::idecode, test.param)->name); });

TEST_F(DisplayDesk, TearDownIsAsPowerOn)
{
    ASSERT_EQ(set_up(pal_tv()), 0);
    ASSERT_EQ(error(wire::IDISPLAY_MASK), 0);
    ASSERT_EQ(error(wire::IDISPLAY_TEARDOWN), 0);
    EXPECT_STREQ(output().mode, "480i");
    EXPECT_EQ(desk.queues(), 0u);
    EXPECT_EQ(desk.report<nlohmann::json>()["display"]["masked"], false);
    EXPECT_EQ(set_up(), 0);
}

TEST_F(DisplayDesk, TheOwnersLastCloseIsAsTearDown)
{
    ASSERT_EQ(set_up(pal_tv()), 0);
    desk.close(program);
    EXPECT_STREQ(output().mode, "480i");
    EXPECT_EQ(desk.queues(), 0u);
}

TEST_F(DisplayDesk, AnothersCloseLeavesItAlone)
{
    ASSERT_EQ(set_up(pal_tv()), 0);
    desk.close(other);
    EXPECT_EQ(error(wire::IDISPLAY_TEARDOWN), 0);
}

TEST_F(DisplayDesk, WhatNobodySetUpStaysAsLongAsSomebodyHasTheNodeOpen)
{
    ASSERT_EQ(error(wire::IDISPLAY_SET_OUTPUT, pal_tv()), 0);
    desk.close(program);
    EXPECT_STREQ(output().mode, "576i");
    desk.close(other);
    desk.open(other);
    EXPECT_STREQ(output().mode, "480i");
}

TEST_F(DisplayDesk, WithoutMemoryForItsFrameBuffersItIsNotSetUp)
{
    desk.on_reactor([this] { board->memory.queues().allocate(board->memory.queues().length()); });
    EXPECT_EQ(set_up(), ENOMEM);
    EXPECT_EQ(desk.log(), "display: no memory for frame buffers of 1662976 bytes; give the board more "
                          "(--memory)\n");
    EXPECT_EQ(error(wire::IDISPLAY_TEARDOWN), EINVAL);
}

/* Frame buffers. */

TEST_F(DisplayDesk, FrameBuffersLieInTheBufferAreaAndDoNotOverlap)
{
    ASSERT_EQ(set_up(), 0);
    const auto base = ask(program, wire::IDISPLAY_BUFFER_BASE).as<uint32_t>();
    const auto size = ask(program, wire::IDISPLAY_BUFFER_SIZE).as<uint32_t>();
    EXPECT_EQ(base % page_size, 0u);
    EXPECT_EQ(buffer(0), base);
    EXPECT_GE(buffer(1), base + 720 * 576 * 2);
    EXPECT_LE(buffer(1) + 720 * 576 * 2, base + size);
}

TEST_F(DisplayDesk, FrameBuffersAreAsLargeAsTheMode)
{
    ASSERT_EQ(set_up(qvga()), 0);
    const auto size =
        ask(program, wire::IDISPLAY_GET_FRAME_DIMENSION, wire::frame_dimension_record{.channel = 1})
            .as<wire::frame_dimension_record>();
    EXPECT_EQ(size.channel, 1u);
    EXPECT_EQ(size.width, 320u);
    EXPECT_EQ(size.height, 240u);
}

TEST_F(DisplayDesk, ThereIsNoThirdChannel)
{
    ASSERT_EQ(set_up(), 0);
    EXPECT_EQ(error(wire::IDISPLAY_GET_FRAME_BUFFER, wire::frame_buffer_record{.channel = 2}), EINVAL);
    EXPECT_EQ(error(wire::IDISPLAY_GET_FRAME_DIMENSION, wire::frame_dimension_record{.channel = 2}), EINVAL);
    EXPECT_EQ(error(wire::IDISPLAY_RELEASE_FRAME_BUFFER, uint32_t{2}), EINVAL);
}

TEST_F(DisplayDesk, AFrameBufferIsReleasedOnceForItsUse)
{
    ASSERT_EQ(set_up(), 0);
    EXPECT_EQ(error(wire::IDISPLAY_RELEASE_FRAME_BUFFER, uint32_t{1}), EINVAL);
    buffer(1);
    EXPECT_EQ(buffer(1), buffer(1));
    EXPECT_EQ(error(wire::IDISPLAY_RELEASE_FRAME_BUFFER, uint32_t{0}), EINVAL);
    EXPECT_EQ(error(wire::IDISPLAY_RELEASE_FRAME_BUFFER, uint32_t{1}), 0);
    EXPECT_EQ(error(wire::IDISPLAY_RELEASE_FRAME_BUFFER, uint32_t{1}), EINVAL);
}

TEST_F(DisplayDesk, OsdZoomIsNoneOrDouble)
{
    ASSERT_EQ(set_up(), 0);
    EXPECT_EQ(error(wire::IDISPLAY_OSD_ZOOM, wire::osd_zoom_record{0, 1}), 0);
    EXPECT_EQ(error(wire::IDISPLAY_OSD_ZOOM, wire::osd_zoom_record{2, 2}), 0);
    EXPECT_EQ(error(wire::IDISPLAY_OSD_ZOOM, wire::osd_zoom_record{3, 1}), EINVAL);
    EXPECT_EQ(error(wire::IDISPLAY_OSD_ZOOM, wire::osd_zoom_record{1, UINT32_MAX}), EINVAL);
    EXPECT_EQ(desk.report<nlohmann::json>()["display"]["osd"]["zoom_a"], 2);
}

/* Placement and time. */

wire::resize_record parts(std::array<uint16_t, 4> from, std::array<uint16_t, 4> to)
{
    wire::resize_record record{};
    std::memcpy(record.first, from.data(), sizeof record.first);
    std::memcpy(record.second, to.data(), sizeof record.second);
    return record;
}

TEST_F(DisplayDesk, PartsWithoutPixelsOrBeyondTheScreenAreRefused)
{
    EXPECT_EQ(error(wire::IDECODE_SET_RESIZE, parts({1, 1, 0, 5}, {})), EINVAL);
    EXPECT_EQ(error(wire::IDECODE_SET_RESIZE, parts({}, {1, 1, 5, 0})), EINVAL);
    EXPECT_EQ(error(wire::IDECODE_SET_RESIZE, parts({}, {1, 0, 720, 480})), EINVAL);
    EXPECT_EQ(error(wire::IDECODE_SET_RESIZE, parts({}, {0, 1, 720, 480})), EINVAL);
    EXPECT_EQ(error(wire::IDECODE_SET_RESIZE, parts({65535, 65535, 65535, 65535}, {0, 0, 720, 480})), 0);
}

TEST_F(DisplayDesk, ResyncBeginsTheTimeLineAnew)
{
    const auto now = Clock::now();
    auto due = now;
    desk.on_reactor([&] { board->presentation.due(1000, now); });
    desk.on_reactor([&] { due = board->presentation.due(3000, now); });
    EXPECT_EQ(due, now + 2000ms);
    ASSERT_EQ(error(wire::IDISPLAY_RESYNC), 0);
    desk.on_reactor([&] { due = board->presentation.due(3000, now); });
    EXPECT_EQ(due, now);
}

/* What people are told. */

TEST_F(DisplayDesk, ReportsItsOutputAndItsOwner)
{
    const nlohmann::json before = desk.report<nlohmann::json>()["display"];
    EXPECT_TRUE(before["set_up_by"].is_null());
    EXPECT_TRUE(before["osd"].is_null());
    EXPECT_TRUE(before["video"].is_null());
    ASSERT_EQ(set_up(qvga()), 0);
    buffer(1);
    const nlohmann::json display = desk.report<nlohmann::json>()["display"];
    EXPECT_EQ(display["set_up_by"], 11);
    EXPECT_EQ(display["output"]["device"], "LCD");
    EXPECT_EQ(display["output"]["width"], 320);
    EXPECT_EQ(display["output"]["interlaced"], false);
    EXPECT_EQ(display["enabled"], true);
    EXPECT_EQ(display["osd"]["channels"][0]["shown"], false);
    EXPECT_EQ(display["osd"]["channels"][1]["used"], true);
}

} // namespace
} // namespace orka::board::desk
