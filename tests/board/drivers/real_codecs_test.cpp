/* The drivers with the DSP's own codecs: everything that a codec gives comes out, as it is and in order. */
extern "C" {
#include <libavcodec/avcodec.h>
}

#include "desk.h"
#include "dsp/codec.h"

namespace orka::board::desk {
namespace {

using Bytes = std::vector<uint8_t>;

struct Encoded {
    Bytes data;
    uint32_t tsms;
    bool key;
};

constexpr int width = 96;
constexpr int height = 64;

void fill(AVFrame &frame, int number)
{
    for (int plane = 0; plane < 3; plane++) {
        for (int y = 0; y < (plane ? height / 2 : height); y++) {
            for (int x = 0; x < (plane ? width / 2 : width); x++)
                frame.data[plane][y * frame.linesize[plane] + x] =
                    static_cast<uint8_t>(x * 3 + y * 5 + number * 7 * (plane + 1));
        }
    }
}

void collect(AVCodecContext *context, std::vector<Encoded> &clip)
{
    AVPacket *packet = av_packet_alloc();
    while (avcodec_receive_packet(context, packet) == 0) {
        clip.push_back({{packet->data, packet->data + packet->size},
                        static_cast<uint32_t>(packet->pts),
                        (packet->flags & AV_PKT_FLAG_KEY) != 0});
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
}

/* MPEG-4 with B-frames: what goes in is not the order in which it comes out. */
std::vector<Encoded> make_clip(int frames)
{
    const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    AVCodecContext *context = avcodec_alloc_context3(codec);
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {1, 1000};
    context->max_b_frames = 2;
    context->gop_size = 12;
    EXPECT_EQ(avcodec_open2(context, codec, nullptr), 0);

    std::vector<Encoded> clip;
    AVFrame *frame = av_frame_alloc();
    frame->format = context->pix_fmt;
    frame->width = width;
    frame->height = height;
    EXPECT_EQ(av_frame_get_buffer(frame, 0), 0);
    for (int i = 0; i < frames; i++) {
        EXPECT_EQ(av_frame_make_writable(frame), 0);
        fill(*frame, i);
        frame->pts = i * 40;
        EXPECT_EQ(avcodec_send_frame(context, frame), 0);
        collect(context, clip);
    }
    avcodec_send_frame(context, nullptr);
    collect(context, clip);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return clip;
}

orka_idecode_video_params_t video_of(uint32_t codec)
{
    return {.codec = codec,
            .width = width,
            .height = height,
            .bufsize = 0x300000,
            .bufcount = 400,
            .maxframe = 307200};
}

struct Shown {
    uint32_t tsms;
    Bytes data;
    bool operator==(const Shown &) const = default;
};

std::vector<Shown> decode_directly(const std::vector<Encoded> &clip)
{
    std::string why;
    std::vector<Shown> shown;
    const auto decoder = VideoDecoder::create(video_of(1), why);
    const auto sink = [&](std::unique_ptr<Picture> picture) {
        shown.push_back({picture->tsms(), Bytes(picture->size())});
        picture->write_uyvy(shown.back().data);
    };
    for (const Encoded &packet : clip)
        EXPECT_TRUE(decoder->decode({.data = packet.data, .tsms = packet.tsms, .key = packet.key}, sink));
    decoder->drain(sink);
    return shown;
}

class RealVideo : public ::testing::Test {
  protected:
    RealVideo()
    {
        desk.attach([](Machine &machine) { return make_video_decode_driver(machine); });
    }
    void play(Player &player, const char *image, uint32_t codec)
    {
        ASSERT_EQ(player.load(image), 0);
        ASSERT_EQ(player.set_up(video_of(codec)), 0);
        ASSERT_EQ(player.order(wire::IDECODE_INIT), 0);
        ASSERT_EQ(player.start(), 0);
    }
    static void feed(Player &player, const std::vector<Encoded> &clip)
    {
        for (const Encoded &packet : clip)
            EXPECT_TRUE(player.feed(packet.data, packet.tsms, packet.key ? 1U : 0U));
        EXPECT_TRUE(player.feed_last());
    }
    std::vector<Shown> take_all(Player &player)
    {
        std::vector<Shown> shown;
        for (;;) {
            const auto answer = player.get();
            if (answer.status != wire::driver_done || answer.frame.kind == ORKA_FRAME_TYPE_LAST)
                return shown;
            const std::span<uint8_t> data = desk.bytes(answer.frame.addr, answer.frame.size);
            shown.push_back({answer.frame.tsms, Bytes(data.begin(), data.end())});
            EXPECT_EQ(answer.frame.number + 1, shown.size());
            EXPECT_EQ(player.release(answer.frame), 0);
        }
    }

    Desk desk;
    Player video{desk, wire::node::vdecode};
};

TEST_F(RealVideo, EveryPictureComesOutInOrderOfPresentation)
{
    const std::vector<Encoded> clip = make_clip(60);
    play(video, "mpeg4_pcm_dec", 1);
    std::thread feeder([&] { feed(video, clip); });
    const std::vector<Shown> shown = take_all(video);
    feeder.join();
    EXPECT_EQ(shown.size(), 60U);
    EXPECT_TRUE(std::ranges::is_sorted(shown, {}, &Shown::tsms));
    EXPECT_EQ(shown, decode_directly(clip));
}

TEST_F(RealVideo, TwoStreamsAtOnceAndARestartGiveTheSame)
{
    const std::vector<Encoded> clip = make_clip(30);
    const std::vector<Shown> expected = decode_directly(clip);
    Player second(desk, wire::node::vdecode, 0, 1);
    play(video, "mpeg4_pcm_dec", 1);
    play(second, "mpeg4_pcm_dec", 1);
    std::thread other([&] {
        feed(second, clip);
        EXPECT_EQ(take_all(second), expected);
    });
    feed(video, clip);
    EXPECT_EQ(take_all(video), expected);
    other.join();
    ASSERT_EQ(video.stop(), 0);
    ASSERT_EQ(video.start(), 0);
    feed(video, clip);
    EXPECT_EQ(take_all(video), expected);
}

TEST_F(RealVideo, RawPicturesPassThroughUnchanged)
{
    Bytes picture(width * height * 2);
    for (size_t i = 0; i < picture.size(); i++)
        picture[i] = static_cast<uint8_t>(i * 37);
    play(video, "yuv422_pcm_dec", 256);
    feed(video, {{picture, 40, true}});
    EXPECT_EQ(take_all(video), (std::vector<Shown>{{40, picture}}));
}

TEST_F(RealVideo, GarbageInTheMiddleIsReportedAndTheRestDecodes)
{
    std::vector<Encoded> clip = make_clip(40);
    clip.insert(clip.begin() + 12, {Bytes(500, 0xA5), 470, false});
    play(video, "mpeg4_pcm_dec", 1);
    std::thread feeder([&] { feed(video, clip); });
    EXPECT_GE(take_all(video).size(), 40U);
    feeder.join();
    EXPECT_NE(desk.log().find("vdecode 0/0: damaged packet: "), std::string::npos);
}

TEST(RealAudio, G711ComesOutAsTheCodecGivesIt)
{
    const orka_idecode_audio_params_t params{.codec = 4,
                                             .channels = 1,
                                             .sample_rate = 8000,
                                             .bitrate = 64,
                                             .bitrate_bps = 64000,
                                             .bufsize = 0x80000,
                                             .bufcount = 400,
                                             .maxframe = 32768};
    Bytes every_byte(256);
    for (size_t i = 0; i < every_byte.size(); i++)
        every_byte[i] = static_cast<uint8_t>(i);
    std::string why;
    Bytes expected;
    AudioDecoder::create(params, why)->decode({.data = every_byte}, [&](const Sound &sound) {
        const auto bytes = std::as_bytes(sound.samples);
        for (const std::byte byte : bytes)
            expected.push_back(static_cast<uint8_t>(byte));
    });

    Desk desk;
    desk.attach([](Machine &machine) { return make_audio_decode_driver(machine); });
    Player audio(desk, wire::node::adecode);
    ASSERT_EQ(audio.load("mpeg4sp_g7xx_dec"), 0);
    ASSERT_EQ(audio.set_up(params), 0);
    ASSERT_EQ(audio.start(), 0);
    ASSERT_TRUE(audio.feed(every_byte));
    const auto answer = audio.get();
    const std::span<uint8_t> data = desk.bytes(answer.frame.addr, answer.frame.size);
    EXPECT_EQ(Bytes(data.begin(), data.end()), expected);
    EXPECT_EQ(expected.size(), 512U);
}

} // namespace
} // namespace orka::board::desk
