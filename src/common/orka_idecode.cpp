#include "orka_idecode.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>

#include "common/orka_idevice_internal.h"
#include "common/orka_imem_internal.h"
#include "common/orka_status_internal.h"
#include "wire/orka_idecode_wire.h"

using namespace orka::wire;

static const char pname[] = "ORKA_IDECODE:";

static constexpr char no_idecode[] = "Obtaining IDecode FD.";
static constexpr char no_video[] = "Obtaining Video Decode FD.";
static constexpr char no_image[] = "Obtaining Image FD.";
static constexpr char no_decode[] = "Obtaining Decode FD.";

/* Audio parameters */

struct bitrate_codec {
    uint32_t bitrate; /* kbit/s */
    uint32_t codec;
    uint32_t bitrate_bps = 0; /* where it is not 1000 times the former */
};

/* A speech codec: one sample rate, and a codec number for each of its bitrates. */
struct speech_rule {
    orka_audio_type_t type;
    uint32_t sample_rate;
    std::span<const bitrate_codec> bitrates;
    const char *bad_sample_rate;
    const char *bad_bitrate;
};

static constexpr bitrate_codec g711_codecs[] = {{64, 4}};
static constexpr bitrate_codec g722_codecs[] = {{48, 27}, {56, 28}, {64, 29}};
static constexpr bitrate_codec g7221_codecs[] = {{24, 30}, {32, 31}};
static constexpr bitrate_codec g723_codecs[] = {{5, 26, 5300}, {6, 26, 6300}};
static constexpr bitrate_codec g726_codecs[] = {{16, 0}, {24, 1}, {32, 2}, {40, 3}};
static constexpr bitrate_codec g729_codecs[] = {{8, 25}};

static constexpr speech_rule speech_rules[] = {
    {ORKA_AUDIO_TYPE_G711, 8000, g711_codecs, "Invalid G.711 Sample Rate %u.", "Invalid G.711 Bitrate %u."},
    {ORKA_AUDIO_TYPE_G722, 16000, g722_codecs, "Invalid G.722 Sample Rate %u.",
     "Invalid G.722 Audio Bitrate %u."},
    {ORKA_AUDIO_TYPE_G7221, 16000, g7221_codecs, "Invalid G.722.1 Sample Rate %u.",
     "Invalid G.722.1 Audio Bitrate %u."},
    {ORKA_AUDIO_TYPE_G723, 8000, g723_codecs, "Invalid G.723 Sample Rate %u.",
     "Invalid G.723 Audio Bitrate %u."},
    {ORKA_AUDIO_TYPE_G726, 8000, g726_codecs, "Invalid G.726 Sample Rate %u.",
     "Invalid G.726 Audio Bitrate %u."},
    {ORKA_AUDIO_TYPE_G729, 8000, g729_codecs, "Invalid G.729 Sample Rate %u.", "Invalid G.729 Bitrate %u."},
};

/* Any other codec, which takes what rates it is given. */
struct music_rule {
    orka_audio_type_t type;
    uint32_t codec;
};

static constexpr music_rule music_rules[] = {
    {ORKA_AUDIO_TYPE_AAC, 10}, {ORKA_AUDIO_TYPE_MP1, 13}, {ORKA_AUDIO_TYPE_MP2, 13}, {ORKA_AUDIO_TYPE_MP3, 7},
    {ORKA_AUDIO_TYPE_OGG, 14}, {ORKA_AUDIO_TYPE_PCM, 6},  {ORKA_AUDIO_TYPE_WMA, 8},
};

/* The codec number that stands for no sound. */
static constexpr uint32_t no_audio_codec = 5;

template <typename Row, size_t count>
static const Row *find_row(const Row (&rows)[count], int32_t type)
{
    for (const Row &row : rows) {
        if (row.type == type)
            return &row;
    }
    return nullptr;
}

/* A bitrate above 4000 is one in bit/s. */
static void set_bitrate(orka_idecode_audio_params_t &params, uint32_t bitrate)
{
    const bool in_bps = bitrate > 4000;

    params.bitrate = in_bps ? bitrate / 1000 : bitrate;
    params.bitrate_bps = in_bps ? bitrate : bitrate * 1000;
}

static orka_status_t choose_speech_codec(const call_site &site, orka_idecode_audio_params_t &params,
                                         const speech_rule &rule)
{
    if (params.sample_rate != rule.sample_rate) {
        report_error(site, rule.bad_sample_rate, params.sample_rate);
        return ORKA_STATUS_OUT_OF_RANGE;
    }
    for (const bitrate_codec &row : rule.bitrates) {
        if (params.bitrate != row.bitrate)
            continue;
        params.codec = row.codec;
        if (row.bitrate_bps != 0)
            params.bitrate_bps = row.bitrate_bps;
        return ORKA_STATUS_SUCCESS;
    }
    report_error(site, rule.bad_bitrate, params.bitrate);
    return ORKA_STATUS_OUT_OF_RANGE;
}

