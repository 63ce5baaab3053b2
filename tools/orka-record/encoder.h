/* One encoder of the board, from loading its image to tear-down. */
#ifndef ORKA_RECORD_ENCODER_H
#define ORKA_RECORD_ENCODER_H

#include <span>
#include <string>

#include "orka_iencode.h"

namespace orka::record {

enum frame_flag : uint32_t { frame_key = 1, frame_header = 2, frame_damaged = 4 };

/* A frame's data; the library maps queues where 32 bits hold their addresses. */
inline std::span<const uint8_t> frame_data(const orka_iencode_frame_t &frame)
{
    return {reinterpret_cast<const uint8_t *>(static_cast<uintptr_t>(frame.addr)), frame.size};
}

/*
 * Set up when constructed, torn down when destroyed, in whatever state it is then. One thread may take frames
 * while another starts and stops. All but the destructor throw Failure; the library has then reported what it
 * saw.
 */
class Encoder {
  public:
    Encoder(const std::string &image, const orka_iencode_audio_params_t &params);
    Encoder(const std::string &image, const orka_iencode_video_params_t &params);
    ~Encoder();
    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;

    const char *name() const; /* "audio" or "video" */

    void start();
    void stop(); /* what was captured can still be taken, up to a frame of kind LAST */
    /* Waits at most that many milliseconds, and says false when nothing came of it. */
    bool get_frame(orka_iencode_frame_t &frame, int32_t timeout);
    void release(); /* the frame that was got last */

    struct Calls;

  private:
    void open_queue();
    void check_load(const std::string &image, orka_status_t status) const;
    void check(orka_status_t status, const char *what) const;

    const Calls &calls_;
    const int32_t channel_;
    orka_iencode_queue_t *queue_ = nullptr;
    bool started_ = false;
};

} // namespace orka::record

#endif
