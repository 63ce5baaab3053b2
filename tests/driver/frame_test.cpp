/* Frames of the decoders' queues, and the display clocks. */
#include "driver/driver_test.h"
#include "orka_idecode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tuple>

using namespace orka_test;

namespace {

constexpr uint32_t pbase = 0x01000000;
constexpr uint32_t vbase = 0x40000000;

/* A kind of queue, with the node that serves it. */
struct Kind {
    const char *name;
    uint32_t magic;
    const Device &device;
};

constexpr Kind audio = {"audio", 0x49445141, audio_decoder};
constexpr Kind video = {"video", 0x49445156, video_decoder};
constexpr Kind subtitle = {"subtitle", 0x49445153, subtitle_decoder};

orka_idecode_queue_t queue_of(const Kind &kind)
{
    return {.magic = kind.magic,
            .version = 1,
            .channel = 2,
            .stream = 1,
            .queueid = 8,
            .length = 0x1000,
            .pbase = pbase,
            .vbase = vbase};
}

using Frame = orka_idecode_frame_t;

using Take = orka_status_t (*)(orka_idecode_frame_t *, const orka_idecode_queue_t *, int32_t);
using Give = orka_status_t (*)(const orka_idecode_frame_t *, const orka_idecode_queue_t *);

struct Taking {
    const char *function;
    Take call;
    uint32_t request;
    Kind kind;
    const char *reporter; /* where failures of the driver are reported */
    const char *refused;
    const char *failed;
    const char *interrupted;

    friend void PrintTo(const Taking &taking, std::ostream *stream) { *stream << taking.function; }
};

constexpr const char *new_frame = "orka_idecode_new_frame";
constexpr const char *aquiring = "ORKA_IDECODE: Aquiring New Frame.";
constexpr const char *new_failed = "ORKA_IDECODE: New Frame.";
constexpr const char *new_interrupted = "ORKA_IDECODE: New Frame Call Interrupted.";
constexpr const char *get_frame = "orka_idecode_get_frame";
constexpr const char *get_failed = "ORKA_IDECODE: Get Frame.";
constexpr const char *get_interrupted = "ORKA_IDECODE: Get Frame Call Interrupted.";

const Taking takings[] = {
    {new_frame, orka_idecode_new_frame, 0xC0486415, audio, new_frame, aquiring, new_failed, new_interrupted},
    {new_frame, orka_idecode_new_frame, 0xC0486415, video, new_frame, aquiring, new_failed, new_interrupted},
    {new_frame, orka_idecode_new_frame, 0xC0486415, subtitle, new_frame, aquiring, new_failed,
     new_interrupted},
    {get_frame, orka_idecode_get_frame, 0xC0486417, audio, get_frame, get_failed, get_failed,
     get_interrupted},
    {get_frame, orka_idecode_get_frame, 0xC0486417, video, get_frame, get_failed, get_failed,
     get_interrupted},
    {get_frame, orka_idecode_get_frame, 0xC0486417, subtitle, get_frame, get_failed, get_failed,
     get_interrupted},
    {"orka_idecode_get_audio_frame", orka_idecode_get_audio_frame, 0xC0486415, audio, new_frame, aquiring,
     new_failed, new_interrupted},
    {"orka_idecode_get_video_frame", orka_idecode_get_video_frame, 0xC0486415, video, new_frame, aquiring,
     new_failed, new_interrupted},
    {"orka_idecode_get_subtitle_frame", orka_idecode_get_subtitle_frame, 0xC0486415, subtitle, new_frame,
     aquiring, new_failed, new_interrupted},
};

class DecoderTakeFrame : public DriverTest, public testing::WithParamInterface<Taking> {
  protected:
    void SetUp() override { kernel.node(GetParam().kind.device.node); }

    void answer(int result, uint32_t status, orka_idecode_frame_t delivered = frame_at<Frame>(pbase + 0x100))
    {
        kernel.on(GetParam().kind.device.node, GetParam().request, 72, [=](void *record) {
            set_word(record, 16, status);
            memcpy(static_cast<char *>(record) + 20, &delivered, sizeof delivered);
            errno = EIO;
            return result;
        });
    }

