#include "media_file.h"

#include <algorithm>

#include "common/failure.h"

namespace orka::record {

namespace {

/*
 * An MP4 whose index comes in parts with the data: it plays wherever it ends. Its head comes with the first
 * part, for it tells what of the sound lies before the beginning.
 */
constexpr char fragments[] = "frag_keyframe+delay_moov+default_base_moof";

AVDictionary *muxer_options()
{
    AVDictionary *options = nullptr;
    av_dict_set(&options, "movflags", fragments, 0);
    return options;
}

} // namespace

MediaFile::MediaFile(const std::string &path, const Container &container) : path_(path)
{
    int error = avformat_alloc_output_context2(&context_, nullptr, container.format, path.c_str());
    if (error < 0)
        fail(error);
    context_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    if (container.counts)
        context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    error = has_own_files() ? 0 : avio_open(&context_->pb, path.c_str(), AVIO_FLAG_WRITE);
    if (error >= 0)
        return;
    avformat_free_context(context_);
    fail(error);
}

MediaFile::~MediaFile()
{
    if (!has_own_files())
        avio_closep(&context_->pb);
    avformat_free_context(context_);
}

int MediaFile::add_pictures(int ticks)
{
    AVStream &stream = add_stream(ticks);
    stream.avg_frame_rate = {ticks, 1};
    return stream.index;
}

int MediaFile::add_sound(int ticks)
{
    return add_stream(ticks).index;
}

AVStream &MediaFile::add_stream(int ticks)
{
    AVStream *stream = avformat_new_stream(context_, nullptr);
    if (!stream)
        fail(AVERROR(ENOMEM));
    stream->time_base = {1, ticks};
    ticks_.push_back(ticks);
    return *stream;
}

void MediaFile::begin()
{
    AVDictionary *options = muxer_options();
    const int error = avformat_write_header(context_, &options);
    av_dict_free(&options);
    if (error < 0)
        fail(error);
    begun_ = true;
}

void MediaFile::write(const FilePacket &source)
{
    const PacketPtr packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), static_cast<int>(source.data.size())) < 0)
        fail(AVERROR(ENOMEM));
    std::ranges::copy(source.data, packet->data);
    packet->stream_index = source.stream;
    packet->pts = packet->dts = source.time;
    packet->duration = source.duration;
    packet->flags = source.key ? AV_PKT_FLAG_KEY : 0;
    /* The muxer chose the stream's time base when it began. */
    av_packet_rescale_ts(packet.get(), {1, ticks_[static_cast<size_t>(source.stream)]},
                         context_->streams[source.stream]->time_base);
    const int error = av_interleaved_write_frame(context_, packet.get());
    if (error < 0)
        fail(error);
}

void MediaFile::finish()
{
    if (!begun_)
        return;
    begun_ = false;
    const int error = av_write_trailer(context_);
    if (error < 0)
        fail(error);
}

int64_t MediaFile::packets(int stream) const
{
    return stream < 0 ? 0 : context_->streams[stream]->nb_frames;
}

void MediaFile::fail(int error)
{
    failed_ = true;
    throw Failure(path_ + ": " + av_error(error));
}

} // namespace orka::record
