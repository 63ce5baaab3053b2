#include "headers.h"

#include <algorithm>
#include <cstring>
#include <vector>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
extern "C" {
#include <libavcodec/bsf.h>
}
#pragma GCC diagnostic pop

#include "common/failure.h"
#include "encoder.h"
#include "orka_video_utils.h"

namespace orka::record {

namespace {

/* The longest header that the library writes. */
constexpr size_t vol_header_limit = 64;

struct FilterDeleter {
    void operator()(AVBSFContext *filter) const { av_bsf_free(&filter); }
};
using FilterPtr = std::unique_ptr<AVBSFContext, FilterDeleter>;

FilterPtr make_extractor(const AVCodecParameters &stream)
{
    AVBSFContext *filter = nullptr;
    if (av_bsf_alloc(av_bsf_get_by_name("extract_extradata"), &filter) < 0)
        throw Failure("out of memory");
    FilterPtr owner(filter);
    if (avcodec_parameters_copy(filter->par_in, &stream) < 0 || av_bsf_init(filter) < 0)
        return nullptr;
    return owner;
}

/* The parameter sets of H.264, the sequence header of MPEG-2. */
std::vector<uint8_t> extract(std::span<const uint8_t> picture, const AVCodecParameters &stream)
{
    const FilterPtr filter = make_extractor(stream);
    const PacketPtr packet(av_packet_alloc());
    if (!filter || !packet || av_new_packet(packet.get(), static_cast<int>(picture.size())) < 0)
        return {};
    std::ranges::copy(picture, packet->data);
    if (av_bsf_send_packet(filter.get(), packet.get()) < 0 ||
        av_bsf_receive_packet(filter.get(), packet.get()) < 0)
        return {};
    size_t size = 0;
    const uint8_t *headers = av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    return headers ? std::vector<uint8_t>(headers, headers + size) : std::vector<uint8_t>();
}

/* All up to the end of the layer's header, which the stream brings or the library writes. */
std::vector<uint8_t> mpeg4_headers(const orka_iencode_frame_t &first, const AVCodecParameters &stream)
{
    const std::span<const uint8_t> picture = frame_data(first);
    uint32_t length = 0;
    if (const uint8_t *layer = orka_video_utils_find_vol_header(&first, &length))
        return {picture.data(), layer + length};
    std::vector<uint8_t> headers(vol_header_limit);
    length = vol_header_limit;
    orka_video_utils_encode_vol_header(static_cast<uint32_t>(stream.width),
                                       static_cast<uint32_t>(stream.height), headers.data(), &length);
    headers.resize(length);
    return headers;
}

} // namespace

void set_headers(AVCodecParameters &stream, std::span<const uint8_t> headers)
{
    av_freep(&stream.extradata);
    stream.extradata = static_cast<uint8_t *>(av_mallocz(headers.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!stream.extradata)
        throw Failure("out of memory");
    std::ranges::copy(headers, stream.extradata);
    stream.extradata_size = static_cast<int>(headers.size());
}

std::vector<uint8_t> video_headers(const orka_iencode_frame_t &first, orka_video_type_t type,
                                   const AVCodecParameters &stream)
{
    if (type == ORKA_VIDEO_TYPE_MPEG4)
        return mpeg4_headers(first, stream);
    if (type == ORKA_VIDEO_TYPE_H264 || type == ORKA_VIDEO_TYPE_MPEG2)
        return extract(frame_data(first), stream);
    return {};
}

std::vector<uint8_t> silence_like(std::span<const uint8_t> packet, const AVCodecParameters &stream)
{
    constexpr size_t mp3_header = 4; /* what follows says by zeros that there is nothing to hear */
    constexpr uint8_t mulaw_zero = 0xFF;
    std::vector<uint8_t> silence(packet.begin(), packet.end());
    if (stream.codec_id == AV_CODEC_ID_PCM_S16LE)
        std::ranges::fill(silence, uint8_t{0});
    if (stream.codec_id == AV_CODEC_ID_PCM_MULAW)
        std::ranges::fill(silence, mulaw_zero);
    if (stream.codec_id == AV_CODEC_ID_MP3)
        std::ranges::fill(std::span(silence).subspan(std::min(mp3_header, silence.size())), uint8_t{0});
    return silence;
}

/*
 * The frame test alone takes some predicted pictures of MPEG-4 for key frames, and knows no start codes of
 * H.263: it confirms what the encoder says where it can.
 */
bool is_key_frame(bool said, std::span<const uint8_t> picture, orka_video_type_t type)
{
    if (!said || type == ORKA_VIDEO_TYPE_H263)
        return said;
    return orka_media_check_video_keyframe(picture.data(), static_cast<uint32_t>(picture.size()), type) == 0;
}

} // namespace orka::record
