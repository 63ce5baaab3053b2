#include "catalogue.h"

#include <algorithm>
#include <array>
#include <span>

#include "common/failure.h"

namespace orka::play {

namespace {

struct audio_row {
    AVCodecID codec;
    orka_audio_type_t type;
    int sample_rate; /* the one rate that the decoder takes; 0: any */
};

constexpr audio_row audio_rows[] = {
    {AV_CODEC_ID_AAC, ORKA_AUDIO_TYPE_AAC, 0},
    {AV_CODEC_ID_MP1, ORKA_AUDIO_TYPE_MP1, 0},
    {AV_CODEC_ID_MP2, ORKA_AUDIO_TYPE_MP2, 0},
    {AV_CODEC_ID_MP3, ORKA_AUDIO_TYPE_MP3, 0},
    {AV_CODEC_ID_VORBIS, ORKA_AUDIO_TYPE_OGG, 0},
    {AV_CODEC_ID_WMAV1, ORKA_AUDIO_TYPE_WMA, 0},
    {AV_CODEC_ID_WMAV2, ORKA_AUDIO_TYPE_WMA, 0},
    {AV_CODEC_ID_PCM_S16LE, ORKA_AUDIO_TYPE_PCM, 0},
    {AV_CODEC_ID_PCM_MULAW, ORKA_AUDIO_TYPE_G711, 8000},
    {AV_CODEC_ID_PCM_ALAW, ORKA_AUDIO_TYPE_G711, 8000},
    {AV_CODEC_ID_ADPCM_G722, ORKA_AUDIO_TYPE_G722, 16000},
    {AV_CODEC_ID_G723_1, ORKA_AUDIO_TYPE_G723, 8000},
    {AV_CODEC_ID_ADPCM_G726, ORKA_AUDIO_TYPE_G726, 8000},
    {AV_CODEC_ID_ADPCM_G726LE, ORKA_AUDIO_TYPE_G726, 8000},
    {AV_CODEC_ID_G729, ORKA_AUDIO_TYPE_G729, 8000},
};

struct video_row {
    AVCodecID codec;
    orka_video_type_t type;
    AVPixelFormat format; /* of raw pictures */
};

constexpr video_row video_rows[] = {
    {AV_CODEC_ID_MPEG4, ORKA_VIDEO_TYPE_MPEG4, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_H263, ORKA_VIDEO_TYPE_H263, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_H263P, ORKA_VIDEO_TYPE_H263, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_H264, ORKA_VIDEO_TYPE_H264, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_MPEG1VIDEO, ORKA_VIDEO_TYPE_MPEG1, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_MPEG2VIDEO, ORKA_VIDEO_TYPE_MPEG2, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_MSMPEG4V3, ORKA_VIDEO_TYPE_MSMPEG4, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_WMV1, ORKA_VIDEO_TYPE_WMV7, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_WMV2, ORKA_VIDEO_TYPE_WMV8, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_WMV3, ORKA_VIDEO_TYPE_WMV9, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_VC1, ORKA_VIDEO_TYPE_WMV9, AV_PIX_FMT_NONE},
    {AV_CODEC_ID_RAWVIDEO, ORKA_VIDEO_TYPE_YUV422, AV_PIX_FMT_UYVY422},
    {AV_CODEC_ID_RAWVIDEO, ORKA_VIDEO_TYPE_RGB888, AV_PIX_FMT_RGB24},
};

std::string no_image_has(const AVCodecParameters &stream)
{
    return std::string("no codec image decodes ") + avcodec_get_name(stream.codec_id);
}

/* kbit/s among those that the catalogue takes; 0: the type's default. */
uint32_t listed_bitrate(const AVCodecParameters &stream, orka_audio_type_t type)
{
    if (type == ORKA_AUDIO_TYPE_G723)
        return stream.bit_rate > 0 && stream.bit_rate <= 5500 ? 5 : 6;
    if (type == ORKA_AUDIO_TYPE_G726)
        return static_cast<uint32_t>(stream.bits_per_coded_sample) * 8;
    return 0;
}

bool any_bitrate(orka_audio_type_t type)
{
    switch (type) {
    case ORKA_AUDIO_TYPE_AAC:
    case ORKA_AUDIO_TYPE_MP1:
    case ORKA_AUDIO_TYPE_MP2:
    case ORKA_AUDIO_TYPE_MP3:
    case ORKA_AUDIO_TYPE_OGG:
    case ORKA_AUDIO_TYPE_WMA:
        return true;
    default:
        return false;
    }
}

/* The WMA encoder's flags, where the codec's header has them. */
uint32_t wma_flags(const AVCodecParameters &stream)
{
    const int offset = stream.codec_id == AV_CODEC_ID_WMAV1 ? 2 : 4;
    return stream.extradata_size >= offset + 2 ? AV_RL16(stream.extradata + offset) : 0;
}

/* What a codec's header does not tell the decoder. */
void fill_codec_words(orka_audio_desc_t &desc, const AVCodecParameters &stream)
{
    if (desc.type == ORKA_AUDIO_TYPE_G711)
        desc.extra1 = stream.codec_id == AV_CODEC_ID_PCM_ALAW;
    if (desc.type == ORKA_AUDIO_TYPE_G726)
        desc.extra1 = stream.codec_id == AV_CODEC_ID_ADPCM_G726LE;
    if (desc.type == ORKA_AUDIO_TYPE_WMA) {
        desc.extra1 = wma_flags(stream);
        desc.extra2 = static_cast<uint32_t>(stream.block_align);
    }
}

} // namespace

orka_audio_type_t audio_type(const AVCodecParameters &stream, std::string &why)
{
    for (const audio_row &row : audio_rows) {
        if (row.codec != stream.codec_id)
            continue;
        if (row.sample_rate == 0 || row.sample_rate == stream.sample_rate)
            return row.type;
        why = no_image_has(stream) + " at " + std::to_string(stream.sample_rate) + " Hz (only at " +
              std::to_string(row.sample_rate) + " Hz)";
        return ORKA_AUDIO_TYPE_NONE;
    }
    why = no_image_has(stream);
    return ORKA_AUDIO_TYPE_NONE;
}

orka_video_type_t video_type(const AVCodecParameters &stream, std::string &why)
{
    for (const video_row &row : video_rows) {
        if (row.codec == stream.codec_id && (row.format == AV_PIX_FMT_NONE || row.format == stream.format))
            return row.type;
    }
    why = no_image_has(stream);
    if (stream.codec_id == AV_CODEC_ID_RAWVIDEO) {
        const char *format = av_get_pix_fmt_name(static_cast<AVPixelFormat>(stream.format));
        why += std::string(" in ") + (format ? format : "an unknown format") + " (only in uyvy422 and rgb24)";
    }
    return ORKA_VIDEO_TYPE_NONE;
}

/*
 * The catalogue takes listed rates alone (no 44000 Hz, no 127 kbit/s), while its codecs decode any: it is
 * asked for the type's own rates, and the stream's true ones go into the descriptor that it filled.
 */
orka_idecode_audio_params_t audio_params(const AVCodecParameters &stream, orka_audio_type_t type)
{
    orka_audio_desc_t desc;
    if (orka_media_audio_desc(&desc, type, 0, listed_bitrate(stream, type)) != ORKA_STATUS_SUCCESS)
        throw Failure(no_image_has(stream) + " at this bit rate");
    desc.sample_rate = static_cast<uint32_t>(stream.sample_rate);
    desc.channels = static_cast<uint32_t>(stream.ch_layout.nb_channels);
    /* Above 4000 a bit rate counts as bit/s. */
    if (any_bitrate(type) && stream.bit_rate > 4000)
        desc.bitrate = static_cast<uint32_t>(stream.bit_rate);
    fill_codec_words(desc, stream);

    orka_idecode_audio_params_t params;
    if (orka_idecode_get_audio_params(&params, &desc) != ORKA_STATUS_SUCCESS)
        throw Failure(no_image_has(stream) + " at these rates");
    return params;
}

orka_idecode_video_params_t video_params(const AVCodecParameters &stream, orka_video_type_t type)
{
    orka_video_desc_t desc;
    orka_idecode_video_params_t params;
    if (orka_media_video_desc(&desc, type, static_cast<uint32_t>(stream.width),
                              static_cast<uint32_t>(stream.height)) != ORKA_STATUS_SUCCESS ||
        orka_idecode_get_video_params(&params, &desc) != ORKA_STATUS_SUCCESS)
        throw Failure(no_image_has(stream));
    /* Key frames of large pictures are larger than the usual frame: half the queue leaves room for the next.
     */
    params.maxframe = std::max(params.maxframe, params.bufsize / 2);
    return params;
}

namespace {

/* Of encoders whose streams need not name them: libavcodec tells them by the container's name for the codec.
 */
bool is_named_by_container_alone(const AVCodecParameters &stream, std::span<const uint8_t> header)
{
    constexpr uint32_t tags[] = {MKTAG('X', 'V', 'I', 'D'), MKTAG('X', 'V', 'I', 'X'),
                                 MKTAG('R', 'M', 'P', '4'), MKTAG('Z', 'M', 'P', '4'),
                                 MKTAG('S', 'I', 'P', 'P')};
    constexpr uint8_t user_data[] = {0, 0, 1, 0xB2};
    return stream.codec_id == AV_CODEC_ID_MPEG4 &&
           std::ranges::find(tags, stream.codec_tag) != std::end(tags) &&
           std::search(header.begin(), header.end(), std::begin(user_data), std::end(user_data)) ==
               header.end();
}

/* User data in a supplemental message, by which the board knows it. */
std::array<uint8_t, 25> reorder_note(int pictures)
{
    std::array<uint8_t, 25> note{0,   0,   0,   1,   6,   5,   17,  'o', 'r', 'k', 'a', ',', ' ',
                                 'h', 'e', 'l', 'd', ' ', 'b', 'a', 'c', 'k', ':', 0,   0x80};
    constexpr size_t number_at = 23;
    note[number_at] = static_cast<uint8_t>(pictures);
    return note;
}

} // namespace

std::vector<uint8_t> codec_header(const AVCodecParameters &stream, std::span<const uint8_t> extradata)
{
    constexpr uint8_t name[] = {0, 0, 1, 0xB2, 'X', 'v', 'i', 'D', '0', '0', '0', '0'};
    std::vector<uint8_t> header(extradata.begin(), extradata.end());
    if (is_named_by_container_alone(stream, extradata))
        header.insert(header.end(), std::begin(name), std::end(name));
    if (stream.codec_id == AV_CODEC_ID_H264) {
        const auto note = reorder_note(stream.video_delay);
        header.insert(header.end(), note.begin(), note.end());
    }
    return header;
}

/* The selection table does not list layers I and II; the images of layer III decode them. */
std::string select_image(orka_video_type_t video, orka_audio_type_t audio)
{
    if (audio == ORKA_AUDIO_TYPE_MP1 || audio == ORKA_AUDIO_TYPE_MP2)
        audio = ORKA_AUDIO_TYPE_MP3;
    const char *name = orka_idecode_get_codec_name(video, audio);
    return name ? name : "";
}

} // namespace orka::play
