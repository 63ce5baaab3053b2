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

    void add(const orka_iencode_frame_t &frame, double duration); /* ms */
    double ms() const { return ms_; }                             /* as the encoder's time stamps */

  private:
    /*
     * A frame is drained when the next one is there: at the end of the last one the map could but guess by
     * the one before, and has nothing more to say once it was asked.
     */
    orka_bstime_t *map_;
    uint32_t last_ = 0; /* bytes that are not drained yet */
    double ms_ = 0;
};

} // namespace orka::record

#endif
