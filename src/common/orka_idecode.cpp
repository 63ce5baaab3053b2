#include "orka_idecode.h"

#include <cerrno>
#include <cstring>

#include "common/orka_codec_internal.h"
#include "common/orka_idevice_internal.h"
#include "common/orka_imem_internal.h"
#include "common/orka_queue_internal.h"
#include "common/orka_status_internal.h"
#include "wire/orka_idecode_wire.h"

using namespace orka::wire;

static constexpr char pname[] = "ORKA_IDECODE:";

static constexpr char no_idecode[] = "Obtaining IDecode FD.";
static constexpr char no_video[] = "Obtaining Video Decode FD.";
static constexpr char no_image[] = "Obtaining Image FD.";
static constexpr char no_subtitle[] = "Obtaining SubTitleDec FD.";

/* Audio parameters */

static constexpr music_rule music_rules[] = {
    {ORKA_AUDIO_TYPE_AAC, 10}, {ORKA_AUDIO_TYPE_MP1, 13}, {ORKA_AUDIO_TYPE_MP2, 13}, {ORKA_AUDIO_TYPE_MP3, 7},
    {ORKA_AUDIO_TYPE_OGG, 14}, {ORKA_AUDIO_TYPE_PCM, 6},  {ORKA_AUDIO_TYPE_WMA, 8},
};

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
        return choose_speech_codec(HERE, *dparams, *rule, {rule->bad_bitrate, dparams->bitrate});

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

struct video_decoder_rule {
    orka_video_type_t type;
    uint32_t codec;
    uint32_t bufsize = usual_bufsize;
    uint32_t maxframe = usual_maxframe; /* raw pictures: what a frame has beyond its pixels */
    uint32_t bytes_per_pixel = 0;       /* of raw pictures alone */
};

static constexpr video_decoder_rule video_rules[] = {
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

    const video_decoder_rule *rule = find_row(video_rules, vdesc->type);
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
    const char *image = find_image(HERE, video_rows, vtype, atype);

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

/* The requests that name a channel and a stream alone. Sound and subtitles have stream 0. */

static ORKA_INLINE orka_status_t control_video(const call_site &site, uint32_t request, int32_t channel,
                                               int32_t stream, orka_message<int32_t, int32_t> refused)
{
    channel_record record = {.channel = channel, .stream = stream};

    return orka_control(site, orka_video_decoder_fd(), no_video, request, &record, refused, stream, channel);
}

static ORKA_INLINE orka_status_t control_audio(const call_site &site, uint32_t request, int32_t channel,
                                               orka_message<> refused)
{
    channel_record record = {.channel = channel, .stream = 0};

    return orka_control(site, orka_audio_decoder_fd(), no_idecode, request, &record, refused);
}

static ORKA_INLINE orka_status_t control_subtitle(const call_site &site, uint32_t request, int32_t channel,
                                                  orka_message<> refused)
{
    channel_record record = {.channel = channel, .stream = 0};

    return orka_control(site, orka_idevice_subtitle_fd(), no_subtitle, request, &record, refused);
}

orka_status_t orka_idecode_init_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_INIT, channel, stream,
                         "Calling Video Decoder Init - Stream %d of Channel %d.");
}

orka_status_t orka_idecode_start_audio_decoder(int32_t channel)
{
    return control_audio(HERE, IDECODE_START, channel, "Calling Audio Decode Start.");
}

orka_status_t orka_idecode_start_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_START, channel, stream,
                         "Calling Video Decode Start - Stream %d of Channel %d.");
}

orka_status_t orka_idecode_pause_audio_decoder(int32_t channel)
{
    return control_audio(HERE, IDECODE_PAUSE, channel, "Calling Audio Decode Pause.");
}

orka_status_t orka_idecode_pause_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_PAUSE, channel, stream,
                         "Calling Video Decode Pause - Stream %d of Channel %d.");
}

orka_status_t orka_idecode_rewind_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_REWIND, channel, stream,
                         "Calling Video Decode Rewind - Stream %d of Channel %d.");
}

orka_status_t orka_idecode_fastforward_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_FASTFORWARD, channel, stream,
                         "Calling Video Decode FastForward - Stream %d of Channel %d.");
}

