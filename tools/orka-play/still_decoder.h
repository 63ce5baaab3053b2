/* The board's decoder of stills. The library loads its image and opens its node; its requests are made here.
 */
#ifndef ORKA_PLAY_STILL_DECODER_H
#define ORKA_PLAY_STILL_DECODER_H

#include <optional>
#include <span>
#include <string>

#include "common/mapped_queue.h"
#include "orka_idecode.h"
#include "wire/orka_idecode_wire.h"

namespace orka::play {

/* Set up when constructed, torn down when destroyed. All but the destructor throw Failure. */
class StillDecoder {
  public:
    StillDecoder(const std::string &image, const wire::image_setup_record &setup);
    ~StillDecoder();
    StillDecoder(const StillDecoder &) = delete;
    StillDecoder &operator=(const StillDecoder &) = delete;

    void start();
    /* A whole file, or nothing for the end. */
    void put(std::span<const uint8_t> file);
    /* Waits at most that many milliseconds, and says false when nothing came of it. */
    bool get_frame(orka_idecode_frame_t &frame, int32_t timeout);
    void release(orka_idecode_frame_t frame);

  private:
    void open_queue();

    std::optional<MappedQueue> queue_;
};

} // namespace orka::play

#endif
