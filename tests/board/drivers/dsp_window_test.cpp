/* The words that the DSP shows in its memory window, while images are loaded and frames are made. */
#include "drivers/dsp_window.h"
#include "encode_desk.h"
#include "video_desk.h"

namespace orka::board::desk {
namespace {

constexpr uint32_t all_words = 65536;

uint16_t word_at(const Memory &memory, uint32_t index)
{
    uint16_t value = 0;
    std::memcpy(&value, memory.at(DspWindow::address + 2 * index, sizeof value).data(), sizeof value);
    return value;
}

std::string name_in(const Memory &memory)
{
    return reinterpret_cast<const char *>(
        memory.at(DspWindow::address + 2 * DspWindow::word_name, 34).data());
}

class Window : public ::testing::Test {
  protected:
    Memory memory{16 << 20};
    DspWindow window{memory};
    const int somebody = 0;
    const int another = 0;
};

TEST_F(Window, IsAllZerosBeforeTheFirstImage)
{
    for (uint32_t index = 0; index < all_words; index++)
        ASSERT_EQ(word_at(memory, index), 0) << index;
}

TEST_F(Window, SaysTheVersionWhileAnImageIsLoaded)
{
    window.load(&somebody, "mpeg4_aac_dec");
    EXPECT_EQ(word_at(memory, 0), 0x0100);
    EXPECT_EQ(word_at(memory, 1), 1);
    window.unload(&somebody);
    EXPECT_EQ(word_at(memory, 0), 0);
    EXPECT_EQ(word_at(memory, 1), 0);
}

TEST_F(Window, NamesTheImageThatWasLoadedLastAndStillIs)
{
    window.load(&somebody, "mpeg4_g7221_aec_codec");
    window.load(&another, "ogg_dec");
    EXPECT_EQ(word_at(memory, 1), 2);
    EXPECT_EQ(name_in(memory), "ogg_dec");
    window.unload(&another);
    EXPECT_EQ(name_in(memory), "mpeg4_g7221_aec_codec");
    window.unload(&somebody);
    EXPECT_EQ(name_in(memory), "");
}

TEST_F(Window, PutsTheFirstOfTwoLettersIntoTheLowByte)
{
    window.load(&somebody, "ogg_dec");
    EXPECT_EQ(word_at(memory, 4), 'o' | 'g' << 8);
    EXPECT_EQ(word_at(memory, 7), 'c');
    EXPECT_EQ(word_at(memory, 8), 0);
}

TEST_F(Window, AnotherImageOfTheSameUserTakesThePlaceOfTheFirst)
{
    window.load(&somebody, "ogg_dec");
    window.load(&somebody, "mpeg4_aac_dec");
    EXPECT_EQ(word_at(memory, 1), 1);
    EXPECT_EQ(name_in(memory), "mpeg4_aac_dec");
    EXPECT_EQ(window.loads(), 2u);
}

TEST_F(Window, TheSameImageAgainIsNoOtherOne)
{
    window.load(&somebody, "ogg_dec");
    window.load(&somebody, "ogg_dec");
    EXPECT_EQ(word_at(memory, 1), 1);
    EXPECT_EQ(window.loads(), 1u);
}

TEST_F(Window, CountsFramesLowWordFirst)
{
    window.count_frames(0x1FFFF);
    window.count_frames(2);
    EXPECT_EQ(word_at(memory, 2), 0x0001);
    EXPECT_EQ(word_at(memory, 3), 0x0002);
}

TEST_F(Window, LeavesTheProgramsWordsAlone)
{
    const auto bytes = memory.at(DspWindow::address, 2 * all_words);
    std::ranges::fill(bytes, uint8_t{0xA5});
    window.load(&somebody, "mpeg4_g7221_aec_codec");
    window.count_frames(1);
    for (uint32_t index = DspWindow::board_words; index < all_words; index++)
        ASSERT_EQ(word_at(memory, index), 0xA5A5) << index;
}

TEST_F(Window, HasSerialPortsWhileOneOfTheImagesServesThem)
{
    window.load(&another, "mpeg4_aac_dec");
    EXPECT_FALSE(window.has_serial_ports());
    window.load(&somebody, "mpeg4_g711_aec_codec");
    EXPECT_TRUE(window.has_serial_ports());
    window.unload(&somebody);
    EXPECT_FALSE(window.has_serial_ports());
}

/* The window's words on the desk. */
uint32_t word_on(Desk &desk, uint32_t index)
{
    uint16_t value = 0;
    desk.on_reactor([&] {
        std::memcpy(&value, desk.bytes(DspWindow::address + 2 * index, sizeof value).data(), sizeof value);
    });
    return value;
}

class WindowOfDecoders : public VideoDesk {};
class WindowOfEncoders : public EncodeDesk {};

TEST_F(WindowOfDecoders, ShowsTheImageOfADecoderUntilItsFileIsClosed)
{
    EXPECT_EQ(word_on(desk, DspWindow::word_images), 0u);
    ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(word_on(desk, DspWindow::word_images), 1u);
    desk.close(video.file);
    EXPECT_EQ(word_on(desk, DspWindow::word_images), 0u);
    EXPECT_EQ(word_on(desk, DspWindow::word_version), 0u);
}

TEST_F(WindowOfDecoders, CountsPicturesAndNotTheEndOfTheStream)
{
    play(video);
    for (int i = 0; i < 3; i++)
        ASSERT_TRUE(feed(video, show));
    ASSERT_TRUE(video.feed_last());
    ASSERT_EQ(take_all(video).size(), 3u);
    EXPECT_EQ(word_on(desk, DspWindow::word_frames), 3u);
    EXPECT_EQ(word_on(desk, DspWindow::word_frames + 1), 0u);
}

TEST_F(WindowOfDecoders, GoesOnCountingWithTheNextDecoder)
{
    for (uint32_t stream = 0; stream < 2; stream++) {
        Player player(desk, wire::node::vdecode, 0, static_cast<int32_t>(stream));
        play(player);
        ASSERT_TRUE(feed(player, show));
        ASSERT_TRUE(player.feed_last());
        ASSERT_EQ(take_all(player).size(), 1u);
    }
    EXPECT_EQ(word_on(desk, DspWindow::word_frames), 2u);
}

TEST_F(WindowOfEncoders, CountsAllThatWasEncodedAndNotTheEndOfTheStream)
{
    Recorder recorder(desk);
    record(recorder);
    recorder.next_frame();
    ASSERT_EQ(recorder.stop(), 0);
    const auto frames = static_cast<uint32_t>(recorder.take_all().size()) + 1;
    EXPECT_TRUE(eventually([&] { return word_on(desk, DspWindow::word_frames) == frames; }));
    ASSERT_EQ(recorder.tear_down(), 0);
    EXPECT_EQ(word_on(desk, DspWindow::word_frames), frames);
}

} // namespace
} // namespace orka::board::desk
