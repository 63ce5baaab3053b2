/* /dev/imgdecode: the decoder of stills, one channel. */
#include "drivers/decode_driver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "drivers/picture_stream.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr DecoderKind still_kind{
    .node = "imgdecode",
    .frame_kind = ORKA_FRAME_TYPE_VIDEO,
    .queueid = 8,
    .wants_init = false,
    .decodes = &CodecImage::decodes_still,
    .first_rank = 1024, /* behind all that moves */
    .timeless = true,
    .subject = "image type",
    .advice = "image_dec decodes types 0 to 5",
};

constexpr uint64_t least_output = 8 << 20;
constexpr uint32_t usual_input = 4 << 20;
constexpr uint64_t input_pictures = 2; /* of the largest: one is filled while another is decoded */
constexpr uint32_t input_frames = 64;

/* What was left to the driver, chosen. */
wire::image_setup_record settled(wire::image_setup_record record)
{
    record.width = record.width == 0 ? largest_image_side : record.width;
    record.height = record.height == 0 ? largest_image_side : record.height;
    record.input_bytes = record.input_bytes == 0 ? usual_input : record.input_bytes;
    return record;
}

class ImageDecodeDriver final : public DecodeDriver {
  public:
    ImageDecodeDriver(Machine &machine, ImageCodecs codecs)
        : DecodeDriver(machine, still_kind, 1, 1), codecs_(std::move(codecs))
    {
    }

  private:
    void load(Call &call) override;
    void set_up(Call &call) override;
    bool control_node(Call & /*call*/) override { return false; }
    std::unique_ptr<CodecStream> make_stream(const wire::image_setup_record &record, std::string &why) const;

    const ImageCodecs codecs_;
};

void ImageDecodeDriver::load(Call &call)
{
    const auto *const name = reinterpret_cast<const char *>(call.in().data());
    find(0, 0)->load(call, {name, strnlen(name, call.in().size())});
}

std::unique_ptr<CodecStream> ImageDecodeDriver::make_stream(const wire::image_setup_record &record,
                                                            std::string &why) const
{
    std::unique_ptr<VideoDecoder> codec =
        codecs_({.type = record.type, .width = record.width, .height = record.height}, why);
    if (!codec)
        return nullptr;
    return std::make_unique<PictureStream>(std::move(codec), true);
}

/* More input than 32 bits can say finds no memory either way. */
void ImageDecodeDriver::set_up(Call &call)
{
    const auto record = settled(call.record<wire::image_setup_record>());
    Decoder *const decoder = find(record.channel, record.stream);
    if (!decoder)
        return call.fail(EINVAL);
    decoder->set_up(call, {.codec = record.type,
                           .bufsize = static_cast<uint32_t>(
                               std::min(input_pictures * record.input_bytes, uint64_t{UINT32_MAX})),
                           .bufcount = input_frames,
                           .maxframe = record.input_bytes,
                           .output = std::max(least_output, picture_bytes(record.width, record.height, 1)),
                           .make_stream = [&](std::string &why) { return make_stream(record, why); }});
}

} // namespace

std::unique_ptr<Driver> make_image_decode_driver(Machine &machine, ImageCodecs codecs)
{
    return std::make_unique<ImageDecodeDriver>(machine, std::move(codecs));
}

std::unique_ptr<Driver> make_image_decode_driver(Machine &machine)
{
    return make_image_decode_driver(machine, create_image_decoder);
}

} // namespace orka::board
