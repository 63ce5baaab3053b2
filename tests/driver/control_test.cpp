/* Every control operation of the decoders, a row each: what it sends, and what it says when that fails. */
#include "driver/control.h"
#include "orka_idecode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orka_test;
using testing::StartsWith;

namespace {

constexpr const char *image_name = "mpeg4_aac_dec";
orka_idecode_gain_t gain = {1, 2, 3, 4};

constexpr const char *no_subtitle = "ORKA_IDECODE: Obtaining SubTitleDec FD.";
const Bytes name_bytes = text(image_name, strlen(image_name) + 1);

const Operation operations[] = {
    {"orka_idecode_load_audio_decoder_framework", audio_decoder, 0x80216400, name_bytes,
     [] { return orka_idecode_load_audio_decoder_framework(image_name); },
     "ORKA_IDECODE: Loading Audio Decode Framework.", "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_load_video_decoder_framework", video_decoder, 0x80216400,
     words({3, 1}) + text(image_name, 36),
     [] { return orka_idecode_load_video_decoder_framework(3, 1, image_name); },
     "ORKA_IDECODE: Loading Video Decode Framework - Stream 1 of Channel 3.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_load_image_decoder_framework", image_decoder, 0x80216400, name_bytes,
     [] { return orka_idecode_load_image_decoder_framework(image_name); },
     "ORKA_IDECODE: Loading Image Decode Framework.", "ORKA_IDECODE: Obtaining Image FD."},
    {"orka_idecode_setup_audio_decoder", audio_decoder, 0x803C6403,
     words({0, 0}) + counted_bytes<orka_idecode_audio_params_t>(),
     [] { return orka_idecode_setup_audio_decoder(counted<orka_idecode_audio_params_t>()); },
     "ORKA_IDECODE: Calling Audio Decode Setup.", "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_setup_video_decoder", video_decoder, 0x81586401,
     words({2, 1}) + counted_bytes<orka_idecode_video_params_t>(),
     [] { return orka_idecode_setup_video_decoder(2, 1, counted<orka_idecode_video_params_t>()); },
     "ORKA_IDECODE: Calling Video Decode Setup - stream 1 of Channel 2.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_init_video_decoder", video_decoder, 0x8008641E, words({3, 1}),
     [] { return orka_idecode_init_video_decoder(3, 1); },
     "ORKA_IDECODE: Calling Video Decoder Init - Stream 1 of Channel 3.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_start_audio_decoder", audio_decoder, 0x80086406, words({2, 0}),
     [] { return orka_idecode_start_audio_decoder(2); }, "ORKA_IDECODE: Calling Audio Decode Start.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_start_video_decoder", video_decoder, 0x80086406, words({0, 1}),
     [] { return orka_idecode_start_video_decoder(0, 1); },
     "ORKA_IDECODE: Calling Video Decode Start - Stream 1 of Channel 0.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_pause_audio_decoder", audio_decoder, 0x80086409, words({-1, 0}),
     [] { return orka_idecode_pause_audio_decoder(-1); }, "ORKA_IDECODE: Calling Audio Decode Pause.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_pause_video_decoder", video_decoder, 0x80086409, words({-2, -3}),
     [] { return orka_idecode_pause_video_decoder(-2, -3); },
     "ORKA_IDECODE: Calling Video Decode Pause - Stream -3 of Channel -2.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_rewind_video_decoder", video_decoder, 0x8008640A, words({1, 0}),
     [] { return orka_idecode_rewind_video_decoder(1, 0); },
     "ORKA_IDECODE: Calling Video Decode Rewind - Stream 0 of Channel 1.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_fastforward_video_decoder", video_decoder, 0x8008640B, words({3, 2}),
     [] { return orka_idecode_fastforward_video_decoder(3, 2); },
     "ORKA_IDECODE: Calling Video Decode FastForward - Stream 2 of Channel 3.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_flush_video_decoder", video_decoder, 0x800C6422, words({3, 1, 0x80000005}),
     [] { return orka_idecode_flush_video_decoder(3, 1, 0x80000005u); },
     "ORKA_IDECODE: Calling Video Decode Flush - Stream 1 of Channel 3.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_stop_audio_decoder", audio_decoder, 0x80086407, words({7, 0}),
     [] { return orka_idecode_stop_audio_decoder(7); }, "ORKA_IDECODE: Calling Audio Decode Stop.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_stop_video_decoder", video_decoder, 0x80086407, words({0, 1}),
     [] { return orka_idecode_stop_video_decoder(0, 1); },
     "ORKA_IDECODE: Calling Video Decode Stop - Stream 1 of Channel 0.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_wait_finish_audio_decoder_timeout", audio_decoder, 0xC0106408, words({2, 0, 250, 0}),
     [] { return orka_idecode_wait_finish_audio_decoder_timeout(2, 250); },
     "ORKA_IDECODE: Calling Audio Decode Wait for Finish.", "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_wait_finish_video_decoder_timeout", video_decoder, 0xC0106408, words({2, 1, 0, 0}),
     [] { return orka_idecode_wait_finish_video_decoder_timeout(2, 1, 0); },
     "ORKA_IDECODE: Calling Video Decode Wait for Finish - Stream 1 of Channel 2.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_teardown_audio_decoder", audio_decoder, 0x80086405, words({1, 0}),
     [] { return orka_idecode_teardown_audio_decoder(1); }, "ORKA_IDECODE: Calling Audio Decode Teardown.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_teardown_video_decoder", video_decoder, 0x80086405, words({1, 3}),
     [] { return orka_idecode_teardown_video_decoder(1, 3); },
     "ORKA_IDECODE: Calling Video Decode Teardown - Stream 3 of Channel 1.",
     "ORKA_IDECODE: Obtaining Video Decode FD."},
    {"orka_idecode_audio_set_gain",
     audio_decoder,
     0x80086428,
     {1, 0, 2, 0, 3, 0, 4, 0},
     [] { return orka_idecode_audio_set_gain(&gain); },
     "ORKA_IDECODE: Calling Audio Decode Set Gain.",
     "ORKA_IDECODE: Obtaining IDecode FD."},
    {"orka_idecode_load_subtitle_decoder_framework", subtitle_decoder, 0x80216400, name_bytes,
     [] { return orka_idecode_load_subtitle_decoder_framework(image_name); },
     "ORKA_IDECODE: Loading Subtitle Decode Framework.", no_subtitle},
    {"orka_idecode_setup_subtitle_decoder", subtitle_decoder, 0x80186404,
     words({0, 0}) + counted_bytes<orka_idecode_subtitle_params_t>(),
     [] { return orka_idecode_setup_subtitle_decoder(counted<orka_idecode_subtitle_params_t>()); },
     "ORKA_IDECODE: Calling SubTitleDec Setup.", no_subtitle},
    {"orka_idecode_start_subtitle_decoder", subtitle_decoder, 0x80086406, words({2, 0}),
     [] { return orka_idecode_start_subtitle_decoder(2); }, "ORKA_IDECODE: Calling Subtitle Decode Start.",
     no_subtitle},
    {"orka_idecode_pause_subtitle_decoder", subtitle_decoder, 0x80086409, words({-1, 0}),
     [] { return orka_idecode_pause_subtitle_decoder(-1); }, "ORKA_IDECODE: Calling Subtitle Decode Pause.",
     no_subtitle},
    {"orka_idecode_stop_subtitle_decoder", subtitle_decoder, 0x80086407, words({7, 0}),
     [] { return orka_idecode_stop_subtitle_decoder(7); }, "ORKA_IDECODE: Calling Subtitle Decode Stop.",
     no_subtitle},
    {"orka_idecode_teardown_subtitle_decoder", subtitle_decoder, 0x80086405, words({1, 0}),
     [] { return orka_idecode_teardown_subtitle_decoder(1); }, "ORKA_IDECODE: Calling SubTitleDec Teardown.",
     no_subtitle},
};

class DecoderControl : public ControlTest {};

TEST_P(DecoderControl, SendsExactlyItsRecord)
{
    expect_sent();
}

TEST_P(DecoderControl, SendsItsRecordToTheSameNodeAgain)
{
    expect_sent_again();
}

TEST_P(DecoderControl, IsAnErrorWhenTheDriverRefuses)
{
    expect_refused(-1);
}

TEST_P(DecoderControl, IsAnErrorWhenTheDriverAnswersAnythingButZero)
{
    expect_refused(1);
}

TEST_P(DecoderControl, IsAnInputOutputFailureWithoutItsNode)
{
    expect_no_node();
}

INSTANTIATE_TEST_SUITE_P(Operations, DecoderControl, testing::ValuesIn(operations), row_name<Operation>);

class DecoderNames : public DriverTest {};

TEST_F(DecoderNames, AreHandedToTheAudioDriverInPlace)
{
    kernel.node("/dev/adecode");
    kernel.accept("/dev/adecode", 0x80216400, name_record);
    EXPECT_EQ(orka_idecode_load_audio_decoder_framework(image_name), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().argument, image_name);
}

TEST_F(DecoderNames, AreHandedToTheImageDriverInPlace)
{
    kernel.node("/dev/imgdecode");
    kernel.accept("/dev/imgdecode", 0x80216400, name_record);
    EXPECT_EQ(orka_idecode_load_image_decoder_framework(image_name), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().argument, image_name);
}

TEST_F(DecoderNames, OfThirtyFiveCharactersFillTheVideoRecord)
{
    kernel.node("/dev/vdecode");
    kernel.accept("/dev/vdecode", 0x80216400, 44);
    std::string longest(35, 'x');
    EXPECT_EQ(orka_idecode_load_video_decoder_framework(0, 0, longest.c_str()), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().sent(), words({0, 0}) + text(longest, 36));
}

TEST_F(DecoderNames, AreHandedToTheSubtitleDriverInPlace)
{
    kernel.node("/dev/subtldecode");
    kernel.accept("/dev/subtldecode", 0x80216400, name_record);
    EXPECT_EQ(orka_idecode_load_subtitle_decoder_framework(image_name), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().argument, image_name);
}

struct Wait {
    const char *function;
    const Device &device;
    Bytes sent;
    orka_status_t (*call)();

