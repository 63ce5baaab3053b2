#include "clip.h"

#include <algorithm>
#include <string_view>

#include "common/failure.h"
#include "subtitle_reader.h"

namespace orka::play {

namespace {

constexpr AVRational milliseconds_base = {1, 1000};
constexpr AVRational microseconds_base = {1, AV_TIME_BASE};

/* A container's announced length is no more exact than this. */
constexpr double length_tolerance = 0.5;

int stopped(void *stop)
{
    return static_cast<const std::atomic<bool> *>(stop)->load();
}

uint32_t to_milliseconds(int64_t time, AVRational base)
{
    const int64_t value = av_rescale_q(time, base, milliseconds_base);
    return static_cast<uint32_t>(std::clamp<int64_t>(value, 0, UINT32_MAX));
}

} // namespace

Clip::Clip(const std::string &path, const std::atomic<bool> &stop) : path_(path), stop_(stop)
{
    open();
    video_ = first(AVMEDIA_TYPE_VIDEO);
    audio_ = first(AVMEDIA_TYPE_AUDIO);
    /*
     * Containers that keep decoding times alone have their pictures' presentation times worked out, but for
     * H.264: its order is the decoder's to know, which counts where there is no time.
     */
    if (!video_ || video_->codecpar->codec_id != AV_CODEC_ID_H264)
        context_->flags |= AVFMT_FLAG_GENPTS;
    if (context_->duration != AV_NOPTS_VALUE)
        seconds_ = static_cast<double>(context_->duration) / AV_TIME_BASE;
}

void Clip::open()
{
    AVFormatContext *context = avformat_alloc_context();
    if (!context)
        throw Failure("out of memory");
    context->interrupt_callback = {stopped, const_cast<std::atomic<bool> *>(&stop_)};

    int error = avformat_open_input(&context, path_.c_str(), nullptr, nullptr);
    if (error == AVERROR_INVALIDDATA)
        throw Failure(path_ + ": not a media file that libavformat knows");
    if (error < 0)
        throw Failure(path_ + ": " + av_error(error));
    context_.reset(context);
    /* Any text passes for a recording of a terminal. */
    if (std::string_view(context->iformat->name) == "tty")
        throw Failure(path_ + ": not a media file: it is text");
    error = avformat_find_stream_info(context, nullptr);
    if (error < 0)
        throw Failure(path_ + ": no streams can be read: " + av_error(error));
}

AVStream *Clip::first(AVMediaType type) const
{
    for (unsigned i = 0; i < context_->nb_streams; i++) {
        AVStream *stream = context_->streams[i];
        if (stream->codecpar->codec_type == type && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
            return stream;
    }
    return nullptr;
}

const AVStream *Clip::subtitles() const
{
    for (unsigned i = 0; i < context_->nb_streams; i++) {
        const AVCodecParameters &codec = *context_->streams[i]->codecpar;
        if (codec.codec_type == AVMEDIA_TYPE_SUBTITLE && is_text(codec))
            return context_->streams[i];
    }
    return first(AVMEDIA_TYPE_SUBTITLE);
}

AVRational Clip::frame_rate() const
{
    const AVRational rate = av_guess_frame_rate(context_.get(), video_, nullptr);
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{25, 1};
}

ClipPacket Clip::read()
{
    PacketPtr packet(av_packet_alloc());
    if (!packet)
        throw Failure("out of memory");
    const int error = av_read_frame(context_.get(), packet.get());
    if (error < 0) {
        /* Some demuxers take the file's end for a failure. */
        const bool at_end =
            context_->pb && (error == AVERROR_EOF || (error == AVERROR(EIO) && context_->pb->eof_reached));
        error_ = at_end ? context_->pb->error : error;
        return {};
    }
    damaged_ = damaged_ || cut_short_;
    cut_short_ = (packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
    note_end(*packet);
    const AVRational base = context_->streams[packet->stream_index]->time_base;
    const uint32_t tsms = milliseconds(*packet);
    const uint32_t duration = to_milliseconds(packet->duration, base);
    return {std::move(packet), tsms, duration};
}

/* In the stream's time base, from the clip's start. */
int64_t Clip::presentation_time(const AVPacket &packet) const
{
    const AVRational base = context_->streams[packet.stream_index]->time_base;
    int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    if (time == AV_NOPTS_VALUE)
        return 0;
    if (context_->start_time != AV_NOPTS_VALUE)
        time -= av_rescale_q(context_->start_time, microseconds_base, base);
    return time;
}

uint32_t Clip::milliseconds(const AVPacket &packet) const
{
    const bool reordered = context_->streams[packet.stream_index]->codecpar->video_delay > 0;
    if (packet.pts == AV_NOPTS_VALUE && (reordered || packet.dts == AV_NOPTS_VALUE))
        return no_time;
    return to_milliseconds(presentation_time(packet), context_->streams[packet.stream_index]->time_base);
}

/* The picture's own length counts where the container tells one: the sound's is often a guess. */
void Clip::note_end(const AVPacket &packet)
{
    const bool picture_measured = video_ && video_->duration > 0;
    if (picture_measured && packet.stream_index != video_->index)
        return;
    const AVRational base = context_->streams[packet.stream_index]->time_base;
    const double end = static_cast<double>(presentation_time(packet) + packet.duration) * av_q2d(base);
    end_seconds_ = std::max(end_seconds_, end);
}

/*
 * 0 where the container's header tells no length: what was estimated from the file proves nothing about it.
 */
double Clip::announced_seconds() const
{
    if (context_->duration_estimation_method != AVFMT_DURATION_FROM_STREAM)
        return 0;
    if (!video_ || video_->duration <= 0)
        return seconds_;
    /* Of a file that is too short libavformat scales an AVI's length down, but not its count of pictures:
       one for each tick, empty ones among them. */
    if (context_->iformat->name == std::string_view("avi") && video_->nb_frames > 0)
        return static_cast<double>(video_->nb_frames) * av_q2d(video_->time_base);
    return static_cast<double>(video_->duration) * av_q2d(video_->time_base);
}

std::string Clip::fault() const
{
    if (error_ < 0 && error_ != AVERROR_EOF && error_ != AVERROR_EXIT)
        return "reading failed: " + av_error(error_);
    /* Some containers announce where they end, others how long they are. */
    const bool begins_late = context_->start_time != AV_NOPTS_VALUE && context_->start_time > 0;
    const double begin = begins_late ? static_cast<double>(context_->start_time) / AV_TIME_BASE : 0;
    if (announced_seconds() > begin + end_seconds_ + length_tolerance) {
        char text[128];
        snprintf(text, sizeof text, "the clip is truncated: it announces %.1f s and ends after %.1f s",
                 announced_seconds(), end_seconds_);
        return text;
    }
    /* The last packet of a recording whose length nobody knew is as long as it is. */
    const bool incomplete =
        damaged_ || (cut_short_ && context_->duration_estimation_method == AVFMT_DURATION_FROM_STREAM);
    return incomplete ? "the clip is damaged or truncated: a packet is incomplete" : "";
}

} // namespace orka::play