orka_status_t orka_idecode_get_audio_params(orka_idecode_audio_params_t *dparams,
                                            const orka_audio_desc_t *adesc)
{
    ORKA_ASSERT_NOT_NULL(dparams);
    ORKA_ASSERT_NOT_NULL(adesc);

    *dparams = {
        .channels = static_cast<uint8_t>(adesc->channels),
        .sample_rate = adesc->sample_rate,
        .extra1 = adesc->extra1,
        .extra2 = adesc->extra2,
        .bufsize = 0x80000,
        .bufcount = 400,
        .maxframe = 32768,
    };
    set_bitrate(*dparams, adesc->bitrate);

    if (adesc->type == ORKA_AUDIO_TYPE_NONE) {
        *dparams = {.codec = no_audio_codec};
        return ORKA_STATUS_SUCCESS;
    }
    if (const speech_rule *rule = find_row(speech_rules, adesc->type))
        return choose_speech_codec(HERE, *dparams, *rule);

    const music_rule *rule = find_row(music_rules, adesc->type);
    if (rule == nullptr) {
        report_error(HERE, "Unsupported Audio Type (%s).", orka_media_audio_string(adesc->type));
        return ORKA_STATUS_INVALID_PARAMETER;
    }
    dparams->codec = rule->codec;
    if (adesc->type == ORKA_AUDIO_TYPE_PCM) {
        dparams->bufsize = 0x300000;
        dparams->bufcount = 2400;
        dparams->maxframe = 0x9A000;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Video parameters */

static constexpr uint32_t usual_bufsize = 0x300000;
static constexpr uint32_t usual_maxframe = 307200;

struct video_rule {
    orka_video_type_t type;
    uint32_t codec;
    uint32_t bufsize = usual_bufsize;
    uint32_t maxframe = usual_maxframe; /* raw pictures: what a frame has beyond its pixels */
    uint32_t bytes_per_pixel = 0;       /* of raw pictures alone */
};

static constexpr video_rule video_rules[] = {
    {ORKA_VIDEO_TYPE_DIVX3, 4},
    {ORKA_VIDEO_TYPE_MSMPEG4, 4},
    {ORKA_VIDEO_TYPE_H263, 1},
    {ORKA_VIDEO_TYPE_MPEG4, 1},
    {ORKA_VIDEO_TYPE_H264, 6},
    {ORKA_VIDEO_TYPE_MJPEG, 9},
    {ORKA_VIDEO_TYPE_MPEG1, 7, 0x600000, 614400},
    {ORKA_VIDEO_TYPE_MPEG2, 8, 0x600000, 614400},
    {ORKA_VIDEO_TYPE_WMV7, 16},
    {ORKA_VIDEO_TYPE_WMV8, 15},
    {ORKA_VIDEO_TYPE_WMV9, 5},
    {ORKA_VIDEO_TYPE_YUV422, 256, 0x900000, 32, 2},
    {ORKA_VIDEO_TYPE_RGB888, 257, 0x900000, 48, 3},
    {ORKA_VIDEO_TYPE_JPEG, 10},
};

orka_status_t orka_idecode_get_video_params(orka_idecode_video_params_t *dparams,
                                            const orka_video_desc_t *vdesc)
{
    ORKA_ASSERT_NOT_NULL(dparams);
    ORKA_ASSERT_NOT_NULL(vdesc);

    *dparams = {
        .width = vdesc->width,
        .height = vdesc->height,
        .flag = 1,
        .bufsize = usual_bufsize,
        .bufcount = 400,
        .maxframe = usual_maxframe,
    };
    if (vdesc->type == ORKA_VIDEO_TYPE_NONE) {
        *dparams = {};
        return ORKA_STATUS_SUCCESS;
    }

    const video_rule *rule = find_row(video_rules, vdesc->type);
    if (rule == nullptr) {
        report_error(HERE, "Unsupported Video Type (%s).", orka_media_video_string(vdesc->type));
        return ORKA_STATUS_INVALID_PARAMETER;
    }
    dparams->codec = rule->codec;
    dparams->bufsize = rule->bufsize;
    dparams->maxframe = rule->maxframe + vdesc->width * vdesc->height * rule->bytes_per_pixel;
    return ORKA_STATUS_SUCCESS;
}

/* Codec images */

/* For one video type: the image that decodes it together with each audio type. */
struct codec_images {
    const char *none, *aac, *g711, *g722, *g7221, *g723, *g726, *g729, *mp3, *ogg, *pcm, *wma;
};

struct audio_column {
    orka_audio_type_t type;
    const char *codec_images::*image;
};

static constexpr audio_column audio_columns[] = {
    {ORKA_AUDIO_TYPE_NONE, &codec_images::none},   {ORKA_AUDIO_TYPE_AAC, &codec_images::aac},
    {ORKA_AUDIO_TYPE_G711, &codec_images::g711},   {ORKA_AUDIO_TYPE_G722, &codec_images::g722},
    {ORKA_AUDIO_TYPE_G7221, &codec_images::g7221}, {ORKA_AUDIO_TYPE_G723, &codec_images::g723},
    {ORKA_AUDIO_TYPE_G726, &codec_images::g726},   {ORKA_AUDIO_TYPE_G729, &codec_images::g729},
    {ORKA_AUDIO_TYPE_MP3, &codec_images::mp3},     {ORKA_AUDIO_TYPE_OGG, &codec_images::ogg},
    {ORKA_AUDIO_TYPE_PCM, &codec_images::pcm},     {ORKA_AUDIO_TYPE_WMA, &codec_images::wma},
};

/* Kept on purpose: this pair has no image either, and is passed over in silence. */
static constexpr char silent[] = "";

/* Kept on purpose: sound alone is decoded by images for MPEG-4 pictures. */
static constexpr codec_images images_without_video = {
    .none = "mpeg4_pcm_dec",
    .aac = "mpeg4_aac_dec",
    .g711 = "mpeg4sp_g7xx_dec",
    .g722 = "mpeg4_g722_aec_codec",
    .g7221 = "mpeg4_g7221_aec_codec",
    .g723 = "mpeg4_g723_aec_codec",
    .g726 = "mpeg4sp_g7xx_dec",
    .g729 = "mpeg4_g729_aec_codec",
    .mp3 = "mpeg4sp_mp3_dec",
    .ogg = "ogg_dec",
    .pcm = "mpeg4_pcm_dec",
    .wma = "wmv9_wma_dec",
};

static constexpr codec_images mpeg4_images = {
    .none = "mpeg4_pcm_dec",
    .aac = "mpeg4_aac_dec",
    .g711 = "mpeg4sp_g7xx_dec",
    .g722 = "mpeg4_g722_aec_codec",
    .g7221 = "mpeg4_g7221_aec_codec",
    .g723 = "mpeg4_g723_aec_codec",
    .g726 = "mpeg4sp_g7xx_dec",
    .g729 = "mpeg4_g729_aec_codec",
    .mp3 = "mpeg4sp_mp3_dec",
    .ogg = silent,
    .pcm = "mpeg4_pcm_dec",
    .wma = "wmv9_wma_dec",
};

/* Kept on purpose: no sound goes with the image for G.726, while PCM goes with none. */
static constexpr codec_images h263_images = {
    .none = "mpeg4_g726_aec_codec",
    .g711 = "mpeg4sp_g7xx_dec",
    .g722 = "mpeg4_g722_aec_codec",
    .g7221 = "mpeg4_g7221_aec_codec",
    .g723 = "mpeg4_g723_aec_codec",
    .g726 = "mpeg4_g726_aec_codec",
    .g729 = "mpeg4_g729_aec_codec",
};

static constexpr codec_images divx3_images = {.none = "divx311_pcm_dec", .pcm = "divx311_pcm_dec"};
static constexpr codec_images mpeg2_images = {.none = "mpeg2_pcm_dec", .pcm = "mpeg2_pcm_dec"};

struct video_row {
    orka_video_type_t type;
    codec_images images;
};

static constexpr video_row video_rows[] = {
    {ORKA_VIDEO_TYPE_NONE, images_without_video},
    {ORKA_VIDEO_TYPE_DIVX3, divx3_images},
    {ORKA_VIDEO_TYPE_H263, h263_images},
    {ORKA_VIDEO_TYPE_H264, {.none = "h264_pcm_dec", .aac = "h264_aac_dec", .pcm = "h264_pcm_dec"}},
    {ORKA_VIDEO_TYPE_MPEG1, mpeg2_images},
    {ORKA_VIDEO_TYPE_MPEG2, mpeg2_images},
    {ORKA_VIDEO_TYPE_MPEG4, mpeg4_images},
    {ORKA_VIDEO_TYPE_MSMPEG4, divx3_images},
    {ORKA_VIDEO_TYPE_WMV7, {.none = "wmv7_pcm_dec", .pcm = "wmv7_pcm_dec", .wma = "wmv7_wma_dec"}},
    {ORKA_VIDEO_TYPE_WMV8, {.none = "wmv8_pcm_dec", .pcm = "wmv8_pcm_dec", .wma = "wmv8_wma_dec"}},
    {ORKA_VIDEO_TYPE_WMV9, {.none = "wmv9_pcm_dec", .pcm = "wmv9_pcm_dec", .wma = "wmv9_wma_dec"}},
    {ORKA_VIDEO_TYPE_YUV422, {.none = "yuv422_pcm_dec", .pcm = "yuv422_pcm_dec"}},
    {ORKA_VIDEO_TYPE_RGB888, {.none = "rgb888_pcm_dec", .pcm = "rgb888_pcm_dec"}},
};

const char *orka_idecode_get_codec_name(orka_video_type_t vtype, orka_audio_type_t atype)
{
    const video_row *row = find_row(video_rows, vtype);
    if (row == nullptr) {
        report_error(HERE, "Unsupported Video Type (%s).", orka_media_video_string(vtype));
        return nullptr;
    }

    const audio_column *column = find_row(audio_columns, atype);
    const char *image = column != nullptr ? row->images.*column->image : nullptr;
    if (image == nullptr)
        report_error(HERE, "Unsupported Video(%s) Audio(%s) Combination.", orka_media_video_string(vtype),
                     orka_media_audio_string(atype));
    return image != silent ? image : nullptr;
}

/* Control */

orka_status_t orka_idecode_load_audio_decoder_framework(const char *fwname)
{
    const int32_t fd = orka_audio_decoder_fd();

    ORKA_ASSERT_NOT_NULL(fwname);
    return orka_control(HERE, fd, no_idecode, IDECODE_LOAD, fwname, "Loading Audio Decode Framework.");
}

orka_status_t orka_idecode_load_video_decoder_framework(int32_t channel, int32_t stream, const char *fwname)
{
    const int32_t fd = orka_video_decoder_fd();
    video_framework_record record = {.channel = channel, .stream = stream};

    ORKA_ASSERT_NOT_NULL(fwname);
    /* Kept on purpose: the copy has no bound. */
    strcpy(record.name, fwname);
    return orka_control(HERE, fd, no_idecode, IDECODE_LOAD, &record,
                        "Loading Video Decode Framework - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_load_image_decoder_framework(const char *fwname)
{
    const int32_t fd = orka_idevice_imgdec_fd();

    ORKA_ASSERT_NOT_NULL(fwname);
    return orka_control(HERE, fd, no_image, IDECODE_LOAD, fwname, "Loading Image Decode Framework.");
}

orka_status_t orka_idecode_setup_audio_decoder(const orka_idecode_audio_params_t *params)
{
    const int32_t fd = orka_audio_decoder_fd();

    ORKA_ASSERT_NOT_NULL(params);
    audio_setup_record record = {.channel = 0, .stream = 0, .params = *params};

    return orka_control(HERE, fd, no_idecode, IDECODE_SETUP_AUDIO, &record, "Calling Audio Decode Setup.");
}

orka_status_t orka_idecode_setup_video_decoder(int32_t channel, int32_t stream,
                                               const orka_idecode_video_params_t *params)
{
    const int32_t fd = orka_video_decoder_fd();

    ORKA_ASSERT_NOT_NULL(params);
    video_setup_record record = {.channel = channel, .stream = stream, .params = *params};

    return orka_control(HERE, fd, no_idecode, IDECODE_SETUP_VIDEO, &record,
                        "Calling Video Decode Setup - stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_init_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_INIT, &record,
                        "Calling Video Decoder Init - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_start_audio_decoder(int32_t channel)
{
    channel_record record = {.channel = channel, .stream = 0};

    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_START, &record,
                        "Calling Audio Decode Start.");
}

orka_status_t orka_idecode_start_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_START, &record,
                        "Calling Video Decode Start - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_pause_audio_decoder(int32_t channel)
{
    channel_record record = {.channel = channel, .stream = 0};

    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_PAUSE, &record,
                        "Calling Audio Decode Pause.");
}

orka_status_t orka_idecode_pause_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_PAUSE, &record,
                        "Calling Video Decode Pause - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_rewind_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_REWIND, &record,
                        "Calling Video Decode Rewind - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_fastforward_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_FASTFORWARD, &record,
                        "Calling Video Decode FastForward - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_flush_video_decoder(int32_t channel, int32_t stream, uint32_t flush)
{
    flush_record record = {.channel = channel, .stream = stream, .flush = flush};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_FLUSH, &record,
                        "Calling Video Decode Flush - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_stop_audio_decoder(int32_t channel)
{
    channel_record record = {.channel = channel, .stream = 0};

    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_STOP, &record,
                        "Calling Audio Decode Stop.");
}

orka_status_t orka_idecode_stop_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_STOP, &record,
                        "Calling Video Decode Stop - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_teardown_audio_decoder(int32_t channel)
{
    channel_record record = {.channel = channel, .stream = 0};

    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_TEARDOWN, &record,
                        "Calling Audio Decode Teardown.");
}

orka_status_t orka_idecode_teardown_video_decoder(int32_t channel, int32_t stream)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_TEARDOWN, &record,
                        "Calling Video Decode Teardown - Stream %d of Channel %d.", stream, channel);
}

/* The driver's status word */

struct status_texts {
    const char *failed;
    const char *interrupted;
};

static constexpr status_texts new_frame_texts = {"New Frame.", "New Frame Call Interrupted."};
static constexpr status_texts get_frame_texts = {"Get Frame.", "Get Frame Call Interrupted."};

/* Any status but that all is done. */
__attribute__((cold, noinline)) static orka_status_t explain_status(const call_site &site, int32_t status,
                                                                    const status_texts &texts)
{
    switch (status) {
    case driver_timeout:
        return ORKA_STATUS_TIMEOUT;
    case driver_failure:
        report_error(site, "%s", texts.failed);
        return ORKA_STATUS_ERROR;
    case driver_interrupted:
        report_error(site, "%s", texts.interrupted);
        return ORKA_STATUS_INTR;
    default:
        report_error(site, "Unknown Decoder Status.");
        return ORKA_STATUS_ERROR;
    }
}

/* Waiting for the end. Kept on purpose: what a wait says of a failure is what is said of a new frame. */

static orka_status_t end_of_wait(const call_site &site, orka_status_t asked, const wait_record &record)
{
    if (asked != ORKA_STATUS_SUCCESS || record.status == driver_done)
        return asked;
    return explain_status(site, record.status, new_frame_texts);
}

orka_status_t orka_idecode_wait_finish_audio_decoder_timeout(int32_t channel, int32_t timeout)
{
    wait_record record = {.channel = channel, .stream = 0, .timeout = timeout};
    const orka_status_t asked = orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_WAIT, &record,
                                             "Calling Audio Decode Wait for Finish.");

    return end_of_wait(HERE, asked, record);
}

