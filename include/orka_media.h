/*
 * The catalogue of media types: their numbers and names, descriptors of a stream, codec numbers, which codec
 * framework a codec image holds, and what an encoded video frame holds.
 *
 * Constant tables and plain look-ups: every function but orka_media_get_video_SEI may be called from any
 * thread, every text that is returned belongs to the library. A NULL for an argument marked "asserted" aborts
 * the process, in every build.
 */
#ifndef ORKA_MEDIA_H
#define ORKA_MEDIA_H

#include <stdint.h>
#include <stdio.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* What a frame holds; LAST ends a stream. */
typedef int32_t orka_frame_type_t;
enum {
    ORKA_FRAME_TYPE_ERROR = -1,
    ORKA_FRAME_TYPE_NONE = 0,
    ORKA_FRAME_TYPE_AUDIO = 1,
    ORKA_FRAME_TYPE_VIDEO = 2,
    ORKA_FRAME_TYPE_SUBTITLE = 3,
    ORKA_FRAME_TYPE_MOTION_VECTOR = 4,
    ORKA_FRAME_TYPE_LAST = 5
};

/*
 * How sound is coded. DETECT and UNKNOWN are one value: DETECT is found by name, and its name is "UNKNOWN".
 * So with the next two.
 */
typedef int32_t orka_audio_type_t;
enum {
    ORKA_AUDIO_TYPE_UNKNOWN = -1,
    ORKA_AUDIO_TYPE_DETECT = -1,
    ORKA_AUDIO_TYPE_NONE = 0,
    ORKA_AUDIO_TYPE_AAC = 1,
    ORKA_AUDIO_TYPE_AC3 = 2,
    ORKA_AUDIO_TYPE_BSAC = 3,
    ORKA_AUDIO_TYPE_G711 = 4,
    ORKA_AUDIO_TYPE_G722 = 5,
    ORKA_AUDIO_TYPE_G7221 = 6,
    ORKA_AUDIO_TYPE_G723 = 7,
    ORKA_AUDIO_TYPE_G726 = 8,
    ORKA_AUDIO_TYPE_G728 = 9,
    ORKA_AUDIO_TYPE_G729 = 10,
    ORKA_AUDIO_TYPE_GSMAMR = 11,
    ORKA_AUDIO_TYPE_MP1 = 12,
    ORKA_AUDIO_TYPE_MP2 = 13,
    ORKA_AUDIO_TYPE_MP3 = 14,
    ORKA_AUDIO_TYPE_OGG = 15,
    ORKA_AUDIO_TYPE_PCM = 16,
    ORKA_AUDIO_TYPE_WMA = 17
};

/* How video is coded. */
typedef int32_t orka_video_type_t;
enum {
    ORKA_VIDEO_TYPE_UNKNOWN = -1,
    ORKA_VIDEO_TYPE_DETECT = -1,
    ORKA_VIDEO_TYPE_NONE = 0,
    ORKA_VIDEO_TYPE_DIVX3 = 1,
    ORKA_VIDEO_TYPE_H263 = 2,
    ORKA_VIDEO_TYPE_H264 = 3,
    ORKA_VIDEO_TYPE_MJPEG = 4,
    ORKA_VIDEO_TYPE_MPEG1 = 5,
    ORKA_VIDEO_TYPE_MPEG2 = 6,
    ORKA_VIDEO_TYPE_MPEG4 = 7,
    ORKA_VIDEO_TYPE_MSMPEG4 = 8,
    ORKA_VIDEO_TYPE_WMV7 = 9,
    ORKA_VIDEO_TYPE_WMV8 = 10,
    ORKA_VIDEO_TYPE_WMV9 = 11,
    ORKA_VIDEO_TYPE_YUV422 = 12,
    ORKA_VIDEO_TYPE_RGB888 = 13,
    ORKA_VIDEO_TYPE_JPEG = 14
};

/* How a still is coded. */
typedef int32_t orka_image_type_t;
enum {
    ORKA_IMAGE_TYPE_UNKNOWN = -1,
    ORKA_IMAGE_TYPE_DETECT = -1,
    ORKA_IMAGE_TYPE_NONE = 0,
    ORKA_IMAGE_TYPE_BMP = 1,
    ORKA_IMAGE_TYPE_GIF = 2,
    ORKA_IMAGE_TYPE_JPEG = 3,
    ORKA_IMAGE_TYPE_PNG = 4,
    ORKA_IMAGE_TYPE_TIFF = 5
};

/* What holds a stream: a container, or a plain file of one kind. */
typedef int32_t orka_file_type_t;
enum {
    ORKA_FILE_TYPE_UNKNOWN = -1,
    ORKA_FILE_TYPE_DETECT = -1,
    ORKA_FILE_TYPE_NONE = 0,
    ORKA_FILE_TYPE_ASF = 1,
    ORKA_FILE_TYPE_AVI = 2,
    ORKA_FILE_TYPE_IRAW = 3,
    ORKA_FILE_TYPE_MKV = 4,
    ORKA_FILE_TYPE_MP4 = 5,
    ORKA_FILE_TYPE_MPG = 6,
    ORKA_FILE_TYPE_OGM = 7,
    ORKA_FILE_TYPE_TS = 8,
    ORKA_FILE_TYPE_VES = 9, /* a bare video elementary stream */
    ORKA_FILE_TYPE_AUDIO = 10,
    ORKA_FILE_TYPE_IMAGE = 11
};

