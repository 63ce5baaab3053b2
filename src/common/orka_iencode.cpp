#include "common/orka_iencode_internal.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common/orka_codec_internal.h"
#include "common/orka_idevice_internal.h"
#include "common/orka_imem_internal.h"
#include "common/orka_queue_internal.h"
#include "common/orka_status_internal.h"
#include "orka_file.h"
#include "wire/orka_iencode_wire.h"

using namespace orka::wire;

static constexpr char pname[] = "ORKA_IENCODE:";

static constexpr char no_audio[] = "Obtaining IAEncode FD.";
static constexpr char no_common[] = "Obtaining IEncode FD.";
static constexpr char no_video[] = "Obtaining Video Encode FD.";
static constexpr char no_image[] = "Obtaining Image Encoding FD.";

/* Audio parameters */

static constexpr music_rule music_rules[] = {
    {ORKA_AUDIO_TYPE_AAC, 10},
    {ORKA_AUDIO_TYPE_MP3, 7},
    {ORKA_AUDIO_TYPE_PCM, 6},
    {ORKA_AUDIO_TYPE_WMA, 8},
};

/* Kept on purpose: a bitrate that G.711 does not have is reported as its sample rate. */
static bitrate_complaint complain(const speech_rule &rule, const orka_iencode_audio_params_t &params)
{
    if (rule.type == ORKA_AUDIO_TYPE_G711)
        return {rule.bad_sample_rate, params.sample_rate};
    return {rule.bad_bitrate, params.bitrate};
}

