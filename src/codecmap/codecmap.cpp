#include "codecmap.h"

#include <atomic>
#include <cstring>
#include <iterator>

#include "orka_imem.h"
#include "pavosem.h"

/* Codec numbers */

struct codec_pair {
    int32_t dm320;
    int32_t kor;
};

static constexpr int32_t no_codec = -1;

static constexpr codec_pair ACODEC_MAP_TAB[] = {
    {ORKA_AUDIO_TYPE_NONE, 17}, {ORKA_AUDIO_TYPE_AAC, 0},  {ORKA_AUDIO_TYPE_AC3, 1},
    {ORKA_AUDIO_TYPE_BSAC, 2},  {ORKA_AUDIO_TYPE_G711, 3}, {ORKA_AUDIO_TYPE_G722, 4},
    {ORKA_AUDIO_TYPE_G7221, 5}, {ORKA_AUDIO_TYPE_G723, 6}, {ORKA_AUDIO_TYPE_G726, 14},
    {ORKA_AUDIO_TYPE_G728, 7},  {ORKA_AUDIO_TYPE_G729, 8}, {ORKA_AUDIO_TYPE_GSMAMR, 9},
    {ORKA_AUDIO_TYPE_MP1, 10},  {ORKA_AUDIO_TYPE_MP2, 11}, {ORKA_AUDIO_TYPE_MP3, 12},
    {ORKA_AUDIO_TYPE_OGG, 13},  {ORKA_AUDIO_TYPE_PCM, 15}, {ORKA_AUDIO_TYPE_WMA, 16},
    {no_codec, no_codec},
};
static_assert(std::size(ACODEC_MAP_TAB) == 18 + 1);

static constexpr codec_pair VCODEC_MAP_TAB[] = {
    {ORKA_VIDEO_TYPE_NONE, 14},   {ORKA_VIDEO_TYPE_DIVX3, 0},   {ORKA_VIDEO_TYPE_H263, 1},
    {ORKA_VIDEO_TYPE_H264, 2},    {ORKA_VIDEO_TYPE_MJPEG, 4},   {ORKA_VIDEO_TYPE_MPEG1, 5},
    {ORKA_VIDEO_TYPE_MPEG2, 6},   {ORKA_VIDEO_TYPE_MPEG4, 7},   {ORKA_VIDEO_TYPE_MSMPEG4, 8},
    {ORKA_VIDEO_TYPE_WMV7, 9},    {ORKA_VIDEO_TYPE_WMV8, 10},   {ORKA_VIDEO_TYPE_WMV9, 11},
    {ORKA_VIDEO_TYPE_YUV422, 12}, {ORKA_VIDEO_TYPE_RGB888, 13}, {ORKA_VIDEO_TYPE_JPEG, 3},
    {no_codec, no_codec},
};
static_assert(std::size(VCODEC_MAP_TAB) == 15 + 1);

/* The wanted member of the first pair whose known member has the value; the terminator matches nothing. */
static int32_t look_up(const codec_pair *pair, int32_t codec_pair::*known, int32_t value,
                       int32_t codec_pair::*wanted)
{
    for (; pair->dm320 != no_codec; pair++) {
        if (pair->*known == value)
            return pair->*wanted;
    }
    return no_codec;
}

int32_t audio_codec_dm320_2_kor(orka_audio_type_t type)
{
    return look_up(ACODEC_MAP_TAB, &codec_pair::dm320, type, &codec_pair::kor);
}

int32_t video_codec_dm320_2_kor(orka_video_type_t type)
{
    return look_up(VCODEC_MAP_TAB, &codec_pair::dm320, type, &codec_pair::kor);
}

orka_audio_type_t audio_codec_kor_2_dm320(int32_t codec)
{
    return look_up(ACODEC_MAP_TAB, &codec_pair::kor, codec, &codec_pair::dm320);
}

orka_video_type_t video_codec_kor_2_dm320(int32_t codec)
{
    return look_up(VCODEC_MAP_TAB, &codec_pair::kor, codec, &codec_pair::dm320);
}

/* Descriptors */

static_assert(sizeof(kor_audio_desc_t) == 24 && sizeof(kor_video_desc_t) == 16);