/* How audio channels are routed. */
typedef int32_t orka_mux_type_t;
enum {
    ORKA_MUX_TYPE_UNKNOWN = -1,
    ORKA_MUX_TYPE_DEFAULT = 0,
    ORKA_MUX_TYPE_2TO1 = 1,
    ORKA_MUX_TYPE_1TO2 = 2,
    ORKA_MUX_TYPE_LEFT = 3,
    ORKA_MUX_TYPE_RIGHT = 4,
    ORKA_MUX_TYPE_AGC = 5
};

/* An audio stream: eleven words. valid is 1 once orka_media_audio_desc has filled it. */
typedef struct orka_audio_desc {
    uint32_t valid;         /* 0: 1 or 0 */
    orka_audio_type_t type; /* 4: kept even where the rest was refused */
    uint32_t reserved;      /* 8: 0 */
    uint32_t channels;      /* 12: how many */
    uint32_t sample_rate;   /* 16: Hz */
    uint32_t bitrate;       /* 20: kbit/s; GSMAMR: bit/s */
    uint32_t extra0;        /* 24: word 0 of five that some codecs want */
    uint32_t extra1;        /* 28: word 1 */
    uint32_t extra2;        /* 32: word 2 */
    uint32_t extra3;        /* 36: word 3 */
    uint32_t extra4;        /* 40: word 4 */
} orka_audio_desc_t;

/* A video stream: five words. valid is 1 once orka_media_video_desc has filled it. */
typedef struct orka_video_desc {
    uint32_t valid;         /* 0: 1 or 0 */
    orka_video_type_t type; /* 4: what it was filled for */
    uint32_t aux;           /* 8: 0 */
    uint32_t width;         /* 12: pixels */
    uint32_t height;        /* 16: pixels */
} orka_video_desc_t;

/*
 * What an H.264 stream says of a point from which decoding may begin: eight bytes. The ranges are those
 * behind a count that could be read.
 */
typedef struct orka_video_sei {
    int32_t recovery_frame_cnt;       /* 0: remainder of a division by 32, 0 to 31 */
    uint8_t exact_match_flag;         /* 4: 0 or 1 */
    uint8_t broken_link_flag;         /* 5: 0 or 1 */
    uint8_t changing_slice_group_idc; /* 6: 0 to 3 */
} orka_video_sei_t;

/* A size of pictures, in pixels. */
typedef struct orka_resolution {
    uint32_t width;  /* of a line */
    uint32_t height; /* lines */
} orka_resolution_t;

/* The usual sizes, by name. */
static const orka_resolution_t d1_resolution = {720, 480};
static const orka_resolution_t hd1_resolution = {720, 240};
static const orka_resolution_t vga_resolution = {640, 480};
static const orka_resolution_t hvga_resolution = {640, 240};
static const orka_resolution_t qvga_resolution = {320, 240};
static const orka_resolution_t hdtv_720p_resolution = {1280, 720};
static const orka_resolution_t hdtv_1080i_resolution = {1920, 1080};

/* The name of a value, "UNKNOWN" where it has none. */
const char *orka_media_frame_string(orka_frame_type_t type);
const char *orka_media_audio_string(orka_audio_type_t type);
const char *orka_media_video_string(orka_video_type_t type);
const char *orka_media_image_string(orka_image_type_t type);
const char *orka_media_file_string(orka_file_type_t type);
const char *orka_media_mux_string(orka_mux_type_t type);

/* The value of a name (asserted), whole and in any case; NONE, 0, where no type has that name. */
orka_audio_type_t orka_media_audio_type(const char *audio_string);
orka_video_type_t orka_media_video_type(const char *video_string);
orka_image_type_t orka_media_image_type(const char *image_string);

/* The value of a name, whole and in any case; UNKNOWN, -1, where no type has that name, and for NULL, which
 * is reported. */
orka_file_type_t orka_media_file_type_by_name(const char *name);
orka_mux_type_t orka_media_mux_type_by_name(const char *name);

/*
 * Lists for a user to read: prefix, the items with separator between them, suffix. Each of the three texts
 * may be NULL, which leaves it out.
 */
void orka_media_audio_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                      const char *suffix);
void orka_media_video_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                      const char *suffix);
void orka_media_image_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                      const char *suffix);
void orka_media_file_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                     const char *suffix);
void orka_media_mux_type_print_list(FILE *stream, const char *prefix, const char *separator,
                                    const char *suffix);
void orka_media_audio_print_valid_samplerates(FILE *stream, const char *prefix, const char *separator,
                                              const char *suffix);
void orka_media_audio_print_valid_bitrates(FILE *stream, const char *prefix, const char *separator,
                                           const char *suffix);
void orka_media_audio_print_valid_bitrates_per_audio_type(FILE *stream, const char *prefix,
                                                          const char *separator, const char *suffix);