orka_status_t orka_iencode_get_audio_params(orka_iencode_audio_params_t *eparams,
                                            const orka_audio_desc_t *adesc)
{
    ORKA_ASSERT_NOT_NULL(eparams);
    ORKA_ASSERT_NOT_NULL(adesc);

    *eparams = {
        .channels = adesc->channels,
        .sample_rate = adesc->sample_rate,
        .bufsize = 0x80000,
        .bufcount = 120,
    };
    set_bitrate(*eparams, adesc->bitrate);

    if (adesc->type == ORKA_AUDIO_TYPE_NONE) {
        *eparams = {.codec = no_audio_codec};
        return ORKA_STATUS_SUCCESS;
    }
    if (const speech_rule *rule = find_row(speech_rules, adesc->type))
        return choose_speech_codec(HERE, *eparams, *rule, complain(*rule, *eparams));

    const music_rule *rule = find_row(music_rules, adesc->type);
    if (rule == nullptr) {
        report_error(HERE, "Unsupported Audio Type (%s).", orka_media_audio_string(adesc->type));
        return ORKA_STATUS_OUT_OF_RANGE;
    }
    eparams->codec = rule->codec;
    if (adesc->type == ORKA_AUDIO_TYPE_PCM) {
        eparams->bufsize = 0x400000;
        eparams->bufcount = 240;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Video parameters */

/* What a codec sets, where it is not as usual. */
struct video_encoder_rule {
    orka_video_type_t type;
    uint32_t codec = 0;
    bool has_size = true;
    uint8_t word6 = 1;
    uint16_t word16 = 4;
    uint32_t bitrate = 3000; /* kbit/s */
    uint32_t word36 = 31744;
    uint32_t word56 = 0;
    uint32_t bufsize = 0x200000;
    uint32_t bufcount = 120;
};

static constexpr video_encoder_rule usual_video = {.type = ORKA_VIDEO_TYPE_NONE};

static constexpr video_encoder_rule video_rules[] = {
    {.type = ORKA_VIDEO_TYPE_H263, .codec = 1, .word16 = 6},
    {.type = ORKA_VIDEO_TYPE_H264, .codec = 6, .word36 = 26112},
    {.type = ORKA_VIDEO_TYPE_MPEG2,
     .codec = 8,
     .word6 = 3,
     .word16 = 3,
     .bitrate = 5000,
     .word56 = 1,
     .bufsize = 0x400000,
     .bufcount = 240},
    {.type = ORKA_VIDEO_TYPE_MPEG4, .codec = 1, .bufsize = 0x400000, .bufcount = 240},
    {.type = ORKA_VIDEO_TYPE_JPEG, .codec = 10, .has_size = false},
};

static orka_iencode_video_params_t video_params(const video_encoder_rule &rule,
                                                const orka_video_desc_t &vdesc)
{
    return {
        .codec = rule.codec,
        .frame_rate = 30,
        .key_distance = 15,
        .word6 = rule.word6,
        .width = vdesc.width,
        .height = vdesc.height,
        .word16 = rule.word16,
        .bitrate = rule.bitrate,
        .word36 = rule.word36,
        .word44 = 1000,
        .word46 = 1,
        .word56 = rule.word56,
        .bufsize = rule.bufsize,
        .bufcount = rule.bufcount,
    };
}

/* A refused descriptor leaves the usual values, and the codec of a type that is known. */
orka_status_t orka_iencode_get_video_params(orka_iencode_video_params_t *eparams,
                                            const orka_video_desc_t *vdesc)
{
    ORKA_ASSERT_NOT_NULL(eparams);
    ORKA_ASSERT_NOT_NULL(vdesc);

    if (vdesc->type == ORKA_VIDEO_TYPE_NONE) {
        *eparams = {};
        return ORKA_STATUS_SUCCESS;
    }

    *eparams = video_params(usual_video, *vdesc);
    const video_encoder_rule *rule = find_row(video_rules, vdesc->type);
    if (rule == nullptr) {
        report_error(HERE, "Unsupported Video Type (%s).", orka_media_video_string(vdesc->type));
        return ORKA_STATUS_INVALID_PARAMETER;
    }
    eparams->codec = rule->codec;
    if (rule->has_size && (vdesc->width == 0 || vdesc->height == 0)) {
        report_error(HERE, "Width/Height Cannot be 0.");
        return ORKA_STATUS_INVALID_PARAMETER;
    }
    *eparams = video_params(*rule, *vdesc);
    return ORKA_STATUS_SUCCESS;
}

/* Codec images */

/* Kept on purpose: G.726 alone goes without echo cancellation. */
static constexpr codec_images mpeg4_images = {
    .none = "mpeg4_pcm_enc",
    .aac = "mpeg4_aac_enc",
    .g711 = "mpeg4_g711_aec_codec",
    .g722 = "mpeg4_g722_aec_codec",
    .g7221 = "mpeg4_g7221_aec_codec",
    .g723 = "mpeg4_g723_aec_codec",
    .g726 = "mpeg4sp_g7xx_enc",
    .g729 = "mpeg4_g729_aec_codec",
    .mp3 = "mpeg4sp_mp3_enc",
    .pcm = "mpeg4_pcm_enc",
    .wma = "mpeg4_pcm_enc",
};

/* Kept on purpose: no sound goes with the image for G.726, while PCM goes with none. */
static constexpr codec_images h263_images = {
    .none = "mpeg4_g726_aec_codec",
    .g711 = "mpeg4_g711_aec_codec",
    .g722 = "mpeg4_g722_aec_codec",
    .g7221 = "mpeg4_g7221_aec_codec",
    .g723 = "mpeg4_g723_aec_codec",
    .g726 = "mpeg4_g726_aec_codec",
    .g729 = "mpeg4_g729_aec_codec",
};

static constexpr video_row video_rows[] = {
    {ORKA_VIDEO_TYPE_NONE, mpeg4_images},
    {ORKA_VIDEO_TYPE_H263, h263_images},
    {ORKA_VIDEO_TYPE_H264, {.none = "h264_pcm_enc", .pcm = "h264_pcm_enc"}},
    {ORKA_VIDEO_TYPE_MPEG2, {.none = "mpeg2_pcm_enc", .pcm = "mpeg2_pcm_enc"}},
    {ORKA_VIDEO_TYPE_MPEG4, mpeg4_images},
};

const char *orka_iencode_get_codec_name(orka_video_type_t vtype, orka_audio_type_t atype)
{
    return find_image(HERE, video_rows, vtype, atype);
}

/* Control */

/* A request to a video channel, which needs no record. */
static ORKA_INLINE orka_status_t control_channel(const call_site &site, uint32_t request, int32_t channel,
                                                 orka_message<> refused)
{
    return orka_control(site, orka_idevice_ivencode_fd(channel), no_video, request, nullptr, refused);
}

static ORKA_INLINE orka_status_t control_audio(const call_site &site, uint32_t request, const void *record,
                                               orka_message<> refused)
{
    return orka_control(site, orka_audio_encoder_fd(), no_audio, request, record, refused);
}

/* A request that names the one audio encoder and nothing else. */
static ORKA_INLINE orka_status_t control_encoder(const call_site &site, uint32_t request,
                                                 orka_message<> refused)
{
    audio_encoder_record record = {};

    return control_audio(site, request, &record, refused);
}

orka_status_t orka_iencode_load_audio_encoder_framework(const char *fwname)
{
    ORKA_ASSERT_NOT_NULL(fwname);
    return control_audio(HERE, IENCODE_LOAD_AUDIO, fwname, "Loading Audio Encode Framework.");
}

orka_status_t orka_iencode_load_video_encoder_framework(int32_t channel, int32_t stream, const char *fwname)
{
    encode_framework_record record = {.channel = channel, .stream = stream};

    ORKA_ASSERT_NOT_NULL(fwname);
    /* Kept on purpose: the copy has no bound. */
    strcpy(record.name, fwname);
    return orka_control(HERE, orka_idevice_iencode_fd(), no_common, IENCODE_LOAD_VIDEO, &record,
                        "Loading Video Encode Framework - Stream %d of Channel %d.", stream, channel);
}

orka_status_t orka_iencode_load_image_encoder_framework(const char *fwname)
{
    ORKA_ASSERT_NOT_NULL(fwname);
    return orka_control(HERE, orka_idevice_imgenc_fd(), no_image, IENCODE_LOAD_IMAGE, fwname,
                        "Loading Image Encode Framework.");
}

orka_status_t orka_iencode_setup_audio_encoder(const orka_iencode_audio_params_t *params)
{
    ORKA_ASSERT_NOT_NULL(params);
    audio_encode_setup_record record = {.channel = 0, .params = *params};

    return control_audio(HERE, IENCODE_SETUP_AUDIO, &record, "Calling Audio Encode Setup.");
}

orka_status_t orka_iencode_setup_video_encoder(const orka_iencode_video_params_t *params)
{
    ORKA_ASSERT_NOT_NULL(params);
    return orka_control(HERE, orka_idevice_iencode_fd(), no_common, IENCODE_SETUP_VIDEO, params,
                        "Calling Video Encode Setup.");
}

orka_status_t orka_iencode_init_video_encoder(int32_t channel)
{
    return control_channel(HERE, IENCODE_INIT_VIDEO, channel, "Calling Video Encoder Channel Init.");
}

orka_status_t orka_iencode_start_audio_encoder(void)
{
    return control_encoder(HERE, IENCODE_START_AUDIO, "Calling Audio Encode Start.");
}

orka_status_t orka_iencode_start_video_encoder(int32_t channel)
{
    return control_channel(HERE, IENCODE_START_VIDEO, channel, "Calling Video Encode Start.");
}

orka_status_t orka_iencode_stop_audio_encoder(void)
{
    return control_encoder(HERE, IENCODE_STOP_AUDIO, "Calling Audio Encode Stop.");
}

orka_status_t orka_iencode_stop_video_encoder(int32_t channel)
{
    return control_channel(HERE, IENCODE_STOP_VIDEO, channel, "Calling Video Encode Stop.");
}

orka_status_t orka_iencode_start_audio_aec(const void *record)
{
    return control_audio(HERE, IENCODE_START_AEC, record, "Calling Audio AEC Start.");
}

/* Kept on purpose, here and for passing through: the text is another operation's. */
orka_status_t orka_iencode_stop_audio_aec(void)
{
    return control_audio(HERE, IENCODE_STOP_AEC, nullptr, "Calling Audio AEC Start.");
}

orka_status_t orka_iencode_audio_passthru_enable(void)
{
    return control_encoder(HERE, IENCODE_PASSTHRU_ENABLE, "Calling Audio Encode Teardown.");
}

orka_status_t orka_iencode_audio_passthru_disable(void)
{
    return control_encoder(HERE, IENCODE_PASSTHRU_DISABLE, "Calling Audio Encode Teardown.");
}

orka_status_t orka_iencode_teardown_audio_encoder(void)
{
    return control_encoder(HERE, IENCODE_TEARDOWN_AUDIO, "Calling Audio Encode Teardown.");
}

orka_status_t orka_iencode_teardown_video_encoder(int32_t channel)
{
    return control_channel(HERE, IENCODE_TEARDOWN_VIDEO, channel, "Calling Video Encode Teardown.");
}

/* Gain */

orka_status_t orka_iencode_audio_set_gain(const orka_iencode_gain_t *gain)
{
    return control_audio(HERE, IENCODE_SET_GAIN, gain, "Calling Audio Encode Set Gain.");
}

orka_status_t orka_iencode_audio_set_gaindb(int32_t first_db, int32_t second_db)
{
    orka_iencode_gain_t gain;
    const orka_status_t status = set_gain(HERE, gain, first_db, second_db);

    return status != ORKA_STATUS_SUCCESS ? status : orka_iencode_audio_set_gain(&gain);
}

/* Queues */

static constexpr uint32_t audio_queueid = 3;

orka_iencode_queue_t *orka_iencode_get_audio_queueid(int32_t channel, uint32_t queueid)
{
    if (channel != 0) {
        report_error(HERE, "Only Encode Channel 0 Supported at This Time.");
        return nullptr;
    }
    const audio_encode_queue_record record = {.channel = 0, .queueid = queueid};
    const orka_iencode_queue_t closed = {.channel = channel, .queueid = queueid};

    return open_queue(HERE, orka_audio_encoder_fd(), no_common, IENCODE_AUDIO_QUEUE, record,
                      ORKA_IENCODE_AUDIO_QUEUE, closed, "Error Mapping Audio Queue.",
                      "Audio Encode Queue Addr.");
}

orka_iencode_queue_t *orka_iencode_get_audio_queue(int32_t channel)
{
    return orka_iencode_get_audio_queueid(channel, audio_queueid);
}

/* Kept on purpose: the texts are one set for both kinds of a channel's queues. */
static orka_iencode_queue_t *open_video_queue(const call_site &site, int32_t fd, uint32_t request,
                                              uint32_t magic, int32_t channel)
{
    const video_encode_queue_record record = {};
    const orka_iencode_queue_t closed = {.channel = channel};

    return open_queue(site, fd, no_common, request, record, magic, closed, "Error Mapping Video Queue.",
                      "Video Encode Queue Addr.");
}

orka_iencode_queue_t *orka_iencode_get_video_queue(int32_t channel)
{
    return open_video_queue(HERE, orka_idevice_ivencode_fd(channel), IENCODE_VIDEO_QUEUE,
                            ORKA_IENCODE_VIDEO_QUEUE, channel);
}

orka_iencode_queue_t *orka_iencode_get_video_mv_queue(int32_t channel)
{
    return open_video_queue(HERE, orka_idevice_ivmvencode_fd(channel), IENCODE_MV_QUEUE,
                            ORKA_IENCODE_MOTION_VECTOR_QUEUE, channel);
}

static bool is_queue(const orka_iencode_queue_t *queue)
{
    return is_open(queue, ORKA_IENCODE_AUDIO_QUEUE) || is_open(queue, ORKA_IENCODE_VIDEO_QUEUE) ||
           is_open(queue, ORKA_IENCODE_MOTION_VECTOR_QUEUE);
}

orka_status_t orka_iencode_release_queue(orka_iencode_queue_t *queue)
{
    if (queue == nullptr)
        return orka_null_pointer(HERE);
    if (!is_queue(queue))
        return invalid_queue(HERE);

    const orka_status_t status = orka_imem_munmap(pointer_of(queue->vbase), queue->length);
    /* Kept on purpose: what is said here is not what happened; and the handle is freed as it is. */
    if (status != ORKA_STATUS_SUCCESS)
        report_error(HERE, "Referencing Uninitialized Queue Handle.");
    free(queue);
    return status;
}

int32_t orka_iencode_get_queue_fd(const orka_iencode_queue_t *queue)
{
    if (queue == nullptr)
        return orka_null_pointer(HERE);
    if (queue->version != queue_version)
        return invalid_queue(HERE);

    switch (queue->magic) {
    case ORKA_IENCODE_AUDIO_QUEUE:
        return orka_audio_encoder_fd();
    case ORKA_IENCODE_VIDEO_QUEUE:
        return orka_idevice_ivencode_fd(queue->channel);
    default:
        report_error(HERE, "Invalid Queue Type.");
        return ORKA_STATUS_INITIALIZATION;
    }
}

/* Frames of the audio encoder */

static constexpr char unknown_status[] = "Unknown Encoder Status.";
static constexpr status_texts new_frame_texts = {"New Frame.", "New Frame Call Interrupted.", unknown_status};
static constexpr status_texts get_frame_texts = {"Get Frame.", "Get Frame Call Interrupted.", unknown_status};

static inline int32_t ready_fd(const orka_iencode_queue_t &queue)
{
    if (head_of(queue.magic, queue.version) == open_head_of(ORKA_IENCODE_AUDIO_QUEUE)) [[likely]]
        return orka_iaencode_device.fd.load(std::memory_order_acquire);
    return 0;
}

static constexpr queue_family<orka_iencode_queue_t> encoder_queues = {
    ready_fd,
    orka_iencode_get_queue_fd,
    "Obtaining Encode FD.",
};

orka_status_t orka_iencode_new_frame(orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue,
                                     int32_t timeout)
{
    return take_frame<encode_frame_request_record, encoder_queues>(
        HERE, frame, queue, timeout, IENCODE_NEW_FRAME, "Aquiring New Frame.", new_frame_texts);
}

orka_status_t orka_iencode_get_frame(orka_iencode_frame_t *frame, orka_iencode_queue_t *queue,
                                     int32_t timeout)
{
    const orka_status_t status = take_frame<encode_frame_request_record, encoder_queues>(
        HERE, frame, queue, timeout, IENCODE_GET_FRAME, "Get Frame.", get_frame_texts);

    if (status == ORKA_STATUS_SUCCESS)
        queue->lastframe = *frame;
    return status;
}

orka_status_t orka_iencode_commit_frame(const orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue)
{
    return return_frame<encode_frame_return_record, encoder_queues>(HERE, frame, queue, IENCODE_COMMIT_FRAME);
}

orka_status_t orka_iencode_release_frame(const orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue)
{
    return return_frame<encode_frame_return_record, encoder_queues>(HERE, frame, queue,
                                                                    IENCODE_RELEASE_FRAME);
}

orka_status_t orka_iencode_get_audio_frame(orka_iencode_frame_t *frame, orka_iencode_queue_t *queue,
                                           int32_t timeout)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IENCODE_AUDIO_QUEUE);

    return status != ORKA_STATUS_SUCCESS ? status : orka_iencode_get_frame(frame, queue, timeout);
}

