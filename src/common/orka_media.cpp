#include "orka_media.h"

#include <cstring>
#include <iterator>
#include <span>
#include <strings.h>

#include "common/orka_media_internal.h"
#include "common/orka_print_internal.h"
#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_IMEDIA:";
static const char unknown[] = "UNKNOWN";

/* Names: in the rows themselves, here and below, so that loading the library has nothing to relocate. */

struct type_name {
    int8_t value;
    char name[15];
};

static constexpr type_name framedesc[] = {
    {ORKA_FRAME_TYPE_ERROR, "ERROR"},       {ORKA_FRAME_TYPE_NONE, "NONE"},
    {ORKA_FRAME_TYPE_AUDIO, "AUDIO"},       {ORKA_FRAME_TYPE_VIDEO, "VIDEO"},
    {ORKA_FRAME_TYPE_SUBTITLE, "SUBTITLE"}, {ORKA_FRAME_TYPE_MOTION_VECTOR, "MOTION VECTOR"},
    {ORKA_FRAME_TYPE_LAST, "LAST"},
};
static constexpr size_t framedesc_size = 7;
static_assert(std::size(framedesc) == framedesc_size);

static constexpr type_name audiodesc[] = {
    {ORKA_AUDIO_TYPE_UNKNOWN, "UNKNOWN"}, {ORKA_AUDIO_TYPE_DETECT, "DETECT"},
    {ORKA_AUDIO_TYPE_NONE, "NONE"},       {ORKA_AUDIO_TYPE_AAC, "AAC"},
    {ORKA_AUDIO_TYPE_AC3, "AC3"},         {ORKA_AUDIO_TYPE_BSAC, "BSAC"},
    {ORKA_AUDIO_TYPE_G711, "G711"},       {ORKA_AUDIO_TYPE_G722, "G722"},
    {ORKA_AUDIO_TYPE_G7221, "G7221"},     {ORKA_AUDIO_TYPE_G723, "G723"},
    {ORKA_AUDIO_TYPE_G726, "G726"},       {ORKA_AUDIO_TYPE_G728, "G728"},
    {ORKA_AUDIO_TYPE_G729, "G729"},       {ORKA_AUDIO_TYPE_GSMAMR, "GSMAMR"},
    {ORKA_AUDIO_TYPE_MP1, "MP1"},         {ORKA_AUDIO_TYPE_MP2, "MP2"},
    {ORKA_AUDIO_TYPE_MP3, "MP3"},         {ORKA_AUDIO_TYPE_OGG, "OGG"},
    {ORKA_AUDIO_TYPE_PCM, "PCM"},         {ORKA_AUDIO_TYPE_WMA, "WMA"},
};
static constexpr size_t audiodesc_size = 20;
static_assert(std::size(audiodesc) == audiodesc_size);

static constexpr type_name videodesc[] = {
    {ORKA_VIDEO_TYPE_UNKNOWN, "UNKNOWN"}, {ORKA_VIDEO_TYPE_DETECT, "DETECT"},
    {ORKA_VIDEO_TYPE_NONE, "NONE"},       {ORKA_VIDEO_TYPE_DIVX3, "DIVX3"},
    {ORKA_VIDEO_TYPE_H263, "H263"},       {ORKA_VIDEO_TYPE_H264, "H264"},
    {ORKA_VIDEO_TYPE_MJPEG, "MJPEG"},     {ORKA_VIDEO_TYPE_MPEG1, "MPEG1"},
    {ORKA_VIDEO_TYPE_MPEG2, "MPEG2"},     {ORKA_VIDEO_TYPE_MPEG4, "MPEG4"},
    {ORKA_VIDEO_TYPE_MSMPEG4, "MSMPEG4"}, {ORKA_VIDEO_TYPE_WMV7, "WMV7"},
    {ORKA_VIDEO_TYPE_WMV8, "WMV8"},       {ORKA_VIDEO_TYPE_WMV9, "WMV9"},
    {ORKA_VIDEO_TYPE_YUV422, "YUV422"},   {ORKA_VIDEO_TYPE_RGB888, "RGB888"},
    {ORKA_VIDEO_TYPE_JPEG, "JPEG"},
};
static constexpr size_t videodesc_size = 17;
static_assert(std::size(videodesc) == videodesc_size);

static constexpr type_name imagedesc[] = {
    {ORKA_IMAGE_TYPE_UNKNOWN, "UNKNOWN"}, {ORKA_IMAGE_TYPE_DETECT, "DETECT"}, {ORKA_IMAGE_TYPE_NONE, "NONE"},
    {ORKA_IMAGE_TYPE_BMP, "BMP"},         {ORKA_IMAGE_TYPE_GIF, "GIF"},       {ORKA_IMAGE_TYPE_JPEG, "JPEG"},
    {ORKA_IMAGE_TYPE_PNG, "PNG"},         {ORKA_IMAGE_TYPE_TIFF, "TIFF"},
};
static constexpr size_t imagedesc_size = 8;
static_assert(std::size(imagedesc) == imagedesc_size);

