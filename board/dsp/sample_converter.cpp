#include "dsp/sample_converter.h"

#include <algorithm>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace orka::board {

namespace {

/* Streams need not tell how their channels are arranged. */
AVChannelLayout layout_of(const AVFrame &frame)
{
    AVChannelLayout layout = frame.ch_layout;
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&layout, frame.ch_layout.nb_channels);
    return layout;
}

} // namespace

bool SampleConverter::prepare(const AVFrame &frame)
{
    if (resampler_ && frame.sample_rate == rate_in_ && frame.ch_layout.nb_channels == channels_in_ &&
        frame.format == format_in_)
        return true;
    AVChannelLayout out{};
    av_channel_layout_default(&out, static_cast<int>(channels_));
    AVChannelLayout in = layout_of(frame);
    SwrContext *context = nullptr;
    const int error =
        swr_alloc_set_opts2(&context, &out, AV_SAMPLE_FMT_S16, static_cast<int>(sample_rate_), &in,
                            static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    resampler_.reset(context);
    if (error < 0 || swr_init(context) < 0)
        resampler_.reset();
    rate_in_ = frame.sample_rate;
    channels_in_ = frame.ch_layout.nb_channels;
    format_in_ = frame.format;
    return resampler_ != nullptr;
}

void SampleConverter::convert(const AVFrame *frame, std::vector<int16_t> &samples)
{
    if (frame != nullptr ? !prepare(*frame) : !resampler_)
        return;
    const int taken = frame != nullptr ? frame->nb_samples : 0;
    const int room = std::max(swr_get_out_samples(resampler_.get(), taken), 0);
    const size_t before = samples.size();
    samples.resize(before + static_cast<size_t>(room) * channels_);
    auto *out = reinterpret_cast<uint8_t *>(samples.data() + before);
    auto **const in = frame != nullptr ? const_cast<const uint8_t **>(frame->extended_data) : nullptr;
    const int got = std::max(swr_convert(resampler_.get(), &out, room, in, taken), 0);
    samples.resize(before + static_cast<size_t>(got) * channels_);
}

} // namespace orka::board