int32_t audio_desc_dm320_2_kor(const orka_audio_desc_t *adesc, kor_audio_desc_t *kdesc)
{
    *kdesc = {
        .codec = audio_codec_dm320_2_kor(adesc->type),
        .channels = adesc->channels,
        .sample_rate = adesc->sample_rate,
        .bitrate = adesc->bitrate,
        .param1 = adesc->extra1,
        .param2 = adesc->extra2,
    };
    return kdesc->codec;
}

orka_audio_type_t audio_desc_kor_2_dm320(const kor_audio_desc_t *kdesc, orka_audio_desc_t *adesc)
{
    /* Kept on purpose: valid without a codec too, and extra4. */
    *adesc = {
        .valid = 1,
        .type = audio_codec_kor_2_dm320(kdesc->codec),
        .channels = kdesc->channels,
        .sample_rate = kdesc->sample_rate,
        .bitrate = kdesc->bitrate,
        .extra1 = kdesc->param1,
        .extra2 = kdesc->param2,
        .extra4 = 1,
    };
    return adesc->type;
}

int32_t video_desc_dm320_2_kor(const orka_video_desc_t *vdesc, kor_video_desc_t *kdesc)
{
    uint8_t param;

    memcpy(&param, &vdesc->aux, sizeof param);
    *kdesc = {
        .codec = video_codec_dm320_2_kor(vdesc->type),
        .width = vdesc->width,
        .height = vdesc->height,
        .param = param,
    };
    return kdesc->codec;
}

orka_video_type_t video_desc_kor_2_dm320(const kor_video_desc_t *kdesc, orka_video_desc_t *vdesc)
{
    const auto param = static_cast<uint8_t>(kdesc->param);

    vdesc->type = video_codec_kor_2_dm320(kdesc->codec);
    vdesc->width = kdesc->width;
    vdesc->height = kdesc->height;
    memcpy(&vdesc->aux, &param, sizeof param);
    vdesc->valid = 1;
    return vdesc->type;
}

/* Media memory. A process that comes new resets it: it cannot know what was there before. */

static std::atomic<uint32_t> mediaMemDirty = 1;

void media_mem_reset(void)
{
    if (mediaMemDirty.load(std::memory_order_relaxed) == 0)
        return;
    orka_imem_reset();
    mediaMemDirty.store(0, std::memory_order_relaxed);
}

void media_mem_dirty(void)
{
    mediaMemDirty.store(1, std::memory_order_relaxed);
}

int32_t media_mem_is_dirty(void)
{
    return mediaMemDirty.load(std::memory_order_relaxed) == 1 ? 1 : 0;
}

/* Locks: one semaphore for each key, opened anew at every call. */

enum lock_key { audio_key = 'a', video_key = 'v', imaging_key = 'i' };

static constexpr int unlocked = 1;

static int open_semaphore(lock_key key, int *id)
{
    return PavoSemCreate("/var/tmp/sem-dm320-media", key, unlocked, id);
}

static int lock(lock_key key)
{
    int id = -1;
    const int opened = open_semaphore(key, &id);

    return opened < 0 ? opened : PavoSemDown(id, 0);
}

/* Sets the value rather than raising it: it never counts above 1. A semaphore that was just made has it. */
static int unlock(lock_key key)
{
    constexpr int existed = 1;
    int id = -1;
    const int opened = open_semaphore(key, &id);

    return opened == existed ? PavoSemSetValue(id, unlocked) : opened;
}

int dm320_a_lock(void)
{
    return lock(audio_key);
}

int dm320_a_unlock(void)
{
    return unlock(audio_key);
}

int dm320_v_lock(void)
{
    return lock(video_key);
}

int dm320_v_unlock(void)
{
    return unlock(video_key);
}

int dm320_i_lock(void)
{
    return lock(imaging_key);
}

int dm320_i_unlock(void)
{
    return unlock(imaging_key);
}

int dm320_av_lock(void)
{
    if (lock(audio_key) != 0)
        return -1;
    if (lock(video_key) != 0) {
        unlock(audio_key);
        return -1;
    }
    return 0;
}

int dm320_av_unlock(void)
{
    unlock(video_key);
    unlock(audio_key);
    return 0;
}

int dm320_is_av_locked(void)
{
    if (dm320_av_lock() != 0)
        return -1;
    dm320_av_unlock();
    return 0;
}
