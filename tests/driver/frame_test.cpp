/* Frames of a decoder's queue of another kind, and the display clocks. */
#include "driver/driver_test.h"
#include "orka_idecode.h"

#include <gtest/gtest.h>

using namespace orka_test;

namespace {

constexpr uint32_t pbase = 0x01000000;
constexpr uint32_t vbase = 0x40000000;

constexpr uint32_t audio = 0x49445141;
constexpr uint32_t video = 0x49445156;
constexpr uint32_t subtitle = 0x49445153;

orka_idecode_queue_t queue_of(uint32_t kind)
{
    return {.magic = kind,
            .version = 1,
            .channel = 2,
            .stream = 1,
            .queueid = 8,
            .length = 0x1000,
            .pbase = pbase,
            .vbase = vbase};
}

constexpr const char *new_frame = "orka_idecode_new_frame";
constexpr const char *get_frame = "orka_idecode_get_frame";
constexpr const char *commit_frame = "orka_idecode_commit_frame";
constexpr const char *release_frame = "orka_idecode_release_frame";

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

    orka_idecode_frame_t frame = frame_at<orka_idecode_frame_t>(vbase);
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
