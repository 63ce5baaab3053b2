/* How far a recording has come, told from the bytes that were written. */
#ifndef ORKA_RECORD_WRITTEN_TIME_H
#define ORKA_RECORD_WRITTEN_TIME_H

#include "orka_bstime.h"

namespace orka::record {

class WrittenTime {
  public:
    WrittenTime(); /* throws Failure */
    ~WrittenTime() { orka_bstime_destroy(map_); }
    WrittenTime(const WrittenTime &) = delete;
    WrittenTime &operator=(const WrittenTime &) = delete;

    void add(const orka_iencode_frame_t &frame);
    uint32_t ms() const { return orka_bstime_get_bistream_time(map_); } /* as the encoder's time stamps */

  private:
    orka_bstime_t *map_;
};

} // namespace orka::record

#endif
