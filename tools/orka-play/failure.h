/* Why a clip is not played, and the exit status that says so. */
#ifndef ORKA_PLAY_FAILURE_H
#define ORKA_PLAY_FAILURE_H

#include <stdexcept>
#include <string>

namespace orka::play {

enum exit_status {
    status_played = 0,
    status_media = 1, /* of the clip, a decoder or an output file */
    status_usage = 2,
    status_no_board = 3,
    status_interrupted = 130,
};

class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string &text, exit_status status = status_media)
        : std::runtime_error(text), status_(status)
    {
    }
    exit_status status() const { return status_; }

  private:
    exit_status status_;
};

} // namespace orka::play

#endif