    friend void PrintTo(const Wait &wait, std::ostream *stream) { *stream << wait.function; }
};

const Wait waits[] = {
    {"orka_idecode_wait_finish_audio_decoder_timeout", audio_decoder, words({1, 0, 70, 0}),
     [] { return orka_idecode_wait_finish_audio_decoder_timeout(1, 70); }},
    {"orka_idecode_wait_finish_video_decoder_timeout", video_decoder, words({1, 2, 70, 0}),
     [] { return orka_idecode_wait_finish_video_decoder_timeout(1, 2, 70); }},
    {"orka_idecode_wait_finish_audio_decoder", audio_decoder, words({1, 0, -1, 0}),
     [] { return orka_idecode_wait_finish_audio_decoder(1); }},
    {"orka_idecode_wait_finish_video_decoder", video_decoder, words({1, 2, -1, 0}),
     [] { return orka_idecode_wait_finish_video_decoder(1, 2); }},
};

/* The variants without a time-out are reported under the name of those with one. */
std::string reporter(std::string function)
{
    return function.ends_with("_timeout") ? function : function + "_timeout";
}

class DecoderWaiting : public DriverTest, public testing::WithParamInterface<Wait> {
  protected:
    void expect_status(uint32_t driver_status, orka_status_t status, const char *message)
    {
        kernel.node(GetParam().device.node);
        kernel.on(GetParam().device.node, 0xC0106408, 16, [=](void *record) {
            set_word(record, 12, driver_status);
            errno = EIO;
            return 0;
        });
        EXPECT_EQ(GetParam().call(), status);
        EXPECT_EQ(log.take_error(), message ? error_line(reporter(GetParam().function), message) : "");
        EXPECT_EQ(only_request().sent(), GetParam().sent);
    }
};

TEST_P(DecoderWaiting, EndsWithSuccess)
{
    expect_status(0, ORKA_STATUS_SUCCESS, nullptr);
}

TEST_P(DecoderWaiting, TimesOutSilently)
{
    expect_status(1, ORKA_STATUS_TIMEOUT, nullptr);
}

TEST_P(DecoderWaiting, EndsWithTheDriversFailure)
{
    expect_status(0xFFFFFFFF, ORKA_STATUS_ERROR, "ORKA_IDECODE: New Frame.");
}

TEST_P(DecoderWaiting, IsInterrupted)
{
    expect_status(2, ORKA_STATUS_INTR, "ORKA_IDECODE: New Frame Call Interrupted.");
}

TEST_P(DecoderWaiting, EndsWithAStatusThatNobodyKnows)
{
    expect_status(5, ORKA_STATUS_ERROR, "ORKA_IDECODE: Unknown Decoder Status.");
}

TEST_P(DecoderWaiting, EndsWithANegativeStatusThatNobodyKnows)
{
    expect_status(0xFFFFFFFE, ORKA_STATUS_ERROR, "ORKA_IDECODE: Unknown Decoder Status.");
}

INSTANTIATE_TEST_SUITE_P(Calls, DecoderWaiting, testing::ValuesIn(waits), row_name<Wait>);

const Assertion assertions[] = {
    {"orka_idecode_load_audio_decoder_framework", audio_decoder, "fwname != ((void *)0)",
     [] { orka_idecode_load_audio_decoder_framework(nullptr); }},
    {"orka_idecode_load_video_decoder_framework", video_decoder, "fwname != ((void *)0)",
     [] { orka_idecode_load_video_decoder_framework(0, 0, nullptr); }},
    {"orka_idecode_load_image_decoder_framework", image_decoder, "fwname != ((void *)0)",
     [] { orka_idecode_load_image_decoder_framework(nullptr); }},
    {"orka_idecode_setup_audio_decoder", audio_decoder, "params != ((void *)0)",
     [] { orka_idecode_setup_audio_decoder(nullptr); }},
    {"orka_idecode_setup_video_decoder", video_decoder, "params != ((void *)0)",
     [] { orka_idecode_setup_video_decoder(0, 0, nullptr); }},
    {"orka_idecode_load_subtitle_decoder_framework", subtitle_decoder, "fwname != ((void *)0)",
     [] { orka_idecode_load_subtitle_decoder_framework(nullptr); }},
    {"orka_idecode_setup_subtitle_decoder", subtitle_decoder, "params != ((void *)0)",
     [] { orka_idecode_setup_subtitle_decoder(nullptr); }},
};

class DecoderNull : public testing::TestWithParam<Assertion> {};

TEST_P(DecoderNull, AbortsThoughTheNodeIsThere)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().device.node);
        GetParam().call();
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_idecode.cpp", GetParam().function,
                                  GetParam().expression),
              "");
}