orka_status_t orka_idecode_wait_finish_audio_decoder(int32_t channel)
{
    return orka_idecode_wait_finish_audio_decoder_timeout(channel, -1);
}

orka_status_t orka_idecode_wait_finish_video_decoder_timeout(int32_t channel, int32_t stream, int32_t timeout)
{
    wait_record record = {.channel = channel, .stream = stream, .timeout = timeout};
    const orka_status_t asked =
        orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_WAIT, &record,
                     "Calling Video Decode Wait for Finish - Stream %d of Channel %d.", stream, channel);

    return end_of_wait(HERE, asked, record);
}

orka_status_t orka_idecode_wait_finish_video_decoder(int32_t channel, int32_t stream)
{
    return orka_idecode_wait_finish_video_decoder_timeout(channel, stream, -1);
}

/* Gain */

struct gain_row {
    uint16_t shift;
    uint16_t mantissa;
};

/* From -12 dB on, in steps of 1 dB of power. */
static constexpr gain_row dbgain_table[] = {
    {0, 2067},  {0, 2602},  {0, 3276},  {0, 4125},  {0, 5193},  {0, 6537},  {0, 8230},
    {0, 10361}, {0, 13044}, {0, 16422}, {0, 20674}, {0, 26027}, {0, 32767}, {1, 20625},
    {1, 25966}, {1, 32689}, {2, 20576}, {2, 25904}, {2, 32611}, {3, 20528}, {3, 25843},
    {3, 32534}, {4, 20479}, {4, 25782}, {4, 32457},
};
static constexpr uint32_t dbgain_table_size = 25;
static constexpr uint32_t dbgain_table_0_index = 12;
static_assert(std::size(dbgain_table) == dbgain_table_size);
static_assert(dbgain_table[dbgain_table_0_index].mantissa == 32767);

