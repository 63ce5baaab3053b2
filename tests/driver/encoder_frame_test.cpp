/* Frames of the encoders' queues: sound that was got last, pictures and motion vectors. */
#include "driver/driver_test.h"
#include "orka_iencode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

using namespace orka_test;

namespace {

constexpr uint32_t pbase = 0x01000000;
constexpr uint32_t vbase = 0x40000000;
constexpr uint32_t length = 0x1000;

using Frame = orka_iencode_frame_t;
using Queue = orka_iencode_queue_t;

/* A kind of queue, with the node that serves it. */
struct Kind {
    const char *name;
    uint32_t magic;
    const Device &device;
    int32_t channel;
    uint32_t queueid;
};

constexpr Kind audio = {"audio", 0x49514541, audio_encoder, 0, 3};
constexpr Kind video = {"video", 0x49515556, video_encoder3, 3, 0};
constexpr Kind motion_vectors = {"motion_vectors", 0x4951554D, mv_encoder3, 3, 0};

Queue queue_of(const Kind &kind)
{
    return {.magic = kind.magic,
            .version = 1,
            .channel = kind.channel,
            .reserved = 0,
            .queueid = kind.queueid,
            .length = length,
            .pbase = pbase,
            .vbase = vbase,
            .lastframe = {}};
}

constexpr const char *new_frame = "orka_iencode_new_frame";
constexpr const char *get_frame = "orka_iencode_get_frame";
constexpr const char *commit_frame = "orka_iencode_commit_frame";
constexpr const char *release_frame = "orka_iencode_release_frame";

/* Sound */

class EncoderAudioFrame : public DriverTest {
  protected:
    Queue queue = queue_of(audio);
    Frame frame = frame_at<Frame>(7);
};

TEST_F(EncoderAudioFrame, ThatWasGotLastIsReleasedWithoutBeingNamed)
{
    kernel.node("/dev/aencode");
    kernel.accept("/dev/aencode", 0xC0406518, 64);
    queue.lastframe = frame_at<Frame>(vbase + 0x200);
    EXPECT_EQ(orka_iencode_release_audio_frame(&queue), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().sent(), words({0, 0, 3}) + bytes_of(frame_at<Frame>(pbase + 0x200)));
}

TEST_F(EncoderAudioFrame, ThatTheDriverDoesNotTakeBackIsAnInputOutputFailure)
{
    kernel.node("/dev/aencode");
    kernel.refuse("/dev/aencode", 0xC0406518, 64, EINVAL);
    queue.lastframe = frame_at<Frame>(vbase + 0x200);
    EXPECT_EQ(orka_iencode_release_audio_frame(&queue), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), error_line(release_frame, "ORKA_IENCODE: Committing Audio Frame.", EINVAL));
}

