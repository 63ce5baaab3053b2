/*
 * A FIFO as a source. Opening it or reading it as a file waits in the kernel, where nobody can ask whether to
 * stop; as a pipe whose reads return at once, libavformat asks before each of them.
 */
#ifndef ORKA_BOARD_DSP_FIFO_H
#define ORKA_BOARD_DSP_FIFO_H

#include <string>

#include "dsp/camera.h"

namespace orka::board {

class Fifo {
  public:
    static bool is_at(const std::string &path);

    Fifo() = default;
    ~Fifo();
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;

    /* Waits until somebody has written. An errno value where it does not open; ECANCELED where it was to
       stop. */
    int open(const std::string &path, const Stop &stop);
    /* By which libavformat reads it, as long as this lives. */
    std::string url() const { return "pipe:" + std::to_string(descriptor_); }

  private:
    int descriptor_ = -1;
};

} // namespace orka::board

#endif
