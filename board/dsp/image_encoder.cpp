#include "dsp/image_encoder.h"

#include <algorithm>
#include <array>

#include "dsp/capture_scaler.h"
#include "dsp/coding.h"
#include "dsp/image_decoder.h"
#include "dsp/needed_codecs.h"
#include "orka_media.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace orka::board {

namespace {

constexpr uint32_t best_quality = 100;
constexpr uint32_t usual_scale = 3; /* of 1, the best, to 31 */
constexpr uint32_t worst_scale = 31;

/* The quantiser's scale; quality 1 to 100 from the worst one to the best. */
constexpr uint32_t jpeg_scale(uint32_t quality)
{
    if (quality == 0)
        return usual_scale;
    return 1 + (best_quality - quality) * (worst_scale - 1) / (best_quality - 1);
}
static_assert(jpeg_scale(1) == worst_scale && jpeg_scale(best_quality) == 1);

void configure_jpeg(AVCodecContext &context, uint32_t quality)
{
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.qmin = 1;
    context.global_quality = static_cast<int>(jpeg_scale(quality)) * FF_QP2LAMBDA;
    context.color_range = AVCOL_RANGE_JPEG;
}

/* A whole file, and not a picture among others. */
void configure_gif(AVCodecContext &context, uint32_t /*quality*/)
{
    av_opt_set_int(context.priv_data, "gifimage", 1, 0);
}

void configure_nothing(AVCodecContext & /*context*/, uint32_t /*quality*/) {}

struct ImageType {
    uint32_t number;
    const char *encoder;
    AVPixelFormat format;
    int scaling; /* flags of libswscale */
    void (*configure)(AVCodecContext &context, uint32_t quality) = configure_nothing;
};

/* With whole chroma libswscale spreads the error of few colours over the pixels that follow. */
constexpr auto types = std::to_array<ImageType>({
    {ORKA_IMAGE_TYPE_BMP, "bmp", AV_PIX_FMT_BGR24, SWS_FULL_CHR_H_INT},
    {ORKA_IMAGE_TYPE_GIF, "gif", AV_PIX_FMT_RGB8, SWS_FULL_CHR_H_INT, configure_gif},
    {ORKA_IMAGE_TYPE_JPEG, "mjpeg", AV_PIX_FMT_YUVJ422P, 0, configure_jpeg},
    {ORKA_IMAGE_TYPE_PNG, "png", AV_PIX_FMT_RGB24, SWS_FULL_CHR_H_INT},
    {ORKA_IMAGE_TYPE_TIFF, "tiff", AV_PIX_FMT_RGB24, SWS_FULL_CHR_H_INT},
});

class AvImageEncoder final : public ImageEncoder {
  public:
    AvImageEncoder(const ImageType &type, const ImageCoding &coding)
        : type_(type), params_(coding), scaler_(type.format, coding.width, coding.height, type.scaling)
    {
    }

    bool open()
    {
        return coding_.open(type_.encoder, [this](AVCodecContext &context) { configure(context); });
    }
    bool encode(const CapturedPicture &picture, const CodedSink &sink) override;
    const std::string &error() const override { return coding_.error(); }

  private:
    void configure(AVCodecContext &context) const;

    const ImageType &type_;
    const ImageCoding params_;
    Coding coding_;
    CaptureScaler scaler_;
};

void AvImageEncoder::configure(AVCodecContext &context) const
{
    context.width = static_cast<int>(params_.width);
    context.height = static_cast<int>(params_.height);
    context.pix_fmt = type_.format;
    context.time_base = {1, 1};
    type_.configure(context, params_.quality);
}

/* Opened anew for each: what is encoded depends on nothing before it. */
bool AvImageEncoder::encode(const CapturedPicture &picture, const CodedSink &sink)
{
    if (std::string fault = fault_of(picture); !fault.empty())
        return coding_.fail(std::move(fault));
    if (!open())
        return false;
    AVFrame *const frame = scaler_.scale(picture);
    frame->pts = 0;
    frame->quality = coding_.context()->global_quality;
    return coding_.send(frame, [&](const AVPacket &packet) {
        sink({.data = {packet.data, static_cast<size_t>(packet.size)}, .tsms = picture.tsms, .key = true});
    });
}

/* Empty where the coding can be served, as far as can be told before the encoder opens. */
std::string objection(const ImageCoding &coding)
{
    const std::string size = std::to_string(coding.width) + "x" + std::to_string(coding.height);
    if (coding.width == 0 || coding.height == 0)
        return "pictures of " + size + " are none";
    if (coding.width > largest_image_side || coding.height > largest_image_side)
        return "pictures of " + size + " are too large";
    if (coding.quality > best_quality)
        return "a quality of " + std::to_string(coding.quality) + " is above 100";
    return {};
}

} // namespace

std::unique_ptr<ImageEncoder> ImageEncoder::create(const ImageCoding &coding, std::string &why)
{
    const auto type = std::ranges::find(types, coding.type, &ImageType::number);
    why = type == types.end() ? "there is nothing that encodes it" : objection(coding);
    if (!why.empty())
        return nullptr;
    auto encoder = std::make_unique<AvImageEncoder>(*type, coding);
    if (encoder->open())
        return encoder;
    why = encoder->error();
    return nullptr;
}

EncoderList image_encoders_needed()
{
    return encoders_of(types);
}

} // namespace orka::board