static uint32_t gain_index(int32_t db)
{
    return static_cast<uint32_t>(db) + dbgain_table_0_index;
}

/* Kept on purpose: the index after the last row is taken too, and gives the table's size as shift. */
static bool is_gain_index(uint32_t index)
{
    return index <= dbgain_table_size;
}

static gain_row gain_at(uint32_t index)
{
    if (index == dbgain_table_size)
        return {.shift = dbgain_table_size, .mantissa = 0};
    return dbgain_table[index];
}

orka_status_t orka_idecode_audio_set_gain(const orka_idecode_gain_t *gain)
{
    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_SET_GAIN, gain,
                        "Calling Audio Decode Set Gain.");
}

orka_status_t orka_idecode_audio_set_gaindb(int32_t first_db, int32_t second_db)
{
    const uint32_t first_index = gain_index(first_db);
    const uint32_t second_index = gain_index(second_db);

    if (!is_gain_index(first_index) || !is_gain_index(second_index)) {
        /* Kept on purpose: the limits that are printed lie beyond those that hold. */
        const int32_t limit = dbgain_table_size - dbgain_table_0_index;
        report_error(HERE, "Desired Gain out of Range. Min=%d Max=%d.", -limit, limit);
        return ORKA_STATUS_OUT_OF_RANGE;
    }

    const gain_row first = gain_at(first_index);
    const gain_row second = gain_at(second_index);
    const orka_idecode_gain_t gain = {
        .first_mantissa = first.mantissa,
        .second_mantissa = second.mantissa,
        .first_shift = first.shift,
        .second_shift = second.shift,
    };

    return orka_idecode_audio_set_gain(&gain);
}

