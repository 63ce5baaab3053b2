/* What is on the screen, pixel by pixel. */
#include "display_desk.h"

namespace orka::board::desk {
namespace {

constexpr uint16_t opaque = 0x8000;

class Screen : public DisplayDesk {
  protected:
    ~Screen() override
    {
        desk.on_reactor([this] { pictures.clear(); });
    }
    Shown &show(uint32_t width, uint32_t height, uint32_t pixels = two_white, uint32_t rank = 0)
    {
        desk.on_reactor(
            [&] { pictures.push_back(std::make_unique<Shown>(board->video, width, height, pixels, rank)); });
        return *pictures.back();
    }
    void place(std::array<uint16_t, 4> from, std::array<uint16_t, 4> to)
    {
        wire::resize_record record{};
        std::memcpy(record.first, from.data(), sizeof record.first);
        std::memcpy(record.second, to.data(), sizeof record.second);
        ASSERT_EQ(error(wire::IDECODE_SET_RESIZE, record), 0);
    }
    void resize(int32_t resize, uint32_t width = 640, uint32_t height = 480)
    {
        orka_display_params_t params = ntsc_tv();
        params.resize = resize;
        params.pe_width = width;
        params.pe_height = height;
        ASSERT_EQ(error(wire::IDISPLAY_SET_OUTPUT, params), 0);
    }

