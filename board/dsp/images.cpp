#include "dsp/images.h"

#include <algorithm>
#include <array>

#include "wire/orka_imanage_wire.h"

namespace orka::board {

namespace {

/* Codec numbers by what they stand for. */
constexpr uint32_t video_mpeg4_h263[] = {1};
constexpr uint32_t video_divx3[] = {4};
constexpr uint32_t video_wmv9[] = {5};
constexpr uint32_t video_h264[] = {6};
constexpr uint32_t video_mpeg12[] = {7, 8};
constexpr uint32_t video_mpeg2[] = {8};
constexpr uint32_t video_jpeg[] = {10};
constexpr uint32_t video_wmv8[] = {15};
constexpr uint32_t video_wmv7[] = {16};
constexpr uint32_t video_yuv422[] = {256};
constexpr uint32_t video_rgb888[] = {257};
constexpr uint32_t video_mpeg4_wmv9[] = {1, 5};

constexpr uint32_t audio_g726[] = {0, 1, 2, 3};
constexpr uint32_t audio_g711[] = {4};
constexpr uint32_t audio_g711_g726[] = {0, 1, 2, 3, 4};
constexpr uint32_t audio_pcm[] = {6};
constexpr uint32_t audio_pcm_wma[] = {6, 8};
constexpr uint32_t audio_mp3[] = {7};
constexpr uint32_t audio_mpeg_layers[] = {7, 13};
constexpr uint32_t audio_wma[] = {8};
constexpr uint32_t audio_aac[] = {10};
constexpr uint32_t audio_vorbis[] = {14};
constexpr uint32_t audio_g729[] = {25};
constexpr uint32_t audio_g723[] = {26};
constexpr uint32_t audio_g722[] = {27, 28, 29};
constexpr uint32_t audio_g7221[] = {30, 31};

constexpr uint32_t subtitle_text[] = {0}; /* a setup names no codec */

/* Sorted by name; what an image decodes, then what it encodes. Those that cancel echo work the sound
   chip behind the serial ports themselves. */
constexpr auto images = std::to_array<CodecImage>({
    {"divx311_pcm_dec", video_divx3, audio_pcm},
    {"h264_aac_dec", video_h264, audio_aac},
    {"h264_pcm_dec", video_h264, audio_pcm},
    {"h264_pcm_enc", {}, {}, video_h264, audio_pcm},
    {"jpeg_enc", {}, {}, video_jpeg, {}},
    {"mpeg2_pcm_dec", video_mpeg12, audio_pcm},
    {"mpeg2_pcm_enc", {}, {}, video_mpeg2, audio_pcm},
    {"mpeg4_aac_dec", video_mpeg4_h263, audio_aac},
    {"mpeg4_aac_enc", {}, {}, video_mpeg4_h263, audio_aac},
    {"mpeg4_g711_aec_codec", {}, {}, video_mpeg4_h263, audio_g711, true},
    {"mpeg4_g7221_aec_codec", video_mpeg4_h263, audio_g7221, video_mpeg4_h263, audio_g7221, true},
    {"mpeg4_g722_aec_codec", video_mpeg4_h263, audio_g722, video_mpeg4_h263, audio_g722, true},
    {"mpeg4_g723_aec_codec", video_mpeg4_h263, audio_g723, video_mpeg4_h263, audio_g723, true},
    {"mpeg4_g726_aec_codec", video_mpeg4_h263, audio_g726, video_mpeg4_h263, audio_g726, true},
    {"mpeg4_g729_aec_codec", video_mpeg4_h263, audio_g729, video_mpeg4_h263, audio_g729, true},
    {"mpeg4_pcm_dec", video_mpeg4_h263, audio_pcm},
    {"mpeg4_pcm_enc", {}, {}, video_mpeg4_h263, audio_pcm_wma},
    {"mpeg4sp_g7xx_dec", video_mpeg4_h263, audio_g711_g726},
    {"mpeg4sp_g7xx_enc", {}, {}, video_mpeg4_h263, audio_g726},
    {"mpeg4sp_mp3_dec", video_mpeg4_h263, audio_mpeg_layers},
    {"mpeg4sp_mp3_enc", {}, {}, video_mpeg4_h263, audio_mp3},
    {"ogg_dec", {}, audio_vorbis},
    {"rgb888_pcm_dec", video_rgb888, audio_pcm},
    {"subtitle_dec", {}, {}, {}, {}, false, subtitle_text},
    {"wmv7_pcm_dec", video_wmv7, audio_pcm},
    {"wmv7_wma_dec", video_wmv7, audio_wma},
    {"wmv8_pcm_dec", video_wmv8, audio_pcm},
    {"wmv8_wma_dec", video_wmv8, audio_wma},
    {"wmv9_pcm_dec", video_wmv9, audio_pcm},
    {"wmv9_wma_dec", video_mpeg4_wmv9, audio_wma},
    {"yuv422_pcm_dec", video_yuv422, audio_pcm},
});

constexpr bool sorted_without_twins()
{
    return std::ranges::adjacent_find(images, std::ranges::greater_equal{}, &CodecImage::name) ==
           images.end();
}

/* A load request carries the name with its end. */
constexpr bool names_fit_a_request()
{
    return std::ranges::all_of(
        images, [](const CodecImage &image) { return image.name.size() < wire::image_name_size; });
}

static_assert(sorted_without_twins());
static_assert(names_fit_a_request());

bool contains(std::span<const uint32_t> codecs, uint32_t codec)
{
    return std::ranges::find(codecs, codec) != codecs.end();
}

} // namespace

bool CodecImage::decodes_video(uint32_t codec) const
{
    return contains(video, codec);
}

bool CodecImage::decodes_audio(uint32_t codec) const
{
    return contains(audio, codec);
}

bool CodecImage::decodes_subtitles(uint32_t codec) const
{
    return contains(subtitles, codec);
}

bool CodecImage::encodes_video(uint32_t codec) const
{
    return contains(coded_video, codec);
}

bool CodecImage::encodes_audio(uint32_t codec) const
{
    return contains(coded_audio, codec);
}

const CodecImage *find_image(std::string_view name)
{
    const auto found = std::ranges::lower_bound(images, name, {}, &CodecImage::name);
    return found != images.end() && found->name == name ? found : nullptr;
}

} // namespace orka::board
