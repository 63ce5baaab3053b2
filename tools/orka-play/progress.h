/* The line that tells how far a clip is, on a terminal. */
#ifndef ORKA_PLAY_PROGRESS_H
#define ORKA_PLAY_PROGRESS_H

#include <chrono>
#include <cstdint>

namespace orka::play {

struct ProgressState {
    double position; /* seconds */
    double length;   /* seconds, 0 where unknown */
    double rate;     /* frames a second */
    uint32_t queued; /* frames that the decoder was given and has not given back */
    uint32_t queue_limit;
};

class Progress {
  public:
    Progress();  /* silent unless standard output is a terminal */
    ~Progress(); /* wipes the line */
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(const ProgressState &state);

  private:
    bool terminal_;
    bool shown_ = false;
};

} // namespace orka::play

#endif