/* The name of a codec number, "UNKNOWN" where it has none; its type, NONE where it has none. */
const char *orka_media_audio_string_by_codec(uint32_t codec);
const char *orka_media_video_string_by_codec(uint32_t codec);
orka_audio_type_t orka_media_audio_type_by_codec(uint32_t codec);
orka_video_type_t orka_media_video_type_by_codec(uint32_t codec);

/* The name of a video coding standard, 0 to 7; "UNKNOWN", after a report, for any other number. */
const char *orka_media_video_coding_standard_string(uint32_t standard);

/*
 * Fills adesc (asserted) for a type; a sample rate or bitrate of 0 asks for the type's default.
 * NONE succeeds. ORKA_STATUS_OUT_OF_RANGE for a rate that the type does not have,
 * ORKA_STATUS_INVALID_PARAMETER for a number that is no type, -1 among them, and for G728; both are reported
 * on standard error and leave valid 0, but for a refused bitrate of GSMAMR, which leaves valid 1 and bitrate
 * 0. PCM computes its bitrate from the sample rate.
 */
orka_status_t orka_media_audio_desc(orka_audio_desc_t *adesc, orka_audio_type_t type, uint32_t sample_rate,
                                    uint32_t bitrate);

/*
 * Fills vdesc (asserted) for a type; a width of 0 becomes 640 and a height of 0 becomes 480. NONE has no
 * size, and succeeds. ORKA_STATUS_INVALID_PARAMETER, after a report and with valid 0, for a number that is no
 * type, -1 among them.
 */
orka_status_t orka_media_video_desc(orka_video_desc_t *vdesc, orka_video_type_t type, uint32_t width,
                                    uint32_t height);

/*
 * The file type that a file's name tells by its extension, in any case; the file itself is not looked at.
 * The second form fills descriptors with the defaults of the audio and video types that such a file usually
 * holds, which orka_media_audio_desc may refuse: then valid is 0. -1 for an extension that is none, with both
 * descriptors zeroed, and for a NULL argument, which is reported and writes nothing.
 */
orka_file_type_t orka_media_file_type(const char *file_name);
orka_file_type_t orka_media_file_type2(const char *file_name, orka_audio_desc_t *adesc,
                                       orka_video_desc_t *vdesc);

/*
 * The codec framework that a codec image holds, by what its name contains: "aac48", "aac", "g7xx_aec",
 * "g7xx", "mp3", "ogg" or "pcm"; "aac" beside "h264" counts as "aac48", and a name that contains none of them
 * as "pcm". The name is asserted, unless the type is PCM, which is always "pcm".
 */
const char *orka_media_get_audio_framework(const char *codec_name, orka_audio_type_t audio_type);

/*
 * The framework of a video codec: "divx311", "h264mc", "h264", "mpeg2", "mpeg4mc", "mpeg4" or "wmv" by what
 * the name (asserted) contains, "mpeg4" where it contains none of them; "raw" for the types YUV422 and
 * RGB888, whatever the name.
 */
const char *orka_media_get_video_framework(const char *codec_name, orka_video_type_t video_type);

/*
 * Whether an encoded frame (framebuffer, asserted, of size bytes) holds a key frame: 0 when it does, -1 when
 * not. Start codes and up to two bytes behind them are looked at, nothing else is parsed; a start code counts
 * where its 00 00 01 is followed by three bytes or more. What is asked for:
 * - H263 and MPEG4: code B0, or B6 with the two low bits of the next byte 0. ISO/IEC 14496-2 keeps the coding
 *   type of a picture in the two high bits, so some predicted pictures pass and some intra ones do not;
 * - H264: a NAL unit's first byte 67, 27, 65 or 25 (ITU-T H.264, 7.4.1);
 * - MPEG2: B3, a sequence header.
 * For any other type the answer is -1, after one report on standard error for each byte but the last five.
 * No byte beyond size is read.
 */
int32_t orka_media_check_video_keyframe(const void *framebuffer, uint32_t size, orka_video_type_t video_type);

/*
 * orka_media_check_video_keyframe for a predicted frame. Of H263 and MPEG4 the code B6 is asked for with the
 * two low bits of the second byte behind it 01; of H264 the codes 57 and 07; of MPEG2 a sequence header, as
 * for a key frame.
 */
int32_t orka_media_check_video_Pframe(const void *framebuffer, uint32_t size, orka_video_type_t video_type);

/*
 * Fills sei from the first recovery point message (ITU-T H.264, Annex D) of an H264 frame: 0 when there is
 * one. framebuffer and sei
 * are asserted. -1 when there is none, with sei zeroed; -1 for another type or fewer than 5 bytes, with sei
 * as it was. The byte behind the payload type, which holds the payload's size, is read as the first of the
 * count. A count is read right with up to eight zeros before its first one. Bits beyond the frame read as 0.
 * Not to be called by two threads at a time.
 */
int32_t orka_media_get_video_SEI(const void *framebuffer, uint32_t size, orka_video_type_t video_type,
                                 orka_video_sei_t *sei);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
