#include "subtitle_reader.h"

#include <algorithm>
#include <string_view>

#include "common/failure.h"

namespace orka::play {

namespace {

constexpr AVRational milliseconds_base = {1, 1000};

/* What stands before the text in a line of libavcodec's: its number, its layer, its style and so on. */
constexpr int fields_before_text = 8;

std::string_view text_of(std::string_view line)
{
    for (int i = 0; i < fields_before_text; i++)
        line.remove_prefix(std::min(line.size(), line.find(',') + 1));
    return line;
}

std::string text_of(const AVSubtitle &subtitle)
{
    std::string text;
    for (unsigned i = 0; i < subtitle.num_rects; i++) {
        if (const char *const line = subtitle.rects[i]->ass)
            text.append(text.empty() ? "" : "\\N").append(text_of(line));
    }
    return text;
}

struct CloseInput {
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

Input open_input(const std::string &path)
{
    AVFormatContext *context = nullptr;
    int error = avformat_open_input(&context, path.c_str(), nullptr, nullptr);
    if (error == AVERROR_INVALIDDATA)
        throw Failure(path + ": no subtitles that libavformat knows");
    if (error < 0)
        throw Failure(path + ": " + av_error(error));
    Input input(context);
    error = avformat_find_stream_info(context, nullptr);
    if (error < 0)
        throw Failure(path + ": no subtitles can be read: " + av_error(error));
    return input;
}

const AVStream &track_of(const AVFormatContext &input, const std::string &path)
{
    for (unsigned i = 0; i < input.nb_streams; i++) {
        if (input.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE)
            return *input.streams[i];
    }
    throw Failure(path + ": there are no subtitles in it");
}

SubtitleReader reader_of(const AVStream &track, const std::string &path)
{
    try {
        return SubtitleReader(track);
    } catch (const Failure &failure) {
        throw Failure(path + ": " + failure.what());
    }
}

uint32_t milliseconds(int64_t time, AVRational base)
{
    return static_cast<uint32_t>(
        std::clamp<int64_t>(av_rescale_q(time, base, milliseconds_base), 0, UINT32_MAX));
}

void add(SubtitleFile &file, const SubtitleReader &reader, const AVStream &track, AVPacket &packet)
{
    const std::optional<std::string> text = reader.text(packet);
    file.damaged += !text;
    if (text && !text->empty() && packet.pts != AV_NOPTS_VALUE)
        file.subtitles.push_back({milliseconds(packet.pts, track.time_base),
                                  milliseconds(packet.duration, track.time_base), *text});
}

} // namespace

bool is_text(const AVCodecParameters &track)
{
    const AVCodecDescriptor *const codec = avcodec_descriptor_get(track.codec_id);
    return codec && (codec->props & AV_CODEC_PROP_TEXT_SUB);
}

SubtitleReader::SubtitleReader(const AVStream &track)
{
    const AVCodecParameters &codec = *track.codecpar;
    const std::string name = avcodec_get_name(codec.codec_id);
    const AVCodec *const decoder = avcodec_find_decoder(codec.codec_id);
    if (!is_text(codec))
        throw Failure("the subtitles are pictures (" + name + "), and the board shows text");
    if (!decoder)
        throw Failure("nothing reads the text of " + name);
    context_.reset(avcodec_alloc_context3(decoder));
    if (!context_ || avcodec_parameters_to_context(context_.get(), &codec) < 0)
        throw Failure("out of memory");
    context_->pkt_timebase = track.time_base;
    if (const int error = avcodec_open2(context_.get(), decoder, nullptr); error < 0)
        throw Failure("the subtitles (" + name + ") cannot be read: " + av_error(error));
}

std::optional<std::string> SubtitleReader::text(AVPacket &packet) const
{
    AVSubtitle subtitle{};
    int there = 0;
    if (avcodec_decode_subtitle2(context_.get(), &subtitle, &there, &packet) < 0)
        return std::nullopt;
    std::string text = there ? text_of(subtitle) : "";
    avsubtitle_free(&subtitle);
    return text;
}

SubtitleFile read_subtitle_file(const std::string &path)
{
    const Input input = open_input(path);
    const AVStream &track = track_of(*input, path);
    const SubtitleReader reader = reader_of(track, path);
    SubtitleFile file;
    const PacketPtr packet(av_packet_alloc());
    if (!packet)
        throw Failure("out of memory");
    for (; av_read_frame(input.get(), packet.get()) >= 0; av_packet_unref(packet.get())) {
        if (packet->stream_index == track.index)
            add(file, reader, track, *packet);
    }
    if (file.subtitles.empty())
        throw Failure(path + (file.damaged ? ": its subtitles are no text in UTF-8"
                                           : ": there are no subtitles in it"));
    std::ranges::stable_sort(file.subtitles, {}, &Subtitle::tsms);
    return file;
}

} // namespace orka::play
