/* The frame calls that the decoders' queues and the encoders' have in common, on queues of each kind. */
#include "driver/driver_test.h"
#include "orka_idecode.h"
#include "orka_iencode.h"

#include <gtest/gtest.h>

using namespace orka_test;

namespace {

constexpr uint32_t pbase = 0x01000000;
constexpr uint32_t vbase = 0x40000000;

/* Who serves a queue, and how it words what is its own. */
struct Coder {
    const char *tag;
    const char *no_fd;
    const char *unknown;
};

constexpr Coder decoder = {"ORKA_IDECODE: ", "Obtaining Decode FD.", "Unknown Decoder Status."};
constexpr Coder encoder = {"ORKA_IENCODE: ", "Obtaining Encode FD.", "Unknown Encoder Status."};

struct Kind {
    const char *name;
    const Coder &coder;
    const Device &device;
    uint32_t magic;
    int32_t channel;
    int32_t stream;
    uint32_t queueid;

    /* How a record of this queue begins. */
    Bytes address() const { return words({channel, stream, queueid}); }
};

constexpr Kind decoded_audio = {"decoded_audio", decoder, audio_decoder, 0x49445141, 2, 1, 8};
constexpr Kind decoded_video = {"decoded_video", decoder, video_decoder, 0x49445156, 2, 1, 8};
constexpr Kind decoded_subtitle = {"decoded_subtitle", decoder, subtitle_decoder, 0x49445153, 2, 1, 8};
constexpr Kind encoded_audio = {"encoded_audio", encoder, audio_encoder, 0x49514541, 0, 0, 3};
constexpr Kind encoded_video = {"encoded_video", encoder, video_encoder3, 0x49515556, 3, 0, 0};

/* Handles and frames are of one shape, but for the frame that an encoder's handle ends with. */
constexpr size_t version_offset = 4;
constexpr size_t frame_size = 52;
constexpr size_t handle_size = 32;
static_assert(sizeof(orka_idecode_frame_t) == frame_size && sizeof(orka_iencode_frame_t) == frame_size);
static_assert(sizeof(orka_idecode_queue_t) == handle_size);
static_assert(sizeof(orka_iencode_queue_t) == handle_size + frame_size);

Bytes queue_of(const Kind &kind)
{
    return words({kind.magic, 1}) + kind.address() + words({0x1000, pbase, vbase}) + zeros(frame_size);
}

Bytes frame_with(uint32_t address)
{
    return bytes_of(frame_at<orka_idecode_frame_t>(address));
}

/* A row: what is called on which kind of queue, and the lines that it may write. */
struct FrameCall {
    const char *function;
    const char *reporter; /* where failures of the driver are reported */
    uint32_t request;
    Kind kind;

    std::string line(const char *message) const
    {
        return error_line(function, kind.coder.tag + std::string(message));
    }

    std::string driver_line(const char *message) const
    {
        return error_line(reporter, kind.coder.tag + std::string(message));
    }

    std::string refused_line(const char *message, int error) const
    {
        return error_line(reporter, kind.coder.tag + std::string(message), error);
    }

    std::string no_node_lines() const
    {
        return kind.device.missing_line(ENOENT) + driver_line(kind.coder.no_fd);
    }