static constexpr type_name mediafile_desc[] = {
    {ORKA_FILE_TYPE_UNKNOWN, "UNKNOWN"}, {ORKA_FILE_TYPE_DETECT, "DETECT"}, {ORKA_FILE_TYPE_NONE, "NONE"},
    {ORKA_FILE_TYPE_ASF, "ASF"},         {ORKA_FILE_TYPE_AVI, "AVI"},       {ORKA_FILE_TYPE_IRAW, "IRAW"},
    {ORKA_FILE_TYPE_MKV, "MKV"},         {ORKA_FILE_TYPE_MP4, "MP4"},       {ORKA_FILE_TYPE_MPG, "MPG"},
    {ORKA_FILE_TYPE_OGM, "OGM"},         {ORKA_FILE_TYPE_TS, "TS"},         {ORKA_FILE_TYPE_VES, "VES"},
    {ORKA_FILE_TYPE_AUDIO, "AUDIO"},     {ORKA_FILE_TYPE_IMAGE, "IMAGE"},
};
static constexpr size_t mediafile_desc_size = 14;
static_assert(std::size(mediafile_desc) == mediafile_desc_size);

static constexpr type_name mediamux_desc[] = {
    {ORKA_MUX_TYPE_UNKNOWN, "UNKNOWN"}, {ORKA_MUX_TYPE_DEFAULT, "DEFAULT"}, {ORKA_MUX_TYPE_2TO1, "2TO1"},
    {ORKA_MUX_TYPE_1TO2, "1TO2"},       {ORKA_MUX_TYPE_LEFT, "LEFT"},       {ORKA_MUX_TYPE_RIGHT, "RIGHT"},
    {ORKA_MUX_TYPE_AGC, "AGC"},
};
static constexpr size_t mediamux_desc_size = 7;
static_assert(std::size(mediamux_desc) == mediamux_desc_size);

using type_names = std::span<const type_name>;

static const char *name_of(type_names rows, int32_t value)
{
    for (const type_name &row : rows) {
        if (row.value == value)
            return row.name;
    }
    return unknown;
}

static int32_t value_of(type_names rows, const char *name, int32_t otherwise)
{
    for (const type_name &row : rows) {
        if (strcasecmp(row.name, name) == 0)
            return row.value;
    }
    return otherwise;
}

const char *orka_media_frame_string(orka_frame_type_t type)
{
    return name_of(framedesc, type);
}

const char *orka_media_audio_string(orka_audio_type_t type)
{
    return name_of(audiodesc, type);
}

const char *orka_media_video_string(orka_video_type_t type)
{
    return name_of(videodesc, type);
}

const char *orka_media_image_string(orka_image_type_t type)
{
    return name_of(imagedesc, type);
}

const char *orka_media_file_string(orka_file_type_t type)
{
    return name_of(mediafile_desc, type);
}

const char *orka_media_mux_string(orka_mux_type_t type)
{
    return name_of(mediamux_desc, type);
}

orka_audio_type_t orka_media_audio_type(const char *audio_string)
{
    ORKA_ASSERT_NOT_NULL(audio_string);
    return value_of(audiodesc, audio_string, ORKA_AUDIO_TYPE_NONE);
}

orka_video_type_t orka_media_video_type(const char *video_string)
{
    ORKA_ASSERT_NOT_NULL(video_string);
    return value_of(videodesc, video_string, ORKA_VIDEO_TYPE_NONE);
}

orka_image_type_t orka_media_image_type(const char *image_string)
{
    ORKA_ASSERT_NOT_NULL(image_string);
    return value_of(imagedesc, image_string, ORKA_IMAGE_TYPE_NONE);
}

orka_file_type_t orka_media_file_type_by_name(const char *name)
{
    if (name == nullptr) {
        orka_null_pointer(HERE);
        return ORKA_FILE_TYPE_UNKNOWN;
    }
    return value_of(mediafile_desc, name, ORKA_FILE_TYPE_UNKNOWN);
}

orka_mux_type_t orka_media_mux_type_by_name(const char *name)
{
    if (name == nullptr) {
        orka_null_pointer(HERE);
        return ORKA_MUX_TYPE_UNKNOWN;
    }
    return value_of(mediamux_desc, name, ORKA_MUX_TYPE_UNKNOWN);
}

/* Rates */

using rate_list = std::span<const uint32_t>;

static constexpr uint32_t mpx_sample_rates[] = {8000,  11025, 12000, 16000, 22050, 24000,
                                                32000, 44100, 48000, 64000, 88200, 96000};
static constexpr size_t mpx_sample_rates_size = 12;
static_assert(std::size(mpx_sample_rates) == mpx_sample_rates_size);

static constexpr uint32_t mpx_bitrates[] = {8,   16,  24,  32,  40,  48,  56,  64,  80, 96,
                                            112, 128, 144, 160, 192, 224, 256, 320, 384};
static constexpr size_t mpx_bitrates_size = 19;
static_assert(std::size(mpx_bitrates) == mpx_bitrates_size);

static constexpr uint32_t gsmamr_bitrates[] = {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200};
static constexpr size_t gsmamr_bitrates_size = 8;
static_assert(std::size(gsmamr_bitrates) == gsmamr_bitrates_size);

struct bitrate_help {
    orka_audio_type_t type;
    const char *text;
};