TEST_P(DecoderNull, AbortsAfterTheNodeWasTriedAndBeforeItsFailureIsReported)
{
    Ending ending = end_of([](Kernel &) { GetParam().call(); });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_idecode.cpp", GetParam().function,
                                  GetParam().expression),
              "");
    EXPECT_THAT(ending.error, StartsWith(GetParam().device.missing_line(ENOENT)));
    EXPECT_THAT(ending.error, testing::Not(testing::HasSubstr("ORKA_IDECODE: Obtaining")));
}

INSTANTIATE_TEST_SUITE_P(Arguments, DecoderNull, testing::ValuesIn(assertions), row_name<Assertion>);

class DecoderGain : public DriverTest {
  protected:
    void expect_out_of_range(int32_t first, int32_t second)
    {
        EXPECT_EQ(orka_idecode_audio_set_gaindb(first, second), ORKA_STATUS_OUT_OF_RANGE);
        EXPECT_EQ(log.take_error(), error_line("orka_idecode_audio_set_gaindb",
                                               "ORKA_IDECODE: Desired Gain out of Range. Min=-13 Max=13."));
        EXPECT_TRUE(kernel.calls({Fn::ioctl, Fn::open}).empty());
    }

    Bytes sent_for(int32_t first, int32_t second)
    {
        kernel.node("/dev/adecode");
        kernel.accept("/dev/adecode", 0x80086428, 8);
        kernel.forget_calls();
        EXPECT_EQ(orka_idecode_audio_set_gaindb(first, second), ORKA_STATUS_SUCCESS);
        return only_request().sent();
    }
};

