/* One decoder of the board, from loading its image to tear-down. */
#ifndef ORKA_PLAY_DECODER_H
#define ORKA_PLAY_DECODER_H

#include <span>
#include <string>

#include "orka_idecode.h"

namespace orka::play {

enum frame_flag : uint32_t { frame_key = 1, frame_header = 2, frame_damaged = 4 };

/* A frame's data; the library maps queues where 32 bits hold their addresses. */
inline uint8_t *frame_data(const orka_idecode_frame_t &frame)
{
    return reinterpret_cast<uint8_t *>(static_cast<uintptr_t>(frame.addr));
}

/*
 * Set up when constructed, torn down when destroyed, in whatever state it is then. One thread may fill frames
 * while another takes them. All but the destructor throw Failure; the library has then reported what it saw.
 */
class Decoder {
  public:
    Decoder(const std::string &image, const orka_idecode_audio_params_t &params);
    Decoder(const std::string &image, const orka_idecode_video_params_t &params);
    /* Nothing comes out of it, and it never finishes. */
    Decoder(const std::string &image, const orka_idecode_subtitle_params_t &params);
    ~Decoder();
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    orka_frame_type_t kind() const;
    const char *name() const; /* "audio", "video" or "subtitle" */

    void start();
    /* These wait at most that many milliseconds, and say false when nothing came of it. */
    bool new_frame(orka_idecode_frame_t &frame, int32_t timeout);
    bool get_frame(orka_idecode_frame_t &frame, int32_t timeout);
    bool wait_finished(int32_t timeout);
    void commit(const orka_idecode_frame_t &frame);
    void release(const orka_idecode_frame_t &frame);

    struct Calls;

  private:
    void open_queue();
    void check_load(const std::string &image, orka_status_t status) const;
    void check(orka_status_t status, const char *what) const;
    bool in_time(orka_status_t status, const char *what) const;

    const Calls &calls_;
    orka_idecode_queue_t *queue_ = nullptr;
    bool started_ = false;
};

} // namespace orka::play

#endif
