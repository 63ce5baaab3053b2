/* The VOL headers that the library writes, read by libavcodec. */
#include "orka_video_utils.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct ParserCloser {
    void operator()(AVCodecParserContext *parser) const { av_parser_close(parser); }
};

struct ContextCloser {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};

struct Size {
    uint32_t width;
    uint32_t height;

    bool operator==(const Size &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Size &size)
{
    return stream << size.width << "x" << size.height;
}

/* The header, and behind it the start of a picture: nothing that says more about sizes. */
std::vector<uint8_t> stream_of(Size size)
{
    std::vector<uint8_t> stream(64);
    uint32_t length = 64;

    EXPECT_EQ(orka_video_utils_encode_vol_header(size.width, size.height, stream.data(), &length), 22);
    stream.resize(length);
    stream.insert(stream.end(), {0x00, 0x00, 0x01, 0xB6, 0x10, 0x03, 0x04, 0x00});
    return stream;
}

Size parsed(std::vector<uint8_t> stream)
{
    const std::unique_ptr<AVCodecParserContext, ParserCloser> parser(av_parser_init(AV_CODEC_ID_MPEG4));
    const std::unique_ptr<AVCodecContext, ContextCloser> context(
        avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_MPEG4)));
    const int size = static_cast<int>(stream.size());
    uint8_t *out = nullptr;
    int out_size = 0;

    stream.resize(stream.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    av_parser_parse2(parser.get(), context.get(), &out, &out_size, stream.data(), size, AV_NOPTS_VALUE,
                     AV_NOPTS_VALUE, 0);
    return {static_cast<uint32_t>(context->width), static_cast<uint32_t>(context->height)};
}

TEST(VolHeader, GivesLibavcodecItsWidthAndHeight)
{
    const uint32_t lengths[] = {1, 2, 16, 17, 176, 352, 480, 640, 720, 1080, 1920, 4095, 4096, 8190, 8191};

    for (const uint32_t width : lengths) {
        for (const uint32_t height : lengths)
            ASSERT_EQ(parsed(stream_of({width, height})), (Size{width, height}));
    }
}

TEST(VolHeader, IsWhatLibavcodecTakesTheSizeFrom)
{
    std::vector<uint8_t> stream = stream_of({640, 480});
    stream[3] = 0xB5; /* another start code */
    EXPECT_EQ(parsed(stream), (Size{0, 0}));
}

} // namespace
