/*
 * The encoders of pictures, four channels. /dev/iencode loads and sets up, each channel's own node goes on
 * from there, and another gives its motion vectors. /dev/imgencode is the encoder of stills, and loads what
 * serves a channel of JPEG.
 */
#include "drivers/encode_driver.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>

#include "drivers/encoder.h"
#include "drivers/still_encoder.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr EncoderKind video_kind{
    .node = "vencode",
    .wants_init = true,
    .encodes = &CodecImage::encodes_video,
    .width = "width",
    .height = "height",
};

constexpr uint32_t channel_count = 4;
constexpr uint32_t jpeg = 10;
constexpr uint32_t largest_side = 4096;
constexpr uint32_t macroblock = 16;
constexpr uint64_t second_us = 1'000'000;

using MakeCodec = std::function<std::unique_ptr<VideoEncoder>(std::string &why)>;
using Wanted = std::shared_ptr<std::atomic<bool>>;

/* Picture n is the one that the camera shows at n / rate seconds. */
class VideoStream final : public EncodeStream {
  public:
    /* codec: the first stream's. */
    VideoStream(MakeCodec make, std::unique_ptr<VideoEncoder> codec, std::unique_ptr<CameraView> view,
                uint32_t rate, Wanted vectors)
        : make_(std::move(make)), codec_(std::move(codec)), view_(std::move(view)), rate_(rate),
          vectors_(std::move(vectors))
    {
    }

    void begin(const CaptureBegin &from) override;
    uint64_t due_us() const override { return time_of(number_); }
    bool encode(const CodedSink &sink) override;
    void skip() override { number_++; }
    bool drain(const CodedSink &sink) override;
    const std::string &error() const override { return error_; }
    void cancel() override { view_->cancel(); }

  private:
    /* Rounded up: the camera shows the picture from then on. */
    uint64_t time_of(uint64_t number) const { return (number * second_us + rate_ - 1) / rate_; }

    const MakeCodec make_;
    std::unique_ptr<VideoEncoder> codec_;
    const std::unique_ptr<CameraView> view_;
    const uint32_t rate_;
    const Wanted vectors_;
    Standard standard_;
    std::vector<uint8_t> picture_;
    uint64_t number_ = 0;
    std::string error_;
};

void VideoStream::begin(const CaptureBegin &from)
{
    standard_ = from.standard;
    picture_.resize(standard_.picture_size());
    number_ = from.time_us * rate_ / second_us;
    if (time_of(number_) < from.time_us)
        number_++;
    if (!codec_)
        codec_ = make_(error_);
}

bool VideoStream::encode(const CodedSink &sink)
{
    const uint64_t number = number_++;
    if (!codec_)
        return false;
    view_->picture(standard_, time_of(number), picture_);
    codec_->want_vectors(*vectors_);
    if (codec_->encode({.uyvy = picture_,
                        .width = standard_.width,
                        .height = standard_.height,
                        .tsms = static_cast<uint32_t>(number * 1000 / rate_)},
                       sink))
        return true;
    error_ = codec_->error();
    return false;
}

bool VideoStream::drain(const CodedSink &sink)
{
    const std::unique_ptr<VideoEncoder> codec = std::move(codec_);
    if (!codec || codec->drain(sink))
        return true;
    error_ = codec->error();
    return false;
}

/* Empty where nothing is. */
std::string fault_of(const orka_iencode_video_params_t &params)
{
    if (params.frame_rate == 0)
        return "no frame rate";
    if (params.width == 0 || params.height == 0 || params.width > largest_side ||
        params.height > largest_side)
        return "no pictures of " + std::to_string(params.width) + " x " + std::to_string(params.height);
    if (params.bitrate == 0 && params.codec != jpeg)
        return "no bit rate";
    return {};
}

uint32_t macroblocks(uint32_t pixels)
{
    return pixels / macroblock + (pixels % macroblock != 0);
}

std::string_view text_of(std::span<const char> field)
{
    return {field.data(), strnlen(field.data(), field.size())};
}

bool gives_pictures(const File &file)
{
    return wire::first_channel(file.node()) == wire::node::vencode0;
}

bool gives_stills(const File &file)
{
    return file.node() == wire::node::imgencode;
}

bool gives_vectors(const File &file)
{
    return wire::first_channel(file.node()) == wire::node::vmvencode0;
}

/* Null where the vectors were not asked for. */
FrameQueue *queue_of(const File &file, EncodeSession &session)
{
    return gives_vectors(file) ? session.vectors() : &session.frames();
}

/* Nothing of the record's comes from the program. */
void give_queue(Call &call, const FrameQueue *queue)
{
    if (!queue)
        return call.fail(ENOMEM);
    wire::video_encode_queue_record record{};
    record.length = queue->length();
    record.pbase = queue->base();
    call.reply_record(record);
}