/* Kept on purpose: help for the reader, which does not agree everywhere with what a descriptor takes. */
static constexpr bitrate_help audio_bitrates[] = {
    {ORKA_AUDIO_TYPE_AAC, "ANY"},
    {ORKA_AUDIO_TYPE_AC3, "ANY"},
    {ORKA_AUDIO_TYPE_BSAC, "64 128"},
    {ORKA_AUDIO_TYPE_G711, "64"},
    {ORKA_AUDIO_TYPE_G722, "48 56 64"},
    {ORKA_AUDIO_TYPE_G7221, "24 32"},
    {ORKA_AUDIO_TYPE_G723, "5 6"},
    {ORKA_AUDIO_TYPE_G726, "16 24 32 40"},
    {ORKA_AUDIO_TYPE_G728, "8"},
    {ORKA_AUDIO_TYPE_G729, "8"},
    {ORKA_AUDIO_TYPE_GSMAMR, "(bits/s) 4750 5150 5900 6700 7400 7950 10200 12200"},
    {ORKA_AUDIO_TYPE_MP1, "ANY"},
    {ORKA_AUDIO_TYPE_MP2, "ANY"},
    {ORKA_AUDIO_TYPE_MP3, "ANY"},
    {ORKA_AUDIO_TYPE_OGG, "ANY"},
    {ORKA_AUDIO_TYPE_PCM, "1500"},
    {ORKA_AUDIO_TYPE_WMA, "ANY"},
};
static constexpr size_t audio_bitrates_size = 17;
static_assert(std::size(audio_bitrates) == audio_bitrates_size);

/* Lists */

static void print_names(FILE *stream, const char *prefix, const char *separator, const char *suffix,
                        type_names rows)
{
    print_list(stream, prefix, separator, suffix, rows,
               [stream](const type_name &row) { print_text(stream, row.name); });
}

static void print_rates(FILE *stream, const char *prefix, const char *separator, const char *suffix,
                        rate_list rates)
{
    print_list(stream, prefix, separator, suffix, rates,
               [stream](uint32_t rate) { fprintf(stream, "%u", rate); });
}

void orka_media_audio_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                      const char *suffix)
{
    print_names(stream, prefix, separator, suffix, audiodesc);
}

void orka_media_video_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                      const char *suffix)
{
    print_names(stream, prefix, separator, suffix, videodesc);
}

void orka_media_image_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                      const char *suffix)
{
    print_names(stream, prefix, separator, suffix, imagedesc);
}

void orka_media_file_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                     const char *suffix)
{
    print_names(stream, prefix, separator, suffix, mediafile_desc);
}

void orka_media_mux_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                    const char *suffix)
{
    print_names(stream, prefix, separator, suffix, mediamux_desc);
}

void orka_media_audio_print_valid_samplerates(FILE *stream, const char *prefix, const char *separator,
                                              const char *suffix)
{
    print_rates(stream, prefix, separator, suffix, mpx_sample_rates);
}

void orka_media_audio_print_valid_bitrates(FILE *stream, const char *prefix, const char *separator,
                                           const char *suffix)
{
    print_rates(stream, prefix, separator, suffix, mpx_bitrates);
}

void orka_media_audio_print_valid_bitrates_per_audio_type(FILE *stream, const char *prefix,
                                                          const char *separator, const char *suffix)
{
    print_list(stream, prefix, separator, suffix, audio_bitrates, [stream](const bitrate_help &row) {
        fprintf(stream, "%s - %s", orka_media_audio_string(row.type), row.text);
    });
}

/* Codec numbers */

struct codec_desc {
    uint16_t codec;
    int8_t type;
    char name[17];
};

static constexpr codec_desc audio_codec_desc[] = {
    {0, ORKA_AUDIO_TYPE_G726, "G.726 (16kbps)"},
    {1, ORKA_AUDIO_TYPE_G726, "G.726 (24kbps)"},
    {2, ORKA_AUDIO_TYPE_G726, "G.726 (32kbps)"},
    {3, ORKA_AUDIO_TYPE_G726, "G.726 (40kbps)"},
    {4, ORKA_AUDIO_TYPE_G711, "G.711 (64kbps)"},
    {5, ORKA_AUDIO_TYPE_NONE, "NO AUDIO"},
    {6, ORKA_AUDIO_TYPE_PCM, "PCM"},
    {7, ORKA_AUDIO_TYPE_MP3, "MP3"},
    {8, ORKA_AUDIO_TYPE_WMA, "WMA V1"},
    {9, ORKA_AUDIO_TYPE_WMA, "WMA V2"},
    {10, ORKA_AUDIO_TYPE_AAC, "AAC"},
    {11, ORKA_AUDIO_TYPE_GSMAMR, "GSMAMR"},
    {12, ORKA_AUDIO_TYPE_G723, "G.723"},
    {13, ORKA_AUDIO_TYPE_MP2, "MP2"},
    {14, ORKA_AUDIO_TYPE_OGG, "OGG"},
    {19, ORKA_AUDIO_TYPE_AC3, "AC3"},
    {20, ORKA_AUDIO_TYPE_G726, "G.726 (16kbps)"},
    {21, ORKA_AUDIO_TYPE_G726, "G.726 (24kbps)"},
    {22, ORKA_AUDIO_TYPE_G726, "G.726 (32kbps)"},
    {23, ORKA_AUDIO_TYPE_G726, "G.726 (40kbps)"},
    {24, ORKA_AUDIO_TYPE_G711, "G.711 (64kbps)"},
    {25, ORKA_AUDIO_TYPE_G729, "G.729"},
    {26, ORKA_AUDIO_TYPE_G723, "G.723"},
    {27, ORKA_AUDIO_TYPE_G722, "G.722 (48kbps)"},
    {28, ORKA_AUDIO_TYPE_G722, "G.722 (56kbps)"},
    {29, ORKA_AUDIO_TYPE_G722, "G.722 (64kbps)"},
    {30, ORKA_AUDIO_TYPE_G7221, "G.722.1 (24kbps)"},
    {31, ORKA_AUDIO_TYPE_G7221, "G.722.1 (32kbps)"},
};
static constexpr size_t audio_codec_desc_size = 28;
static_assert(std::size(audio_codec_desc) == audio_codec_desc_size);