TEST_F(DecoderGain, HasARowForEachDecibel)
{
    for (const GainRow &row : gain_rows) {
        EXPECT_EQ(sent_for(row.db, 0), halves(row.mantissa, 32767, row.shift, 0)) << row.db;
        EXPECT_EQ(sent_for(-12, row.db), halves(2067, row.mantissa, 0, row.shift)) << row.db;
    }
}

TEST_F(DecoderGain, OfZeroDecibelsIsAllButOne)
{
    EXPECT_EQ(sent_for(0, 0), halves(32767, 32767, 0, 0));
}

TEST_F(DecoderGain, KeepsTheTwoApart)
{
    EXPECT_EQ(sent_for(12, -12), halves(32457, 2067, 4, 0));
}

TEST_F(DecoderGain, OfThirteenDecibelsIsTakenForBoth)
{
    EXPECT_EQ(sent_for(13, 13), halves(0, 0, 25, 25));
}

TEST_F(DecoderGain, BelowTheLowestIsRefused)
{
    expect_out_of_range(-13, 0);
    expect_out_of_range(0, -13);
}

TEST_F(DecoderGain, AboveTheHighestIsRefused)
{
    expect_out_of_range(14, 0);
    expect_out_of_range(0, 14);
}

TEST_F(DecoderGain, FarOutIsRefused)
{
    expect_out_of_range(INT32_MAX - 12, 0);
    expect_out_of_range(0, INT32_MIN);
}

TEST_F(DecoderGain, InDecibelsPassesTheDriversRefusalOn)
{
    kernel.node("/dev/adecode");
    kernel.refuse("/dev/adecode", 0x80086428, 8, EPERM);
    EXPECT_EQ(orka_idecode_audio_set_gaindb(1, 1), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_idecode_audio_set_gain",
                                           "ORKA_IDECODE: Calling Audio Decode Set Gain.", EPERM));
}

TEST_F(DecoderGain, RecordIsHandedToTheDriverInPlace)
{
    kernel.node("/dev/adecode");
    kernel.accept("/dev/adecode", 0x80086428, 8);
    EXPECT_EQ(orka_idecode_audio_set_gain(&gain), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().argument, &gain);
}

} // namespace
