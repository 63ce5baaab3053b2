/* Opening and releasing the encoders' queues. */
#include "driver/driver_test.h"
#include "orka_iencode.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

using namespace orka_test;

namespace {

constexpr uint32_t physical = 0x01000000;
constexpr uint32_t length = 0x3000;
constexpr size_t handle_size = 84;

/* One way to open a queue. */
struct Opening {
    const char *name;
    const char *function; /* that reports */
    const Device &device;
    uint32_t request;
    orka_iencode_queue_t *(*call)();
    int32_t channel;
    uint32_t queueid;
    uint32_t magic;
    Bytes sent;
    size_t length_offset; /* in the record; the physical base follows */
    const char *refused;
    const char *not_mapped;

    friend void PrintTo(const Opening &opening, std::ostream *stream) { *stream << opening.name; }
};

constexpr const char *no_node = "ORKA_IENCODE: Obtaining IEncode FD.";
constexpr const char *audio_refused = "ORKA_IENCODE: Audio Encode Queue Addr.";
constexpr const char *video_refused = "ORKA_IENCODE: Video Encode Queue Addr.";
constexpr const char *audio_not_mapped = "ORKA_IENCODE: Error Mapping Audio Queue.";
constexpr const char *video_not_mapped = "ORKA_IENCODE: Error Mapping Video Queue.";

const Opening openings[] = {
    {"audio", "orka_iencode_get_audio_queueid", audio_encoder, 0x40486514,
     [] { return orka_iencode_get_audio_queue(0); }, 0, 3, 0x49514541, words({0, 0, 3}) + zeros(60), 60,
     audio_refused, audio_not_mapped},
    {"audio_with_id", "orka_iencode_get_audio_queueid", audio_encoder, 0x40486514,
     [] { return orka_iencode_get_audio_queueid(0, 0x80000007); }, 0, 0x80000007, 0x49514541,
     words({0, 0, 0x80000007}) + zeros(60), 60, audio_refused, audio_not_mapped},
    {"video", "orka_iencode_get_video_queue", video_encoder3, 0x403C6A07,
     [] { return orka_iencode_get_video_queue(3); }, 3, 0, 0x49515556, zeros(60), 48, video_refused,
     video_not_mapped},
    {"motion_vectors", "orka_iencode_get_video_mv_queue", mv_encoder3, 0x403C6A0A,
     [] { return orka_iencode_get_video_mv_queue(3); }, 3, 0, 0x4951554D, zeros(60), 48, video_refused,
     video_not_mapped},
};

void answer_queue(Kernel &kernel, const Opening &opening, uint32_t at = physical, uint32_t bytes = length)
{
    const size_t offset = opening.length_offset;
    kernel.on(opening.device.node, opening.request, opening.sent.size(), [=](void *record) {
        set_word(record, offset, bytes);
        set_word(record, offset + 4, at);
        return 0;
    });
}

class EncoderOpenQueue : public DriverTest, public testing::WithParamInterface<Opening> {
  protected:
    void SetUp() override
    {
        kernel.node(GetParam().device.node);
        kernel.node("/dev/mem");
        answer_queue(kernel, GetParam());
    }

    void expect_failure(const std::string &lines)
    {
        kernel.watch_block(handle_size);
        EXPECT_EQ(GetParam().call(), nullptr);
        EXPECT_EQ(log.take_error(), lines);
    }

    void expect_refused(int error, int result)
    {
        kernel.refuse(GetParam().device.node, GetParam().request, GetParam().sent.size(), error, result);
        expect_failure(error_line(GetParam().function, GetParam().refused, error));
        expect_zeroed_and_freed();
    }

    void expect_zeroed_and_freed() { EXPECT_EQ(kernel.freed_bytes(), zeros(handle_size)); }
};

TEST_P(EncoderOpenQueue, AsksTheDriverWhereItLies)
{
    orka_iencode_queue_t *queue = GetParam().call();
    EXPECT_STREQ(only_request().path, GetParam().device.node);
    EXPECT_EQ(only_request().request, GetParam().request);
    EXPECT_EQ(only_request().sent(), GetParam().sent);
    orka_iencode_release_queue(queue);
}

TEST_P(EncoderOpenQueue, FillsTheHandle)
{
    orka_iencode_queue_t *queue = GetParam().call();
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(bytes_of(*queue), words({GetParam().magic, 1, GetParam().channel, 0, GetParam().queueid, length,
                                       physical, queue->vbase}) +
                                    zeros(52));
    orka_iencode_release_queue(queue);
}

TEST_P(EncoderOpenQueue, MapsItsMemoryOnceForReadAndWrite)
{
    orka_iencode_queue_t *queue = GetParam().call();
    std::vector<Call> calls = kernel.calls(Fn::mmap);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].length, length);
    EXPECT_EQ(calls[0].offset, physical);
    EXPECT_EQ(calls[0].prot, PROT_READ | PROT_WRITE);
    EXPECT_TRUE(calls[0].flags & MAP_SHARED);
    EXPECT_EQ(calls[0].address, queue->vbase);
    orka_iencode_release_queue(queue);
}