static constexpr codec_desc video_codec_desc[] = {
    {1, ORKA_VIDEO_TYPE_MPEG4, "MPEG4"},     {2, ORKA_VIDEO_TYPE_MPEG4, "MPEG4"},
    {4, ORKA_VIDEO_TYPE_DIVX3, "DIVX3"},     {16, ORKA_VIDEO_TYPE_WMV7, "WMV7"},
    {15, ORKA_VIDEO_TYPE_WMV8, "WMV8"},      {5, ORKA_VIDEO_TYPE_WMV9, "WMV9"},
    {6, ORKA_VIDEO_TYPE_H264, "H264"},       {7, ORKA_VIDEO_TYPE_MPEG1, "MPEG1"},
    {8, ORKA_VIDEO_TYPE_MPEG2, "MPEG2"},     {0, ORKA_VIDEO_TYPE_NONE, "NO VIDEO"},
    {9, ORKA_VIDEO_TYPE_MJPEG, "MJPEG"},     {256, ORKA_VIDEO_TYPE_YUV422, "YUV422"},
    {257, ORKA_VIDEO_TYPE_RGB888, "RGB888"}, {10, ORKA_VIDEO_TYPE_JPEG, "JPEG"},
};
static constexpr size_t video_codec_desc_size = 14;
static_assert(std::size(video_codec_desc) == video_codec_desc_size);

/* What a codec number without a row stands for. */
static constexpr codec_desc no_codec = {.codec = 0, .type = 0, .name = "UNKNOWN"};

static const codec_desc &find_codec(std::span<const codec_desc> rows, uint32_t codec)
{
    for (const codec_desc &row : rows) {
        if (row.codec == codec)
            return row;
    }
    return no_codec;
}

const char *orka_media_audio_string_by_codec(uint32_t codec)
{
    return find_codec(audio_codec_desc, codec).name;
}

const char *orka_media_video_string_by_codec(uint32_t codec)
{
    return find_codec(video_codec_desc, codec).name;
}

orka_audio_type_t orka_media_audio_type_by_codec(uint32_t codec)
{
    return find_codec(audio_codec_desc, codec).type;
}

orka_video_type_t orka_media_video_type_by_codec(uint32_t codec)
{
    return find_codec(video_codec_desc, codec).type;
}

static constexpr const char *video_coding_standards[] = {
    "DEFAULT",
    "MPEG1",
    "MPEG2 PROGRESSIVE",
    "MPEG2 INTERLACED",
    "MPEG4 SIMPLE PROFILE",
    "MPEG4 ADVANCED SIMPLE PROFILE",
    "MPEG4 H.263",
    "MPEG4 H.263 (UNRESTRICTED MOTION VECTOR DISABLED)",
};
static_assert(std::size(video_coding_standards) == 8);

const char *orka_media_video_coding_standard_string(uint32_t standard)
{
    if (standard < std::size(video_coding_standards))
        return video_coding_standards[standard];
    report_error(HERE, "Unrecognized Coding Standard '%u'.", standard);
    return unknown;
}

/* Descriptors */

/* What a descriptor of a type may say. A list without rates takes any. */
struct audio_rule {
    orka_audio_type_t type;
    uint32_t channels;
    uint32_t sample_rate; /* default */
    rate_list sample_rates;
    uint32_t bitrate; /* default */
    rate_list bitrates;
    uint32_t extra1;
    uint32_t extra2;
};

static constexpr uint32_t rate_8000[] = {8000};
static constexpr uint32_t rate_16000[] = {16000};
static constexpr uint32_t bsac_bitrates[] = {64, 128};
static constexpr uint32_t g711_bitrates[] = {64};
static constexpr uint32_t g722_bitrates[] = {48, 56, 64};
static constexpr uint32_t g7221_bitrates[] = {24, 32};
static constexpr uint32_t g723_bitrates[] = {5, 6};
static constexpr uint32_t g726_bitrates[] = {16, 24, 32, 40};
static constexpr uint32_t g729_bitrates[] = {8};

