/*
 * What the decoders and the encoders have in common ahead of any request: the codec numbers of speech, the
 * choice of a codec image, and gains.
 */
#ifndef ORKA_CODEC_INTERNAL_H
#define ORKA_CODEC_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "common/orka_status_internal.h"
#include "orka_media.h"
#include "orka_status.h"

/* The row for a media type, or null. */
template <typename Row, size_t count>
const Row *find_row(const Row (&rows)[count], int32_t type)
{
    for (const Row &row : rows) {
        if (row.type == type)
            return &row;
    }
    return nullptr;
}

/* Audio parameters */

struct bitrate_codec {
    uint32_t bitrate; /* kbit/s */
    uint32_t codec;
    uint32_t mode = 0;        /* of the codec, for its encoder */
    uint32_t bitrate_bps = 0; /* where it is not 1000 times the bitrate */
};

/* A speech codec: one sample rate, and a codec number for each of its bitrates. */
struct speech_rule {
    orka_audio_type_t type;
    uint32_t sample_rate;
    std::span<const bitrate_codec> bitrates;
    const char *bad_sample_rate;
    const char *bad_bitrate;
};

inline constexpr bitrate_codec g711_codecs[] = {{64, 4}};
inline constexpr bitrate_codec g722_codecs[] = {{48, 27, 3}, {56, 28, 2}, {64, 29, 1}};
inline constexpr bitrate_codec g7221_codecs[] = {{24, 30, 2}, {32, 31, 1}};
inline constexpr bitrate_codec g723_codecs[] = {{5, 26, 1, 5300}, {6, 26, 0, 6300}};
inline constexpr bitrate_codec g726_codecs[] = {{16, 0}, {24, 1}, {32, 2}, {40, 3}};
inline constexpr bitrate_codec g729_codecs[] = {{8, 25}};

inline constexpr speech_rule speech_rules[] = {
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

/* The codec number that stands for no sound. */
constexpr uint32_t no_audio_codec = 5;

/* A bitrate above 4000 is one in bit/s. */
template <typename Params>
void set_bitrate(Params &params, uint32_t bitrate)
{
    const bool in_bps = bitrate > 4000;

    params.bitrate = in_bps ? bitrate / 1000 : bitrate;
    params.bitrate_bps = in_bps ? bitrate : bitrate * 1000;
}

/* What is said of a bitrate that a speech codec does not have: a message and the number in it. */
struct bitrate_complaint {
    const char *message;
    uint32_t number;
};

/* Sets the codec that the rates in the parameters choose, and what comes with it. */
template <typename Params>
orka_status_t choose_speech_codec(const call_site &site, Params &params, const speech_rule &rule,
                                  bitrate_complaint complaint)
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
        if constexpr (requires { params.mode; })
            params.mode = row.mode;
        return ORKA_STATUS_SUCCESS;
    }
    report_error(site, complaint.message, complaint.number);
    return ORKA_STATUS_OUT_OF_RANGE;
}

/* Codec images */

/* For one video type: the image that serves it together with each audio type. */
struct codec_images {
    const char *none, *aac, *g711, *g722, *g7221, *g723, *g726, *g729, *mp3, *ogg, *pcm, *wma;
};

struct audio_column {
    orka_audio_type_t type;
    const char *codec_images::*image;
};

inline constexpr audio_column audio_columns[] = {
    {ORKA_AUDIO_TYPE_NONE, &codec_images::none},   {ORKA_AUDIO_TYPE_AAC, &codec_images::aac},
    {ORKA_AUDIO_TYPE_G711, &codec_images::g711},   {ORKA_AUDIO_TYPE_G722, &codec_images::g722},
    {ORKA_AUDIO_TYPE_G7221, &codec_images::g7221}, {ORKA_AUDIO_TYPE_G723, &codec_images::g723},
    {ORKA_AUDIO_TYPE_G726, &codec_images::g726},   {ORKA_AUDIO_TYPE_G729, &codec_images::g729},
    {ORKA_AUDIO_TYPE_MP3, &codec_images::mp3},     {ORKA_AUDIO_TYPE_OGG, &codec_images::ogg},
    {ORKA_AUDIO_TYPE_PCM, &codec_images::pcm},     {ORKA_AUDIO_TYPE_WMA, &codec_images::wma},
};

struct video_row {
    orka_video_type_t type;
    codec_images images;
};

/* Null, and reported, where the table has no image for the two. */
template <size_t count>
const char *find_image(const call_site &site, const video_row (&rows)[count], orka_video_type_t vtype,
                       orka_audio_type_t atype)
{
    const video_row *row = find_row(rows, vtype);
    if (row == nullptr) {
        report_error(site, "Unsupported Video Type (%s).", orka_media_video_string(vtype));
        return nullptr;
    }

    const audio_column *column = find_row(audio_columns, atype);
    const char *image = column != nullptr ? row->images.*column->image : nullptr;
    if (image == nullptr)
        report_error(site, "Unsupported Video(%s) Audio(%s) Combination.", orka_media_video_string(vtype),
                     orka_media_audio_string(atype));
    return image;
}

/* Gain */

struct gain_row {
    uint16_t shift;
    uint16_t mantissa;
};

/* From -12 dB on, in steps of 1 dB of power. */
inline constexpr gain_row dbgain_table[] = {
    {0, 2067},  {0, 2602},  {0, 3276},  {0, 4125},  {0, 5193},  {0, 6537},  {0, 8230},
    {0, 10361}, {0, 13044}, {0, 16422}, {0, 20674}, {0, 26027}, {0, 32767}, {1, 20625},
    {1, 25966}, {1, 32689}, {2, 20576}, {2, 25904}, {2, 32611}, {3, 20528}, {3, 25843},
    {3, 32534}, {4, 20479}, {4, 25782}, {4, 32457},
};
constexpr uint32_t dbgain_table_size = 25;
constexpr uint32_t dbgain_table_0_index = 12;
static_assert(std::size(dbgain_table) == dbgain_table_size);
static_assert(dbgain_table[dbgain_table_0_index].mantissa == 32767);

inline uint32_t gain_index(int32_t db)
{
    return static_cast<uint32_t>(db) + dbgain_table_0_index;
}

/* Kept on purpose: the index after the last row is taken too, and gives the table's size as shift. */
inline bool is_gain_index(uint32_t index)
{
    return index <= dbgain_table_size;
}

inline gain_row gain_at(uint32_t index)
{
    if (index == dbgain_table_size)
        return {.shift = dbgain_table_size, .mantissa = 0};
    return dbgain_table[index];
}

/* Fills a gain record from two gains in dB. */
template <typename Gain>
orka_status_t set_gain(const call_site &site, Gain &gain, int32_t first_db, int32_t second_db)
{
    const uint32_t first_index = gain_index(first_db);
    const uint32_t second_index = gain_index(second_db);

    if (!is_gain_index(first_index) || !is_gain_index(second_index)) {
        /* Kept on purpose: the limits that are printed lie beyond those that hold. */
        const int32_t limit = dbgain_table_size - dbgain_table_0_index;
        report_error(site, "Desired Gain out of Range. Min=%d Max=%d.", -limit, limit);
        return ORKA_STATUS_OUT_OF_RANGE;
    }

    const gain_row first = gain_at(first_index);
    const gain_row second = gain_at(second_index);
    gain = {
        .first_mantissa = first.mantissa,
        .second_mantissa = second.mantissa,
        .first_shift = first.shift,
        .second_shift = second.shift,
    };
    return ORKA_STATUS_SUCCESS;
}

#endif