    friend void PrintTo(const FrameCall &row, std::ostream *stream) { *stream << row.function; }
};

template <typename Row>
std::string row_name(const testing::TestParamInfo<Row> &info)
{
    return info.param.function + std::string("_of_") + info.param.kind.name;
}

/* New and get */

template <typename Frame, typename Queue>
orka_status_t take_by(orka_status_t (*call)(Frame *, Queue *, int32_t), void *frame, void *queue,
                      int32_t timeout)
{
    return call(static_cast<Frame *>(frame), static_cast<Queue *>(queue), timeout);
}

template <auto call>
orka_status_t taken_by(void *frame, void *queue, int32_t timeout)
{
    return take_by(call, frame, queue, timeout);
}

struct TakeTexts {
    const char *refused;
    const char *failed;
    const char *interrupted;
};

constexpr TakeTexts new_texts = {"Aquiring New Frame.", "New Frame.", "New Frame Call Interrupted."};
constexpr TakeTexts get_texts = {"Get Frame.", "Get Frame.", "Get Frame Call Interrupted."};

struct Taking : FrameCall {
    orka_status_t (*call)(void *frame, void *queue, int32_t timeout);
    TakeTexts texts;
    bool kept = false; /* in the queue, as the frame last got */
};

Taking decoder_new(const Kind &kind)
{
    return {{"orka_idecode_new_frame", "orka_idecode_new_frame", 0xC0486415, kind},
            taken_by<orka_idecode_new_frame>,
            new_texts};
}

Taking decoder_get(const Kind &kind)
{
    return {{"orka_idecode_get_frame", "orka_idecode_get_frame", 0xC0486417, kind},
            taken_by<orka_idecode_get_frame>,
            get_texts};
}

/* Getting a frame of one kind asks for a new one. */
template <auto call>
Taking decoder_get_typed(const char *function, const Kind &kind)
{
    return {{function, "orka_idecode_new_frame", 0xC0486415, kind}, taken_by<call>, new_texts};
}

Taking encoder_new(const Kind &kind)
{
    return {{"orka_iencode_new_frame", "orka_iencode_new_frame", 0xC0486515, kind},
            taken_by<orka_iencode_new_frame>,
            new_texts};
}

template <auto call = orka_iencode_get_frame>
Taking encoder_get(const Kind &kind, const char *function = "orka_iencode_get_frame")
{
    return {{function, "orka_iencode_get_frame", 0xC0486517, kind}, taken_by<call>, get_texts, true};
}

const Taking takings[] = {
    decoder_new(decoded_audio),
    decoder_new(decoded_video),
    decoder_new(decoded_subtitle),
    decoder_get(decoded_audio),
    decoder_get(decoded_video),
    decoder_get(decoded_subtitle),
    decoder_get_typed<orka_idecode_get_audio_frame>("orka_idecode_get_audio_frame", decoded_audio),
    decoder_get_typed<orka_idecode_get_video_frame>("orka_idecode_get_video_frame", decoded_video),
    decoder_get_typed<orka_idecode_get_subtitle_frame>("orka_idecode_get_subtitle_frame", decoded_subtitle),
    encoder_new(encoded_audio),
    encoder_new(encoded_video),
    encoder_get(encoded_audio),
    encoder_get(encoded_video),
    encoder_get<orka_iencode_get_audio_frame>(encoded_audio, "orka_iencode_get_audio_frame"),
};

class TakeFrame : public DriverTest, public testing::WithParamInterface<Taking> {
  protected:
    void SetUp() override { kernel.node(GetParam().kind.device.node); }

    void answer(int result, uint32_t status, const Bytes &delivered = frame_with(pbase + 0x100))
    {
        kernel.on(GetParam().kind.device.node, GetParam().request, 72, [=](void *record) {
            set_word(record, 16, status);
            memcpy(static_cast<char *>(record) + 20, delivered.data(), delivered.size());
            errno = EIO;
            return result;
        });
    }

    orka_status_t take(int32_t timeout = 100) { return GetParam().call(frame.data(), queue.data(), timeout); }

    /* No frame comes, and the caller's frame and queue are left as they were. */
    void expect_none(orka_status_t status, const std::string &lines)
    {
        const Bytes queue_before = queue;
        EXPECT_EQ(take(), status);
        EXPECT_EQ(log.take_error(), lines);
        EXPECT_EQ(frame, frame_with(7));
        EXPECT_EQ(queue, queue_before);
    }

