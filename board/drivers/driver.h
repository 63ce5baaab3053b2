/*
 * What a driver of the board is: an object with a row of requests behind one device node.
 *
 * Drivers run on the reactor's thread alone. A request that has to wait keeps its Call and answers later;
 * threads of the DSP hand their results in through Reactor::post. Ending such a thread (tear-down, last
 * close, another setup) is what blocks the reactor: it ends the thread's waits for room, time and the
 * camera's or microphone's source first, and then waits until the codec is done with the unit that it has in
 * work.
 */
#ifndef ORKA_BOARD_DRIVER_H
#define ORKA_BOARD_DRIVER_H

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "drivers/capture_clock.h"
#include "drivers/display_clock.h"
#include "drivers/dsp_window.h"
#include "drivers/loudspeaker.h"
#include "drivers/presentation.h"
#include "drivers/screen.h"
#include "drivers/subtitle_plane.h"
#include "drivers/video_plane.h"
#include "dsp/camera.h"
#include "dsp/picture_controls.h"
#include "server/memory.h"
#include "server/reactor.h"
#include "wire/orka_nodes.h"

namespace orka::board {

/* One open file of a node, from open to the last close. */
class File {
  public:
    virtual ~File() = default;
    virtual uint32_t number() const = 0;
    virtual wire::node node() const = 0;
    virtual int32_t process() const = 0; /* which opened it */
    /* What poll() on the client's descriptor says. */
    virtual void set_readable(bool readable) = 0;
};

/* One request. It is answered exactly once, with reply() or fail(); the row is the one that matched. */
class Call {
  public:
    virtual ~Call() = default;
    virtual File &file() const = 0;
    virtual const wire::request_row &row() const = 0;
    virtual int32_t process() const = 0;
    virtual bool nonblocking() const = 0; /* the descriptor is O_NONBLOCK */
    virtual std::span<const uint8_t> in() const = 0;

    virtual void reply(std::span<const uint8_t> out = {}) = 0;
    virtual void fail(int error) = 0; /* an errno value */

    /* What to do when a signal interrupts the caller: answer at once. A caller that dies is told by
       on_abandon: forget the call; nothing it answers goes anywhere. Both are cleared by the answer. */
    virtual void on_interrupt(std::function<void()> handler) = 0;
    virtual void on_abandon(std::function<void()> handler) = 0;

    /* The request's record, and the answer as one. */
    template <typename Record>
    Record record() const;
    template <typename Record>
    void reply_record(const Record &record);
};

class Driver {
  public:
    virtual ~Driver() = default;
    virtual void opened(File &) {}
    virtual void closed(File &) {} /* the last close; the file is gone afterwards */
    virtual void control(std::shared_ptr<Call> call) = 0;
    /* Makes the codec that the call is for hang until its tear-down; false where there is none. */
    virtual bool hang(const Call &) { return false; }
    /* Adds what there is to tell of the driver's state to the board's, under names of its own. */
    virtual void report(nlohmann::json &status) const;
};

/* What all drivers share. */
struct Options {
    bool real_time = false; /* --clock real */
    bool reclaim = false;   /* --reclaim */
    std::string camera;     /* --camera, empty for the test picture */
    std::string microphone; /* --microphone, empty for the test tone */
};

struct PictureSize {
    uint32_t width = 0;
    uint32_t height = 0;
};

struct Machine {
    Reactor &reactor;
    Memory &memory;
    const Options &options;
    std::function<void(const std::string &)> log; /* one line of the board's log, from the reactor's thread */
    std::string dsp_image;                        /* what /dev/imanage loaded, empty at first */
    DspWindow dsp_window{memory};
    PresentationClock presentation{};
    VideoPlane video{}; /* what the decoders show */
    DisplayClock display_clock{};
    SubtitlePlane subtitles{};
    Loudspeaker loudspeaker{};
    Screen *screen = nullptr; /* the display's; null on a board without one */
    /* Puts a captured picture before the decoders' ones, as UYVY whose stride is 2 x width; an empty one ends
       that. Empty on a board without a display. */
    std::function<void(std::span<const uint8_t> uyvy, uint32_t width, uint32_t height)> show_captured{};
    CaptureClock capture{false};
    Camera *camera = nullptr;           /* the board's; never null on a board */
    Microphone *microphone = nullptr;   /* likewise */
    Standard standard = ntsc;           /* which capture was set up for */
    PictureControls picture_controls{}; /* the video decoder chip's, before the camera */
    /* Of the pictures that each channel's video encoder takes; empty where none is set up. */
    std::array<PictureSize, 4> encoded{};
};

std::unique_ptr<Driver> make_imanage_driver(Machine &machine);
std::unique_ptr<Driver> make_audio_decode_driver(Machine &machine);
std::unique_ptr<Driver> make_video_decode_driver(Machine &machine);
std::unique_ptr<Driver> make_subtitle_decode_driver(Machine &machine);
std::unique_ptr<Driver> make_image_decode_driver(Machine &machine);
/* For all nodes of the video encoders: /dev/iencode, the channels' two each, /dev/imgencode. */
std::unique_ptr<Driver> make_video_encode_driver(Machine &machine);
std::unique_ptr<Driver> make_audio_encode_driver(Machine &machine);
std::unique_ptr<Driver> make_display_driver(Machine &machine);
std::unique_ptr<Driver> make_icapture_driver(Machine &machine);

template <typename Record>
Record Call::record() const
{
    Record value{};
    const std::span<const uint8_t> bytes = in();
    __builtin_memcpy(&value, bytes.data(), bytes.size() < sizeof value ? bytes.size() : sizeof value);
    return value;
}

template <typename Record>
void Call::reply_record(const Record &record)
{
    reply({reinterpret_cast<const uint8_t *>(&record), sizeof record});
}

} // namespace orka::board

#endif
