#include "dsp/media_camera.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "dsp/device_reader.h"
#include "dsp/sample_converter.h"

namespace orka::board {

namespace {

constexpr uint64_t second_us = 1'000'000;
/* Farther ahead than that, seeking is quicker than decoding what lies between. */
constexpr uint64_t far_seconds = 5;
/* Frames that a device's reader remembers: a few seconds, as devices deliver them. */
constexpr size_t remembered_frames = 64;

class FileSound final : public MicrophoneView {
  public:
    explicit FileSound(std::string source) : source_(std::move(source)) {}
    void sound(uint32_t sample_rate, uint32_t channels, uint64_t first, std::span<int16_t> samples) override;
    void cancel() override { cancelled_ = true; }

  private:
    void begin(uint32_t sample_rate, uint32_t channels, uint64_t first);
    void open();
    void decode();
    size_t give(uint64_t since, std::span<int16_t> samples);
    void find(uint64_t place, uint64_t count);
    void copy(uint64_t place, std::span<int16_t> samples);

    uint64_t samples_in(uint64_t time_us) const
    {
        return (time_us * converter_->sample_rate() + second_us - 1) / second_us;
    }
    uint64_t pending_end() const { return pending_first_ + pending_.size() / converter_->channels(); }

    const std::string source_;
    std::atomic<bool> cancelled_ = false;
    std::unique_ptr<MediaStream> stream_;
    std::optional<SampleConverter> converter_;
    uint64_t origin_ = 0;    /* sample number at which the file begins first */
    uint64_t length_us_ = 0; /* 0 while unknown */
    uint64_t loop_ = 0;
    bool fresh_ = true; /* nothing was decoded since the file was opened or sought in */
    bool ended_ = false;
    uint64_t pending_first_ = 0; /* place of what was decoded and not given out */
    std::vector<int16_t> pending_;
};

void FileSound::sound(uint32_t sample_rate, uint32_t channels, uint64_t first, std::span<int16_t> samples)
{
    if (!converter_ || converter_->sample_rate() != sample_rate || converter_->channels() != channels)
        begin(sample_rate, channels, first);
    while (!samples.empty()) {
        const size_t given = give(first - origin_, samples);
        first += given / channels;
        samples = samples.subspan(given);
    }
}

void FileSound::begin(uint32_t sample_rate, uint32_t channels, uint64_t first)
{
    converter_.emplace(sample_rate, channels);
    open();
    length_us_ = stream_ ? stream_->length_us() : 0;
    origin_ = length_us_ == 0 ? first : 0;
    loop_ = 0;
}

void FileSound::open()
{
    std::string why;
    stream_ = MediaStream::open(source_, AVMEDIA_TYPE_AUDIO, why, [this] { return cancelled_.load(); });
    *converter_ = SampleConverter(converter_->sample_rate(), converter_->channels());
    fresh_ = true;
    ended_ = !stream_;
    pending_first_ = 0;
    pending_.clear();
}

/* Up to the end of the file at most; the number of samples given, of all channels. */
size_t FileSound::give(uint64_t since, std::span<int16_t> samples)
{
    const uint32_t channels = converter_->channels();
    const uint64_t loop = length_us_ == 0 ? 0 : since * second_us / (length_us_ * converter_->sample_rate());
    const uint64_t place = since - std::min(since, samples_in(loop * length_us_));
    uint64_t count = samples.size() / channels;
    if (loop != std::exchange(loop_, loop))
        open();
    if (length_us_ != 0)
        count = std::clamp<uint64_t>(samples_in((loop + 1) * length_us_) - since, 1, count);
    const uint64_t known = length_us_;
    find(place, count);
    if (length_us_ != known) /* it has just ended, and told its length */
        count = std::min(count, std::max(pending_end(), place) - place);
    copy(place, samples.first(count * channels));
    return count * channels;
}

/* Decodes until those samples are pending, or the file ends. */
void FileSound::find(uint64_t place, uint64_t count)
{
    if (place > pending_end() + far_seconds * converter_->sample_rate() && !ended_ &&
        stream_->seek(place * second_us / converter_->sample_rate()))
        fresh_ = true;
    while (!ended_ && (fresh_ || pending_end() < place + count))
        decode();
}

void FileSound::decode()
{
    const av::Frame frame(av::need(av_frame_alloc()));
    ended_ = stream_->next(*frame) != MediaStream::Step::frame;
    if (!ended_ && std::exchange(fresh_, false)) {
        pending_first_ = (stream_->begin_us() * converter_->sample_rate() + second_us / 2) / second_us;
        pending_.clear();
    }
    converter_->convert(ended_ ? nullptr : frame.get(), pending_);
    if (ended_ && length_us_ == 0)
        length_us_ = pending_end() * second_us / converter_->sample_rate();
}

/* What the file lacks is silence. Forgets what lies before the end of it. */
void FileSound::copy(uint64_t place, std::span<int16_t> samples)
{
    const uint32_t channels = converter_->channels();
    const uint64_t end = place + samples.size() / channels;
    const uint64_t from = std::clamp(place, pending_first_, pending_end());
    const uint64_t to = std::clamp(end, from, std::max(from, pending_end()));
    std::ranges::fill(samples, int16_t{0});
    const auto source = pending_.begin() + static_cast<ptrdiff_t>((from - pending_first_) * channels);
    if (from >= place && to > from)
        std::copy_n(source, (to - from) * channels,
                    samples.begin() + static_cast<ptrdiff_t>((from - place) * channels));
    if (to > from) {
        pending_.erase(pending_.begin(), source + static_cast<ptrdiff_t>((to - from) * channels));
        pending_first_ = to;
    }
}

class FileMicrophone final : public Microphone {
  public:
    explicit FileMicrophone(std::string source) : source_(std::move(source)) {}
    std::unique_ptr<MicrophoneView> open() override { return std::make_unique<FileSound>(source_); }