/* Queues */

static constexpr uint32_t queue_version = 1;
static constexpr uint32_t audio_queueid = 3;
static constexpr uint32_t video_queueid = 8;

__attribute__((cold, noinline)) static orka_status_t null_pointer(const call_site &site)
{
    report_error(site, "NULL Pointer Deref.");
    return ORKA_STATUS_NULL_POINTER;
}

__attribute__((cold, noinline)) static orka_status_t invalid_queue(const call_site &site)
{
    report_error(site, "Invalid Queue Handle.");
    return ORKA_STATUS_INITIALIZATION;
}

static void discard_queue(orka_idecode_queue_t *queue)
{
    explicit_bzero(queue, sizeof *queue);
    free(queue);
}

static orka_idecode_queue_t *allocate_queue(const call_site &site)
{
    void *memory = malloc(sizeof(orka_idecode_queue_t));
    const int saved_errno = errno;

    if (memory == nullptr)
        report_error_errno(saved_errno, site, "Unable to Allocate Memory for Queue Handle.");
    else
        memset(memory, 0, sizeof(orka_idecode_queue_t));
    return static_cast<orka_idecode_queue_t *>(memory);
}

/* A queue is born closed and opens last, once it is mapped. */
template <typename... Words>
static orka_idecode_queue_t *open_queue(const call_site &site, int32_t fd, const char *no_node,
                                        uint32_t magic, queue_record record, const char *not_mapped,
                                        orka_message<std::type_identity_t<Words>...> refused, Words... words)
{
    const orka_idecode_queue_t asked = {
        .channel = record.channel, .stream = record.stream, .queueid = record.queueid};

    if (fd < 0) {
        orka_no_node(site, no_node);
        return nullptr;
    }
    orka_idecode_queue_t *queue = allocate_queue(site);
    if (queue == nullptr)
        return nullptr;
    if (orka_control(site, fd, no_node, IDECODE_QUEUE, &record, refused, words...) != ORKA_STATUS_SUCCESS) {
        discard_queue(queue);
        return nullptr;
    }

    *queue = asked;
    queue->length = record.length;
    queue->pbase = record.pbase;
    queue->vbase = word_of(orka_imem_mmap(queue->pbase, queue->length));
    if (queue->vbase == 0) {
        report_error(site, "%s", not_mapped);
        discard_queue(queue);
        return nullptr;
    }
    queue->version = queue_version;
    queue->magic = magic;
    return queue;
}

