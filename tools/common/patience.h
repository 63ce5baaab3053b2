/* How long a tool waits for a DSP that says nothing. */
#ifndef ORKA_TOOLS_PATIENCE_H
#define ORKA_TOOLS_PATIENCE_H

#include <chrono>
#include <string>

namespace orka {

class Patience {
  public:
    /* 0 seconds: without end. who: "the video decoder". */
    Patience(double seconds, std::string who) : seconds_(seconds), who_(std::move(who)) {}

    void renew() { since_ = std::chrono::steady_clock::now(); }
    /* Throws Failure when the silence has lasted for longer, and for as much more as is good for a reason. */
    void check(std::chrono::milliseconds more = {}) const;

  private:
    const double seconds_;
    const std::string who_;
    std::chrono::steady_clock::time_point since_ = std::chrono::steady_clock::now();
};

/* Of --give-up, by default. */
constexpr double usual_patience = 60; /* s */

} // namespace orka

#endif