    Bytes queue = queue_of(GetParam().kind);
    Bytes frame = frame_with(7);
};

TEST_P(TakeFrame, SendsExactlyItsRecord)
{
    answer(0, 0);
    EXPECT_EQ(take(250), ORKA_STATUS_SUCCESS);
    Call call = only_request();
    EXPECT_STREQ(call.path, GetParam().kind.device.node);
    EXPECT_EQ(call.request, GetParam().request);
    EXPECT_EQ(call.sent(), GetParam().kind.address() + words({250}) + zeros(56));
}

TEST_P(TakeFrame, SendsItsRecordToTheSameNodeAgain)
{
    answer(0, 0);
    EXPECT_EQ(take(250), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(take(250), ORKA_STATUS_SUCCESS);
    expect_one_request_twice(kernel);
    EXPECT_EQ(frame, frame_with(vbase + 0x100));
}

TEST_P(TakeFrame, SendsATimeoutWithoutLimitUnchanged)
{
    answer(0, 0);
    EXPECT_EQ(take(-1), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().sent(), GetParam().kind.address() + words({-1}) + zeros(56));
}

TEST_P(TakeFrame, DeliversTheFrameWithItsVirtualAddress)
{
    answer(0, 0);
    EXPECT_EQ(take(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(frame, frame_with(vbase + 0x100));
}

TEST_P(TakeFrame, KeepsTheFrameInAnEncodersQueueWhenItWasGot)
{
    answer(0, 0);
    EXPECT_EQ(take(), ORKA_STATUS_SUCCESS);
    const Bytes kept(queue.begin() + handle_size, queue.end());
    EXPECT_EQ(kept, GetParam().kept ? frame : zeros(frame_size));
}

TEST_P(TakeFrame, TakesAPositiveResultForSuccess)
{
    answer(5, 0);
    EXPECT_EQ(take(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(frame, frame_with(vbase + 0x100));
}

TEST_P(TakeFrame, TimesOutSilently)
{
    answer(0, 1);
    expect_none(ORKA_STATUS_TIMEOUT, "");
}

TEST_P(TakeFrame, EndsWithTheDriversFailure)
{
    answer(0, 0xFFFFFFFF);
    expect_none(ORKA_STATUS_ERROR, GetParam().driver_line(GetParam().texts.failed));
}

TEST_P(TakeFrame, IsInterrupted)
{
    answer(0, 2);
    expect_none(ORKA_STATUS_INTR, GetParam().driver_line(GetParam().texts.interrupted));
}

TEST_P(TakeFrame, EndsWithAStatusThatNobodyKnows)
{
    for (uint32_t status : {3u, 7u, 0x80000000u}) {
        answer(0, status);
        expect_none(ORKA_STATUS_ERROR, GetParam().driver_line(GetParam().kind.coder.unknown));
    }
}

TEST_P(TakeFrame, IsAnInputOutputFailureWhenRefused)
{
    answer(-1, 0);
    expect_none(ORKA_STATUS_IO, GetParam().refused_line(GetParam().texts.refused, EIO));
}

TEST_P(TakeFrame, IsAnInputOutputFailureWithoutItsNode)
{
    kernel.missing(GetParam().kind.device.node, ENOENT);
    expect_none(ORKA_STATUS_IO, GetParam().no_node_lines());
}

TEST_P(TakeFrame, RefusesANullFrameOrQueue)
{
    const std::string line = GetParam().line("NULL Pointer Deref.");
    EXPECT_EQ(GetParam().call(nullptr, queue.data(), 0), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), line);
    EXPECT_EQ(GetParam().call(frame.data(), nullptr, 0), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), line);
}

TEST_P(TakeFrame, RefusesAQueueThatIsNotOpen)
{
    for (uint32_t version : {0u, 2u}) {
        set_word(queue.data(), version_offset, version);
        expect_none(ORKA_STATUS_INITIALIZATION, GetParam().line("Invalid Queue Handle."));
    }
}

TEST_P(TakeFrame, AbortsOnAFrameWithoutAddress)
{
    Ending ending = end_of([this](Kernel &) {
        SetUp();
        answer(0, 0, frame_with(0));
        take();
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_p2v", "paddr != ((void *)0)"), "");
}

INSTANTIATE_TEST_SUITE_P(Calls, TakeFrame, testing::ValuesIn(takings), row_name<Taking>);

/* Commit and release */

template <typename Frame, typename Queue>
orka_status_t give_by(orka_status_t (*call)(const Frame *, const Queue *), const void *frame,
                      const void *queue)
{
    return call(static_cast<const Frame *>(frame), static_cast<const Queue *>(queue));
}

template <auto call>
orka_status_t given_by(const void *frame, const void *queue)
{
    return give_by(call, frame, queue);
}

struct Giving : FrameCall {
    orka_status_t (*call)(const void *frame, const void *queue);
};

template <auto call = orka_idecode_commit_frame>
Giving decoder_commit(const Kind &kind, const char *function = "orka_idecode_commit_frame")
{
    return {{function, "orka_idecode_commit_frame", 0xC0406416, kind}, given_by<call>};
}

Giving decoder_release(const Kind &kind)
{
    return {{"orka_idecode_release_frame", "orka_idecode_release_frame", 0xC0406418, kind},
            given_by<orka_idecode_release_frame>};
}

Giving encoder_commit(const Kind &kind)
{
    return {{"orka_iencode_commit_frame", "orka_iencode_commit_frame", 0xC0406516, kind},
            given_by<orka_iencode_commit_frame>};
}

Giving encoder_release(const Kind &kind)
{
    return {{"orka_iencode_release_frame", "orka_iencode_release_frame", 0xC0406518, kind},
            given_by<orka_iencode_release_frame>};
}

const Giving givings[] = {
    decoder_commit(decoded_audio),
    decoder_commit(decoded_video),
    decoder_commit(decoded_subtitle),
    decoder_release(decoded_audio),
    decoder_release(decoded_video),
    decoder_release(decoded_subtitle),
    decoder_commit<orka_idecode_commit_audio_frame>(decoded_audio, "orka_idecode_commit_audio_frame"),
    decoder_commit<orka_idecode_commit_video_frame>(decoded_video, "orka_idecode_commit_video_frame"),
    decoder_commit<orka_idecode_commit_subtitle_frame>(decoded_subtitle,
                                                       "orka_idecode_commit_subtitle_frame"),
    encoder_commit(encoded_audio),
    encoder_commit(encoded_video),
    encoder_release(encoded_audio),
    encoder_release(encoded_video),
};

class GiveFrame : public DriverTest, public testing::WithParamInterface<Giving> {
  protected:
    void SetUp() override { kernel.node(GetParam().kind.device.node); }

    void answer(int result)
    {
        kernel.refuse(GetParam().kind.device.node, GetParam().request, 64, ENOSPC, result);
    }

    /* The caller's frame is left as it is, whatever becomes of the call. */
    void expect_given(orka_status_t status, const std::string &lines = "")
    {
        const Bytes before = frame;
        EXPECT_EQ(GetParam().call(frame.data(), queue.data()), status);
        EXPECT_EQ(log.take_error(), lines);
        EXPECT_EQ(frame, before);
    }

    Bytes queue = queue_of(GetParam().kind);
    Bytes frame = frame_with(vbase + 0x100);
};

TEST_P(GiveFrame, SendsExactlyItsRecordWithThePhysicalAddress)
{
    answer(0);
    expect_given(ORKA_STATUS_SUCCESS);
    Call call = only_request();
    EXPECT_STREQ(call.path, GetParam().kind.device.node);
    EXPECT_EQ(call.request, GetParam().request);
    EXPECT_EQ(call.sent(), GetParam().kind.address() + frame_with(pbase + 0x100));
}

TEST_P(GiveFrame, SendsItsRecordToTheSameNodeAgain)
{
    answer(0);
    expect_given(ORKA_STATUS_SUCCESS);
    expect_given(ORKA_STATUS_SUCCESS);
    expect_one_request_twice(kernel);
}

TEST_P(GiveFrame, TakesAPositiveResultForSuccess)
{
    answer(1);
    expect_given(ORKA_STATUS_SUCCESS);
}

TEST_P(GiveFrame, IsAnInputOutputFailureWhenRefused)
{
    answer(-1);
    expect_given(ORKA_STATUS_IO, GetParam().refused_line("Committing Audio Frame.", ENOSPC));
}

TEST_P(GiveFrame, IsAnInputOutputFailureWithoutItsNode)
{
    kernel.missing(GetParam().kind.device.node, ENOENT);
    expect_given(ORKA_STATUS_IO, GetParam().no_node_lines());
}

TEST_P(GiveFrame, RefusesANullFrameOrQueue)
{
    const std::string line = GetParam().line("NULL Pointer Deref.");
    EXPECT_EQ(GetParam().call(nullptr, queue.data()), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), line);
    EXPECT_EQ(GetParam().call(frame.data(), nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), line);
}

TEST_P(GiveFrame, RefusesAQueueThatIsNotOpen)
{
    for (uint32_t version : {0u, 3u}) {
        set_word(queue.data(), version_offset, version);
        expect_given(ORKA_STATUS_INITIALIZATION, GetParam().line("Invalid Queue Handle."));
    }
}

TEST_P(GiveFrame, AbortsOnAFrameWithoutAddress)
{
    Ending ending = end_of([this](Kernel &) {
        SetUp();
        answer(0);
        GetParam().call(frame_with(0).data(), queue.data());
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_v2p", "vaddr != ((void *)0)"), "");
}

INSTANTIATE_TEST_SUITE_P(Calls, GiveFrame, testing::ValuesIn(givings), row_name<Giving>);

} // namespace
