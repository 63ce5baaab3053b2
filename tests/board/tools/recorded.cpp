#include "board/tools/recorded.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <span>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "board/tools/support.h"
#include "dsp/camera.h"

namespace orka_tools_test {

namespace {

/* The tone is a tenth of full scale, the click four fifths. */
constexpr double click_level = 0.4;
/* Within a click, and far less than a second. */
constexpr double click_seconds = 0.5;

/* Of the first channel, -1 to 1. */
double sample_of(const AVFrame &frame, int at)
{
    const int step =
        av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) ? 1 : frame.ch_layout.nb_channels;
    const auto read = [&]<typename Sample>(Sample value) {
        std::memcpy(&value, frame.extended_data[0] + static_cast<ptrdiff_t>(at * step) * sizeof value,
                    sizeof value);
        return static_cast<double>(value);
    };
    switch (frame.format) {
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S16P:
        return read(int16_t{0}) / 32768;
    case AV_SAMPLE_FMT_FLT:
    case AV_SAMPLE_FMT_FLTP:
        return read(float{0});
    default:
        throw std::runtime_error("sound in an unknown form");
    }
}

class Reader {
  public:
    explicit Reader(const std::string &file)
    {
        if (avformat_open_input(&context_, file.c_str(), nullptr, nullptr) < 0 ||
            avformat_find_stream_info(context_, nullptr) < 0)
            throw std::runtime_error(file + " does not open");
        for (unsigned i = 0; i < context_->nb_streams; i++)
            decoders_.push_back(open_decoder(*context_->streams[i]));
    }
    ~Reader()
    {
        for (AVCodecContext *decoder : decoders_)
            avcodec_free_context(&decoder);
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        avformat_close_input(&context_);
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    Marks read()
    {
        for (; av_read_frame(context_, packet_) >= 0; av_packet_unref(packet_))
            decode(*decoders_[static_cast<size_t>(packet_->stream_index)], packet_);
        for (AVCodecContext *decoder : decoders_)
            decode(*decoder, nullptr);
        return marks_;
    }

  private:
    static AVCodecContext *open_decoder(const AVStream &stream)
    {
        const AVCodec *codec = avcodec_find_decoder(stream.codecpar->codec_id);
        AVCodecContext *decoder = avcodec_alloc_context3(codec);
        avcodec_parameters_to_context(decoder, stream.codecpar);
        decoder->pkt_timebase = stream.time_base;
        if (avcodec_open2(decoder, codec, nullptr) < 0)
            throw std::runtime_error("no decoder");
        return decoder;
    }
    void decode(AVCodecContext &decoder, const AVPacket *packet)
    {
        avcodec_send_packet(&decoder, packet);
        while (avcodec_receive_frame(&decoder, frame_) == 0) {
            const double time =
                static_cast<double>(frame_->best_effort_timestamp) * av_q2d(decoder.pkt_timebase);
            if (decoder.codec_type == AVMEDIA_TYPE_VIDEO)
                see(time);
            else
                hear(time);
        }
    }
    void see(double time)
    {
        const auto stride = static_cast<uint32_t>(frame_->linesize[0]);
        const auto width = static_cast<uint32_t>(frame_->width);
        const auto height = static_cast<uint32_t>(frame_->height);
        const std::span<const uint8_t> luma(frame_->data[0], size_t{stride} * (height - 1) + width);
        const bool lit = orka::board::read_second_mark(luma, width, height, stride);
        if (lit && !lit_)
            marks_.lamps.push_back(time);
        lit_ = lit;
        marks_.end = time;
        marks_.counters.push_back(orka::board::read_counter(luma, width, height, stride));
    }
    void hear(double time)
    {
        for (int i = 0; i < frame_->nb_samples; i++) {
            const double at = time + static_cast<double>(i) / frame_->sample_rate;
            const bool begins = marks_.clicks.empty() || at > marks_.clicks.back() + click_seconds;
            if (begins && std::abs(sample_of(*frame_, i)) > click_level)
                marks_.clicks.push_back(at);
        }
    }

    AVFormatContext *context_ = nullptr;
    std::vector<AVCodecContext *> decoders_;
    AVPacket *packet_ = av_packet_alloc();
    AVFrame *frame_ = av_frame_alloc();
    Marks marks_;
    bool lit_ = false;
};

} // namespace

Marks marks_of(const std::string &file)
{
    return Reader(file).read();
}

std::vector<double> lateness(const Marks &marks)
{
    constexpr double margin = 0.5;
    std::vector<double> differences;
    for (const double lamp : marks.lamps) {
        if (lamp < margin || lamp > marks.end - margin)
            continue;
        double nearest = std::nan("");
        for (const double click : marks.clicks) {
            if (!(std::abs(click - lamp) > std::abs(nearest)))
                nearest = click - lamp;
        }
        differences.push_back(nearest);
    }
    return differences;
}

std::string decoded_grey(const std::string &file)
{
    return run({"ffmpeg", "-v", "error", "-i", file, "-pix_fmt", "gray", "-f", "rawvideo", "-"}).out;
}

int64_t counter_in(const std::string &grey, uint32_t stride, const Part &part)
{
    const auto *const bytes = reinterpret_cast<const uint8_t *>(grey.data());
    const std::span<const uint8_t> all(bytes, grey.size());
    return orka::board::read_counter(all.subspan(size_t{part.y} * stride + part.x), part.width, part.height,
                                     stride);
}

std::vector<int64_t> consecutive(const std::vector<int64_t> &counters)
{
    std::vector<int64_t> numbers(counters.size());
    std::iota(numbers.begin(), numbers.end(), counters.empty() ? 0 : counters.front());
    return numbers;
}

} // namespace orka_tools_test
