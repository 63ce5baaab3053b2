/* Opening and releasing the decoders' queues. */
#include "driver/driver_test.h"
#include "orka_idecode.h"

#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <tuple>

using namespace orka_test;
using testing::HasSubstr;

namespace {

constexpr uint32_t queue_request = 0xC0486414;
constexpr uint32_t physical = 0x01000000;
constexpr uint32_t length = 0x3000;

void answer_queue(Kernel &kernel, const char *node, uint32_t at = physical, uint32_t bytes = length)
{
    kernel.on(node, queue_request, 72, [=](void *record) {
        set_word(record, 60, bytes);
        set_word(record, 64, at);
        return 0;
    });
}

/* One way to open a queue. */
struct Opening {
    const char *name;
    const char *function; /* that reports */
    const Device &device;
    orka_idecode_queue_t *(*call)();
    int32_t channel;
    int32_t stream;
    uint32_t queueid;
    uint32_t magic;
    const char *no_node;
    const char *refused;
    const char *not_mapped;

    friend void PrintTo(const Opening &opening, std::ostream *stream) { *stream << opening.name; }
};

const Opening openings[] = {
    {"audio", "orka_idecode_get_audio_queueid", audio_decoder, [] { return orka_idecode_get_audio_queue(0); },
     0, 0, 3, 0x49445141, "ORKA_IDECODE: Obtaining IDecode FD.", "ORKA_IDECODE: Audio Decode Queue Addr.",
     "ORKA_IDECODE: Error Mapping Audio Queue."},
    {"audio_with_id", "orka_idecode_get_audio_queueid", audio_decoder,
     [] { return orka_idecode_get_audio_queueid(0, 0x80000007); }, 0, 0, 0x80000007, 0x49445141,
     "ORKA_IDECODE: Obtaining IDecode FD.", "ORKA_IDECODE: Audio Decode Queue Addr.",
     "ORKA_IDECODE: Error Mapping Audio Queue."},
    {"video", "orka_idecode_get_video_queueid", video_decoder,
     [] { return orka_idecode_get_video_queue(2, 1); }, 2, 1, 8, 0x49445156,
     "ORKA_IDECODE: Obtaining Video Decode FD.",
     "ORKA_IDECODE: Video Decode Queue Addr - Stream 1 of Channel 2.",
     "ORKA_IDECODE: Error Mapping Video Queue."},
    {"video_with_id", "orka_idecode_get_video_queueid", video_decoder,
     [] { return orka_idecode_get_video_queueid(3, 0, 5); }, 3, 0, 5, 0x49445156,
     "ORKA_IDECODE: Obtaining Video Decode FD.",
     "ORKA_IDECODE: Video Decode Queue Addr - Stream 0 of Channel 3.",
     "ORKA_IDECODE: Error Mapping Video Queue."},
    {"subtitle", "orka_idecode_get_subtitle_queueid", subtitle_decoder,
     [] { return orka_idecode_get_subtitle_queue(0); }, 0, 0, 3, 0x49445153,
     "ORKA_IDECODE: Obtaining SubTitleDec FD.", "ORKA_IDECODE: Subtitle Decode Queue Addr.",
     "ORKA_IDECODE: Error Mapping Subtitle Queue."},
    {"subtitle_with_id", "orka_idecode_get_subtitle_queueid", subtitle_decoder,
     [] { return orka_idecode_get_subtitle_queueid(0, 9); }, 0, 0, 9, 0x49445153,
     "ORKA_IDECODE: Obtaining SubTitleDec FD.", "ORKA_IDECODE: Subtitle Decode Queue Addr.",
     "ORKA_IDECODE: Error Mapping Subtitle Queue."},
};

class DecoderOpenQueue : public DriverTest, public testing::WithParamInterface<Opening> {
  protected:
    void SetUp() override
    {
        kernel.node(GetParam().device.node);
        kernel.node("/dev/mem");
        answer_queue(kernel, GetParam().device.node);
    }