orka_status_t orka_iencode_release_audio_frame(const orka_iencode_queue_t *queue)
{
    const orka_status_t status = check_kind(HERE, queue, ORKA_IENCODE_AUDIO_QUEUE);

    return status != ORKA_STATUS_SUCCESS ? status : orka_iencode_release_frame(&queue->lastframe, queue);
}

/* Frames of a video channel, and its motion vectors */

static bool lies_within(const orka_iencode_frame_t &frame, const orka_iencode_queue_t &queue)
{
    return frame.addr >= queue.pbase &&
           uint64_t{frame.addr} + frame.size <= uint64_t{queue.pbase} + queue.length;
}

/* Waits for a frame and takes it. */
static orka_status_t take_video_frame(const call_site &site, orka_iencode_frame_t &frame,
                                      const orka_iencode_queue_t &queue, int32_t timeout, int32_t fd,
                                      uint32_t request)
{
    if (fd < 0)
        return orka_no_node(site, no_video);

    const orka_status_t polled = orka_file_poll_fd_in(fd, timeout);
    if (polled != ORKA_STATUS_SUCCESS) {
        if (polled != ORKA_STATUS_TIMEOUT)
            report_error(site, "Polling Video Encode FD.");
        return polled;
    }

    frame = {};
    const orka_status_t asked = orka_exchange(site, fd, request, &frame, "Aquiring Video Frame.");
    if (asked != ORKA_STATUS_SUCCESS)
        return asked;

    /* Kept on purpose: a warning, and the frame is delivered all the same. */
    if (!lies_within(frame, queue))
        report_warning(site, "Frame Data out of Range.");
    frame_from_driver(frame, queue);
    return ORKA_STATUS_SUCCESS;
}

