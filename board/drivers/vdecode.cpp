/* /dev/vdecode: the decoders of pictures, two streams on each of four channels. */
#include "drivers/decode_driver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "drivers/picture_stream.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr DecoderKind video_kind{
    .node = "vdecode",
    .frame_kind = ORKA_FRAME_TYPE_VIDEO,
    .queueid = 8,
    .wants_init = true,
    .decodes = &CodecImage::decodes_video,
    .first_rank = 0,
};

constexpr int32_t channel_count = 4;
constexpr int32_t stream_count = 2;
constexpr uint64_t least_output = 8 << 20;
constexpr uint64_t output_pictures = 8;

uint64_t output_bytes(const orka_idecode_video_params_t &params)
{
    return std::max(least_output, picture_bytes(params.width, params.height, output_pictures));
}

class VideoDecodeDriver final : public DecodeDriver {
  public:
    VideoDecodeDriver(Machine &machine, VideoCodecs codecs)
        : DecodeDriver(machine, video_kind, channel_count, stream_count), codecs_(std::move(codecs))
    {
    }

  private:
    void load(Call &call) override;
    void set_up(Call &call) override;
    bool control_node(Call &call) override;

    const VideoCodecs codecs_;
};

void VideoDecodeDriver::load(Call &call)
{
    const auto record = call.record<wire::video_framework_record>();
    Decoder *const decoder = find(record.channel, record.stream);
    if (!decoder)
        return call.fail(EINVAL);
    decoder->load(call, {record.name, strnlen(record.name, sizeof record.name)});
}

void VideoDecodeDriver::set_up(Call &call)
{
    const auto record = call.record<wire::video_setup_record>();
    Decoder *const decoder = find(record.channel, record.stream);
    if (!decoder)
        return call.fail(EINVAL);
    const orka_idecode_video_params_t &params = record.params;
    decoder->set_up(call, {.codec = params.codec,
                           .bufsize = params.bufsize,
                           .bufcount = params.bufcount,
                           .maxframe = params.maxframe,
                           .output = output_bytes(params),
                           .make_stream = [&](std::string &why) -> std::unique_ptr<CodecStream> {
                               std::unique_ptr<VideoDecoder> codec = codecs_(params, why);
                               if (!codec)
                                   return nullptr;
                               return std::make_unique<PictureStream>(std::move(codec));
                           }});
}

/* The clock has no channel: it tells of the first decoder that plays, and stands at 0 where none does. */
bool VideoDecodeDriver::control_node(Call &call)
{
    if (call.row().number != wire::IDECODE_GET_VIDEO_CLOCK)
        return false;
    auto record = call.record<wire::video_clock_record>();
    const auto playing =
        std::ranges::find_if(decoders(), [](const auto &decoder) { return decoder->is_playing(); });
    record.tsms = playing == decoders().end() ? 0 : (*playing)->shown_tsms();
    call.reply_record(record);
    return true;
}

} // namespace

std::unique_ptr<Driver> make_video_decode_driver(Machine &machine, VideoCodecs codecs)
{
    return std::make_unique<VideoDecodeDriver>(machine, std::move(codecs));
}

std::unique_ptr<Driver> make_video_decode_driver(Machine &machine)
{
    return make_video_decode_driver(machine, VideoDecoder::create);
}

} // namespace orka::board
