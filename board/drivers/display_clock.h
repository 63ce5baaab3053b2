/*
 * The time stamp of what is on the screen: that of the picture shown last; where no decoder of pictures is
 * started, that of the sound.
 *
 * Decoders that are started count, from the first frame on that each has shown since its start. Of those of
 * pictures it is the lowest one.
 */
#ifndef ORKA_BOARD_DISPLAY_CLOCK_H
#define ORKA_BOARD_DISPLAY_CLOCK_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

namespace orka::board {

class DisplayClock {
  public:
    static constexpr uint32_t sound = UINT32_MAX; /* its rank, behind all pictures */

    /* One decoder, by its rank. */
    class Source {
      public:
        Source(DisplayClock &clock, uint32_t rank);
        ~Source();
        Source(const Source &) = delete;
        Source &operator=(const Source &) = delete;

        void start(bool started);
        void show(uint32_t tsms);

      private:
        friend class DisplayClock;
        DisplayClock &clock_;
        const uint32_t rank_;
        bool started_ = false;
        std::optional<uint32_t> tsms_;
    };

    DisplayClock() = default;
    DisplayClock(const DisplayClock &) = delete;
    DisplayClock &operator=(const DisplayClock &) = delete;

    std::optional<uint32_t> now() const; /* nothing while nothing is shown */

    /* Called when the time may be another; one listener, which an empty one ends. */
    void listen(std::function<void()> listener) { listener_ = std::move(listener); }

  private:
    void tell() const
    {
        if (listener_)
            listener_();
    }

    std::map<uint32_t, const Source *> sources_;
    std::function<void()> listener_;
};

} // namespace orka::board

#endif
