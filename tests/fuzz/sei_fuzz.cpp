/* Recovery points. The first byte chooses which end of the frame is guarded. */
#include <algorithm>
#include <cstring>

#include "fuzz/fuzz.h"
#include "orka_media.h"
#include "support/frame_models.h"
#include "support/guarded_pages.h"

using namespace orka_test;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static GuardedPages pages(longest_input);

    if (size < 6)
        return 0;
    const FrameBytes input(data + 1, std::min(size - 1, longest_input));
    const uint8_t *frame = (data[0] & 1) != 0 ? pages.copy_to_begin(input) : pages.copy_to_end(input);
    const std::optional<orka_video_sei_t> expected = recovery_point(input);
    const orka_video_sei_t fields = expected.value_or(orka_video_sei_t{});
    orka_video_sei_t sei;

    memset(&sei, 0xAA, sizeof sei);
    const int32_t answer =
        orka_media_get_video_SEI(frame, static_cast<uint32_t>(input.size()), ORKA_VIDEO_TYPE_H264, &sei);
    require(answer == (expected ? 0 : -1), "whether there is a recovery point");
    require(sei.recovery_frame_cnt == fields.recovery_frame_cnt, "recovery_frame_cnt");
    require(sei.exact_match_flag == fields.exact_match_flag, "exact_match_flag");
    require(sei.broken_link_flag == fields.broken_link_flag, "broken_link_flag");
    require(sei.changing_slice_group_idc == fields.changing_slice_group_idc, "changing_slice_group_idc");
    return 0;
}