TEST_F(EncoderAudioFrame, OfANullQueueIsNotReleased)
{
    EXPECT_EQ(orka_iencode_release_audio_frame(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(),
              error_line("orka_iencode_release_audio_frame", "ORKA_IENCODE: NULL Pointer Deref."));
}

TEST_F(EncoderAudioFrame, IsForOpenAudioQueuesAlone)
{
    Queue closed = queue;
    closed.version = 2;
    for (Queue other : {queue_of(video), queue_of(motion_vectors), closed}) {
        EXPECT_EQ(orka_iencode_get_audio_frame(&frame, &other, 0), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(orka_iencode_release_audio_frame(&other), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_iencode_get_audio_frame", "ORKA_IENCODE: Invalid Queue Handle.") +
                      error_line("orka_iencode_release_audio_frame", "ORKA_IENCODE: Invalid Queue Handle."));
        EXPECT_TRUE(kernel.calls({Fn::open, Fn::ioctl}).empty());
    }
}

TEST_F(EncoderAudioFrame, OfAQueueOfMotionVectorsHasNoDriver)
{
    queue = queue_of(motion_vectors);
    auto expect_no_driver = [this](const char *function, orka_status_t status) {
        EXPECT_EQ(status, ORKA_STATUS_IO);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_iencode_get_queue_fd", "ORKA_IENCODE: Invalid Queue Type.") +
                      error_line(function, "ORKA_IENCODE: Obtaining Encode FD."));
    };
    expect_no_driver(new_frame, orka_iencode_new_frame(&frame, &queue, 0));
    expect_no_driver(get_frame, orka_iencode_get_frame(&frame, &queue, 0));
    expect_no_driver(commit_frame, orka_iencode_commit_frame(&frame, &queue));
    expect_no_driver(release_frame, orka_iencode_release_frame(&frame, &queue));
    EXPECT_TRUE(kernel.calls({Fn::open, Fn::ioctl}).empty());
}

/* Pictures and motion vectors */

struct Stream {
    const char *function;
    Kind kind;
    orka_status_t (*get)(Frame *, const Queue *, int32_t);
    uint32_t get_request;
    const char *releaser;
    orka_status_t (*release)(const Queue *);
    uint32_t release_request;

    friend void PrintTo(const Stream &row, std::ostream *stream) { *stream << row.function; }
};

const Stream streams[] = {
    {"orka_iencode_get_video_frame", video, orka_iencode_get_video_frame, 0x40346A08,
     "orka_iencode_release_video_frame", orka_iencode_release_video_frame, 0x6A09},
    {"orka_iencode_get_video_mv_frame", motion_vectors, orka_iencode_get_video_mv_frame, 0x40346A0B,
     "orka_iencode_release_video_mv_frame", orka_iencode_release_video_mv_frame, 0x6A0C},
};

class EncoderVideoFrame : public DriverTest, public testing::WithParamInterface<Stream> {
  protected:
    /* The node's descriptor is always ready, unless polling is scripted. */
    void SetUp() override { kernel.node(GetParam().kind.device.node); }

    const char *node() const { return GetParam().kind.device.node; }

    void deliver(uint32_t addr, uint32_t size)
    {
        kernel.on(node(), GetParam().get_request, 52, [=](void *record) {
            Frame delivered = frame_at<Frame>(addr);
            delivered.size = size;
            memcpy(record, &delivered, sizeof delivered);
            return 0;
        });
    }

    orka_status_t get(int32_t timeout = 40) { return GetParam().get(&frame, &queue, timeout); }

    void expect_delivered(uint32_t addr, uint32_t size, const std::string &warning)
    {
        deliver(addr, size);
        EXPECT_EQ(get(), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(log.take_output(), warning);
        Frame expected = frame_at<Frame>(addr - pbase + vbase);
        expected.size = size;
        EXPECT_EQ(bytes_of(frame), bytes_of(expected));
    }

    std::string out_of_range()
    {
        return warning_line(GetParam().function, "ORKA_IENCODE: Frame Data out of Range.");
    }

    std::string get_line(const char *message) { return error_line(GetParam().function, message); }
    std::string release_line(const char *message) { return error_line(GetParam().releaser, message); }

    Queue queue = queue_of(GetParam().kind);
    Frame frame = frame_at<Frame>(7);
};

TEST_P(EncoderVideoFrame, IsAskedForWithAZeroedRecordOfTheCallers)
{
    deliver(pbase, 1);
    EXPECT_EQ(get(), ORKA_STATUS_SUCCESS);
    Call call = only_request();
    EXPECT_STREQ(call.path, node());
    EXPECT_EQ(call.request, GetParam().get_request);
    EXPECT_EQ(call.argument, &frame);
    EXPECT_EQ(call.sent(), zeros(52));
}

TEST_P(EncoderVideoFrame, IsWaitedForInMillisecondsUntilThereIsInput)
{
    deliver(pbase, 1);
    EXPECT_EQ(get(1234), ORKA_STATUS_SUCCESS);
    std::vector<Call> calls = kernel.calls({Fn::poll, Fn::ioctl});
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].fn, Fn::poll);
    EXPECT_EQ(calls[0].flags, POLLIN);
    EXPECT_EQ(calls[0].offset, 1234);
    EXPECT_EQ(calls[0].fd, calls[1].fd);
}

TEST_P(EncoderVideoFrame, ArrivesWithItsVirtualAddress)
{
    expect_delivered(pbase, length, "");
    expect_delivered(pbase + length, 0, "");
    expect_delivered(pbase + 0x100, 0x20, "");
}

TEST_P(EncoderVideoFrame, OutsideTheQueueIsAWarningAndArrives)
{
    expect_delivered(pbase - 1, 1, out_of_range());
    expect_delivered(pbase + 1, length, out_of_range());
    expect_delivered(pbase + 0x100, 0xFFFFFFFF, out_of_range());
}

TEST_P(EncoderVideoFrame, TimesOutSilentlyWithoutARequest)
{
    kernel.fail(Fn::poll, {.error = 0, .result = 0});
    EXPECT_EQ(get(0), ORKA_STATUS_TIMEOUT);
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
    EXPECT_EQ(bytes_of(frame), bytes_of(frame_at<Frame>(7)));
}

TEST_P(EncoderVideoFrame, IsNotAskedForAfterASignal)
{
    kernel.fail(Fn::poll, {.error = EINTR});
    EXPECT_EQ(get(), ORKA_STATUS_INTR);
    EXPECT_EQ(log.take_error(), get_line("ORKA_IENCODE: Polling Video Encode FD."));
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
}

TEST_P(EncoderVideoFrame, IsNotAskedForWhenPollingFails)
{
    kernel.fail(Fn::poll, {.error = ENOMEM});
    EXPECT_EQ(get(), ORKA_STATUS_ERROR);
    const std::string lines = log.take_error();
    EXPECT_THAT(lines, testing::StartsWith("ERROR:orka_file_poll_fd():[#] ORKA_FILE: Polling Descriptor"));
    EXPECT_THAT(lines, testing::EndsWith(get_line("ORKA_IENCODE: Polling Video Encode FD.")));
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
}

