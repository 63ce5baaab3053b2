/* VOL headers. The first byte chooses which end of the frame is guarded. */
#include <algorithm>

#include "fuzz/fuzz.h"
#include "orka_video_utils.h"
#include "support/frame_models.h"
#include "support/guarded_pages.h"

using namespace orka_test;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static GuardedPages pages(longest_input);
    static constexpr uint32_t untouched = 4711;

    if (size == 0)
        return 0;
    const FrameBytes input(data + 1, std::min(size - 1, longest_input));
    const uint8_t *bytes = (data[0] & 1) != 0 ? pages.copy_to_begin(input) : pages.copy_to_end(input);
    const orka_iencode_frame_t frame = {.addr = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(bytes)),
                                        .size = static_cast<uint32_t>(input.size())};
    uint32_t length = untouched;
    const uint8_t *header = orka_video_utils_find_vol_header(&frame, &length);

    if (input.size() < 12) {
        require(header == nullptr && length == untouched, "a frame that is too short");
        return 0;
    }
    const VolHeader expected = vol_header(input);
    require(length == expected.length, "length");
    require(header == (expected.length != 0 ? bytes + expected.position : nullptr), "position");
    return 0;
}