    std::vector<std::unique_ptr<Shown>> pictures;
};

/* The video plane. */

TEST_F(Screen, IsBlackWhereNothingWasShown)
{
    EXPECT_EQ(screen().pixels.size(), 720u * 480 * 3);
    EXPECT_TRUE(is_all(screen(), black));
}

TEST_F(Screen, WithoutAnySetupAPictureFillsThePictureArea)
{
    show(320, 240);
    EXPECT_TRUE(is_framed(screen(), {40, 0, 640, 480}));
}

TEST_F(Screen, UnresolvedAWidePictureKeepsItsProportions)
{
    show(640, 320);
    EXPECT_TRUE(is_framed(screen(), {40, 80, 640, 320}));
}

TEST_F(Screen, UnresolvedANarrowPictureKeepsItsProportions)
{
    show(100, 400);
    EXPECT_TRUE(is_framed(screen(), {300, 0, 120, 480}));
}

TEST_F(Screen, UnscaledAPictureLiesInTheMiddle)
{
    resize(0);
    show(320, 240);
    EXPECT_TRUE(is_framed(screen(), {200, 120, 320, 240}));
}

TEST_F(Screen, UnscaledALargerPictureShowsItsMiddle)
{
    resize(0, 640, 400);
    Shown &picture = show(720, 480, two_black);
    for (uint32_t y = 40; y < 440; y++) {
        for (uint32_t x = 40; x < 680; x += 2)
            picture.word(x, y) = two_white;
    }
    EXPECT_TRUE(is_framed(screen(), {40, 40, 640, 400}));
}

TEST_F(Screen, UnscaledEveryPixelIsOneOfThePicture)
{
    resize(0);
    show(320, 240, two_black).word(100, 50) = two_white;
    EXPECT_TRUE(is_framed(screen(), {300, 170, 2, 1}));
}

TEST_F(Screen, ScaledAPictureIsStretchedOverThePictureArea)
{
    resize(1, 600, 100);
    show(320, 240);
    EXPECT_TRUE(is_framed(screen(), {60, 190, 600, 100}));
}

TEST_F(Screen, AOnePixelPictureCanBeShown)
{
    resize(1);
    show(2, 1);
    EXPECT_TRUE(is_framed(screen(), {40, 0, 640, 480}));
}

TEST_F(Screen, AreasOfOneColourAreOneColour)
{
    resize(1, 500, 300);
    show(352, 288, 0x51F0515A); /* red, in studio range */
    RgbPicture picture = screen();
    const Rgb red = pixel(picture, 110, 90);
    EXPECT_NEAR(red[0], 254, 1);
    EXPECT_NEAR(red[1], 0, 1);
    EXPECT_NEAR(red[2], 0, 1);
    EXPECT_TRUE(is_framed(picture, {110, 90, 500, 300}, red));
}

TEST_F(Screen, APartOfThePictureCanFillThePictureArea)
{
    Shown &picture = show(64, 48, two_black);
    for (uint32_t y = 8; y < 24; y++) {
        for (uint32_t x = 16; x < 48; x += 2)
            picture.word(x, y) = two_white;
    }
    place({16, 8, 32, 16}, {});
    EXPECT_TRUE(is_framed(screen(), {40, 80, 640, 320}));
}

TEST_F(Screen, APictureCanBePutAnywhere)
{
    show(64, 48);
    place({}, {700, 0, 20, 480});
    EXPECT_TRUE(is_framed(screen(), {700, 0, 20, 480}));
    place({}, {});
    EXPECT_TRUE(is_framed(screen(), {40, 0, 640, 480}));
}

TEST_F(Screen, APartBeyondThePictureIsBlack)
{
    show(64, 48);
    place({64, 0, 32, 32}, {0, 0, 720, 480});
    EXPECT_TRUE(is_all(screen(), black));
}

TEST_F(Screen, APlacementEndsWithTheOutputItWasMadeFor)
{
    show(64, 48);
    place({}, {0, 0, 10, 10});
    resize(0);
    EXPECT_TRUE(is_framed(screen(), {328, 216, 64, 48}));
}

TEST_F(Screen, MaskedIsBlackButThePlanesCanBeLookedAt)
{
    show(320, 240);
    ASSERT_EQ(error(wire::IDISPLAY_MASK), 0);
    EXPECT_TRUE(is_all(screen(), black));
    EXPECT_TRUE(is_framed(screen(Plane::video), {40, 0, 640, 480}));
    ASSERT_EQ(error(wire::IDISPLAY_UNMASK), 0);
    EXPECT_TRUE(is_framed(screen(), {40, 0, 640, 480}));
}

TEST_F(Screen, SwitchedOffIsBlack)
{
    show(320, 240);
    ASSERT_EQ(error(wire::IDISPLAY_ENABLE, uint32_t{0}), 0);
    EXPECT_TRUE(is_all(screen(), black));
    ASSERT_EQ(error(wire::IDISPLAY_ENABLE, uint32_t{1}), 0);
    EXPECT_TRUE(is_framed(screen(), {40, 0, 640, 480}));
}

TEST_F(Screen, CapturedPicturesCoverDecodedOnesUntilTheyEnd)
{
    show(320, 240, two_black);
    const std::vector<uint32_t> captured(720 * 480 / 2, two_white);
    const auto *const bytes = reinterpret_cast<const uint8_t *>(captured.data());
    desk.on_reactor([&] { board->show_captured({bytes, captured.size() * 4}, 720, 480); });
    EXPECT_TRUE(is_framed(screen(), {40, 27, 640, 426}));
    EXPECT_EQ(desk.report<nlohmann::json>()["display"]["video"]["source"], "capture");
    desk.on_reactor([&] { board->show_captured({}, 0, 0); });
    EXPECT_TRUE(is_all(screen(), black));
    EXPECT_EQ(desk.report<nlohmann::json>()["display"]["video"]["source"], "decoder 0");
}

/* The OSD. */

struct OsdPixel {
    uint16_t pixel;
    Rgb rgb;
};

class OsdColour : public Screen, public ::testing::WithParamInterface<OsdPixel> {};

TEST_P(OsdColour, IsExact)
{
    ASSERT_EQ(set_up(), 0);
    draw(0, 719, 479, static_cast<uint16_t>(opaque | GetParam().pixel));
    EXPECT_TRUE(is_framed(screen(), {719, 479, 1, 1}, GetParam().rgb));
}

INSTANTIATE_TEST_SUITE_P(Of, OsdColour,
                         ::testing::Values(OsdPixel{0x0000, {0, 0, 0}}, OsdPixel{0x7FFF, {255, 255, 255}},
                                           OsdPixel{0x7C00, {255, 0, 0}}, OsdPixel{0x03E0, {0, 255, 0}},
                                           OsdPixel{0x001F, {0, 0, 255}}, OsdPixel{0x4210, {132, 132, 132}},
                                           OsdPixel{0x0421, {8, 8, 8}}));

TEST_F(Screen, TheOsdLiesOverTheVideoAndIsClearWhereNothingIsDrawn)
{
    show(320, 240);
    ASSERT_EQ(set_up(vga()), 0);
    draw(0, 5, 6, opaque);
    draw(0, 7, 8, 0x7FFF); /* white, but not opaque */
    EXPECT_TRUE(is_framed(screen(), {5, 6, 1, 1}, black, white));
}

TEST_F(Screen, TheSecondChannelLiesOverTheFirst)
{
    ASSERT_EQ(set_up(), 0);
    draw(1, 5, 6, opaque | 0x7C00);
    draw(0, 5, 6, opaque | 0x001F);
    draw(0, 6, 6, opaque | 0x001F);
    RgbPicture picture = screen();
    EXPECT_EQ(pixel(picture, 5, 6), (Rgb{255, 0, 0}));
    EXPECT_EQ(pixel(picture, 6, 6), (Rgb{0, 0, 255}));
}

TEST_F(Screen, AReleasedFrameBufferIsStillShown)
{
    ASSERT_EQ(set_up(), 0);
    draw(1, 5, 6, opaque | 0x7FFF);
    ASSERT_EQ(error(wire::IDISPLAY_RELEASE_FRAME_BUFFER, uint32_t{1}), 0);
    EXPECT_TRUE(is_framed(screen(), {5, 6, 1, 1}));
}

TEST_F(Screen, ZoomMakesPixelsLarger)
{
    ASSERT_EQ(set_up(), 0);
    draw(0, 5, 6, opaque | 0x7FFF);
    ASSERT_EQ(error(wire::IDISPLAY_OSD_ZOOM, wire::osd_zoom_record{2, 0}), 0);
    EXPECT_TRUE(is_framed(screen(), {10, 6, 2, 1}));
    ASSERT_EQ(error(wire::IDISPLAY_OSD_ZOOM, wire::osd_zoom_record{1, 2}), 0);
    EXPECT_TRUE(is_framed(screen(), {5, 12, 1, 2}));
}

TEST_F(Screen, ThePlanesCanBeLookedAtAlone)
{
    show(320, 240);
    ASSERT_EQ(set_up(vga()), 0);
    draw(0, 5, 6, opaque | 0x7FFF);
    EXPECT_TRUE(is_framed(screen(Plane::osd), {5, 6, 1, 1}));
    EXPECT_TRUE(is_all(screen(Plane::video), white));
}

TEST_F(Screen, AModeOfAnotherSizeClearsTheOsd)
{
    ASSERT_EQ(set_up(), 0);
    draw(0, 5, 6, opaque | 0x7FFF);
    ASSERT_EQ(error(wire::IDISPLAY_SET_OUTPUT, ntsc_tv()), 0);
    EXPECT_TRUE(is_framed(screen(), {5, 6, 1, 1}));
    ASSERT_EQ(error(wire::IDISPLAY_SET_OUTPUT, pal_tv()), 0);
    EXPECT_TRUE(is_all(screen(), black));
}

TEST_F(Screen, AfterTearDownTheOsdIsGoneAndTheVideoStays)
{
    show(320, 240);
    ASSERT_EQ(set_up(), 0);
    draw(0, 5, 6, opaque | 0x7FFF);
    ASSERT_EQ(error(wire::IDISPLAY_TEARDOWN), 0);
    EXPECT_TRUE(is_framed(screen(), {40, 0, 640, 480}));
}

TEST_F(Screen, ANewSetupBeginsWithAClearOsd)
{
    ASSERT_EQ(set_up(), 0);
    draw(0, 5, 6, opaque | 0x7FFF);
    ASSERT_EQ(error(wire::IDISPLAY_TEARDOWN), 0);
    ASSERT_EQ(set_up(), 0);
    buffer(0);
    EXPECT_TRUE(is_all(screen(), black));
}

/* The counter of changes. */

TEST_F(Screen, TheCounterStandsStillWhileNothingChanges)
{
    ASSERT_EQ(set_up(), 0);
    buffer(0);
    const uint64_t before = changes();
    EXPECT_EQ(changes(), before);
    EXPECT_EQ(changes(), before);
}

TEST_F(Screen, TheCounterNoticesWhatAProgramDrawsWithoutARequest)
{
    ASSERT_EQ(set_up(), 0);
    const uint32_t address = buffer(1);
    const uint64_t before = changes();
    desk.bytes(address + 1, 1)[0] = 0x80;
    const uint64_t drawn = changes();
    EXPECT_NE(drawn, before);
    EXPECT_EQ(changes(), drawn);
}

TEST_F(Screen, TheCounterNoticesPicturesAndSwitches)
{
    ASSERT_EQ(set_up(), 0);
    std::vector<uint64_t> seen{changes()};
    Shown &picture = show(320, 240);
    seen.push_back(changes());
    desk.on_reactor([&] { picture.show(); });
    seen.push_back(changes());
    EXPECT_EQ(error(wire::IDISPLAY_MASK), 0);
    seen.push_back(changes());
    desk.on_reactor([this] { pictures.clear(); });
    seen.push_back(changes());
    std::ranges::sort(seen);
    EXPECT_TRUE(std::ranges::adjacent_find(seen) == seen.end());
}

} // namespace
} // namespace orka::board::desk