orka_status_t orka_idecode_flush_video_decoder(int32_t channel, int32_t stream, uint32_t flush)
{
    flush_record record = {.channel = channel, .stream = stream, .flush = flush};

    return orka_control(HERE, orka_video_decoder_fd(), no_video, IDECODE_FLUSH, &record,
                        "Calling Video Decode Flush - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_idecode_stop_audio_decoder(int32_t channel)
{
    return control_audio(HERE, IDECODE_STOP, channel, "Calling Audio Decode Stop.");
}

orka_status_t orka_idecode_stop_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_STOP, channel, stream,
                         "Calling Video Decode Stop - Stream %d of Channel %d.");
}

orka_status_t orka_idecode_teardown_audio_decoder(int32_t channel)
{
    return control_audio(HERE, IDECODE_TEARDOWN, channel, "Calling Audio Decode Teardown.");
}

orka_status_t orka_idecode_teardown_video_decoder(int32_t channel, int32_t stream)
{
    return control_video(HERE, IDECODE_TEARDOWN, channel, stream,
                         "Calling Video Decode Teardown - Stream %d of Channel %d.");
}

/* Control of the subtitle decoder */

orka_status_t orka_idecode_load_subtitle_decoder_framework(const char *fwname)
{
    const int32_t fd = orka_idevice_subtitle_fd();

    ORKA_ASSERT_NOT_NULL(fwname);
    return orka_control(HERE, fd, no_subtitle, IDECODE_LOAD, fwname, "Loading Subtitle Decode Framework.");
}

orka_status_t orka_idecode_setup_subtitle_decoder(const orka_idecode_subtitle_params_t *params)
{
    const int32_t fd = orka_idevice_subtitle_fd();

    ORKA_ASSERT_NOT_NULL(params);
    subtitle_setup_record record = {.channel = 0, .stream = 0, .params = *params};

    return orka_control(HERE, fd, no_subtitle, IDECODE_SETUP_SUBTITLE, &record, "Calling SubTitleDec Setup.");
}

orka_status_t orka_idecode_start_subtitle_decoder(int32_t channel)
{
    return control_subtitle(HERE, IDECODE_START, channel, "Calling Subtitle Decode Start.");
}

orka_status_t orka_idecode_pause_subtitle_decoder(int32_t channel)
{
    return control_subtitle(HERE, IDECODE_PAUSE, channel, "Calling Subtitle Decode Pause.");
}

orka_status_t orka_idecode_stop_subtitle_decoder(int32_t channel)
{
    return control_subtitle(HERE, IDECODE_STOP, channel, "Calling Subtitle Decode Stop.");
}

orka_status_t orka_idecode_teardown_subtitle_decoder(int32_t channel)
{
    return control_subtitle(HERE, IDECODE_TEARDOWN, channel, "Calling SubTitleDec Teardown.");
}

/* What is said of the driver's status word */

static constexpr char unknown_status[] = "Unknown Decoder Status.";
static constexpr status_texts new_frame_texts = {"New Frame.", "New Frame Call Interrupted.", unknown_status};
static constexpr status_texts get_frame_texts = {"Get Frame.", "Get Frame Call Interrupted.", unknown_status};

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

orka_status_t orka_idecode_audio_set_gain(const orka_idecode_gain_t *gain)
{
    return orka_control(HERE, orka_audio_decoder_fd(), no_idecode, IDECODE_SET_GAIN, gain,
                        "Calling Audio Decode Set Gain.");
}

orka_status_t orka_idecode_audio_set_gaindb(int32_t first_db, int32_t second_db)
{
    orka_idecode_gain_t gain;
    const orka_status_t status = set_gain(HERE, gain, first_db, second_db);

    return status != ORKA_STATUS_SUCCESS ? status : orka_idecode_audio_set_gain(&gain);
}

/* Queues */

static constexpr uint32_t audio_queueid = 3;
static constexpr uint32_t video_queueid = 8;
static constexpr uint32_t subtitle_queueid = 3;

/* Audio and subtitles have one channel. */
static bool is_only_channel(const call_site &site, int32_t channel)
{
    if (channel != 0)
        report_error(site, "Only Decode Channel 0 Supported at This Time.");
    return channel == 0;
}

orka_idecode_queue_t *orka_idecode_get_audio_queueid(int32_t channel, uint32_t queueid)
{
    const int32_t fd = orka_audio_decoder_fd();

    if (!is_only_channel(HERE, channel))
        return nullptr;
    const queue_record record = {.channel = channel, .stream = 0, .queueid = queueid};
    const orka_idecode_queue_t closed = {.channel = channel, .stream = 0, .queueid = queueid};

    return open_queue(HERE, fd, no_idecode, IDECODE_QUEUE, record, ORKA_IDECODE_AUDIO_QUEUE, closed,
                      "Error Mapping Audio Queue.", "Audio Decode Queue Addr.");
}