orka_idecode_queue_t *orka_idecode_get_audio_queueid(int32_t channel, uint32_t queueid)
{
    const int32_t fd = orka_audio_decoder_fd();

    if (channel != 0) {
        report_error(HERE, "Only Decode Channel 0 Supported at This Time.");
        return nullptr;
    }
    return open_queue(HERE, fd, no_idecode, ORKA_IDECODE_AUDIO_QUEUE,
                      {.channel = channel, .stream = 0, .queueid = queueid}, "Error Mapping Audio Queue.",
                      "Audio Decode Queue Addr.");
}

orka_idecode_queue_t *orka_idecode_get_audio_queue(int32_t channel)
{
    return orka_idecode_get_audio_queueid(channel, audio_queueid);
}

orka_idecode_queue_t *orka_idecode_get_video_queueid(int32_t channel, int32_t stream, uint32_t queueid)
{
    return open_queue(HERE, orka_video_decoder_fd(), no_video, ORKA_IDECODE_VIDEO_QUEUE,
                      {.channel = channel, .stream = stream, .queueid = queueid},
                      "Error Mapping Video Queue.", "Video Decode Queue Addr - Stream %d of Channel %d.",
                      stream, channel);
}

orka_idecode_queue_t *orka_idecode_get_video_queue(int32_t channel, int32_t stream)
{
    return orka_idecode_get_video_queueid(channel, stream, video_queueid);
}

static bool is_queue(const orka_idecode_queue_t &queue)
{
    return (queue.magic == ORKA_IDECODE_AUDIO_QUEUE || queue.magic == ORKA_IDECODE_VIDEO_QUEUE ||
            queue.magic == ORKA_IDECODE_SUBTITLE_QUEUE) &&
           queue.version == queue_version;
}

orka_status_t orka_idecode_release_queue(orka_idecode_queue_t *queue)
{
    if (queue == nullptr)
        return null_pointer(HERE);
    if (!is_queue(*queue))
        return invalid_queue(HERE);

    const orka_status_t status = orka_imem_munmap(pointer_of(queue->vbase), queue->length);
    if (status != ORKA_STATUS_SUCCESS)
        report_error(HERE, "Unmapping Queue Address.");
    discard_queue(queue);
    return status;
}

