#include "fuzz/default_record.h"

#include <array>
#include <cstring>
#include <string_view>

namespace orka_test {

using namespace orka::wire;

namespace {

constexpr std::string_view images[] = {
    "mpeg4_pcm_dec",   "mpeg4_pcm_enc",
    "image_dec",       "image_enc",
    "subtitle_dec",    "jpeg_enc",
    "h264_pcm_dec",    "h264_aac_dec",
    "mpeg2_pcm_dec",   "mpeg2_pcm_enc",
    "h264_pcm_enc",    "mpeg4sp_mp3_dec",
    "ogg_dec",         "yuv422_pcm_dec",
    "rgb888_pcm_dec",  "mpeg4sp_g7xx_dec",
    "wmv9_wma_dec",    "divx311_pcm_dec",
    "mpeg4_aac_enc",   "mpeg4_g711_aec_codec",
    "mpeg4sp_mp3_enc", "mpeg4_g722_aec_codec",
    "/etc/passwd",     "",
};

constexpr uint32_t video_codecs[] = {1, 1, 4, 5, 6, 7, 8, 10, 15, 16, 256, 257, 3};
constexpr uint32_t audio_codecs[] = {6, 0, 1, 2, 3, 4, 7, 8, 10, 13, 14, 25, 26, 27, 28, 29, 30};
constexpr uint32_t coded_video[] = {1, 1, 6, 8, 10, 2};
constexpr uint32_t coded_audio[] = {6, 0, 3, 4, 7, 8, 10, 27, 26, 25};

template <typename Record>
std::vector<uint8_t> bytes_of(const Record &record)
{
    const auto *const bytes = reinterpret_cast<const uint8_t *>(&record);
    return {bytes, bytes + sizeof record};
}

std::vector<uint8_t> image_name(Script &script)
{
    const std::string_view name = script.pick(images);
    std::vector<uint8_t> bytes(name.begin(), name.end());
    bytes.push_back(0);
    return bytes;
}

template <typename Record>
std::vector<uint8_t> framework(Script &script)
{
    Record record{};
    script.pick(images).copy(record.name, sizeof record.name - 1);
    return bytes_of(record);
}

std::vector<uint8_t> video_setup(Script &script)
{
    return bytes_of(video_setup_record{.channel = 0,
                                       .stream = 0,
                                       .params = {.codec = script.pick(video_codecs),
                                                  .width = 64,
                                                  .height = 48,
                                                  .bufsize = 0x20000,
                                                  .bufcount = 8,
                                                  .maxframe = 0x4000}});
}

std::vector<uint8_t> audio_setup(Script &script)
{
    return bytes_of(audio_setup_record{.channel = 0,
                                       .stream = 0,
                                       .params = {.codec = script.pick(audio_codecs),
                                                  .channels = 1,
                                                  .sample_rate = 8000,
                                                  .bitrate = 64,
                                                  .bitrate_bps = 64000,
                                                  .bufsize = 0x8000,
                                                  .bufcount = 8,
                                                  .maxframe = 0x1000}});
}

std::vector<uint8_t> video_encode_setup(Script &script)
{
    return bytes_of(orka_iencode_video_params_t{.codec = script.pick(coded_video),
                                                .frame_rate = 30,
                                                .key_distance = 15,
                                                .width = 64,
                                                .height = 48,
                                                .bitrate = 3000,
                                                .bufsize = 0x8000,
                                                .bufcount = 8});
}

std::vector<uint8_t> audio_encode_setup(Script &script)
{
    return bytes_of(audio_encode_setup_record{.channel = 0,
                                              .reserved = 0,
                                              .params = {.codec = script.pick(coded_audio),
                                                         .channels = 1,
                                                         .sample_rate = 8000,
                                                         .bitrate = 64,
                                                         .bitrate_bps = 64000,
                                                         .bufsize = 0x8000,
                                                         .bufcount = 8}});
}

std::vector<uint8_t> capture_setup()
{
    return bytes_of(orka_capture_params_t{.words0 = {0, 0, 1, 1, 1, 10},
                                          .out_width = 720,
                                          .out_height = 240,
                                          .words40 = {0, 6, 6},
                                          .frame_rate = 30,
                                          .device = "TVP5150",
                                          .mode = "a_mode",
                                          .width = 720,
                                          .height = 240,
                                          .interlaced = 0});
}

std::vector<uint8_t> display_output()
{
    return bytes_of(orka_display_params_t{.device = "LCD",
                                          .mode = "QVGA",
                                          .width = 320,
                                          .height = 240,
                                          .words = {0, 1, 1, 8, 8},
                                          .resize = 1,
                                          .pe_width = 320,
                                          .pe_height = 240});
}

std::vector<uint8_t> image_setup()
{
    return bytes_of(image_setup_record{
        .channel = 0, .stream = 0, .type = 0, .width = 64, .height = 64, .input_bytes = 0x2000});
}

uint32_t queue_of(node on)
{
    return on == node::adecode || on == node::subtldecode || on == node::aencode ? 3 : 8;
}

/* Of a queue and its frames: all begin alike, and end with the frame where they return one. */
std::vector<uint8_t> frame_record(const request_row &row, const orka_idecode_frame_t &frame)
{
    std::vector<uint8_t> bytes(row.in);
    const uint32_t queue = queue_of(row.node);
    memcpy(&bytes[offsetof(queue_record, queueid)], &queue, sizeof queue);
    if (row.in == sizeof(frame_return_record))
        memcpy(&bytes[offsetof(frame_return_record, frame)], &frame, sizeof frame);
    return bytes;
}

} // namespace

std::vector<uint8_t> default_record(const request_row &row, const orka_idecode_frame_t &frame, Script &script)
{
    if (row.argument == argument::name)
        return image_name(script);
    switch (row.number) {
    case IDECODE_LOAD:
        return framework<video_framework_record>(script);
    case IENCODE_LOAD_VIDEO:
        return framework<encode_framework_record>(script);
    case IDECODE_SETUP_VIDEO:
        return video_setup(script);
    case IDECODE_SETUP_AUDIO:
        return audio_setup(script);
    case IENCODE_SETUP_VIDEO:
        return video_encode_setup(script);
    case IENCODE_SETUP_AUDIO:
        return audio_encode_setup(script);
    case ICAPTURE_SETUP:
        return capture_setup();
    case IDISPLAY_SETUP:
    case IDISPLAY_SET_OUTPUT:
        return display_output();
    case ICAPTURE_RELEASE_FRAME:
        return bytes_of(frame.addr);
    default:
        break;
    }
    if (row.name == "IDECODE_SETUP_IMAGE")
        return image_setup();
    if (row.in == sizeof(frame_request_record) || row.in == sizeof(frame_return_record))
        return frame_record(row, frame);
    return std::vector<uint8_t>(row.in);
}

} // namespace orka_test
