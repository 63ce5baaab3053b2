/*
 * Between this framework and the kor host media system: codec numbers and descriptors translated both ways,
 * the mark that media memory is to be reset, and system-wide locks on the DSP's sides.
 *
 * "dm320" stands for this framework's own numbering. Nothing but a failed reset of media memory is ever
 * reported. The translations may be called from any thread; pointers must not be NULL.
 *
 * Link libcodecmap.so, which brings liborka.so and the platform's semaphores.
 */
#ifndef CODECMAP_H
#define CODECMAP_H

#include <stdint.h>

#include "orka_media.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* An audio stream as the host describes it. */
typedef struct kor_audio_desc {
    int32_t codec;        /* 0: the host's number */
    uint32_t channels;    /* 4: how many */
    uint32_t sample_rate; /* 8: Hz */
    uint32_t bitrate;     /* 12: kbit/s; GSMAMR: bit/s */
    uint32_t param1;      /* 16: extra1 of orka_audio_desc_t */
    uint32_t param2;      /* 20: extra2 */
} kor_audio_desc_t;

/* A video stream as the host describes it. */
typedef struct kor_video_desc {
    int32_t codec;   /* 0: the host's number */
    uint32_t width;  /* 4: pixels */
    uint32_t height; /* 8: pixels */
    uint32_t param;  /* 12: 0 to 255, the first byte of aux of orka_video_desc_t */
} kor_video_desc_t;

/* The other side's number of a codec; -1 where it has none, and for -1. */
int32_t audio_codec_dm320_2_kor(orka_audio_type_t type);
int32_t video_codec_dm320_2_kor(orka_video_type_t type);
orka_audio_type_t audio_codec_kor_2_dm320(int32_t codec);
orka_video_type_t video_codec_kor_2_dm320(int32_t codec);

/*
 * The other side's descriptor of a stream. All return the codec's number on that side, which stands in the
 * descriptor too, even where it is -1. What comes from the host is marked valid in either case; of a video
 * descriptor, the rest of aux is left as it was.
 */
int32_t audio_desc_dm320_2_kor(const orka_audio_desc_t *adesc, kor_audio_desc_t *kdesc);
orka_audio_type_t audio_desc_kor_2_dm320(const kor_audio_desc_t *kdesc, orka_audio_desc_t *adesc);
int32_t video_desc_dm320_2_kor(const orka_video_desc_t *vdesc, kor_video_desc_t *kdesc);
orka_video_type_t video_desc_kor_2_dm320(const kor_video_desc_t *kdesc, orka_video_desc_t *vdesc);

/*
 * Media memory of this process. It begins dirty; a reset of dirty memory is an orka_imem_reset, whose failure
 * is reported there and clears the mark all the same; a reset of clean memory does nothing. For one thread at
 * a time.
 */
void media_mem_reset(void);
void media_mem_dirty(void);
int32_t media_mem_is_dirty(void); /* 1 or 0 */

/*
 * Locks that all processes of the system share, on the DSP's audio (a), video (v) and imaging (i) side. They
 * belong to nobody: whoever unlocks frees a lock, two unlocks are as one, and a process that dies keeps what
 * it had locked until somebody unlocks it.
 *
 * Locking gives 0, or what the platform's semaphores gave: those of libpavosem.so do not wait, and fail at
 * once where somebody else has the lock. Unlocking gives the platform's result, 0 where it succeeded.
 */
int dm320_a_lock(void);
int dm320_a_unlock(void);
int dm320_v_lock(void);
int dm320_v_unlock(void);
int dm320_i_lock(void);
int dm320_i_unlock(void);

/* Audio, then video; 0, or -1 with neither locked. Unlocking is always 0. */
int dm320_av_lock(void);
int dm320_av_unlock(void);

/* 0 when both could be locked, which were unlocked again; -1 when somebody has one, or one cannot be had. */
int dm320_is_av_locked(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