  private:
    const std::string source_;
};

class DeviceSound final : public MicrophoneView {
  public:
    explicit DeviceSound(std::shared_ptr<DeviceReader> reader)
        : reader_(std::move(reader)), next_(reader_->newest() + 1)
    {
    }

    /* What the device delivers from the first call on, whatever the number; silence where it is late. */
    void sound(uint32_t sample_rate, uint32_t channels, uint64_t, std::span<int16_t> samples) override
    {
        if (!converter_ || converter_->sample_rate() != sample_rate || converter_->channels() != channels) {
            converter_.emplace(sample_rate, channels);
            pending_.clear();
        }
        while (pending_.size() < samples.size()) {
            const av::Frame frame = reader_->frame(next_);
            if (!frame)
                break;
            next_++;
            converter_->convert(frame.get(), pending_);
        }
        const size_t count = std::min(pending_.size(), samples.size());
        std::ranges::fill(samples, int16_t{0});
        std::copy_n(pending_.begin(), count, samples.begin());
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(count));
    }

  private:
    std::shared_ptr<DeviceReader> reader_;
    uint64_t next_;
    std::optional<SampleConverter> converter_;
    std::vector<int16_t> pending_;
};

class DeviceMicrophone final : public Microphone {
  public:
    explicit DeviceMicrophone(std::unique_ptr<MediaStream> stream)
        : reader_(std::make_shared<DeviceReader>(std::move(stream), remembered_frames))
    {
    }
    std::unique_ptr<MicrophoneView> open() override { return std::make_unique<DeviceSound>(reader_); }

  private:
    std::shared_ptr<DeviceReader> reader_;
};

} // namespace

std::unique_ptr<Microphone> make_device_microphone(std::unique_ptr<MediaStream> stream)
{
    return std::make_unique<DeviceMicrophone>(std::move(stream));
}

std::unique_ptr<Microphone> make_media_microphone(const std::string &source, std::string &why,
                                                  const Stop &stop)
{
    std::unique_ptr<MediaStream> stream = open_checked(source, AVMEDIA_TYPE_AUDIO, why, stop);
    if (!stream)
        return nullptr;
    if (stream->is_device())
        return make_device_microphone(std::move(stream));
    return std::make_unique<FileMicrophone>(source);
}

} // namespace orka::board