TEST_P(EncoderOpenQueue, ShowsThePhysicalMemory)
{
    orka_iencode_queue_t *queue = GetParam().call();
    char *at = reinterpret_cast<char *>(static_cast<uintptr_t>(queue->vbase)) + 0x123;
    kernel.poke(physical + 0x123, "seen");
    EXPECT_STREQ(at, "seen");
    memcpy(at, "sent", 4);
    EXPECT_EQ(kernel.peek(physical + 0x123, 4), "sent");
    orka_iencode_release_queue(queue);
}

TEST_P(EncoderOpenQueue, FailsWithoutTheDriversNode)
{
    for (const std::string &name : GetParam().device.names())
        kernel.missing(name.c_str(), ENXIO);
    expect_failure(GetParam().device.missing_line(ENXIO) + error_line(GetParam().function, no_node));
    EXPECT_FALSE(kernel.was_freed());
}

TEST_P(EncoderOpenQueue, FailsWithoutMemoryForTheHandle)
{
    const std::string line =
        error_line(GetParam().function, "ORKA_IENCODE: Unable to Allocate Memory for Queue Handle.", ENOMEM);
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    expect_failure(line);
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
}

TEST_P(EncoderOpenQueue, FailsWhenTheDriverRefuses)
{
    expect_refused(EINVAL, -1);
}

TEST_P(EncoderOpenQueue, FailsWhenTheDriverAnswersAnythingButZero)
{
    expect_refused(EAGAIN, 2);
}

TEST_P(EncoderOpenQueue, FailsWithoutThePhysicalMemorysNode)
{
    kernel.missing("/dev/mem", EPERM);
    expect_failure(memory.missing_line(EPERM) +
                   error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.") +
                   error_line(GetParam().function, GetParam().not_mapped));
    expect_zeroed_and_freed();
}

TEST_P(EncoderOpenQueue, EndsTheProcessWhenTheMappingFails)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().device.node);
        kernel.node("/dev/mem");
        answer_queue(kernel, GetParam());
        kernel.fail(Fn::mmap, {.error = ENOMEM});
        GetParam().call();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENOMEM) +
                                fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
}

TEST_P(EncoderOpenQueue, AbortsOnAQueueAtAddressZero)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().device.node);
        kernel.node("/dev/mem");
        answer_queue(kernel, GetParam(), 0);
        GetParam().call();
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_mmap_actual", "paddr != 0"),
              "");
}

TEST_P(EncoderOpenQueue, IsMappedFromThePageThatItsAddressLiesIn)
{
    answer_queue(kernel, GetParam(), physical + 0x234, 0x100);
    orka_iencode_queue_t *queue = GetParam().call();
    Call call = kernel.calls(Fn::mmap).at(0);
    EXPECT_EQ(call.offset, physical);
    EXPECT_EQ(call.length, 0x334u);
    EXPECT_EQ(queue->vbase, call.address + 0x234);
    EXPECT_EQ(orka_iencode_release_queue(queue), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(kernel.calls(Fn::munmap).at(0).length, 0x334u);
}

TEST_P(EncoderOpenQueue, IsUnmappedAndFreedAsItIsWhenReleased)
{
    kernel.watch_block(handle_size);
    orka_iencode_queue_t *queue = GetParam().call();
    const Bytes bytes = bytes_of(*queue);
    const uint32_t vbase = queue->vbase;
    EXPECT_EQ(orka_iencode_release_queue(queue), ORKA_STATUS_SUCCESS);
    Call call = kernel.calls(Fn::munmap).at(0);
    EXPECT_EQ(call.address, vbase);
    EXPECT_EQ(call.length, length);
    EXPECT_EQ(kernel.freed_bytes(), bytes);
}

TEST_P(EncoderOpenQueue, IsFreedAllTheSameWhenUnmappingFails)
{
    kernel.watch_block(handle_size);
    orka_iencode_queue_t *queue = GetParam().call();
    kernel.fail(Fn::munmap, {.error = EINVAL});
    EXPECT_EQ(orka_iencode_release_queue(queue), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL) +
                                    error_line("orka_iencode_release_queue",
                                               "ORKA_IENCODE: Referencing Uninitialized Queue Handle."));
    EXPECT_TRUE(kernel.was_freed());
    harness.allow_leaked_mappings(1);
}

TEST_P(EncoderOpenQueue, StaysMappedWithAnotherMagicOrVersion)
{
    const std::string invalid =
        error_line("orka_iencode_release_queue", "ORKA_IENCODE: Invalid Queue Handle.");
    orka_iencode_queue_t *queue = GetParam().call();
    queue->magic ^= 0x20;
    EXPECT_EQ(orka_iencode_release_queue(queue), ORKA_STATUS_INITIALIZATION);
    queue->magic ^= 0x20;
    queue->version = 2;
    EXPECT_EQ(orka_iencode_release_queue(queue), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(), invalid + invalid);
    EXPECT_TRUE(kernel.calls(Fn::munmap).empty());
    queue->version = 1;
    EXPECT_EQ(orka_iencode_release_queue(queue), ORKA_STATUS_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Ways, EncoderOpenQueue, testing::ValuesIn(openings),
                         [](const testing::TestParamInfo<Opening> &info) {
                             return std::string(info.param.name);
                         });

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

TEST_F(EncoderQueue, ThatIsNullIsNotReleased)
{
    EXPECT_EQ(orka_iencode_release_queue(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(),
              error_line("orka_iencode_release_queue", "ORKA_IENCODE: NULL Pointer Deref."));
}

} // namespace
