#include "catalogue.h"

#include <algorithm>

#include "common/failure.h"
#include "common/quiet.h"

namespace orka::record {

namespace {

struct audio_row {
    orka_audio_type_t type;
    AVCodecID codec;
    int frame_size; /* samples of a packet at 48000 Hz that does not tell by itself; 0: it does */
    int bits;       /* of a coded sample, where it has a fixed number */
    int delay;      /* samples that a decoder gives before the first that was captured */
};

constexpr audio_row audio_rows[] = {
    {ORKA_AUDIO_TYPE_AAC, AV_CODEC_ID_AAC, 1024, 0, 1024},
    {ORKA_AUDIO_TYPE_MP3, AV_CODEC_ID_MP3, 1152, 0, 1105},
    {ORKA_AUDIO_TYPE_PCM, AV_CODEC_ID_PCM_S16LE, 0, 16, 0},
    {ORKA_AUDIO_TYPE_G711, AV_CODEC_ID_PCM_MULAW, 0, 8, 0},
    {ORKA_AUDIO_TYPE_G722, AV_CODEC_ID_ADPCM_G722, 0, 4, 0},
    {ORKA_AUDIO_TYPE_G723, AV_CODEC_ID_G723_1, 240, 0, 0},
    {ORKA_AUDIO_TYPE_G726, AV_CODEC_ID_ADPCM_G726, 0, 0, 0},
    {ORKA_AUDIO_TYPE_WMA, AV_CODEC_ID_WMAV2, 2048, 0, 2048},
};

struct video_row {
    orka_video_type_t type;
    AVCodecID codec;
};

constexpr video_row video_rows[] = {
    {ORKA_VIDEO_TYPE_MPEG4, AV_CODEC_ID_MPEG4},
    {ORKA_VIDEO_TYPE_H263, AV_CODEC_ID_H263},
    {ORKA_VIDEO_TYPE_H264, AV_CODEC_ID_H264},
    {ORKA_VIDEO_TYPE_MPEG2, AV_CODEC_ID_MPEG2VIDEO},
};

template <typename Row, size_t Count, typename Type>
const Row &row_of(const Row (&rows)[Count], Type type)
{
    for (const Row &row : rows) {
        if (row.type == type)
            return row;
    }
    throw std::logic_error("a type that no container carries");
}

/* The largest of H.263's own sizes that a camera's picture fills. */
constexpr uint32_t h263_width = 352;
constexpr uint32_t h263_height = 288;
constexpr uint32_t standard_width = 720;
constexpr uint32_t ntsc_height = 480;
constexpr uint32_t pal_height = 576;

uint32_t default_width(const Options &options)
{
    return options.video == ORKA_VIDEO_TYPE_H263 ? h263_width : standard_width;
}

uint32_t default_height(const Options &options)
{
    if (options.video == ORKA_VIDEO_TYPE_H263)
        return h263_height;
    return options.pal ? pal_height : ntsc_height;
}

/* Of a packet; these two codecs have shorter ones for low sample rates. */
int packet_samples(const audio_row &row, uint32_t sample_rate)
{
    if (row.type == ORKA_AUDIO_TYPE_MP3 && sample_rate < 32000)
        return row.frame_size / 2;
    if (row.type == ORKA_AUDIO_TYPE_WMA && sample_rate <= 22050)
        return row.frame_size / (sample_rate <= 16000 ? 4 : 2);
    return row.frame_size;
}

} // namespace

std::vector<orka_audio_type_t> sounds_beside(orka_video_type_t video, const Container &container)
{
    const Quiet quiet(stderr); /* the selection reports every pair that no image serves */
    std::vector<orka_audio_type_t> sounds;
    for (const orka_audio_type_t audio : container.audios) {
        if (orka_iencode_get_codec_name(video, audio) != nullptr)
            sounds.push_back(audio);
    }
    std::stable_partition(sounds.begin(), sounds.end(),
                          [&](orka_audio_type_t audio) { return audio == container.audio; });
    return sounds;
}

std::string pair_text(orka_video_type_t video, orka_audio_type_t audio)
{
    if (video == ORKA_VIDEO_TYPE_NONE)
        return orka_media_audio_string(audio);
    const std::string picture = orka_media_video_string(video);
    return audio == ORKA_AUDIO_TYPE_NONE ? picture : picture + " with " + orka_media_audio_string(audio);
}

std::string select_image(const Options &options)
{
    if (const char *const name = orka_iencode_get_codec_name(options.video, options.audio))
        return name;
    std::string pairs;
    for (const orka_audio_type_t audio : sounds_beside(options.video, *options.container))
        pairs += pair_text(options.video, audio) + ", ";
    throw Failure("no codec image encodes " + pair_text(options.video, options.audio) + "; a " +
                      std::string(options.container->extension) + " file takes " + pairs +
                      pair_text(options.video, ORKA_AUDIO_TYPE_NONE) + " without sound",
                  status_usage);
}

orka_iencode_audio_params_t audio_params(const Options &options)
{
    orka_audio_desc_t desc;
    orka_iencode_audio_params_t params;
    if (orka_media_audio_desc(&desc, options.audio, options.sample_rate, options.audio_bitrate) !=
            ORKA_STATUS_SUCCESS ||
        orka_iencode_get_audio_params(&params, &desc) != ORKA_STATUS_SUCCESS)
        throw Failure(std::string(orka_media_audio_string(options.audio)) +
                          " cannot be recorded at this sample rate and bit rate",
                      status_usage);
    return params;
}

orka_iencode_video_params_t video_params(const Options &options)
{
    orka_video_desc_t desc;
    orka_iencode_video_params_t params;
    if (orka_media_video_desc(
            &desc, options.video, options.size.width ? options.size.width : default_width(options),
            options.size.height ? options.size.height : default_height(options)) != ORKA_STATUS_SUCCESS ||
        orka_iencode_get_video_params(&params, &desc) != ORKA_STATUS_SUCCESS)
        throw Failure(std::string(orka_media_video_string(options.video)) + " cannot be recorded",
                      status_usage);
    params.channel = static_cast<uint32_t>(options.channel);
    params.frame_rate = static_cast<uint8_t>(rate_of(options.pal));
    if (options.bitrate != 0)
        params.bitrate = options.bitrate;
    return params;
}

void describe_audio(AVCodecParameters &stream, orka_audio_type_t type,
                    const orka_iencode_audio_params_t &params)
{
    const audio_row &row = row_of(audio_rows, type);
    stream.codec_type = AVMEDIA_TYPE_AUDIO;
    stream.codec_id = row.codec;
    stream.sample_rate = static_cast<int>(params.sample_rate);
    av_channel_layout_default(&stream.ch_layout, static_cast<int>(params.channels));
    stream.bit_rate = params.bitrate_bps;
    stream.frame_size = packet_samples(row, params.sample_rate);
    stream.initial_padding = type == ORKA_AUDIO_TYPE_WMA ? stream.frame_size : row.delay;
    stream.bits_per_coded_sample = row.bits;
    if (type == ORKA_AUDIO_TYPE_G726)
        stream.bits_per_coded_sample = static_cast<int>(params.bitrate / 8);
    if (stream.bits_per_coded_sample != 0)
        stream.block_align = std::max(1, stream.bits_per_coded_sample / 8) * stream.ch_layout.nb_channels;
}

void describe_video(AVCodecParameters &stream, orka_video_type_t type,
                    const orka_iencode_video_params_t &params)
{
    stream.codec_type = AVMEDIA_TYPE_VIDEO;
    stream.codec_id = row_of(video_rows, type).codec;
    stream.width = static_cast<int>(params.width);
    stream.height = static_cast<int>(params.height);
    stream.bit_rate = int64_t{params.bitrate} * 1000;
}

} // namespace orka::record
