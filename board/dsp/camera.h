/*
 * What stands before the board's capture input and microphone: a test picture and a test tone, or a file or
 * device that libavformat and libavdevice open.
 *
 * Sources are pulled, by capture time. Each consumer has a view of its own and asks for times that do not
 * fall; it may lie behind or ahead of others. Views may be used by different threads, each by one at a time.
 */
#ifndef ORKA_BOARD_DSP_CAMERA_H
#define ORKA_BOARD_DSP_CAMERA_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace orka::board {

/* Whether to give up what is waited for of a source: asked again and again, from any thread. Empty: never. */
using Stop = std::function<bool()>;

/* A television standard, as the capture chip delivers it. */
struct Standard {
    uint32_t width = 720;
    uint32_t height = 480;
    uint32_t rate = 30; /* pictures a second */

    uint32_t picture_size() const { return width * height * 2; }
    bool operator==(const Standard &) const = default;
};
inline constexpr Standard ntsc{720, 480, 30};
inline constexpr Standard pal{720, 576, 25};

/* When a picture begins, whole microseconds; and the picture that is shown at a time that may have been so
   rounded. */
constexpr uint64_t picture_time_us(const Standard &standard, uint64_t number)
{
    return number * 1'000'000 / standard.rate;
}
constexpr uint64_t picture_number(const Standard &standard, uint64_t time_us)
{
    return (time_us + 1) * standard.rate / 1'000'000;
}

class CameraView {
  public:
    virtual ~CameraView() = default;
    /* The picture that the camera shows at that capture time (µs), as UYVY of the standard's size. Picture n
       of the standard is shown from n / rate s on. */
    virtual void picture(const Standard &standard, uint64_t time_us, std::span<uint8_t> uyvy) = 0;
    /* From any thread: from now on no source is waited for, also by a picture that is being made. What the
       pictures then show is of no use. */
    virtual void cancel() {}
};

class Camera {
  public:
    /* source: empty for the test picture, else [FORMAT:]FILE. Null, and a text in why, where it does not
       open, or where it was to stop before it had. */
    static std::unique_ptr<Camera> create(const std::string &source, std::string &why, const Stop &stop = {});
    virtual ~Camera() = default;
    virtual std::unique_ptr<CameraView> open() = 0; /* from any thread, at once: files open later */
};

class MicrophoneView {
  public:
    virtual ~MicrophoneView() = default;
    /* Interleaved samples at sample_rate (Hz, not 0) from sample number `first` on, counted from capture
       time 0. */
    virtual void sound(uint32_t sample_rate, uint32_t channels, uint64_t first,
                       std::span<int16_t> samples) = 0;
    virtual void cancel() {} /* as a camera's */
};

class Microphone {
  public:
    static std::unique_ptr<Microphone> create(const std::string &source, std::string &why,
                                              const Stop &stop = {});
    virtual ~Microphone() = default;
    virtual std::unique_ptr<MicrophoneView> open() = 0;
};

/* The test picture's frame counter (its number, modulo 2^24), read back from a picture of any size from 96x80
   up, also after lossy coding; -1 where the picture holds none. luma: one byte a pixel, stride bytes a line.
 */
int64_t read_counter(std::span<const uint8_t> luma, uint32_t width, uint32_t height, uint32_t stride);

/* True where the test picture's second mark is lit: during the first 50 ms of each second, as long as the
   test tone's click. False for pictures without a counter. */
bool read_second_mark(std::span<const uint8_t> luma, uint32_t width, uint32_t height, uint32_t stride);

} // namespace orka::board

#endif
