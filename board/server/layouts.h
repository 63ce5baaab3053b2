/* What the records of every request hold, for whoever shows them to people. */
#ifndef ORKA_BOARD_SERVER_LAYOUTS_H
#define ORKA_BOARD_SERVER_LAYOUTS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "wire/orka_nodes.h"

namespace orka::board::layouts {

using wire::node;

enum class form : uint8_t { u8, u16, u32, i32, address, text };

struct field {
    std::string_view name;
    size_t offset;
    form as;
};

constexpr field image_name[] = {{"name", 0, form::text}};
constexpr field bytes[] = {{"bytes", 0, form::u32}};
constexpr field address[] = {{"address", 0, form::address}};

constexpr field mcbsp_port[] = {{"port", offsetof(orka_imem_mcbsp_registers_t, port), form::u16}};
constexpr field mcbsp_write[] = {
    {"port", offsetof(wire::mcbsp_write_record, port), form::u16},
    {"address", offsetof(wire::mcbsp_write_record, address), form::u16},
    {"value", offsetof(wire::mcbsp_write_record, value), form::u16},
};

constexpr field video_framework[] = {
    {"channel", offsetof(wire::video_framework_record, channel), form::i32},
    {"stream", offsetof(wire::video_framework_record, stream), form::i32},
    {"name", offsetof(wire::video_framework_record, name), form::text},
};
constexpr field channel[] = {
    {"channel", offsetof(wire::channel_record, channel), form::i32},
    {"stream", offsetof(wire::channel_record, stream), form::i32},
};

constexpr size_t audio_params = offsetof(wire::audio_setup_record, params);
constexpr field audio_setup[] = {
    {"channel", offsetof(wire::audio_setup_record, channel), form::i32},
    {"stream", offsetof(wire::audio_setup_record, stream), form::i32},
    {"codec", audio_params + offsetof(orka_idecode_audio_params_t, codec), form::u32},
    {"channels", audio_params + offsetof(orka_idecode_audio_params_t, channels), form::u8},
    {"sample_rate", audio_params + offsetof(orka_idecode_audio_params_t, sample_rate), form::u32},
    {"bitrate", audio_params + offsetof(orka_idecode_audio_params_t, bitrate), form::u32},
    {"bitrate_bps", audio_params + offsetof(orka_idecode_audio_params_t, bitrate_bps), form::u32},
    {"extra1", audio_params + offsetof(orka_idecode_audio_params_t, extra1), form::u32},
    {"extra2", audio_params + offsetof(orka_idecode_audio_params_t, extra2), form::u32},
    {"bufsize", audio_params + offsetof(orka_idecode_audio_params_t, bufsize), form::u32},
    {"bufcount", audio_params + offsetof(orka_idecode_audio_params_t, bufcount), form::u32},
    {"maxframe", audio_params + offsetof(orka_idecode_audio_params_t, maxframe), form::u32},
};

constexpr size_t video_params = offsetof(wire::video_setup_record, params);
constexpr field video_setup[] = {
    {"channel", offsetof(wire::video_setup_record, channel), form::i32},
    {"stream", offsetof(wire::video_setup_record, stream), form::i32},
    {"codec", video_params + offsetof(orka_idecode_video_params_t, codec), form::u32},
    {"width", video_params + offsetof(orka_idecode_video_params_t, width), form::u32},
    {"height", video_params + offsetof(orka_idecode_video_params_t, height), form::u32},
    {"flag", video_params + offsetof(orka_idecode_video_params_t, flag), form::u8},
    {"bufsize", video_params + offsetof(orka_idecode_video_params_t, bufsize), form::u32},
    {"bufcount", video_params + offsetof(orka_idecode_video_params_t, bufcount), form::u32},
    {"maxframe", video_params + offsetof(orka_idecode_video_params_t, maxframe), form::u32},
};

constexpr field subtitle_setup[] = {
    {"channel", offsetof(wire::subtitle_setup_record, channel), form::i32},
    {"word0", offsetof(wire::subtitle_setup_record, params), form::u32},
    {"word1", offsetof(wire::subtitle_setup_record, params) + 4, form::u32},
};
constexpr field image_setup[] = {
    {"channel", offsetof(wire::image_setup_record, channel), form::i32},
    {"type", offsetof(wire::image_setup_record, type), form::u32},
    {"width", offsetof(wire::image_setup_record, width), form::u32},
    {"height", offsetof(wire::image_setup_record, height), form::u32},
    {"input_bytes", offsetof(wire::image_setup_record, input_bytes), form::u32},
};

constexpr field flush[] = {
    {"channel", offsetof(wire::flush_record, channel), form::i32},
    {"stream", offsetof(wire::flush_record, stream), form::i32},
    {"flush", offsetof(wire::flush_record, flush), form::u32},
};
constexpr field gain[] = {
    {"first_mantissa", offsetof(orka_idecode_gain_t, first_mantissa), form::u16},
    {"second_mantissa", offsetof(orka_idecode_gain_t, second_mantissa), form::u16},
    {"first_shift", offsetof(orka_idecode_gain_t, first_shift), form::u16},
    {"second_shift", offsetof(orka_idecode_gain_t, second_shift), form::u16},
};
constexpr field wait[] = {
    {"channel", offsetof(wire::wait_record, channel), form::i32},
    {"stream", offsetof(wire::wait_record, stream), form::i32},
    {"timeout", offsetof(wire::wait_record, timeout), form::i32},
};
constexpr field wait_status[] = {{"status", offsetof(wire::wait_record, status), form::i32}};
constexpr field queue[] = {
    {"channel", offsetof(wire::queue_record, channel), form::i32},
    {"stream", offsetof(wire::queue_record, stream), form::i32},
    {"queueid", offsetof(wire::queue_record, queueid), form::u32},
};
constexpr field queue_place[] = {
    {"length", offsetof(wire::queue_record, length), form::u32},
    {"pbase", offsetof(wire::queue_record, pbase), form::address},
};
constexpr field frame_request[] = {
    {"channel", offsetof(wire::frame_request_record, channel), form::i32},
    {"stream", offsetof(wire::frame_request_record, stream), form::i32},
    {"queueid", offsetof(wire::frame_request_record, queueid), form::u32},
    {"timeout", offsetof(wire::frame_request_record, timeout), form::i32},
};
constexpr field frame_status[] = {{"status", offsetof(wire::frame_request_record, status), form::i32}};
constexpr field frame_return[] = {
    {"channel", offsetof(wire::frame_return_record, channel), form::i32},
    {"stream", offsetof(wire::frame_return_record, stream), form::i32},
    {"queueid", offsetof(wire::frame_return_record, queueid), form::u32},
};
constexpr field audio_clock[] = {{"channel", offsetof(wire::audio_clock_record, channel), form::i32}};
constexpr field audio_time[] = {{"tsms", offsetof(wire::audio_clock_record, tsms), form::u32}};
constexpr field video_time[] = {{"tsms", offsetof(wire::video_clock_record, tsms), form::u32}};

/* Encoders */

constexpr field encode_framework[] = {
    {"channel", offsetof(wire::encode_framework_record, channel), form::i32},
    {"stream", offsetof(wire::encode_framework_record, stream), form::i32},
    {"name", offsetof(wire::encode_framework_record, name), form::text},
};
constexpr size_t audio_encode_params = offsetof(wire::audio_encode_setup_record, params);
constexpr field audio_encode_setup[] = {
    {"channel", offsetof(wire::audio_encode_setup_record, channel), form::u32},
    {"codec", audio_encode_params + offsetof(orka_iencode_audio_params_t, codec), form::u32},
    {"channels", audio_encode_params + offsetof(orka_iencode_audio_params_t, channels), form::u32},
    {"sample_rate", audio_encode_params + offsetof(orka_iencode_audio_params_t, sample_rate), form::u32},
    {"bitrate", audio_encode_params + offsetof(orka_iencode_audio_params_t, bitrate), form::u32},
    {"bitrate_bps", audio_encode_params + offsetof(orka_iencode_audio_params_t, bitrate_bps), form::u32},
    {"mode", audio_encode_params + offsetof(orka_iencode_audio_params_t, mode), form::u32},
    {"bufsize", audio_encode_params + offsetof(orka_iencode_audio_params_t, bufsize), form::u32},
    {"bufcount", audio_encode_params + offsetof(orka_iencode_audio_params_t, bufcount), form::u32},
};
constexpr field video_encode_setup[] = {
    {"codec", offsetof(orka_iencode_video_params_t, codec), form::u32},
    {"frame_rate", offsetof(orka_iencode_video_params_t, frame_rate), form::u8},
    {"key_distance", offsetof(orka_iencode_video_params_t, key_distance), form::u8},
    {"width", offsetof(orka_iencode_video_params_t, width), form::u32},
    {"height", offsetof(orka_iencode_video_params_t, height), form::u32},
    {"bitrate", offsetof(orka_iencode_video_params_t, bitrate), form::u32},
    {"bufsize", offsetof(orka_iencode_video_params_t, bufsize), form::u32},
    {"bufcount", offsetof(orka_iencode_video_params_t, bufcount), form::u32},
    {"channel", offsetof(orka_iencode_video_params_t, channel), form::u32},
};
constexpr field image_encode_setup[] = {
    {"channel", offsetof(wire::image_encode_setup_record, channel), form::i32},
    {"type", offsetof(wire::image_encode_setup_record, type), form::u32},
    {"width", offsetof(wire::image_encode_setup_record, width), form::u32},
    {"height", offsetof(wire::image_encode_setup_record, height), form::u32},
    {"quality", offsetof(wire::image_encode_setup_record, quality), form::u32},
};
constexpr field encoder[] = {{"channel", offsetof(wire::audio_encoder_record, channel), form::u32}};
constexpr field aec[] = {{"word0", 0, form::u32}, {"word1", 4, form::u32}};
constexpr field encode_queue[] = {
    {"channel", offsetof(wire::audio_encode_queue_record, channel), form::u32},
    {"queueid", offsetof(wire::audio_encode_queue_record, queueid), form::u32},
};
constexpr field encode_queue_place[] = {
    {"length", offsetof(wire::audio_encode_queue_record, length), form::u32},
    {"pbase", offsetof(wire::audio_encode_queue_record, pbase), form::address},
};
constexpr field encode_frame_request[] = {
    {"channel", offsetof(wire::encode_frame_request_record, channel), form::u32},
    {"queueid", offsetof(wire::encode_frame_request_record, queueid), form::u32},
    {"timeout", offsetof(wire::encode_frame_request_record, timeout), form::i32},
};
constexpr field encode_frame_return[] = {
    {"channel", offsetof(wire::encode_frame_return_record, channel), form::u32},
    {"queueid", offsetof(wire::encode_frame_return_record, queueid), form::u32},
};
constexpr field video_queue_place[] = {
    {"length", offsetof(wire::video_encode_queue_record, length), form::u32},
    {"pbase", offsetof(wire::video_encode_queue_record, pbase), form::address},
};

/* Capture */

constexpr field capture_setup[] = {
    {"device", offsetof(orka_capture_params_t, device), form::text},
    {"mode", offsetof(orka_capture_params_t, mode), form::text},
    {"width", offsetof(orka_capture_params_t, width), form::u16},
    {"height", offsetof(orka_capture_params_t, height), form::u16},
    {"req_width", offsetof(orka_capture_params_t, req_width), form::u32},
    {"req_height", offsetof(orka_capture_params_t, req_height), form::u32},
    {"frame_rate", offsetof(orka_capture_params_t, frame_rate), form::u32},
    {"interlaced", offsetof(orka_capture_params_t, interlaced), form::u32},
};
constexpr field value[] = {{"value", 0, form::u32}};
constexpr field dimension[] = {
    {"width", offsetof(wire::capture_dimension_record, width), form::u32},
    {"height", offsetof(wire::capture_dimension_record, height), form::u32},
};
constexpr field vdecoder[] = {{"word0", 0, form::u32}, {"word1", 4, form::u32}};

/* Display */

constexpr field display_params[] = {
    {"device", offsetof(orka_display_params_t, device), form::text},
    {"mode", offsetof(orka_display_params_t, mode), form::text},
    {"width", offsetof(orka_display_params_t, width), form::u16},
    {"height", offsetof(orka_display_params_t, height), form::u16},
    {"interlaced", offsetof(orka_display_params_t, interlaced), form::u32},
    {"resize", offsetof(orka_display_params_t, resize), form::i32},
    {"pe_width", offsetof(orka_display_params_t, pe_width), form::u32},
    {"pe_height", offsetof(orka_display_params_t, pe_height), form::u32},
    {"src_width", offsetof(orka_display_params_t, src_width), form::u32},
    {"src_height", offsetof(orka_display_params_t, src_height), form::u32},
};
constexpr field osd_zoom[] = {
    {"zoom_a", offsetof(wire::osd_zoom_record, zoom_a), form::u32},
    {"zoom_b", offsetof(wire::osd_zoom_record, zoom_b), form::u32},
};
constexpr field display_channel[] = {{"channel", 0, form::u32}};
constexpr field buffer_place[] = {{"paddr", offsetof(wire::frame_buffer_record, paddr), form::address}};
constexpr field buffer_size[] = {
    {"width", offsetof(wire::frame_dimension_record, width), form::u32},
    {"height", offsetof(wire::frame_dimension_record, height), form::u32},
};
constexpr field resize[] = {
    {"first0", 0, form::u32},
    {"first1", 4, form::u32},
    {"second0", 8, form::u32},
    {"second1", 12, form::u32},
};

/* Within a record that carries a frame. */
constexpr field frame[] = {
    {"kind", offsetof(orka_idecode_frame_t, kind), form::u32},
    {"flags", offsetof(orka_idecode_frame_t, flags), form::u32},
    {"number", offsetof(orka_idecode_frame_t, number), form::u32},
    {"addr", offsetof(orka_idecode_frame_t, addr), form::address},
    {"size", offsetof(orka_idecode_frame_t, size), form::u32},
    {"width", offsetof(orka_idecode_frame_t, width), form::u32},
    {"height", offsetof(orka_idecode_frame_t, height), form::u32},
    {"tsms", offsetof(orka_idecode_frame_t, tsms), form::u32},
    {"stride", offsetof(orka_idecode_frame_t, stride), form::u32},
    {"capacity", offsetof(orka_idecode_frame_t, capacity), form::u32},
    {"duration", offsetof(orka_idecode_frame_t, duration), form::u32},
};
constexpr size_t no_frame = 0;
constexpr size_t returned_frame = offsetof(wire::frame_return_record, frame);
constexpr size_t given_frame = offsetof(wire::frame_request_record, frame);

/* What the records of a request hold; on the video node LOAD has another, on the image decoder's the setup.
 */
struct layout {
    uint32_t number;
    std::span<const field> in;
    size_t in_frame;
    std::span<const field> out = {};
    size_t out_frame = no_frame; /* there when the status before it is 0 */
    bool waits = false;
};

constexpr layout layouts[] = {
    {wire::IMANAGE_LOAD, image_name, no_frame},
    {wire::IMANAGE_RESET, {}, no_frame},
    {wire::IMANAGE_ALLOC, bytes, no_frame, address},
    {wire::IMANAGE_FREE, address, no_frame},
    {wire::IMANAGE_WRITE_MCBSP, mcbsp_write, no_frame},
    {wire::IMANAGE_READ_MCBSP, mcbsp_port, no_frame},
    {wire::IDECODE_LOAD, image_name, no_frame},
    {wire::IDECODE_SETUP_AUDIO, audio_setup, no_frame},
    {wire::IDECODE_SETUP_VIDEO, video_setup, no_frame},
    {wire::IDECODE_SETUP_SUBTITLE, subtitle_setup, no_frame},
    {wire::IDECODE_INIT, channel, no_frame},
    {wire::IDECODE_START, channel, no_frame},
    {wire::IDECODE_PAUSE, channel, no_frame},
    {wire::IDECODE_REWIND, channel, no_frame},
    {wire::IDECODE_FASTFORWARD, channel, no_frame},
    {wire::IDECODE_FLUSH, flush, no_frame},
    {wire::IDECODE_STOP, channel, no_frame},
    {wire::IDECODE_TEARDOWN, channel, no_frame},
    {wire::IDECODE_WAIT, wait, no_frame, wait_status, no_frame, true},
    {wire::IDECODE_SET_GAIN, gain, no_frame},
    {wire::IDECODE_QUEUE, queue, no_frame, queue_place},
    {wire::IDECODE_NEW_FRAME, frame_request, no_frame, frame_status, given_frame, true},
    {wire::IDECODE_COMMIT_FRAME, frame_return, returned_frame},
    {wire::IDECODE_GET_FRAME, frame_request, no_frame, frame_status, given_frame, true},
    {wire::IDECODE_RELEASE_FRAME, frame_return, returned_frame},
    {wire::IDECODE_RESET_AUDIO_CLOCK, audio_clock, no_frame},
    {wire::IDECODE_GET_AUDIO_CLOCK, audio_clock, no_frame, audio_time},
    {wire::IDECODE_GET_VIDEO_CLOCK, {}, no_frame, video_time},

    {wire::IENCODE_LOAD_VIDEO, encode_framework, no_frame},
    {wire::IENCODE_SETUP_VIDEO, video_encode_setup, no_frame},
    {wire::IENCODE_LOAD_AUDIO, image_name, no_frame},
    {wire::IENCODE_SETUP_AUDIO, audio_encode_setup, no_frame},
    {wire::IENCODE_START_AUDIO, encoder, no_frame},
    {wire::IENCODE_STOP_AUDIO, encoder, no_frame},
    {wire::IENCODE_TEARDOWN_AUDIO, encoder, no_frame},
    {wire::IENCODE_START_AEC, aec, no_frame},
    {wire::IENCODE_STOP_AEC, {}, no_frame},
    {wire::IENCODE_SET_GAIN, gain, no_frame},
    {wire::IENCODE_PASSTHRU_ENABLE, encoder, no_frame},
    {wire::IENCODE_PASSTHRU_DISABLE, encoder, no_frame},
    {wire::IENCODE_AUDIO_QUEUE, encode_queue, no_frame, encode_queue_place},
    {wire::IENCODE_NEW_FRAME, encode_frame_request, no_frame, frame_status, given_frame, true},
    {wire::IENCODE_COMMIT_FRAME, encode_frame_return, returned_frame},
    {wire::IENCODE_GET_FRAME, encode_frame_request, no_frame, frame_status, given_frame, true},
    {wire::IENCODE_RELEASE_FRAME, encode_frame_return, returned_frame},
    {wire::IENCODE_INIT_VIDEO, {}, no_frame},
    {wire::IENCODE_START_VIDEO, {}, no_frame},
    {wire::IENCODE_STOP_VIDEO, {}, no_frame},
    {wire::IENCODE_TEARDOWN_VIDEO, {}, no_frame},
    {wire::IENCODE_VIDEO_QUEUE, {}, no_frame, video_queue_place},
    {wire::IENCODE_GET_VIDEO_FRAME, {}, no_frame, frame},
    {wire::IENCODE_RELEASE_VIDEO_FRAME, {}, no_frame},
    {wire::IENCODE_MV_QUEUE, {}, no_frame, video_queue_place},
    {wire::IENCODE_GET_MV_FRAME, {}, no_frame, frame},
    {wire::IENCODE_RELEASE_MV_FRAME, {}, no_frame},
    {wire::IENCODE_LOAD_IMAGE, image_name, no_frame},
    {wire::IENCODE_SETUP_IMAGE, image_encode_setup, no_frame},
    {wire::IENCODE_TEARDOWN_IMAGE, encoder, no_frame},
    {wire::IENCODE_IMAGE_QUEUE, encode_queue, no_frame, encode_queue_place},
    {wire::IENCODE_GET_IMAGE, encode_frame_request, no_frame, frame_status, given_frame, true},
    {wire::IENCODE_RELEASE_IMAGE, encode_frame_return, returned_frame},

    {wire::ICAPTURE_SETUP, capture_setup, no_frame},
    {wire::ICAPTURE_ENABLE, value, no_frame},
    {wire::ICAPTURE_SET_CHANNELS, value, no_frame},
    {wire::ICAPTURE_SET_START_CHANNEL, value, no_frame},
    {wire::ICAPTURE_SET_PASSTHRU, value, no_frame},
    {wire::ICAPTURE_BUFFER_BASE, {}, no_frame, address},
    {wire::ICAPTURE_BUFFER_SIZE, {}, no_frame, bytes},
    {wire::ICAPTURE_DIMENSION, {}, no_frame, dimension},
    {wire::ICAPTURE_GET_FRAME, {}, no_frame, address},
    {wire::ICAPTURE_RELEASE_FRAME, address, no_frame},
    {wire::ICAPTURE_VDECODER_CONTROL, vdecoder, no_frame, vdecoder},

    {wire::IDISPLAY_SETUP, display_params, no_frame},
    {wire::IDISPLAY_SET_OUTPUT, display_params, no_frame},
    {wire::IDISPLAY_GET_OUTPUT, {}, no_frame, display_params},
    {wire::IDISPLAY_ENABLE, value, no_frame},
    {wire::IDISPLAY_TEARDOWN, {}, no_frame},
    {wire::IDISPLAY_RESYNC, {}, no_frame},
    {wire::IDISPLAY_MASK, {}, no_frame},
    {wire::IDISPLAY_UNMASK, {}, no_frame},
    {wire::IDISPLAY_OSD_ZOOM, osd_zoom, no_frame},
    {wire::IDISPLAY_BUFFER_BASE, {}, no_frame, address},
    {wire::IDISPLAY_BUFFER_SIZE, {}, no_frame, bytes},
    {wire::IDISPLAY_GET_FRAME_BUFFER, display_channel, no_frame, buffer_place},
    {wire::IDISPLAY_GET_FRAME_DIMENSION, display_channel, no_frame, buffer_size},
    {wire::IDISPLAY_RELEASE_FRAME_BUFFER, value, no_frame},
    {wire::IDECODE_SET_RESIZE, resize, no_frame},
};
constexpr layout video_load = {wire::IDECODE_LOAD, video_framework, no_frame};
constexpr layout image_decode_setup = {wire::IDECODE_SETUP_IMAGE, image_setup, no_frame};

constexpr const layout *find_layout(const wire::request_row &row)
{
    if (row.node == node::vdecode && row.number == wire::IDECODE_LOAD)
        return &video_load;
    if (row.node == node::imgdecode && row.number == wire::IDECODE_SETUP_IMAGE)
        return &image_decode_setup;
    for (const layout &candidate : layouts) {
        if (candidate.number == row.number)
            return &candidate;
    }
    return nullptr;
}

constexpr bool every_request_has_a_layout()
{
    for (const wire::request_row &row : wire::requests) {
        if (!find_layout(row))
            return false;
    }
    return true;
}
static_assert(every_request_has_a_layout());

} // namespace orka::board::layouts

#endif