int32_t orka_idecode_get_queue_fd(const orka_idecode_queue_t *queue)
{
    if (queue != nullptr && queue->version != queue_version) [[unlikely]]
        return invalid_queue(HERE);

    switch (queue->magic) {
    case ORKA_IDECODE_VIDEO_QUEUE:
        return orka_video_decoder_fd();
    case ORKA_IDECODE_AUDIO_QUEUE:
        return orka_audio_decoder_fd();
    case ORKA_IDECODE_SUBTITLE_QUEUE:
        return orka_idevice_subtitle_fd();
    default:
        report_error(HERE, "Invalid Queue Type.");
        return ORKA_STATUS_INITIALIZATION;
    }
}

/*
 * Frames. The way of a frame that arrives is inlined and counted in instructions; all else is out of its way.
 */

/* The head of a queue as one word, so that one comparison tells an open queue of a kind. */
static constexpr uint64_t head_of(uint32_t magic, uint32_t version)
{
    return uint64_t{version} << 32 | magic;
}

/* The descriptor of an open queue whose driver is open; 0 or below for any other queue. */
static inline int32_t ready_fd(const orka_idecode_queue_t &queue)
{
    const uint64_t head = head_of(queue.magic, queue.version);

    if (head == head_of(ORKA_IDECODE_VIDEO_QUEUE, queue_version))
        return orka_ivdecode_device.fd.load(std::memory_order_acquire);
    if (head == head_of(ORKA_IDECODE_AUDIO_QUEUE, queue_version)) [[likely]]
        return orka_iadecode_device.fd.load(std::memory_order_acquire);
    return 0;
}

/* The descriptor of any queue, or a status that was reported. */
__attribute__((cold, noinline)) static int32_t obtain_fd(const call_site &site,
                                                         const orka_idecode_queue_t &queue)
{
    if (queue.version != queue_version)
        return invalid_queue(site);
    const int32_t fd = orka_idecode_get_queue_fd(&queue);

    return fd < 0 ? orka_no_node(site, no_decode) : fd;
}

/*
 * The one way of a buffer's address from the driver to the application, and the one way back. Between the
 * words of a frame it takes no call, but for address 0, which is asserted there.
 */
static inline void frame_from_driver(orka_idecode_frame_t &frame, const orka_idecode_queue_t &queue)
{
    if (frame.addr == 0) [[unlikely]] {
        orka_imem_p2v(0, 0, nullptr);
        __builtin_unreachable();
    }
    frame.addr = queue.vbase + (frame.addr - queue.pbase);
}

/* Around the address: one wide copy across it would have to wait for whoever wrote that word last. */
static inline void frame_to_driver(orka_idecode_frame_t &to, const orka_idecode_frame_t &from,
                                   const orka_idecode_queue_t &queue)
{
    constexpr size_t before = offsetof(orka_idecode_frame_t, addr);
    constexpr size_t after = offsetof(orka_idecode_frame_t, size);

    if (from.addr == 0) [[unlikely]] {
        orka_imem_v2p(nullptr, nullptr, 0);
        __builtin_unreachable();
    }
    memcpy(&to, &from, before);
    to.addr = queue.pbase + (from.addr - queue.vbase);
    memcpy(reinterpret_cast<char *>(&to) + after, reinterpret_cast<const char *>(&from) + after,
           sizeof to - after);
}

/*
 * A record begins with a queue's channel, stream and number as they stand in the queue. The fourth word comes
 * along, to make it one move, and is to be overwritten.
 */
template <typename Record>
static inline void address_queue(Record &record, const orka_idecode_queue_t &queue)
{
    static_assert(offsetof(orka_idecode_queue_t, stream) - offsetof(orka_idecode_queue_t, channel) ==
                  offsetof(Record, stream));
    static_assert(offsetof(orka_idecode_queue_t, queueid) - offsetof(orka_idecode_queue_t, channel) ==
                  offsetof(Record, queueid));
    memcpy(&record, reinterpret_cast<const char *>(&queue) + offsetof(orka_idecode_queue_t, channel), 16);
}

/* What is wanted again after the request stands beside its record: in registers it would cost saving them. */
struct frame_call {
    frame_request_record record;
    orka_idecode_frame_t *frame;
    const orka_idecode_queue_t *queue;
};

[[gnu::always_inline]] static inline orka_status_t
take_frame(const call_site &site, orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
           int32_t timeout, uint32_t request, orka_message<> refused, const status_texts &texts)
{
    if (frame == nullptr || queue == nullptr) [[unlikely]]
        return null_pointer(site);

    frame_call call = {.frame = frame, .queue = queue};
    address_queue(call.record, *queue);
    call.record.timeout = timeout;

    int32_t fd = ready_fd(*queue);
    if (fd <= 0) [[unlikely]] {
        fd = obtain_fd(site, *queue);
        if (fd < 0)
            return fd;
    }
    const orka_status_t asked = orka_exchange(site, fd, request, &call.record, refused);
    if (asked != ORKA_STATUS_SUCCESS) [[unlikely]]
        return asked;
    if (call.record.status != driver_done) [[unlikely]]
        return explain_status(site, call.record.status, texts);

    *call.frame = call.record.frame;
    frame_from_driver(*call.frame, *call.queue);
    return ORKA_STATUS_SUCCESS;
}

