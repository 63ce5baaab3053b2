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
constexpr uint32_t all_stills[] = {1, 2, 3, 4, 5};
constexpr uint32_t all_stills_or_untold[] = {0, 1, 2, 3, 4, 5};
constexpr uint32_t still_jpeg[] = {3};

/* Sorted by name. Those that cancel echo work the sound chip behind the serial ports themselves. */
constexpr auto images = std::to_array<CodecImage>({
    {.name = "divx311_pcm_dec", .video = video_divx3, .audio = audio_pcm},
    {.name = "h264_aac_dec", .video = video_h264, .audio = audio_aac},
    {.name = "h264_pcm_dec", .video = video_h264, .audio = audio_pcm},
    {.name = "h264_pcm_enc", .coded_video = video_h264, .coded_audio = audio_pcm},
    {.name = "image_dec", .stills = all_stills_or_untold},
    {.name = "image_enc", .coded_stills = all_stills},
    {.name = "jpeg_enc", .coded_video = video_jpeg, .coded_stills = still_jpeg},
    {.name = "mpeg2_pcm_dec", .video = video_mpeg12, .audio = audio_pcm},
    {.name = "mpeg2_pcm_enc", .coded_video = video_mpeg2, .coded_audio = audio_pcm},
    {.name = "mpeg4_aac_dec", .video = video_mpeg4_h263, .audio = audio_aac},
    {.name = "mpeg4_aac_enc", .coded_video = video_mpeg4_h263, .coded_audio = audio_aac},
    {.name = "mpeg4_g711_aec_codec",
     .coded_video = video_mpeg4_h263,
     .coded_audio = audio_g711,
     .serial_ports = true},
    {.name = "mpeg4_g7221_aec_codec",
     .video = video_mpeg4_h263,
     .audio = audio_g7221,
     .coded_video = video_mpeg4_h263,
     .coded_audio = audio_g7221,
     .serial_ports = true},
    {.name = "mpeg4_g722_aec_codec",
     .video = video_mpeg4_h263,
     .audio = audio_g722,
     .coded_video = video_mpeg4_h263,
     .coded_audio = audio_g722,
     .serial_ports = true},
    {.name = "mpeg4_g723_aec_codec",
     .video = video_mpeg4_h263,
     .audio = audio_g723,
     .coded_video = video_mpeg4_h263,
     .coded_audio = audio_g723,
     .serial_ports = true},
    {.name = "mpeg4_g726_aec_codec",
     .video = video_mpeg4_h263,
     .audio = audio_g726,
     .coded_video = video_mpeg4_h263,
     .coded_audio = audio_g726,
     .serial_ports = true},
    {.name = "mpeg4_g729_aec_codec",
     .video = video_mpeg4_h263,
     .audio = audio_g729,
     .coded_video = video_mpeg4_h263,
     .coded_audio = audio_g729,
     .serial_ports = true},
    {.name = "mpeg4_pcm_dec", .video = video_mpeg4_h263, .audio = audio_pcm},
    {.name = "mpeg4_pcm_enc", .coded_video = video_mpeg4_h263, .coded_audio = audio_pcm_wma},
    {.name = "mpeg4sp_g7xx_dec", .video = video_mpeg4_h263, .audio = audio_g711_g726},
    {.name = "mpeg4sp_g7xx_enc", .coded_video = video_mpeg4_h263, .coded_audio = audio_g726},
    {.name = "mpeg4sp_mp3_dec", .video = video_mpeg4_h263, .audio = audio_mpeg_layers},
    {.name = "mpeg4sp_mp3_enc", .coded_video = video_mpeg4_h263, .coded_audio = audio_mp3},
    {.name = "ogg_dec", .audio = audio_vorbis},
    {.name = "rgb888_pcm_dec", .video = video_rgb888, .audio = audio_pcm},
    {.name = "subtitle_dec", .subtitles = subtitle_text},
    {.name = "wmv7_pcm_dec", .video = video_wmv7, .audio = audio_pcm},
    {.name = "wmv7_wma_dec", .video = video_wmv7, .audio = audio_wma},
    {.name = "wmv8_pcm_dec", .video = video_wmv8, .audio = audio_pcm},
    {.name = "wmv8_wma_dec", .video = video_wmv8, .audio = audio_wma},
    {.name = "wmv9_pcm_dec", .video = video_wmv9, .audio = audio_pcm},
    {.name = "wmv9_wma_dec", .video = video_mpeg4_wmv9, .audio = audio_wma},
    {.name = "yuv422_pcm_dec", .video = video_yuv422, .audio = audio_pcm},
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

bool CodecImage::decodes_still(uint32_t type) const
{
    return contains(stills, type);
}

bool CodecImage::encodes_still(uint32_t type) const
{
    return contains(coded_stills, type);
}

const CodecImage *find_image(std::string_view name)
{
    const auto found = std::ranges::lower_bound(images, name, {}, &CodecImage::name);
    return found != images.end() && found->name == name ? found : nullptr;
}

} // namespace orka::board