static orka_status_t release_video_frame(const call_site &site, int32_t fd, uint32_t request)
{
    if (fd < 0)
        return orka_no_node(site, no_video);
    return orka_exchange(site, fd, request, nullptr, "Releasing Video Frame.");
}

orka_status_t orka_iencode_get_video_frame(orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue,
                                           int32_t timeout)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IENCODE_VIDEO_QUEUE);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    return take_video_frame(HERE, *frame, *queue, timeout, orka_idevice_ivencode_fd(queue->channel),
                            IENCODE_GET_VIDEO_FRAME);
}

orka_status_t orka_iencode_get_video_mv_frame(orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue,
                                              int32_t timeout)
{
    const orka_status_t status = check_kind(HERE, frame, queue, ORKA_IENCODE_MOTION_VECTOR_QUEUE);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    return take_video_frame(HERE, *frame, *queue, timeout, orka_idevice_ivmvencode_fd(queue->channel),
                            IENCODE_GET_MV_FRAME);
}

orka_status_t orka_iencode_release_video_frame(const orka_iencode_queue_t *queue)
{
    if (queue == nullptr || !is_open(queue, ORKA_IENCODE_VIDEO_QUEUE))
        return invalid_queue(HERE);
    return release_video_frame(HERE, orka_idevice_ivencode_fd(queue->channel), IENCODE_RELEASE_VIDEO_FRAME);
}

orka_status_t orka_iencode_release_video_mv_frame(const orka_iencode_queue_t *queue)
{
    if (queue == nullptr || !is_open(queue, ORKA_IENCODE_MOTION_VECTOR_QUEUE))
        return invalid_queue(HERE);
    return release_video_frame(HERE, orka_idevice_ivmvencode_fd(queue->channel), IENCODE_RELEASE_MV_FRAME);
}

/* Scans */

static constexpr const char *scan_names[] = {"PROGRESSIVE", "PROGRESSIVE LINE DOUBLE", "INTERLACED"};

const char *orka_iencode_frame_type_string(int32_t scan)
{
    if (scan < 0 || static_cast<size_t>(scan) >= std::size(scan_names))
        return "UNKNOWN";
    return scan_names[scan];
}