orka_idecode_queue_t *orka_idecode_get_audio_queue(int32_t channel)
{
    return orka_idecode_get_audio_queueid(channel, audio_queueid);
}

orka_idecode_queue_t *orka_idecode_get_video_queueid(int32_t channel, int32_t stream, uint32_t queueid)
{
    const queue_record record = {.channel = channel, .stream = stream, .queueid = queueid};
    const orka_idecode_queue_t closed = {.channel = channel, .stream = stream, .queueid = queueid};

    return open_queue(HERE, orka_video_decoder_fd(), no_video, IDECODE_QUEUE, record,
                      ORKA_IDECODE_VIDEO_QUEUE, closed, "Error Mapping Video Queue.",
                      "Video Decode Queue Addr - Stream %d of Channel %d.", stream, channel);
}

orka_idecode_queue_t *orka_idecode_get_video_queue(int32_t channel, int32_t stream)
{
    return orka_idecode_get_video_queueid(channel, stream, video_queueid);
}

orka_idecode_queue_t *orka_idecode_get_subtitle_queueid(int32_t channel, uint32_t queueid)
{
    const int32_t fd = orka_idevice_subtitle_fd();

    if (!is_only_channel(HERE, channel))
        return nullptr;
    const queue_record record = {.channel = channel, .stream = 0, .queueid = queueid};
    const orka_idecode_queue_t closed = {.channel = channel, .stream = 0, .queueid = queueid};

    return open_queue(HERE, fd, no_subtitle, IDECODE_QUEUE, record, ORKA_IDECODE_SUBTITLE_QUEUE, closed,
                      "Error Mapping Subtitle Queue.", "Subtitle Decode Queue Addr.");
}

orka_idecode_queue_t *orka_idecode_get_subtitle_queue(int32_t channel)
{
    return orka_idecode_get_subtitle_queueid(channel, subtitle_queueid);
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
        return orka_null_pointer(HERE);
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
    if (queue->version != queue_version) [[unlikely]]
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

/* Frames */

static inline int32_t ready_fd(const orka_idecode_queue_t &queue)
{
    const uint64_t head = head_of(queue.magic, queue.version);

    if (head == open_head_of(ORKA_IDECODE_VIDEO_QUEUE))
        return orka_ivdecode_device.fd.load(std::memory_order_acquire);
    if (head == open_head_of(ORKA_IDECODE_AUDIO_QUEUE)) [[likely]]
        return orka_iadecode_device.fd.load(std::memory_order_acquire);
    return 0;
}

static constexpr queue_family<orka_idecode_queue_t> decoder_queues = {
    ready_fd,
    orka_idecode_get_queue_fd,
    "Obtaining Decode FD.",
};

orka_status_t orka_idecode_new_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                     int32_t timeout)
{
    return take_frame<frame_request_record, decoder_queues>(HERE, frame, queue, timeout, IDECODE_NEW_FRAME,
                                                            "Aquiring New Frame.", new_frame_texts);
}

orka_status_t orka_idecode_get_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                     int32_t timeout)
{
    return take_frame<frame_request_record, decoder_queues>(HERE, frame, queue, timeout, IDECODE_GET_FRAME,
                                                            "Get Frame.", get_frame_texts);
}

orka_status_t orka_idecode_commit_frame(const orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue)
{
    return return_frame<frame_return_record, decoder_queues>(HERE, frame, queue, IDECODE_COMMIT_FRAME);
}

orka_status_t orka_idecode_release_frame(const orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue)
{
    return return_frame<frame_return_record, decoder_queues>(HERE, frame, queue, IDECODE_RELEASE_FRAME);
}

/* Frames of queues of one kind */

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

orka_status_t orka_idecode_get_subtitle_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                              int32_t timeout)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IDECODE_SUBTITLE_QUEUE);

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

orka_status_t orka_idecode_commit_subtitle_frame(const orka_idecode_frame_t *frame,
                                                 const orka_idecode_queue_t *queue)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IDECODE_SUBTITLE_QUEUE);

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
    video_clock_record record = {};
    const orka_status_t asked = orka_command(HERE, orka_video_decoder_fd(), no_idecode,
                                             IDECODE_GET_VIDEO_CLOCK, &record, "Get Video Display Time.");

    if (asked == ORKA_STATUS_SUCCESS)
        *tsms = record.tsms;
    return asked;
}
