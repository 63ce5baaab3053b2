/* The decoders' queues: their one channel, and the descriptors of their drivers. */
#include "driver/driver_test.h"
#include "orka_idecode.h"

#include <gtest/gtest.h>
#include <tuple>

using namespace orka_test;

namespace {

/* Where a decoder has one channel: its two calls, and the line that refuses the others. */
struct OnlyChannel {
    const Device &device;
    orka_idecode_queue_t *(*queue)(int32_t channel);
    orka_idecode_queue_t *(*queueid)(int32_t channel, uint32_t queueid);
    std::string refused;

    friend void PrintTo(const OnlyChannel &row, std::ostream *stream) { *stream << row.device.node; }
};

constexpr const char *only_channel_zero = "ORKA_IDECODE: Only Decode Channel 0 Supported at This Time.";

const OnlyChannel only_channels[] = {
    {audio_decoder, orka_idecode_get_audio_queue, orka_idecode_get_audio_queueid,
     error_line("orka_idecode_get_audio_queueid", only_channel_zero)},
    {subtitle_decoder, orka_idecode_get_subtitle_queue, orka_idecode_get_subtitle_queueid,
     error_line("orka_idecode_get_subtitle_queueid", only_channel_zero)},
};

class DecoderChannel : public DriverTest,
                       public testing::WithParamInterface<std::tuple<OnlyChannel, int32_t>> {
  protected:
    const OnlyChannel &row() const { return std::get<0>(GetParam()); }
    int32_t channel() const { return std::get<1>(GetParam()); }
};

TEST_P(DecoderChannel, OtherThanZeroIsRefused)
{
    kernel.node(row().device.node);
    kernel.watch_block(32);
    EXPECT_EQ(row().queue(channel()), nullptr);
    EXPECT_EQ(log.take_error(), row().refused);
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
    EXPECT_FALSE(kernel.was_freed());
}

TEST_P(DecoderChannel, IsLookedAtAfterTheNodeWasOpenedAndBeforeItsFailure)
{
    EXPECT_EQ(row().queueid(channel(), 3), nullptr);
    EXPECT_EQ(log.take_error(), row().device.missing_line(ENOENT) + row().refused);
}

INSTANTIATE_TEST_SUITE_P(Channels, DecoderChannel,
                         testing::Combine(testing::ValuesIn(only_channels), testing::Values(1, -1, 2)));

class DecoderQueue : public DriverTest {
  protected:
    /* A handle of the test's own, of this kind. */
    static orka_idecode_queue_t made(uint32_t magic, uint32_t version = 1)
    {
        return {.magic = magic,
                .version = version,
                .channel = 0,
                .stream = 0,
                .queueid = 3,
                .length = 0x1000,
                .pbase = 0x01000000,
                .vbase = 0x40000000};
    }
};

TEST_F(DecoderQueue, HasTheDescriptorOfItsKind)
{
    struct {
        uint32_t magic;
        const char *node;
        int32_t (*accessor)();
    } const kinds[] = {{0x49445141, "/dev/adecode", orka_idevice_iadecode_fd},
                       {0x49445156, "/dev/vdecode", orka_idevice_ivdecode_fd},
                       {0x49445153, "/dev/subtldecode", orka_idevice_subtitle_fd}};

    for (auto [magic, node, accessor] : kinds) {
        kernel.node(node);
        orka_idecode_queue_t queue = made(magic);
        int32_t fd = orka_idecode_get_queue_fd(&queue);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(fd, accessor());
        EXPECT_EQ(kernel.paths(Fn::open).back(), node);
    }
}

TEST_F(DecoderQueue, WithoutItsNodeHasNoDescriptor)
{
    orka_idecode_queue_t queue = made(0x49445153);
    EXPECT_EQ(orka_idecode_get_queue_fd(&queue), -1);
    EXPECT_EQ(log.take_error(), subtitle_decoder.missing_line(ENOENT));
}

TEST_F(DecoderQueue, OfAnotherVersionHasNoDescriptor)
{
    for (uint32_t version : {0u, 2u}) {
        orka_idecode_queue_t queue = made(0x49445141, version);
        EXPECT_EQ(orka_idecode_get_queue_fd(&queue), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_idecode_get_queue_fd", "ORKA_IDECODE: Invalid Queue Handle."));
    }
}

TEST_F(DecoderQueue, OfAnotherKindHasNoDescriptor)
{
    orka_idecode_queue_t queue = made(0x41514449);
    EXPECT_EQ(orka_idecode_get_queue_fd(&queue), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(), error_line("orka_idecode_get_queue_fd", "ORKA_IDECODE: Invalid Queue Type."));
}

} // namespace