[[gnu::always_inline]] static inline orka_status_t return_frame(const call_site &site,
                                                                const orka_idecode_frame_t *frame,
                                                                const orka_idecode_queue_t *queue,
                                                                uint32_t request)
{
    if (frame == nullptr || queue == nullptr) [[unlikely]]
        return null_pointer(site);
    int32_t fd = ready_fd(*queue);
    if (fd <= 0) [[unlikely]] {
        fd = obtain_fd(site, *queue);
        if (fd < 0)
            return fd;
    }

    frame_return_record record;
    address_queue(record, *queue);
    frame_to_driver(record.frame, *frame, *queue);
    /* Kept on purpose: one text for every kind of queue, and for both requests. */
    return orka_exchange(site, fd, request, &record, "Committing Audio Frame.");
}

orka_status_t orka_idecode_new_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                     int32_t timeout)
{
    return take_frame(HERE, frame, queue, timeout, IDECODE_NEW_FRAME, "Aquiring New Frame.", new_frame_texts);
}

orka_status_t orka_idecode_get_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                     int32_t timeout)
{
    return take_frame(HERE, frame, queue, timeout, IDECODE_GET_FRAME, "Get Frame.", get_frame_texts);
}

orka_status_t orka_idecode_commit_frame(const orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue)
{
    return return_frame(HERE, frame, queue, IDECODE_COMMIT_FRAME);
}

orka_status_t orka_idecode_release_frame(const orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue)
{
    return return_frame(HERE, frame, queue, IDECODE_RELEASE_FRAME);
}

/* Frames of queues of one kind */

static orka_status_t check_kind(const call_site &site, const orka_idecode_frame_t *frame,
                                const orka_idecode_queue_t *queue, uint32_t magic)
{
    if (frame == nullptr || queue == nullptr)
        return null_pointer(site);
    if (queue->version != queue_version || queue->magic != magic)
        return invalid_queue(site);
    return ORKA_STATUS_SUCCESS;
}

/* Kept on purpose, here and below: getting a frame of one kind asks for a new one. */
orka_status_t orka_idecode_get_audio_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                           int32_t timeout)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IDECODE_AUDIO_QUEUE);

    return status != ORKA_STATUS_SUCCESS ? status : orka_idecode_new_frame(frame, queue, timeout);
}

orka_status_t orka_idecode_get_video_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                           int32_t timeout)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IDECODE_VIDEO_QUEUE);

    return status != ORKA_STATUS_SUCCESS ? status : orka_idecode_new_frame(frame, queue, timeout);
}

orka_status_t orka_idecode_commit_audio_frame(const orka_idecode_frame_t *frame,
                                              const orka_idecode_queue_t *queue)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IDECODE_AUDIO_QUEUE);

    return status != ORKA_STATUS_SUCCESS ? status : orka_idecode_commit_frame(frame, queue);
}

orka_status_t orka_idecode_commit_video_frame(const orka_idecode_frame_t *frame,
                                              const orka_idecode_queue_t *queue)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IDECODE_VIDEO_QUEUE);

    return status != ORKA_STATUS_SUCCESS ? status : orka_idecode_commit_frame(frame, queue);
}

/* Display clocks. Kept on purpose: the audio clock's requests fail with the text of loading a framework. */

orka_status_t orka_idecode_reset_audio_display_tsms(int32_t channel)
{
    audio_clock_record record = {.channel = channel};

    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_RESET_AUDIO_CLOCK, &record,
                        "Loading Audio Decode Framework.");
}

orka_status_t orka_idecode_get_audio_display_tsms(int32_t channel, uint32_t *tsms)
{
    audio_clock_record record = {.channel = channel};
    const orka_status_t asked =
        orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_GET_AUDIO_CLOCK, &record,
                     "Loading Audio Decode Framework.");

    if (asked == ORKA_STATUS_SUCCESS)
        *tsms = record.tsms;
    return asked;
}

orka_status_t orka_idecode_get_video_display_tsms(uint32_t *tsms)
{
    const int32_t fd = orka_video_decoder_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_idecode);

    /* Not orka_control: this request is refused by a negative result alone. */
    video_clock_record record = {};
    if (ioctl(fd, IDECODE_GET_VIDEO_CLOCK, &record) < 0)
        return orka_refused(ORKA_STATUS_ERROR, errno, HERE, "Get Video Display Time.");
    *tsms = record.tsms;
    return ORKA_STATUS_SUCCESS;
}