static constexpr audio_rule audio_rules[] = {
    {ORKA_AUDIO_TYPE_AAC, 2, 24000, mpx_sample_rates, 128, mpx_bitrates},
    {ORKA_AUDIO_TYPE_AC3, 2, 48000, {}, 256, {}},
    {ORKA_AUDIO_TYPE_BSAC, 2, 44100, mpx_sample_rates, 64, bsac_bitrates},
    {ORKA_AUDIO_TYPE_G711, 1, 8000, rate_8000, 64, g711_bitrates},
    {ORKA_AUDIO_TYPE_G722, 1, 16000, rate_16000, 64, g722_bitrates},
    {ORKA_AUDIO_TYPE_G7221, 1, 16000, rate_16000, 32, g7221_bitrates},
    {ORKA_AUDIO_TYPE_G723, 1, 8000, rate_8000, 6, g723_bitrates},
    {ORKA_AUDIO_TYPE_G726, 1, 8000, rate_8000, 32, g726_bitrates},
    /* Kept on purpose: two channels, although the codec is a voice codec with one. */
    {ORKA_AUDIO_TYPE_G729, 2, 8000, rate_8000, 8, g729_bitrates},
    {ORKA_AUDIO_TYPE_GSMAMR, 1, 8000, rate_8000, 7400, gsmamr_bitrates},
    {ORKA_AUDIO_TYPE_MP1, 2, 44100, mpx_sample_rates, 128, mpx_bitrates},
    {ORKA_AUDIO_TYPE_MP2, 2, 44100, mpx_sample_rates, 128, mpx_bitrates},
    {ORKA_AUDIO_TYPE_MP3, 2, 44100, mpx_sample_rates, 128, mpx_bitrates},
    {ORKA_AUDIO_TYPE_OGG, 2, 44100, mpx_sample_rates, 128, mpx_bitrates},
    {ORKA_AUDIO_TYPE_PCM, 2, 48000, {}, 0, {}},
    {ORKA_AUDIO_TYPE_WMA, 2, 48000, {}, 128, {}, 23, 1280},
};

static const audio_rule *find_audio_rule(orka_audio_type_t type)
{
    for (const audio_rule &rule : audio_rules) {
        if (rule.type == type)
            return &rule;
    }
    return nullptr;
}

static bool accepts(rate_list rates, uint32_t rate)
{
    for (const uint32_t accepted : rates) {
        if (accepted == rate)
            return true;
    }
    return rates.empty();
}

static void report_sample_rate(const call_site &site, orka_audio_type_t type, uint32_t sample_rate)
{
    const char *name = orka_media_audio_string(type);

    /* Kept on purpose: these two have a wording of their own. */
    if (type == ORKA_AUDIO_TYPE_G711 || type == ORKA_AUDIO_TYPE_GSMAMR)
        report_error(site, "Invalid Sample %u Rate for '%s'.", sample_rate, name);
    else
        report_error(site, "Invalid Sample Rate %u for '%s'.", sample_rate, name);
}

/* PCM has no choice of bitrates: two channels of 16 bits make it. */
static uint32_t pcm_bitrate(uint32_t sample_rate)
{
    return static_cast<uint32_t>(uint64_t{sample_rate} * 32 / 1000);
}

