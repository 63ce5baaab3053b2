/* Reads a device in a thread of its own, for as long as anybody holds the reader. */
#ifndef ORKA_BOARD_DSP_DEVICE_READER_H
#define ORKA_BOARD_DSP_DEVICE_READER_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "dsp/media_stream.h"

namespace orka::board {

/* Any thread may call. */
class DeviceReader {
  public:
    /* keep: how many of the frames that were delivered last it remembers. */
    DeviceReader(std::unique_ptr<MediaStream> stream, size_t keep);
    ~DeviceReader();
    DeviceReader(const DeviceReader &) = delete;
    DeviceReader &operator=(const DeviceReader &) = delete;

    /* Frames are numbered from 1 as they come; 0 before the first. */
    uint64_t newest();
    /* A frame, or the oldest remembered after it, whose number is put into `number`; waits for one that has
       not come, but not long. Null where none came. */
    av::Frame frame(uint64_t &number);

  private:
    void loop();
    void keep(av::Frame frame);
    bool quit();
    bool rest(); /* false when it is to end */

    const size_t kept_;
    const std::unique_ptr<MediaStream> stream_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<av::Frame> frames_;
    uint64_t newest_ = 0;
    bool ended_ = false; /* the device is gone */
    bool quit_ = false;
    std::thread thread_;
};

} // namespace orka::board

#endif