class VideoEncodeDriver final : public Driver {
  public:
    VideoEncodeDriver(Machine &machine, VideoEncoders codecs, ImageEncoders image_codecs);

    void opened(File &file) override;
    void closed(File &file) override;
    void control(std::shared_ptr<Call> call) override;
    bool hang(const Call &call) override;
    void report(nlohmann::json &status) const override;

  private:
    struct Channel {
        std::unique_ptr<Encoder> encoder;
        Wanted vectors; /* its session's */
    };

    void load(Call &call);
    void load_for_stills(Call &call);
    bool stills_in_use() const;
    void set_up(Call &call);
    std::unique_ptr<EncodeStream> make_stream(const orka_iencode_video_params_t &params, Channel &channel,
                                              std::string &why) const;
    void control_channel(Call &call);
    void control_frames(Call &call, Channel &channel, EncodeSession &session);
    void get(Call &call, EncodeSession &session, FrameQueue &queue);
    void changed(uint32_t channel) const;
    void tell_size(uint32_t channel) const;
    void tell_readable(uint32_t channel) const;
    bool is_readable(const File &file) const;

    Machine &machine_;
    const VideoEncoders codecs_;
    ImageSlot stills_;
    StillEncoder still_encoder_;
    std::array<Channel, channel_count> channels_;
    std::set<File *> files_; /* of the channels' nodes, open */
};

VideoEncodeDriver::VideoEncodeDriver(Machine &machine, VideoEncoders codecs, ImageEncoders image_codecs)
    : machine_(machine), codecs_(std::move(codecs)), stills_(machine, "encoder"),
      still_encoder_(machine, stills_, std::move(image_codecs))
{
    for (uint32_t i = 0; i < channel_count; i++)
        channels_[i].encoder = std::make_unique<Encoder>(machine, video_kind, i, [this, i] { changed(i); });
}

/* Files. */

void VideoEncodeDriver::opened(File &file)
{
    if (gives_stills(file))
        return still_encoder_.opened(file);
    if (!gives_pictures(file) && !gives_vectors(file))
        return;
    files_.insert(&file);
    file.set_readable(is_readable(file));
}

void VideoEncodeDriver::closed(File &file)
{
    files_.erase(&file);
    for (const Channel &channel : channels_)
        channel.encoder->closed(file);
    still_encoder_.closed(file);
    stills_.closed(file, stills_in_use());
}

bool VideoEncodeDriver::is_readable(const File &file) const
{
    const Encoder &encoder = *channels_[wire::channel_of(file.node())].encoder;
    if (!encoder.session() || !encoder.belongs_to(file))
        return false;
    const FrameQueue *const queue = queue_of(file, *encoder.session());
    return queue && queue->readable();
}

/* Frames came or went, or the encoder ended with all of them. */
void VideoEncodeDriver::changed(uint32_t channel) const
{
    tell_size(channel);
    tell_readable(channel);
}

/* Capture shows pictures of that size. */
void VideoEncodeDriver::tell_size(uint32_t channel) const
{
    const Encoder &encoder = *channels_[channel].encoder;
    machine_.encoded.at(channel) =
        encoder.session() ? PictureSize{encoder.form().width, encoder.form().height} : PictureSize{};
}

void VideoEncodeDriver::tell_readable(uint32_t channel) const
{
    for (File *const file : files_) {
        if (wire::channel_of(file->node()) == channel)
            file->set_readable(is_readable(*file));
    }
}

/* Images and setup. */

void VideoEncodeDriver::load(Call &call)
{
    const auto record = call.record<wire::encode_framework_record>();
    if (record.channel < 0 || record.channel >= static_cast<int32_t>(channel_count) || record.stream != 0)
        return call.fail(EINVAL);
    channels_[static_cast<uint32_t>(record.channel)].encoder->load(call, text_of(record.name));
}

bool VideoEncodeDriver::stills_in_use() const
{
    return still_encoder_.is_set_up() || std::ranges::any_of(channels_, [](const Channel &channel) {
               return channel.encoder->session() && channel.encoder->codec() == jpeg;
           });
}

void VideoEncodeDriver::load_for_stills(Call &call)
{
    std::string why;
    const auto *const name = reinterpret_cast<const char *>(call.in().data());
    const int error = stills_.load(call.file(), text_of({name, call.in().size()}), stills_in_use(), why);
    if (!error)
        return call.reply();
    machine_.log("imgencode: " + why);
    call.fail(error);
}

