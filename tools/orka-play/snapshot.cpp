#include "snapshot.h"

#include "common/failure.h"
#include "common/picture_file.h"
#include "decoder.h"

namespace orka::play {

void Snapshot::offer(const orka_idecode_frame_t &frame)
{
    const bool too_late = at_ && frame.tsms > *at_ * 1000;
    if (too_late && !uyvy_.empty())
        return;
    frame_ = frame;
    uyvy_.assign(frame_data(frame), frame_data(frame) + size_t{frame.stride} * frame.height);
}

void Snapshot::save() const
{
    if (uyvy_.empty())
        throw Failure(path_ + ": there was no picture to save");
    save_picture(path_, uyvy_, frame_.width, frame_.height, frame_.stride);
}

} // namespace orka::play
