/* Key frames and P-frames. The first byte chooses the type, and which end of the frame is guarded. */
#include <algorithm>

#include "fuzz/fuzz.h"
#include "orka_media.h"
#include "support/frame_models.h"
#include "support/guarded_pages.h"

using namespace orka_test;

static constexpr int32_t types[] = {ORKA_VIDEO_TYPE_H263, ORKA_VIDEO_TYPE_H264, ORKA_VIDEO_TYPE_MPEG2,
                                    ORKA_VIDEO_TYPE_MPEG4};

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static GuardedPages pages(longest_input);

    if (size == 0)
        return 0;
    const FrameBytes input(data + 1, std::min(size - 1, longest_input));
    const uint8_t *frame = (data[0] & 4) != 0 ? pages.copy_to_begin(input) : pages.copy_to_end(input);
    const uint32_t length = static_cast<uint32_t>(input.size());
    const int32_t type = types[data[0] & 3];

    require(orka_media_check_video_keyframe(frame, length, type) == key_frame_answer(input, type),
            "key frame");
    require(orka_media_check_video_Pframe(frame, length, type) == p_frame_answer(input, type), "P-frame");
    return 0;
}