    orka_status_t take(int32_t timeout = 100) { return GetParam().call(&frame, &queue, timeout); }

    /* No frame comes, and the caller's is left as it was. */
    void expect_none(orka_status_t status, const std::string &lines)
    {
        EXPECT_EQ(take(), status);
        EXPECT_EQ(log.take_error(), lines);
        EXPECT_EQ(bytes_of(frame), bytes_of(frame_at<Frame>(7)));
    }

    std::string reported(const char *message) { return error_line(GetParam().reporter, message); }

    orka_idecode_queue_t queue = queue_of(GetParam().kind);
    orka_idecode_frame_t frame = frame_at<Frame>(7);
};

TEST_P(DecoderTakeFrame, SendsExactlyItsRecord)
{
    answer(0, 0);
    EXPECT_EQ(take(250), ORKA_STATUS_SUCCESS);
    Call call = only_request();
    EXPECT_STREQ(call.path, GetParam().kind.device.node);
    EXPECT_EQ(call.request, GetParam().request);
    EXPECT_EQ(call.sent(), words({2, 1, 8, 250}) + zeros(56));
}

TEST_P(DecoderTakeFrame, SendsATimeoutWithoutLimitUnchanged)
{
    answer(0, 0);
    EXPECT_EQ(take(-1), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().sent(), words({2, 1, 8, -1}) + zeros(56));
}

TEST_P(DecoderTakeFrame, DeliversTheFrameWithItsVirtualAddress)
{
    answer(0, 0);
    EXPECT_EQ(take(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(bytes_of(frame), bytes_of(frame_at<Frame>(vbase + 0x100)));
}

TEST_P(DecoderTakeFrame, TakesAPositiveResultForSuccess)
{
    answer(5, 0);
    EXPECT_EQ(take(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(frame.addr, vbase + 0x100);
}

TEST_P(DecoderTakeFrame, TimesOutSilently)
{
    answer(0, 1);
    expect_none(ORKA_STATUS_TIMEOUT, "");
}

TEST_P(DecoderTakeFrame, EndsWithTheDriversFailure)
{
    answer(0, 0xFFFFFFFF);
    expect_none(ORKA_STATUS_ERROR, reported(GetParam().failed));
}

TEST_P(DecoderTakeFrame, IsInterrupted)
{
    answer(0, 2);
    expect_none(ORKA_STATUS_INTR, reported(GetParam().interrupted));
}

TEST_P(DecoderTakeFrame, EndsWithAStatusThatNobodyKnows)
{
    answer(0, 3);
    expect_none(ORKA_STATUS_ERROR, reported("ORKA_IDECODE: Unknown Decoder Status."));
}

TEST_P(DecoderTakeFrame, IsAnInputOutputFailureWhenRefused)
{
    answer(-1, 0);
    expect_none(ORKA_STATUS_IO, error_line(GetParam().reporter, GetParam().refused, EIO));
}

TEST_P(DecoderTakeFrame, IsAnInputOutputFailureWithoutItsNode)
{
    kernel.missing(GetParam().kind.device.node, ENOENT);
    expect_none(ORKA_STATUS_IO,
                GetParam().kind.device.missing_line(ENOENT) + reported("ORKA_IDECODE: Obtaining Decode FD."));
}

TEST_P(DecoderTakeFrame, RefusesANullFrame)
{
    EXPECT_EQ(GetParam().call(nullptr, &queue, 0), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line(GetParam().function, "ORKA_IDECODE: NULL Pointer Deref."));
}

TEST_P(DecoderTakeFrame, RefusesANullQueue)
{
    EXPECT_EQ(GetParam().call(&frame, nullptr, 0), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line(GetParam().function, "ORKA_IDECODE: NULL Pointer Deref."));
}

TEST_P(DecoderTakeFrame, RefusesAQueueThatIsNotOpen)
{
    queue.version = 0;
    expect_none(ORKA_STATUS_INITIALIZATION,
                error_line(GetParam().function, "ORKA_IDECODE: Invalid Queue Handle."));
}

TEST_P(DecoderTakeFrame, AbortsOnAFrameWithoutAddress)
{
    Ending ending = end_of([this](Kernel &) {
        SetUp();
        answer(0, 0, frame_at<Frame>(0));
        take();
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_p2v", "paddr != ((void *)0)"), "");
}

template <typename Row>
std::string row_name(const testing::TestParamInfo<Row> &info)
{
    return info.param.function + std::string("_of_") + info.param.kind.name;
}

INSTANTIATE_TEST_SUITE_P(Calls, DecoderTakeFrame, testing::ValuesIn(takings), row_name<Taking>);

struct Giving {
    const char *function;
    Give call;
    uint32_t request;
    Kind kind;
    const char *reporter;

    friend void PrintTo(const Giving &giving, std::ostream *stream) { *stream << giving.function; }
};

constexpr const char *commit_frame = "orka_idecode_commit_frame";
constexpr const char *release_frame = "orka_idecode_release_frame";

const Giving givings[] = {
    {commit_frame, orka_idecode_commit_frame, 0xC0406416, audio, commit_frame},
    {commit_frame, orka_idecode_commit_frame, 0xC0406416, video, commit_frame},
    {commit_frame, orka_idecode_commit_frame, 0xC0406416, subtitle, commit_frame},
    {release_frame, orka_idecode_release_frame, 0xC0406418, audio, release_frame},
    {release_frame, orka_idecode_release_frame, 0xC0406418, video, release_frame},
    {release_frame, orka_idecode_release_frame, 0xC0406418, subtitle, release_frame},
    {"orka_idecode_commit_audio_frame", orka_idecode_commit_audio_frame, 0xC0406416, audio, commit_frame},
    {"orka_idecode_commit_video_frame", orka_idecode_commit_video_frame, 0xC0406416, video, commit_frame},
    {"orka_idecode_commit_subtitle_frame", orka_idecode_commit_subtitle_frame, 0xC0406416, subtitle,
     commit_frame},
};

class DecoderGiveFrame : public DriverTest, public testing::WithParamInterface<Giving> {
  protected:
    void SetUp() override { kernel.node(GetParam().kind.device.node); }

    void answer(int result)
    {
        kernel.refuse(GetParam().kind.device.node, GetParam().request, 64, ENOSPC, result);
    }

    orka_status_t give() { return GetParam().call(&frame, &queue); }

    orka_idecode_queue_t queue = queue_of(GetParam().kind);
    orka_idecode_frame_t frame = frame_at<Frame>(vbase + 0x100);
};

TEST_P(DecoderGiveFrame, SendsExactlyItsRecordWithThePhysicalAddress)
{
    answer(0);
    EXPECT_EQ(give(), ORKA_STATUS_SUCCESS);
    Call call = only_request();
    EXPECT_STREQ(call.path, GetParam().kind.device.node);
    EXPECT_EQ(call.request, GetParam().request);
    EXPECT_EQ(call.sent(), words({2, 1, 8}) + bytes_of(frame_at<Frame>(pbase + 0x100)));
}

TEST_P(DecoderGiveFrame, LeavesTheCallersFrameAsItIs)
{
    answer(0);
    EXPECT_EQ(give(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(bytes_of(frame), bytes_of(frame_at<Frame>(vbase + 0x100)));
}

TEST_P(DecoderGiveFrame, TakesAPositiveResultForSuccess)
{
    answer(1);
    EXPECT_EQ(give(), ORKA_STATUS_SUCCESS);
}

TEST_P(DecoderGiveFrame, IsAnInputOutputFailureWhenRefused)
{
    answer(-1);
    EXPECT_EQ(give(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              error_line(GetParam().reporter, "ORKA_IDECODE: Committing Audio Frame.", ENOSPC));
    EXPECT_EQ(bytes_of(frame), bytes_of(frame_at<Frame>(vbase + 0x100)));
}

TEST_P(DecoderGiveFrame, IsAnInputOutputFailureWithoutItsNode)
{
    kernel.missing(GetParam().kind.device.node, ENOENT);
    EXPECT_EQ(give(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), GetParam().kind.device.missing_line(ENOENT) +
                                    error_line(GetParam().reporter, "ORKA_IDECODE: Obtaining Decode FD."));
}

TEST_P(DecoderGiveFrame, RefusesANullFrame)
{
    EXPECT_EQ(GetParam().call(nullptr, &queue), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line(GetParam().function, "ORKA_IDECODE: NULL Pointer Deref."));
}

TEST_P(DecoderGiveFrame, RefusesANullQueue)
{
    EXPECT_EQ(GetParam().call(&frame, nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line(GetParam().function, "ORKA_IDECODE: NULL Pointer Deref."));
}

TEST_P(DecoderGiveFrame, RefusesAQueueThatIsNotOpen)
{
    queue.version = 3;
    EXPECT_EQ(give(), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(), error_line(GetParam().function, "ORKA_IDECODE: Invalid Queue Handle."));
}

TEST_P(DecoderGiveFrame, AbortsOnAFrameWithoutAddress)
{
    Ending ending = end_of([this](Kernel &) {
        SetUp();
        answer(0);
        frame.addr = 0;
        give();
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_v2p", "vaddr != ((void *)0)"), "");
}

INSTANTIATE_TEST_SUITE_P(Calls, DecoderGiveFrame, testing::ValuesIn(givings), row_name<Giving>);

/* The two ways of failing that depend on which check comes first. */
class DecoderFrameOfAnotherKind : public DriverTest {
  protected:
    void expect_unknown_kind(const char *function, orka_status_t status)
    {
        EXPECT_EQ(status, ORKA_STATUS_IO);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_idecode_get_queue_fd", "ORKA_IDECODE: Invalid Queue Type.") +
                      error_line(function, "ORKA_IDECODE: Obtaining Decode FD."));
    }

    void expect_invalid_handle(const char *function, orka_status_t status)
    {
        EXPECT_EQ(status, ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(), error_line(function, "ORKA_IDECODE: Invalid Queue Handle."));
        EXPECT_TRUE(kernel.calls({Fn::open, Fn::ioctl}).empty());
    }

    orka_idecode_frame_t frame = frame_at<Frame>(vbase);
    orka_idecode_queue_t audio_queue = queue_of(audio);
    orka_idecode_queue_t video_queue = queue_of(video);
    orka_idecode_queue_t subtitle_queue = queue_of(subtitle);
};

TEST_F(DecoderFrameOfAnotherKind, HasNoDescriptorInTheUntypedCalls)
{
    audio_queue.magic = 1;
    expect_unknown_kind(new_frame, orka_idecode_new_frame(&frame, &audio_queue, 0));
    expect_unknown_kind(get_frame, orka_idecode_get_frame(&frame, &audio_queue, 0));
    expect_unknown_kind(commit_frame, orka_idecode_commit_frame(&frame, &audio_queue));
    expect_unknown_kind(release_frame, orka_idecode_release_frame(&frame, &audio_queue));
}

TEST_F(DecoderFrameOfAnotherKind, IsRefusedByTheTypedGetCalls)
{
    expect_invalid_handle("orka_idecode_get_video_frame",
                          orka_idecode_get_video_frame(&frame, &audio_queue, 0));
    expect_invalid_handle("orka_idecode_get_audio_frame",
                          orka_idecode_get_audio_frame(&frame, &video_queue, 0));
    expect_invalid_handle("orka_idecode_get_video_frame",
                          orka_idecode_get_video_frame(&frame, &subtitle_queue, 0));
    expect_invalid_handle("orka_idecode_get_audio_frame",
                          orka_idecode_get_audio_frame(&frame, &subtitle_queue, 0));
    expect_invalid_handle("orka_idecode_get_subtitle_frame",
                          orka_idecode_get_subtitle_frame(&frame, &video_queue, 0));
    expect_invalid_handle("orka_idecode_get_subtitle_frame",
                          orka_idecode_get_subtitle_frame(&frame, &audio_queue, 0));
}

TEST_F(DecoderFrameOfAnotherKind, IsRefusedByTheTypedCommitCalls)
{
    expect_invalid_handle("orka_idecode_commit_video_frame",
                          orka_idecode_commit_video_frame(&frame, &audio_queue));
    expect_invalid_handle("orka_idecode_commit_audio_frame",
                          orka_idecode_commit_audio_frame(&frame, &video_queue));
    expect_invalid_handle("orka_idecode_commit_video_frame",
                          orka_idecode_commit_video_frame(&frame, &subtitle_queue));
    expect_invalid_handle("orka_idecode_commit_subtitle_frame",
                          orka_idecode_commit_subtitle_frame(&frame, &audio_queue));
}

struct Clock {
    const char *function;
    const Device &device;
    uint32_t request;
    Bytes sent;
    size_t answer_offset; /* 0: nothing is read */
    orka_status_t (*call)(uint32_t *);
    const char *refused;
    bool positive_is_refused;

    friend void PrintTo(const Clock &clock, std::ostream *stream) { *stream << clock.function; }
};

const Clock clocks[] = {
    {"orka_idecode_reset_audio_display_tsms", audio_decoder, 0xC008642C, words({3, 0}), 0,
     [](uint32_t *) { return orka_idecode_reset_audio_display_tsms(3); },
     "ORKA_IDECODE: Loading Audio Decode Framework.", true},
    {"orka_idecode_get_audio_display_tsms", audio_decoder, 0xC008642D, words({3, 0}), 4,
     [](uint32_t *tsms) { return orka_idecode_get_audio_display_tsms(3, tsms); },
     "ORKA_IDECODE: Loading Audio Decode Framework.", true},
    {"orka_idecode_get_video_display_tsms", video_decoder, 0x400C6423, zeros(12), 8,
     [](uint32_t *tsms) { return orka_idecode_get_video_display_tsms(tsms); },
     "ORKA_IDECODE: Get Video Display Time.", false},
};

class DecoderDisplayClock : public DriverTest, public testing::WithParamInterface<Clock> {
  protected:
    void answer(int result)
    {
        kernel.node(GetParam().device.node);
        kernel.on(GetParam().device.node, GetParam().request, GetParam().sent.size(), [=](void *record) {
            if (GetParam().answer_offset)
                set_word(record, GetParam().answer_offset, 0xFEDCBA98);
            errno = EIO;
            return result;
        });
    }

    void expect_read()
    {
        EXPECT_EQ(GetParam().call(&tsms), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(tsms, GetParam().answer_offset ? 0xFEDCBA98 : 1);
    }

    void expect_refused()
    {
        EXPECT_EQ(GetParam().call(&tsms), ORKA_STATUS_ERROR);
        EXPECT_EQ(log.take_error(), error_line(GetParam().function, GetParam().refused, EIO));
        EXPECT_EQ(tsms, 1u);
    }

    uint32_t tsms = 1;
};

TEST_P(DecoderDisplayClock, SendsExactlyItsRecord)
{
    answer(0);
    expect_read();
    EXPECT_STREQ(only_request().path, GetParam().device.node);
    EXPECT_EQ(only_request().sent(), GetParam().sent);
}

TEST_P(DecoderDisplayClock, IsAnErrorWhenTheDriverRefuses)
{
    answer(-1);
    expect_refused();
}

TEST_P(DecoderDisplayClock, MindsAPositiveResultForAudioAlone)
{
    answer(1);
    if (GetParam().positive_is_refused)
        expect_refused();
    else
        expect_read();
}

TEST_P(DecoderDisplayClock, IsAnInputOutputFailureWithoutItsNode)
{
    EXPECT_EQ(GetParam().call(&tsms), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), GetParam().device.missing_line(ENOENT) +
                                    error_line(GetParam().function, "ORKA_IDECODE: Obtaining IDecode FD."));
    EXPECT_EQ(tsms, 1u);
}

INSTANTIATE_TEST_SUITE_P(Calls, DecoderDisplayClock, testing::ValuesIn(clocks),
                         [](const testing::TestParamInfo<Clock> &info) {
                             return std::string(info.param.function);
                         });

} // namespace