TEST_P(EncoderVideoFrame, IsAnInputOutputFailureWhenRefused)
{
    kernel.refuse(node(), GetParam().get_request, 52, EPERM);
    EXPECT_EQ(get(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              error_line(GetParam().function, "ORKA_IENCODE: Aquiring Video Frame.", EPERM));
    EXPECT_EQ(bytes_of(frame), zeros(52));
}

TEST_P(EncoderVideoFrame, TakesAPositiveResultForSuccess)
{
    kernel.on(node(), GetParam().get_request, 52, [](void *record) {
        set_word(record, 12, pbase);
        return 3;
    });
    EXPECT_EQ(get(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(frame.addr, vbase);
}

TEST_P(EncoderVideoFrame, AbortsWithoutAddress)
{
    Ending ending = end_of([this](Kernel &) {
        SetUp();
        queue.pbase = 0;
        deliver(0, 0);
        get();
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_p2v", "paddr != ((void *)0)"), "");
}

TEST_P(EncoderVideoFrame, IsReleasedWithoutBeingNamed)
{
    kernel.accept(node(), GetParam().release_request, no_record);
    EXPECT_EQ(GetParam().release(&queue), ORKA_STATUS_SUCCESS);
    Call call = only_request();
    EXPECT_STREQ(call.path, node());
    EXPECT_EQ(call.request, GetParam().release_request);
    EXPECT_EQ(call.argument, nullptr);
}

TEST_P(EncoderVideoFrame, ReleasedTakesAPositiveResultForSuccess)
{
    kernel.refuse(node(), GetParam().release_request, no_record, EIO, 1);
    EXPECT_EQ(GetParam().release(&queue), ORKA_STATUS_SUCCESS);
}

TEST_P(EncoderVideoFrame, IsNotReleasedWhenTheDriverRefuses)
{
    kernel.refuse(node(), GetParam().release_request, no_record, EINVAL);
    EXPECT_EQ(GetParam().release(&queue), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              error_line(GetParam().releaser, "ORKA_IENCODE: Releasing Video Frame.", EINVAL));
}

INSTANTIATE_TEST_SUITE_P(Calls, EncoderVideoFrame, testing::ValuesIn(streams),
                         [](const testing::TestParamInfo<Stream> &info) {
                             return std::string(info.param.kind.name);
                         });

/* What is refused before there is anything to wait for. */
class EncoderVideoQueue : public EncoderVideoFrame {
  protected:
    void SetUp() override {}
};

TEST_P(EncoderVideoQueue, WithoutItsNodeIsAnInputOutputFailure)
{
    const std::string missing = GetParam().kind.device.missing_line(ENOENT);
    EXPECT_EQ(get(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), missing + get_line("ORKA_IENCODE: Obtaining Video Encode FD."));
    EXPECT_EQ(GetParam().release(&queue), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), missing + release_line("ORKA_IENCODE: Obtaining Video Encode FD."));
}

TEST_P(EncoderVideoQueue, OfAChannelThatIsNoneHasNoNode)
{
    queue.channel = 4;
    EXPECT_EQ(get(), ORKA_STATUS_IO);
    EXPECT_EQ(GetParam().release(&queue), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), get_line("ORKA_IENCODE: Obtaining Video Encode FD.") +
                                    release_line("ORKA_IENCODE: Obtaining Video Encode FD."));
}

TEST_P(EncoderVideoQueue, ThatIsNullIsANullPointerToGetAndAnInvalidHandleToRelease)
{
    EXPECT_EQ(GetParam().get(&frame, nullptr, 0), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(GetParam().get(nullptr, &queue, 0), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(GetParam().release(nullptr), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(), get_line("ORKA_IENCODE: NULL Pointer Deref.") +
                                    get_line("ORKA_IENCODE: NULL Pointer Deref.") +
                                    release_line("ORKA_IENCODE: Invalid Queue Handle."));
}

TEST_P(EncoderVideoQueue, OfAnotherKindOrVersionIsRefused)
{
    Queue closed = queue;
    closed.version = 0;
    const Kind &other_kind = GetParam().kind.magic == video.magic ? motion_vectors : video;
    for (Queue other : {queue_of(audio), queue_of(other_kind), closed}) {
        EXPECT_EQ(GetParam().get(&frame, &other, 0), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(GetParam().release(&other), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(), get_line("ORKA_IENCODE: Invalid Queue Handle.") +
                                        release_line("ORKA_IENCODE: Invalid Queue Handle."));
        EXPECT_TRUE(kernel.calls({Fn::open, Fn::poll, Fn::ioctl}).empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, EncoderVideoQueue, testing::ValuesIn(streams),
                         [](const testing::TestParamInfo<Stream> &info) {
                             return std::string(info.param.kind.name);
                         });

TEST(EncoderScan, HasANameForEachNumber)
{
    EXPECT_STREQ(orka_iencode_frame_type_string(0), "PROGRESSIVE");
    EXPECT_STREQ(orka_iencode_frame_type_string(1), "PROGRESSIVE LINE DOUBLE");
    EXPECT_STREQ(orka_iencode_frame_type_string(2), "INTERLACED");
    for (int32_t scan : {3, -1, INT32_MIN, INT32_MAX})
        EXPECT_STREQ(orka_iencode_frame_type_string(scan), "UNKNOWN");
}

} // namespace
