/* The board's encoder of stills. The library loads its image and opens its node; its requests are made here.
 */
#ifndef ORKA_RECORD_STILL_ENCODER_H
#define ORKA_RECORD_STILL_ENCODER_H

#include <optional>

#include "common/mapped_queue.h"
#include "orka_iencode.h"
#include "wire/orka_iencode_wire.h"

namespace orka::record {

/* Set up when constructed, torn down when destroyed. All but the destructor throw Failure. */
class StillEncoder {
  public:
    explicit StillEncoder(const wire::image_encode_setup_record &setup);
    ~StillEncoder();
    StillEncoder(const StillEncoder &) = delete;
    StillEncoder &operator=(const StillEncoder &) = delete;

    /* The next picture that the camera shows. Waits at most that many milliseconds, and says false when
       nothing came of it. */
    bool get(orka_iencode_frame_t &frame, int32_t timeout);
    void release(orka_iencode_frame_t frame);

  private:
    void open_queue();

    std::optional<MappedQueue> queue_;
};

} // namespace orka::record

#endif
