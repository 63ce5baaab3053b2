/* Packets on their way from the file's reader to a decoder's feeder. */
#ifndef ORKA_PLAY_PACKET_QUEUE_H
#define ORKA_PLAY_PACKET_QUEUE_H

#include <condition_variable>
#include <deque>
#include <mutex>

#include "clip.h"

namespace orka::play {

/* One thread pushes, one pops. Short, so that a clip is read no faster than it is decoded. */
class PacketQueue {
  public:
    void push(ClipPacket packet); /* waits while full; drops the packet once closed */
    ClipPacket pop();             /* waits while empty; without data when finished or closed */
    void finish();                /* no more will come */
    void close();                 /* wakes both sides for good */

  private:
    static constexpr size_t limit = 64;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<ClipPacket> packets_;
    bool finished_ = false;
    bool closed_ = false;
};

} // namespace orka::play

#endif