void VideoEncodeDriver::set_up(Call &call)
{
    auto params = call.record<orka_iencode_video_params_t>();
    if (params.channel >= channel_count) {
        machine_.log("iencode: setup of channel " + std::to_string(params.channel) + "; there are " +
                     std::to_string(channel_count));
        return call.fail(EINVAL);
    }
    /* A still without a size has the camera's. */
    if (params.codec == jpeg && params.width == 0 && params.height == 0) {
        params.width = machine_.standard.width;
        params.height = machine_.standard.height;
    }
    Channel &channel = channels_[params.channel];
    const uint32_t columns = macroblocks(params.width);
    channel.encoder->set_up(
        call,
        {.codec = params.codec,
         .bufsize = params.bufsize,
         .bufcount = params.bufcount,
         .form = {.kind = ORKA_FRAME_TYPE_VIDEO, .width = params.width, .height = params.height},
         .vectors_size = columns * macroblocks(params.height) * static_cast<uint32_t>(sizeof(MotionVector)),
         .image = params.codec == jpeg ? &stills_ : nullptr,
         .make_stream = [&](std::string &why) { return make_stream(params, channel, why); }});
    tell_size(params.channel);
}

std::unique_ptr<EncodeStream> VideoEncodeDriver::make_stream(const orka_iencode_video_params_t &params,
                                                             Channel &channel, std::string &why) const
{
    why = machine_.camera ? fault_of(params) : "there is no camera";
    if (!why.empty())
        return nullptr;
    MakeCodec make = [codecs = codecs_, params](std::string &text) { return codecs(params, text); };
    std::unique_ptr<VideoEncoder> codec = make(why);
    if (!codec)
        return nullptr;
    channel.vectors = std::make_shared<std::atomic<bool>>(false);
    return std::make_unique<VideoStream>(std::move(make), std::move(codec), machine_.camera->open(),
                                         params.frame_rate, channel.vectors);
}

/* A channel's requests. */

void VideoEncodeDriver::control(std::shared_ptr<Call> call)
{
    switch (call->row().number) {
    case wire::IENCODE_LOAD_VIDEO:
        return load(*call);
    case wire::IENCODE_LOAD_IMAGE:
        return load_for_stills(*call);
    case wire::IENCODE_SETUP_VIDEO:
        return set_up(*call);
    default:
        return gives_stills(call->file()) ? still_encoder_.control(std::move(call)) : control_channel(*call);
    }
}

bool VideoEncodeDriver::hang(const Call &call)
{
    if (gives_stills(call.file()))
        return still_encoder_.hang(call.file());
    return channels_[wire::channel_of(call.file().node())].encoder->hang(call.file());
}

void VideoEncodeDriver::control_channel(Call &call)
{
    Channel &channel = channels_[wire::channel_of(call.file().node())];
    switch (call.row().number) {
    case wire::IENCODE_INIT_VIDEO:
        return channel.encoder->order(call, EncodeOrder::init);
    case wire::IENCODE_START_VIDEO:
        return channel.encoder->order(call, EncodeOrder::start);
    case wire::IENCODE_STOP_VIDEO:
        return channel.encoder->order(call, EncodeOrder::stop);
    case wire::IENCODE_TEARDOWN_VIDEO:
        return channel.encoder->tear_down(call);
    default:
        if (EncodeSession *const session = channel.encoder->admit(call))
            control_frames(call, channel, *session);
    }
}

void VideoEncodeDriver::control_frames(Call &call, Channel &channel, EncodeSession &session)
{
    switch (call.row().number) {
    case wire::IENCODE_VIDEO_QUEUE:
        return give_queue(call, &session.frames());
    case wire::IENCODE_MV_QUEUE:
        /* The codec gives vectors before anybody waits for them. */
        *channel.vectors = true;
        return give_queue(call, session.open_vectors());
    default:
        break;
    }
    FrameQueue *const queue = queue_of(call.file(), session);
    if (!queue)
        return call.fail(EINVAL);
    const bool gets =
        call.row().number == wire::IENCODE_GET_VIDEO_FRAME || call.row().number == wire::IENCODE_GET_MV_FRAME;
    if (gets)
        return get(call, session, *queue);
    queue->release() ? call.reply() : call.fail(EINVAL);
}

/* Never waits: there is poll for that. */
void VideoEncodeDriver::get(Call &call, EncodeSession &session, FrameQueue &queue)
{
    const std::optional<orka_iencode_frame_t> frame = queue.take();
    if (!frame)
        return call.fail(EAGAIN);
    session.taken(*frame);
    call.reply_record(*frame);
    tell_readable(wire::channel_of(call.file().node()));
}

void VideoEncodeDriver::report(nlohmann::json &status) const
{
    for (const Channel &channel : channels_)
        channel.encoder->report(status);
    still_encoder_.report(status);
}

} // namespace

std::unique_ptr<Driver> make_video_encode_driver(Machine &machine, VideoEncoders codecs,
                                                 ImageEncoders image_codecs)
{
    return std::make_unique<VideoEncodeDriver>(machine, std::move(codecs), std::move(image_codecs));
}

std::unique_ptr<Driver> make_video_encode_driver(Machine &machine)
{
    return make_video_encode_driver(machine, VideoEncoder::create);
}

} // namespace orka::board
