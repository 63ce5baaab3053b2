#include "written_time.h"

#include "common/failure.h"

namespace orka::record {

WrittenTime::WrittenTime() : map_(orka_bstime_init())
{
    if (!map_)
        throw Failure("out of memory");
}

void WrittenTime::add(const orka_iencode_frame_t &frame, double duration)
{
    orka_bstime_new_entry(map_, &frame);
    orka_bstime_bytes_used(map_, last_);
    last_ = frame.size;
    ms_ = orka_bstime_get_bistream_time(map_) + duration;
}

} // namespace orka::record
