/* A picture of the clip, as PNG. */
#ifndef ORKA_PLAY_SNAPSHOT_H
#define ORKA_PLAY_SNAPSHOT_H

#include <optional>
#include <string>
#include <vector>

#include "orka_idecode.h"

namespace orka::play {

/* Keeps a copy of the one picture that it will save. */
class Snapshot {
  public:
    /* at: seconds; the picture shown then is the last one that begins no later. None: the last of all. */
    Snapshot(const std::string &path, std::optional<double> at) : path_(path), at_(at) {}

    void offer(const orka_idecode_frame_t &frame);
    void save() const; /* throws Failure */

  private:
    std::string path_;
    std::optional<double> at_;
    orka_idecode_frame_t frame_ = {};
    std::vector<uint8_t> uyvy_;
};

} // namespace orka::play

#endif