orka_status_t orka_media_audio_desc(orka_audio_desc_t *adesc, orka_audio_type_t type, uint32_t sample_rate,
                                    uint32_t bitrate)
{
    ORKA_ASSERT_NOT_NULL(adesc);
    *adesc = {.type = type};
    if (type == ORKA_AUDIO_TYPE_NONE) {
        adesc->valid = 1;
        return ORKA_STATUS_SUCCESS;
    }

    const audio_rule *rule = find_audio_rule(type);
    if (rule == nullptr) {
        report_error(HERE, "Invalid Audio Type '%s'.", orka_media_audio_string(type));
        return ORKA_STATUS_INVALID_PARAMETER;
    }

    const uint32_t rate = sample_rate != 0 ? sample_rate : rule->sample_rate;
    if (!accepts(rule->sample_rates, rate)) {
        report_sample_rate(HERE, type, rate);
        return ORKA_STATUS_OUT_OF_RANGE;
    }

    orka_audio_desc_t filled = *adesc;
    filled.valid = 1;
    filled.channels = rule->channels;
    filled.sample_rate = rate;
    /* Kept on purpose: a refused bitrate of GSMAMR leaves all but the bitrate filled. */
    if (type == ORKA_AUDIO_TYPE_GSMAMR)
        *adesc = filled;

    filled.bitrate = bitrate != 0 ? bitrate : rule->bitrate;
    if (!accepts(rule->bitrates, filled.bitrate)) {
        report_error(HERE, "Invalid Bitrate %u for '%s'.", filled.bitrate, orka_media_audio_string(type));
        return ORKA_STATUS_OUT_OF_RANGE;
    }
    if (type == ORKA_AUDIO_TYPE_PCM)
        filled.bitrate = pcm_bitrate(rate);
    filled.extra1 = rule->extra1;
    filled.extra2 = rule->extra2;
    *adesc = filled;
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_media_video_desc(orka_video_desc_t *vdesc, orka_video_type_t type, uint32_t width,
                                    uint32_t height)
{
    ORKA_ASSERT_NOT_NULL(vdesc);
    *vdesc = {.type = type, .width = width, .height = height};
    if (type == ORKA_VIDEO_TYPE_NONE) {
        *vdesc = {.valid = 1};
        return ORKA_STATUS_SUCCESS;
    }
    if (type < ORKA_VIDEO_TYPE_NONE || type > ORKA_VIDEO_TYPE_JPEG) {
        report_error(HERE, "Invalid Video Type '%s'.", orka_media_video_string(type));
        return ORKA_STATUS_INVALID_PARAMETER;
    }
    if (width == 0)
        vdesc->width = 640;
    if (height == 0)
        vdesc->height = 480;
    vdesc->valid = 1;
    return ORKA_STATUS_SUCCESS;
}

/* Files */

struct file_extension {
    char extension[8];
    int8_t file;
    int8_t audio;
    int8_t video;
    int8_t image;
};

/* Kept on purpose: the first match wins, so the second rows of ".bsac" and ".mp2" are never reached. */
static constexpr file_extension mediafile_extensions[] = {
    {".3gp", ORKA_FILE_TYPE_MP4, ORKA_AUDIO_TYPE_AAC, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".3gpp", ORKA_FILE_TYPE_MP4, ORKA_AUDIO_TYPE_AAC, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".aac", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_AAC, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".ac3", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_AC3, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".amr", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_GSMAMR, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".asf", ORKA_FILE_TYPE_ASF, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".avi", ORKA_FILE_TYPE_AVI, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".bes", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_BSAC, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".bsac", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_BSAC, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".divx", ORKA_FILE_TYPE_AVI, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".bmp", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_BMP},
    {".bsac", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_BSAC, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g711", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G711, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g722", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G722, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g7221", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G7221, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g723", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G723, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g726", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G726, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g728", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G728, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".g729", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_G729, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".gif", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_GIF},
    {".gvi", ORKA_FILE_TYPE_AVI, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".h263", ORKA_FILE_TYPE_VES, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_H263, ORKA_IMAGE_TYPE_NONE},
    {".h264", ORKA_FILE_TYPE_VES, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_H264, ORKA_IMAGE_TYPE_NONE},
    {".jpeg", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_JPEG},
    {".jpg", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_JPEG},
    {".m1v", ORKA_FILE_TYPE_VES, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_MPEG1, ORKA_IMAGE_TYPE_NONE},
    {".m2v", ORKA_FILE_TYPE_VES, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_MPEG2, ORKA_IMAGE_TYPE_NONE},
    {".m4v", ORKA_FILE_TYPE_VES, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".mkv", ORKA_FILE_TYPE_MKV, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".mp1", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_MP1, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".mp2", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".mp3", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".mp4", ORKA_FILE_TYPE_MP4, ORKA_AUDIO_TYPE_AAC, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".mp2", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".mpa", ORKA_FILE_TYPE_MPG, ORKA_AUDIO_TYPE_MP1, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".mov", ORKA_FILE_TYPE_MP4, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_MPEG2, ORKA_IMAGE_TYPE_NONE},
    {".mpg", ORKA_FILE_TYPE_MPG, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_MPEG2, ORKA_IMAGE_TYPE_NONE},
    {".mpeg", ORKA_FILE_TYPE_MPG, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_MPEG1, ORKA_IMAGE_TYPE_NONE},
    {".ndx", ORKA_FILE_TYPE_IRAW, ORKA_AUDIO_TYPE_MP3, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".ogg", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_OGG, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".ogm", ORKA_FILE_TYPE_OGM, ORKA_AUDIO_TYPE_OGG, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".pcm", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_PCM, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".png", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_PNG},
    {".skm", ORKA_FILE_TYPE_MP4, ORKA_AUDIO_TYPE_AAC, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".tif", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_TIFF},
    {".tiff", ORKA_FILE_TYPE_IMAGE, ORKA_AUDIO_TYPE_NONE, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_TIFF},
    {".trp", ORKA_FILE_TYPE_TS, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_MPEG2, ORKA_IMAGE_TYPE_NONE},
    {".ts", ORKA_FILE_TYPE_TS, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_MPEG2, ORKA_IMAGE_TYPE_NONE},
    {".wav", ORKA_FILE_TYPE_AUDIO, ORKA_AUDIO_TYPE_PCM, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".wma", ORKA_FILE_TYPE_ASF, ORKA_AUDIO_TYPE_WMA, ORKA_VIDEO_TYPE_NONE, ORKA_IMAGE_TYPE_NONE},
    {".wmv", ORKA_FILE_TYPE_ASF, ORKA_AUDIO_TYPE_WMA, ORKA_VIDEO_TYPE_MPEG4, ORKA_IMAGE_TYPE_NONE},
    {".vob", ORKA_FILE_TYPE_MPG, ORKA_AUDIO_TYPE_MP2, ORKA_VIDEO_TYPE_MPEG2, ORKA_IMAGE_TYPE_NONE},
};
static constexpr size_t mediafile_extensions_size = 52;
static_assert(std::size(mediafile_extensions) == mediafile_extensions_size);

static bool ends_with(const char *name, const char *extension)
{
    const size_t name_length = strlen(name);
    const size_t length = strlen(extension);

    return name_length >= length && strcasecmp(name + name_length - length, extension) == 0;
}

static const file_extension *find_extension(const char *file_name)
{
    for (const file_extension &row : mediafile_extensions) {
        if (ends_with(file_name, row.extension))
            return &row;
    }
    return nullptr;
}

orka_file_type_t orka_media_file_type2(const char *file_name, orka_audio_desc_t *adesc,
                                       orka_video_desc_t *vdesc)
{
    if (file_name == nullptr || adesc == nullptr || vdesc == nullptr) {
        orka_null_pointer(HERE);
        return ORKA_FILE_TYPE_UNKNOWN;
    }
    *adesc = {};
    *vdesc = {};

    const file_extension *row = find_extension(file_name);
    if (row == nullptr)
        return ORKA_FILE_TYPE_UNKNOWN;
    orka_media_audio_desc(adesc, row->audio, 0, 0);
    orka_media_video_desc(vdesc, row->video, 0, 0);
    return row->file;
}

orka_file_type_t orka_media_file_type(const char *file_name)
{
    orka_audio_desc_t adesc;
    orka_video_desc_t vdesc;

    return orka_media_file_type2(file_name, &adesc, &vdesc);
}

/* Codec frameworks */

/* The first rule whose words the image's name contains decides. */
struct framework_rule {
    char word[12];
    char other_word[6]; /* may be empty */
    char framework[10];
};

static constexpr framework_rule audio_frameworks[] = {
    {"aac", "h264", "aac48"}, {"aac", "", "aac"},  {"aec", "", "g7xx_aec"}, {"g7xx", "", "g7xx"},
    {"g71", "", "g7xx"},      {"g72", "", "g7xx"}, {"mp3", "", "mp3"},      {"ogg", "", "ogg"},
};

static constexpr framework_rule video_frameworks[] = {
    {"divx311", "", "divx311"}, {"h264_mc", "", "h264mc"},      {"h264mc", "", "h264mc"},
    {"h264", "", "h264"},       {"mpeg2", "", "mpeg2"},         {"mpeg4_mc", "", "mpeg4mc"},
    {"mpeg4mc", "", "mpeg4mc"}, {"mpeg4_4chan", "", "mpeg4mc"}, {"mpeg4", "", "mpeg4"},
    {"wmv", "", "wmv"},
};

static bool contains(const char *name, const char *word)
{
    return strstr(name, word) != nullptr;
}

static const char *find_framework(std::span<const framework_rule> rules, const char *name,
                                  const char *otherwise)
{
    for (const framework_rule &rule : rules) {
        if (contains(name, rule.word) && contains(name, rule.other_word))
            return rule.framework;
    }
    return otherwise;
}

const char *orka_media_get_audio_framework(const char *codec_name, orka_audio_type_t audio_type)
{
    if (audio_type == ORKA_AUDIO_TYPE_PCM)
        return "pcm";
    ORKA_ASSERT_NOT_NULL(codec_name);
    return find_framework(audio_frameworks, codec_name, "pcm");
}

const char *orka_media_get_video_framework(const char *codec_name, orka_video_type_t video_type)
{
    ORKA_ASSERT_NOT_NULL(codec_name);
    if (video_type == ORKA_VIDEO_TYPE_YUV422 || video_type == ORKA_VIDEO_TYPE_RGB888)
        return "raw";
    return find_framework(video_frameworks, codec_name, "mpeg4");
}

/* Frames */

/*
 * Patterns look at six bytes at most, their start code included: the last five of a frame are no place for
 * one.
 */
static constexpr uint32_t no_place = 5;

template <typename Pattern>
static const uint8_t *find_pattern(const void *framebuffer, uint32_t size, Pattern pattern)
{
    const uint8_t *frame = static_cast<const uint8_t *>(framebuffer);

    return size < no_place ? nullptr : find_start_code(frame, frame + (size - no_place), pattern);
}

template <typename Pattern>
static int32_t check_pattern(const void *framebuffer, uint32_t size, Pattern pattern)
{
    return find_pattern(framebuffer, size, pattern) != nullptr ? 0 : -1;
}

/* Kept on purpose: a type that is not known is reported once for every place where it was to be sought. */
static int32_t check_unknown(const call_site &site, const char *message, uint32_t size,
                             orka_video_type_t video_type)
{
    for (uint32_t place = no_place; place < size; place++)
        report_error(site, message, orka_media_video_string(video_type));
    return -1;
}

/* Kept on purpose, here and below: which byte tells the kind of an MPEG-4 picture differs between the two. */
static constexpr auto mpeg4_key_frame = [](const uint8_t *code) {
    return (code[3] == 0xB6 && (code[4] & 3) == 0) || code[3] == 0xB0;
};

static constexpr auto mpeg4_p_frame = [](const uint8_t *code) {
    return code[3] == 0xB6 && (code[5] & 3) == 1;
};

static constexpr auto h264_key_frame = [](const uint8_t *code) {
    return code[3] == 0x67 || code[3] == 0x27 || code[3] == 0x65 || code[3] == 0x25;
};

static constexpr auto h264_p_frame = [](const uint8_t *code) { return code[3] == 0x57 || code[3] == 0x07; };

/* Kept on purpose: asked for key frames and for P-frames alike. */
static constexpr auto mpeg2_sequence = [](const uint8_t *code) { return code[3] == 0xB3; };

static constexpr auto h264_recovery_point = [](const uint8_t *code) {
    return code[3] == 0x06 && code[4] == 0x06;
};

int32_t orka_media_check_video_keyframe(const void *framebuffer, uint32_t size, orka_video_type_t video_type)
{
    ORKA_ASSERT_NOT_NULL(framebuffer);
    switch (video_type) {
    case ORKA_VIDEO_TYPE_H263:
    case ORKA_VIDEO_TYPE_MPEG4:
        return check_pattern(framebuffer, size, mpeg4_key_frame);
    case ORKA_VIDEO_TYPE_H264:
        return check_pattern(framebuffer, size, h264_key_frame);
    case ORKA_VIDEO_TYPE_MPEG2:
        return check_pattern(framebuffer, size, mpeg2_sequence);
    default:
        return check_unknown(HERE, "FIXME: Need KeyFrame Determination for %s.", size, video_type);
    }
}

int32_t orka_media_check_video_Pframe(const void *framebuffer, uint32_t size, orka_video_type_t video_type)
{
    ORKA_ASSERT_NOT_NULL(framebuffer);
    switch (video_type) {
    case ORKA_VIDEO_TYPE_H263:
    case ORKA_VIDEO_TYPE_MPEG4:
        return check_pattern(framebuffer, size, mpeg4_p_frame);
    case ORKA_VIDEO_TYPE_H264:
        return check_pattern(framebuffer, size, h264_p_frame);
    case ORKA_VIDEO_TYPE_MPEG2:
        return check_pattern(framebuffer, size, mpeg2_sequence);
    default:
        return check_unknown(HERE, "FIXME: Need P-Frame Determination for %s.", size, video_type);
    }
}

/* Bit reader. Kept on purpose: its state is the module's, and not locked. */

static uint8_t bitsLeft; /* unread bits of the current byte, the first one highest */
static int32_t lenLeft;  /* how many they are; below 0 after more than the eight that can be read at once */

void resetBits()
{
    bitsLeft = 0;
    lenLeft = 0;
}

/* A byte shifted by any count: bits that leave it are gone. */
static uint8_t shifted_right(uint8_t byte, int32_t count)
{
    return count >= 0 && count < 8 ? static_cast<uint8_t>(byte >> count) : uint8_t{0};
}

static uint8_t shifted_left(uint8_t byte, int32_t count)
{
    return count < 8 ? static_cast<uint8_t>(byte << count) : uint8_t{0};
}

static uint8_t next_byte(bit_cursor *cursor)
{
    return cursor->next < cursor->end ? *cursor->next++ : uint8_t{0};
}

uint8_t getBits(bit_cursor *cursor, int32_t n)
{
    uint8_t result = shifted_right(bitsLeft, 8 - n);

    lenLeft -= n;
    if (lenLeft >= 1) {
        bitsLeft = shifted_left(bitsLeft, n);
        return result;
    }
    bitsLeft = next_byte(cursor);
    if (lenLeft < 0)
        result = static_cast<uint8_t>(result | shifted_right(bitsLeft, lenLeft + 8));
    bitsLeft = shifted_left(bitsLeft, -lenLeft);
    lenLeft += 8;
    return result;
}

int16_t getUSEntropyCodedGolomb(bit_cursor *cursor)
{
    constexpr int32_t most_zeros = 16;
    int32_t zeros = 0;
    uint8_t bit = getBits(cursor, 1);

    while (bit == 0 && ++zeros < most_zeros)
        bit = getBits(cursor, 1);
    /* Kept on purpose: with more than eight zeros the rest of the code is not read as it should be. */
    return static_cast<int16_t>((bit << zeros | getBits(cursor, zeros)) - 1);
}

int32_t orka_media_get_video_SEI(const void *framebuffer, uint32_t size, orka_video_type_t video_type,
                                 orka_video_sei_t *sei)
{
    static_assert(sizeof *sei == 8);

    ORKA_ASSERT(framebuffer != nullptr && sei != nullptr, "framebuffer != ((void *)0) && sei != ((void *)0)");
    if (video_type != ORKA_VIDEO_TYPE_H264 || size < no_place)
        return -1;
    resetBits();
    memset(sei, 0, sizeof *sei);
    const uint8_t *code = find_pattern(framebuffer, size, h264_recovery_point);
    if (code == nullptr)
        return -1;

    /* Kept on purpose: what is read first is the payload's size. */
    bit_cursor cursor = {code + 5, static_cast<const uint8_t *>(framebuffer) + size};
    sei->recovery_frame_cnt = getUSEntropyCodedGolomb(&cursor) % 32;
    sei->exact_match_flag = getBits(&cursor, 1);
    sei->broken_link_flag = getBits(&cursor, 1);
    sei->changing_slice_group_idc = getBits(&cursor, 2);
    return 0;
}