    void expect_failure(const std::string &lines)
    {
        kernel.watch_block(32);
        EXPECT_EQ(GetParam().call(), nullptr);
        EXPECT_EQ(log.take_error(), lines);
    }

    void expect_zeroed_and_freed() { EXPECT_EQ(kernel.freed_bytes(), zeros(32)); }
};

TEST_P(DecoderOpenQueue, AsksTheDriverWhereItLies)
{
    orka_idecode_queue_t *queue = GetParam().call();
    EXPECT_EQ(only_request().request, queue_request);
    EXPECT_EQ(only_request().sent(),
              words({GetParam().channel, GetParam().stream, GetParam().queueid}) + zeros(60));
    orka_idecode_release_queue(queue);
}

TEST_P(DecoderOpenQueue, FillsTheHandle)
{
    orka_idecode_queue_t *queue = GetParam().call();
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queue->magic, GetParam().magic);
    EXPECT_EQ(queue->version, 1u);
    EXPECT_EQ(queue->channel, GetParam().channel);
    EXPECT_EQ(queue->stream, GetParam().stream);
    EXPECT_EQ(queue->queueid, GetParam().queueid);
    EXPECT_EQ(queue->length, length);
    EXPECT_EQ(queue->pbase, physical);
    orka_idecode_release_queue(queue);
}

TEST_P(DecoderOpenQueue, MapsItsMemoryOnceForReadAndWrite)
{
    orka_idecode_queue_t *queue = GetParam().call();
    std::vector<Call> calls = kernel.calls(Fn::mmap);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].length, length);
    EXPECT_EQ(calls[0].offset, physical);
    EXPECT_EQ(calls[0].prot, PROT_READ | PROT_WRITE);
    EXPECT_TRUE(calls[0].flags & MAP_SHARED);
    EXPECT_EQ(calls[0].address, queue->vbase);
    orka_idecode_release_queue(queue);
}

TEST_P(DecoderOpenQueue, ShowsThePhysicalMemory)
{
    orka_idecode_queue_t *queue = GetParam().call();
    char *at = reinterpret_cast<char *>(static_cast<uintptr_t>(queue->vbase)) + 0x123;
    kernel.poke(physical + 0x123, "seen");
    EXPECT_STREQ(at, "seen");
    memcpy(at, "sent", 4);
    EXPECT_EQ(kernel.peek(physical + 0x123, 4), "sent");
    orka_idecode_release_queue(queue);
}

TEST_P(DecoderOpenQueue, FailsWithoutTheDriversNode)
{
    for (const std::string &name : GetParam().device.names())
        kernel.missing(name.c_str(), ENXIO);
    expect_failure(GetParam().device.missing_line(ENXIO) +
                   error_line(GetParam().function, GetParam().no_node));
}

TEST_P(DecoderOpenQueue, FailsWithoutMemoryForTheHandle)
{
    const std::string line =
        error_line(GetParam().function, "ORKA_IDECODE: Unable to Allocate Memory for Queue Handle.", ENOMEM);
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    expect_failure(line);
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
}

TEST_P(DecoderOpenQueue, FailsWhenTheDriverRefuses)
{
    kernel.refuse(GetParam().device.node, queue_request, 72, EINVAL);
    expect_failure(error_line(GetParam().function, GetParam().refused, EINVAL));
    expect_zeroed_and_freed();
}

TEST_P(DecoderOpenQueue, FailsWhenTheDriverAnswersAnythingButZero)
{
    kernel.refuse(GetParam().device.node, queue_request, 72, EAGAIN, 2);
    expect_failure(error_line(GetParam().function, GetParam().refused, EAGAIN));
    expect_zeroed_and_freed();
}

TEST_P(DecoderOpenQueue, FailsWithoutThePhysicalMemorysNode)
{
    kernel.missing("/dev/mem", EPERM);
    expect_failure(memory.missing_line(EPERM) +
                   error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.") +
                   error_line(GetParam().function, GetParam().not_mapped));
    expect_zeroed_and_freed();
}

