#include "dsp/media_camera.h"

#include <atomic>
#include <utility>

#include "dsp/device_reader.h"
#include "dsp/standard_scaler.h"

namespace orka::board {

namespace {

/* Farther ahead than that, seeking is quicker than decoding what lies between. */
constexpr uint64_t far_us = 5'000'000;

class FileView final : public CameraView {
  public:
    explicit FileView(std::string source) : source_(std::move(source)) {}
    void picture(const Standard &standard, uint64_t time_us, std::span<uint8_t> uyvy) override;
    void cancel() override { cancelled_ = true; }

  private:
    void begin(uint64_t time_us);
    void open();
    void fetch();
    void go_to(uint64_t time_us);
    void jump_to(uint64_t place_us);

    const std::string source_;
    std::atomic<bool> cancelled_ = false;
    std::unique_ptr<MediaStream> stream_;
    bool begun_ = false;
    uint64_t origin_us_ = 0; /* capture time at which the file begins first */
    uint64_t length_us_ = 0; /* 0 while unknown */
    uint64_t loop_ = 0;
    uint64_t fetched_ = 0; /* since the file was opened */
    bool still_ = false;   /* the file is one picture */
    av::Frame current_;
    av::Frame next_;
    bool changed_ = false;
    StandardScaler scaler_;
};

void FileView::picture(const Standard &standard, uint64_t time_us, std::span<uint8_t> uyvy)
{
    if (!std::exchange(begun_, true))
        begin(time_us);
    const uint64_t known = length_us_;
    go_to(time_us);
    if (length_us_ != known) /* it has just ended, and told its length */
        go_to(time_us);
    if (!current_)
        return fill_black(uyvy);
    scaler_.write(*current_, std::exchange(changed_, false), standard, uyvy);
}

void FileView::begin(uint64_t time_us)
{
    open();
    if (stream_)
        length_us_ = stream_->length_us();
    origin_us_ = length_us_ == 0 ? time_us : 0;
}

void FileView::open()
{
    std::string why;
    next_.reset();
    fetched_ = 0;
    stream_ = MediaStream::open(source_, AVMEDIA_TYPE_VIDEO, why, [this] { return cancelled_.load(); });
    if (stream_)
        fetch();
}

void FileView::fetch()
{
    next_.reset(av::need(av_frame_alloc()));
    if (stream_->next(*next_) == MediaStream::Step::frame) {
        fetched_++;
        return;
    }
    next_.reset();
    still_ = fetched_ == 1;
    if (length_us_ == 0)
        length_us_ = stream_->end_us();
}

void FileView::jump_to(uint64_t place_us)
{
    if (stream_->seek(place_us))
        fetch();
}

void FileView::go_to(uint64_t time_us)
{
    const uint64_t since = time_us - origin_us_;
    const uint64_t loop = length_us_ == 0 ? 0 : since / length_us_;
    const uint64_t place = length_us_ == 0 ? since : since % length_us_;
    if (loop != std::exchange(loop_, loop) && !still_)
        open();
    if (next_ && place > stream_->begin_us() + far_us)
        jump_to(place);
    /* Both times are whole microseconds, one of them perhaps rounded up. */
    while (next_ && stream_->begin_us() <= place + 1) {
        current_ = std::move(next_);
        changed_ = true;
        fetch();
    }
}

class FileCamera final : public Camera {
  public:
    explicit FileCamera(std::string source) : source_(std::move(source)) {}
    std::unique_ptr<CameraView> open() override { return std::make_unique<FileView>(source_); }

  private:
    const std::string source_;
};

class DeviceView final : public CameraView {
  public:
    explicit DeviceView(std::shared_ptr<DeviceReader> reader) : reader_(std::move(reader)) {}

    /* The picture delivered last, whatever the time. */
    void picture(const Standard &standard, uint64_t, std::span<uint8_t> uyvy) override
    {
        uint64_t number = std::max<uint64_t>(reader_->newest(), 1);
        const bool changed = number != shown_;
        if (changed)
            current_ = reader_->frame(number);
        shown_ = number;
        if (!current_)
            return fill_black(uyvy);
        scaler_.write(*current_, changed, standard, uyvy);
    }

  private:
    std::shared_ptr<DeviceReader> reader_;
    uint64_t shown_ = 0;
    av::Frame current_;
    StandardScaler scaler_;
};

class DeviceCamera final : public Camera {
  public:
    explicit DeviceCamera(std::unique_ptr<MediaStream> stream)
        : reader_(std::make_shared<DeviceReader>(std::move(stream), 1))
    {
    }
    std::unique_ptr<CameraView> open() override { return std::make_unique<DeviceView>(reader_); }

  private:
    std::shared_ptr<DeviceReader> reader_;
};

} // namespace

std::unique_ptr<MediaStream> open_checked(const std::string &source, AVMediaType type, std::string &why,
                                          const Stop &stop)
{
    const av::Listener listener;
    std::unique_ptr<MediaStream> stream = MediaStream::open(source, type, why, stop);
    const av::Frame frame(av::need(av_frame_alloc()));
    if (!stream || stream->is_device() || stream->next(*frame) == MediaStream::Step::frame)
        return stream;
    why = (type == AVMEDIA_TYPE_VIDEO ? "camera " + source + ": none of its pictures can be decoded"
                                      : "microphone " + source + ": none of its sound can be decoded");
    return nullptr;
}

std::unique_ptr<Camera> make_device_camera(std::unique_ptr<MediaStream> stream)
{
    return std::make_unique<DeviceCamera>(std::move(stream));
}

std::unique_ptr<Camera> make_media_camera(const std::string &source, std::string &why, const Stop &stop)
{
    std::unique_ptr<MediaStream> stream = open_checked(source, AVMEDIA_TYPE_VIDEO, why, stop);
    if (!stream)
        return nullptr;
    if (stream->is_device())
        return make_device_camera(std::move(stream));
    return std::make_unique<FileCamera>(source);
}

} // namespace orka::board
