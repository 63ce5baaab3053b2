/* The encoders' queues: the channels that they have. */
#include "driver/driver_test.h"
#include "orka_iencode.h"

#include <gtest/gtest.h>

using namespace orka_test;

namespace {

constexpr const char *no_node = "ORKA_IENCODE: Obtaining IEncode FD.";

class EncoderQueue : public DriverTest {};

TEST_F(EncoderQueue, OfAudioIsRefusedOnAChannelButZeroBeforeTheNodeIsTried)
{
    for (int32_t channel : {1, -1, 3}) {
        EXPECT_EQ(orka_iencode_get_audio_queue(channel), nullptr);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_iencode_get_audio_queueid",
                             "ORKA_IENCODE: Only Encode Channel 0 Supported at This Time."));
        EXPECT_TRUE(kernel.calls({Fn::open, Fn::ioctl}).empty());
    }
}

TEST_F(EncoderQueue, OfAVideoChannelThatIsNoneIsRefused)
{
    for (int32_t channel : {-1, 4}) {
        EXPECT_EQ(orka_iencode_get_video_queue(channel), nullptr);
        EXPECT_EQ(log.take_error(), error_line("orka_iencode_get_video_queue", no_node));
        EXPECT_EQ(orka_iencode_get_video_mv_queue(channel), nullptr);
        EXPECT_EQ(log.take_error(), error_line("orka_iencode_get_video_mv_queue", no_node));
    }
}

} // namespace
