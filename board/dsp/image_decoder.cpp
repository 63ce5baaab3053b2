#include "dsp/image_decoder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "dsp/decoded_picture.h"
#include "dsp/needed_codecs.h"
#include "dsp/on_black.h"
#include "dsp/stream.h"
#include "orka_media.h"

namespace orka::board {

namespace {

using namespace std::string_view_literals;

struct ImageType {
    uint32_t number;
    const char *name;
    AVCodecID codec;
    std::array<std::string_view, 2> beginnings; /* of its files, any of them */
};

constexpr auto types = std::to_array<ImageType>({
    {ORKA_IMAGE_TYPE_BMP, "BMP", AV_CODEC_ID_BMP, {"BM"}},
    {ORKA_IMAGE_TYPE_GIF, "GIF", AV_CODEC_ID_GIF, {"GIF87a", "GIF89a"}},
    {ORKA_IMAGE_TYPE_JPEG, "JPEG", AV_CODEC_ID_MJPEG, {"\xff\xd8\xff"}},
    {ORKA_IMAGE_TYPE_PNG, "PNG", AV_CODEC_ID_PNG, {"\x89PNG\r\n\x1a\n"}},
    {ORKA_IMAGE_TYPE_TIFF, "TIFF", AV_CODEC_ID_TIFF, {"II*\0"sv, "MM\0*"sv}},
});

const ImageType *type_of(Bytes data)
{
    const std::string_view text(reinterpret_cast<const char *>(data.data()), data.size());
    const auto found = std::ranges::find_if(types, [&](const ImageType &type) {
        return std::ranges::any_of(type.beginnings, [&](std::string_view beginning) {
            return !beginning.empty() && text.starts_with(beginning);
        });
    });
    return found == types.end() ? nullptr : found;
}

const ImageType *type_numbered(uint32_t number)
{
    const auto found = std::ranges::find(types, number, &ImageType::number);
    return found == types.end() ? nullptr : found;
}

std::string size_text(uint32_t width, uint32_t height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

class ImageDecoder final : public VideoDecoder {
  public:
    explicit ImageDecoder(const ImageSetup &setup)
        : setup_(setup), converter_(std::make_shared<UyvyConverter>())
    {
    }

    bool header(std::span<const uint8_t> /*data*/) override { return fail("stills have no codec header"); }
    bool decode(const Packet &packet, const PictureSink &sink) override;
    bool drain(const PictureSink & /*sink*/) override { return true; }
    void flush() override {}
    const std::string &error() const override { return error_; }

  private:
    static int get_buffer(AVCodecContext *context, AVFrame *frame, int flags);

    const ImageType *recognise(Bytes data);
    void configure(AVCodecContext &context);
    void put(av::Frame frame, const Packet &packet, const PictureSink &sink) const;
    bool fail(std::string text);

    const ImageSetup setup_;
    const std::shared_ptr<UyvyConverter> converter_;
    std::string too_large_; /* why the picture in work was refused, or empty */
    std::string error_;
};

bool ImageDecoder::fail(std::string text)
{
    error_ = std::move(text);
    return false;
}

const ImageType *ImageDecoder::recognise(Bytes data)
{
    const ImageType *const type = type_of(data);
    const ImageType *const wanted = type_numbered(setup_.type);
    if (!type)
        fail("these data are no BMP, GIF, JPEG, PNG or TIFF");
    else if (wanted && wanted != type)
        fail(std::string("these data are ") + type->name + ", and the setup was for " + wanted->name);
    else
        return type;
    return nullptr;
}

/* Asked before libavcodec takes the memory for a picture, whose size is known then. */
int ImageDecoder::get_buffer(AVCodecContext *context, AVFrame *frame, int flags)
{
    auto &decoder = *static_cast<ImageDecoder *>(context->opaque);
    const auto width = static_cast<uint32_t>(context->width);
    const auto height = static_cast<uint32_t>(context->height);
    if (width <= decoder.setup_.width && height <= decoder.setup_.height)
        return avcodec_default_get_buffer2(context, frame, flags);
    decoder.too_large_ = "a picture of " + size_text(width, height) + " is larger than " +
                         size_text(decoder.setup_.width, decoder.setup_.height);
    return AVERROR(EINVAL);
}

void ImageDecoder::configure(AVCodecContext &context)
{
    context.opaque = this;
    context.get_buffer2 = get_buffer;
    context.max_pixels = INT_MAX;
    context.err_recognition |= AV_EF_CRCCHECK;
}

void ImageDecoder::put(av::Frame frame, const Packet &packet, const PictureSink &sink) const
{
    put_on_black(frame);
    frame->key_frame = 1;
    frame->pkt_duration = packet.duration;
    sink(std::make_unique<DecodedPicture>(std::move(frame), packet.tsms, converter_));
}

bool ImageDecoder::decode(const Packet &packet, const PictureSink &sink)
{
    const ImageType *const type = recognise(packet.data);
    if (!type)
        return false;
    too_large_.clear();
    Stream stream([type](Bytes, Bytes) { return type->codec; },
                  [this](AVCodecContext &context) { configure(context); });
    bool given = false;
    const bool good = stream.decode(packet, [&](av::Frame frame) {
        if (!std::exchange(given, true))
            put(std::move(frame), packet, sink);
    });
    if (!too_large_.empty())
        return fail(too_large_);
    if (!good)
        return fail(stream.error());
    return given || fail(std::string("this ") + type->name + " holds no whole picture");
}

} // namespace

std::unique_ptr<VideoDecoder> create_image_decoder(const ImageSetup &setup, std::string &why)
{
    if (setup.type != ORKA_IMAGE_TYPE_NONE && !type_numbered(setup.type))
        why = "there is no image type " + std::to_string(setup.type);
    else if (setup.width > largest_image_side || setup.height > largest_image_side)
        why = "pictures of " + size_text(setup.width, setup.height) + " are too large";
    else
        return std::make_unique<ImageDecoder>(setup);
    return nullptr;
}

DecoderList image_decoders_needed()
{
    DecoderList needed;
    for (const ImageType &type : types)
        needed.push_back(type.codec);
    return needed;
}

} // namespace orka::board
