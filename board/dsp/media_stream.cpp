#include "dsp/media_stream.h"

#include <algorithm>
#include <filesystem>

namespace orka::board {

namespace {

constexpr AVRational microsecond{1, 1'000'000};
/* Of a picture whose file tells no rate. */
constexpr uint64_t usual_duration_us = 40'000;

struct Source {
    const AVInputFormat *format = nullptr;
    std::string name;
};

Source parse(const std::string &text, const MediaLibraries &libraries)
{
    const size_t colon = text.find(':');
    std::error_code ignored;
    if (colon == std::string::npos || text.compare(colon, 3, "://") == 0 ||
        std::filesystem::exists(text, ignored))
        return {nullptr, text};
    const AVInputFormat *const format = libraries.find_input_format(text.substr(0, colon).c_str());
    return {format, format == nullptr ? text : text.substr(colon + 1)};
}

AVClassCategory category_of(const AVInputFormat &format)
{
    return format.priv_class != nullptr ? format.priv_class->category : AV_CLASS_CATEGORY_NA;
}

bool is_hardware(const AVInputFormat &format)
{
    const AVClassCategory category = category_of(format);
    return category == AV_CLASS_CATEGORY_DEVICE_VIDEO_INPUT ||
           category == AV_CLASS_CATEGORY_DEVICE_AUDIO_INPUT;
}

} // namespace

std::unique_ptr<MediaStream> MediaStream::open(const std::string &source, AVMediaType type, std::string &why,
                                               Stop stop)
{
    const av::Listener listener;
    const bool video = type == AVMEDIA_TYPE_VIDEO;
    const std::string who = (video ? "camera " : "microphone ") + source;
    const MediaLibraries *const libraries = MediaLibraries::get(why);
    if (libraries == nullptr) {
        why = who + ": " + why;
        return nullptr;
    }
    std::unique_ptr<MediaStream> media(new MediaStream(*libraries, std::move(stop)));
    int error = media->open_input(source);
    if (error >= 0)
        error = media->open_decoder(type);
    if (error >= 0)
        return media;
    why = error == AVERROR_STREAM_NOT_FOUND ? who + (video ? ": holds no picture" : ": holds no sound")
                                            : listener.text(who, error);
    return nullptr;
}

int MediaStream::open_input(const std::string &source)
{
    Source parsed = parse(source, libraries_);
    constexpr std::string_view file_protocol = "file:";
    const std::string path =
        parsed.name.starts_with(file_protocol) ? parsed.name.substr(file_protocol.size()) : parsed.name;
    if (Fifo::is_at(path)) {
        if (const int error = fifo_.open(path, [this] { return stopped(); }); error != 0)
            return AVERROR(error);
        parsed.name = fifo_.url();
    }
    AVFormatContext *context = av::need(libraries_.alloc_context());
    context->interrupt_callback = {
        [](void *stream) { return static_cast<int>(static_cast<const MediaStream *>(stream)->stopped()); },
        this};
    if (parsed.format != nullptr && is_hardware(*parsed.format))
        context->flags |= AVFMT_FLAG_NONBLOCK;
    /* Frees the context on failure. */
    if (const int error = libraries_.open_input(&context, parsed.name.c_str(), parsed.format, nullptr);
        error < 0)
        return error;
    format_.reset(context);
    return libraries_.find_stream_info(context, nullptr);
}

int MediaStream::open_decoder(AVMediaType type)
{
    const AVCodec *codec = nullptr;
    index_ = libraries_.find_best_stream(format_.get(), type, -1, -1, &codec, 0);
    if (index_ < 0)
        return index_;
    for (unsigned i = 0; i < format_->nb_streams; i++)
        format_->streams[i]->discard = static_cast<int>(i) == index_ ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    packet_.reset(av::need(av_packet_alloc()));
    decoder_.reset(av::need(avcodec_alloc_context3(codec)));
    if (const int error = avcodec_parameters_to_context(decoder_.get(), stream().codecpar); error < 0)
        return error;
    decoder_->pkt_timebase = stream().time_base;
    return avcodec_open2(decoder_.get(), codec, nullptr);
}

/* Hands the decoder one packet, or the end. */
int MediaStream::feed()
{
    int error = 0;
    do {
        av_packet_unref(packet_.get());
        error = libraries_.read_frame(format_.get(), packet_.get());
    } while (error >= 0 && packet_->stream_index != index_);
    if (error == AVERROR(EAGAIN))
        return error;
    avcodec_send_packet(decoder_.get(), error >= 0 ? packet_.get() : nullptr);
    av_packet_unref(packet_.get());
    return 0;
}

MediaStream::Step MediaStream::next(AVFrame &frame)
{
    const av::Listener listener;
    for (;;) {
        const int error = avcodec_receive_frame(decoder_.get(), &frame);
        if (error >= 0) {
            keep_time(frame);
            return Step::frame;
        }
        if (error != AVERROR(EAGAIN) && error != AVERROR_INVALIDDATA)
            return Step::end;
        if (feed() < 0)
            return Step::not_yet;
    }
}

void MediaStream::keep_time(const AVFrame &frame)
{
    const int64_t start = format_->start_time == AV_NOPTS_VALUE ? 0 : format_->start_time;
    const AVRational rate = stream().avg_frame_rate;
    uint64_t duration = usual_duration_us;
    if (frame.sample_rate > 0)
        duration = static_cast<uint64_t>(av_rescale(frame.nb_samples, microsecond.den, frame.sample_rate));
    else if (frame.pkt_duration > 0)
        duration = static_cast<uint64_t>(av_rescale_q(frame.pkt_duration, stream().time_base, microsecond));
    else if (rate.num > 0)
        duration = static_cast<uint64_t>(av_rescale(microsecond.den, rate.den, rate.num));

    begin_us_ = end_us_;
    if (frame.best_effort_timestamp != AV_NOPTS_VALUE)
        begin_us_ = static_cast<uint64_t>(std::max<int64_t>(
            0, av_rescale_q(frame.best_effort_timestamp, stream().time_base, microsecond) - start));
    end_us_ = begin_us_ + duration;
}

bool MediaStream::seek(uint64_t time_us)
{
    const av::Listener listener;
    const int64_t start = format_->start_time == AV_NOPTS_VALUE ? 0 : format_->start_time;
    const int64_t wanted = start + static_cast<int64_t>(time_us);
    if (libraries_.seek_file(format_.get(), -1, INT64_MIN, wanted, wanted, 0) < 0)
        return false;
    avcodec_flush_buffers(decoder_.get());
    return true;
}

uint64_t MediaStream::length_us() const
{
    if (format_->duration <= 0 || format_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE)
        return 0;
    return static_cast<uint64_t>(format_->duration);
}

bool MediaStream::is_device() const
{
    return is_hardware(*format_->iformat);
}

} // namespace orka::board