TEST_P(DecoderOpenQueue, EndsTheProcessWhenTheMappingFails)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().device.node);
        kernel.node("/dev/mem");
        answer_queue(kernel, GetParam().device.node);
        kernel.fail(Fn::mmap, {.error = ENOMEM});
        GetParam().call();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENOMEM) +
                                fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
    EXPECT_EQ(ending.output, "");
}

TEST_P(DecoderOpenQueue, AbortsOnAQueueAtAddressZero)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().device.node);
        kernel.node("/dev/mem");
        answer_queue(kernel, GetParam().device.node, 0);
        GetParam().call();
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_mmap_actual", "paddr != 0"),
              "");
}

TEST_P(DecoderOpenQueue, IsMappedFromThePageThatItsAddressLiesIn)
{
    answer_queue(kernel, GetParam().device.node, physical + 0x234, 0x100);
    orka_idecode_queue_t *queue = GetParam().call();
    Call call = kernel.calls(Fn::mmap).at(0);
    EXPECT_EQ(call.offset, physical);
    EXPECT_EQ(call.length, 0x334u);
    EXPECT_EQ(queue->vbase, call.address + 0x234);
    EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(kernel.calls(Fn::munmap).at(0).length, 0x334u);
}

INSTANTIATE_TEST_SUITE_P(Ways, DecoderOpenQueue, testing::ValuesIn(openings),
                         [](const testing::TestParamInfo<Opening> &info) {
                             return std::string(info.param.name);
                         });

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
    orka_idecode_queue_t *open()
    {
        kernel.node("/dev/vdecode");
        kernel.node("/dev/mem");
        answer_queue(kernel, "/dev/vdecode");
        kernel.watch_block(32);
        return orka_idecode_get_video_queue(0, 0);
    }

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

    void expect_not_released(orka_idecode_queue_t *queue)
    {
        EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_idecode_release_queue", "ORKA_IDECODE: Invalid Queue Handle."));
        EXPECT_TRUE(kernel.calls(Fn::munmap).empty());
        EXPECT_FALSE(kernel.was_freed());
    }
};

TEST_F(DecoderQueue, IsUnmappedZeroedAndFreedWhenReleased)
{
    orka_idecode_queue_t *queue = open();
    uint32_t vbase = queue->vbase;
    EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_SUCCESS);
    Call call = kernel.calls(Fn::munmap).at(0);
    EXPECT_EQ(call.address, vbase);
    EXPECT_EQ(call.length, length);
    EXPECT_EQ(kernel.freed_bytes(), zeros(32));
}

TEST_F(DecoderQueue, IsFreedAllTheSameWhenUnmappingFails)
{
    orka_idecode_queue_t *queue = open();
    kernel.fail(Fn::munmap, {.error = EINVAL});
    EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(),
              error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL) +
                  error_line("orka_idecode_release_queue", "ORKA_IDECODE: Unmapping Queue Address."));
    EXPECT_EQ(kernel.freed_bytes(), zeros(32));
    harness.allow_leaked_mappings(1);
}

TEST_F(DecoderQueue, ThatIsNullIsNotReleased)
{
    EXPECT_EQ(orka_idecode_release_queue(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(),
              error_line("orka_idecode_release_queue", "ORKA_IDECODE: NULL Pointer Deref."));
}

TEST_F(DecoderQueue, WithAnOverwrittenMagicStaysMapped)
{
    orka_idecode_queue_t *queue = open();
    queue->magic = 0x49445158;
    expect_not_released(queue);
    queue->magic = 0x49445156;
    EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_SUCCESS);
}

TEST_F(DecoderQueue, WithAnotherVersionStaysMapped)
{
    orka_idecode_queue_t *queue = open();
    queue->version = 2;
    expect_not_released(queue);
    queue->version = 1;
    EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_SUCCESS);
}

TEST_F(DecoderQueue, OfSubtitlesIsReleasedLikeTheOthers)
{
    orka_idecode_queue_t *queue = open();
    queue->magic = 0x49445153;
    EXPECT_EQ(orka_idecode_release_queue(queue), ORKA_STATUS_SUCCESS);
    EXPECT_TRUE(kernel.was_freed());
}

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
