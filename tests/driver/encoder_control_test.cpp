/* Every control operation of the encoders, a row each: what it sends, and what it says when that fails. */
#include "driver/control.h"
#include "orka_iencode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orka_test;

namespace {

constexpr const char *image_name = "mpeg4_aac_enc";
orka_iencode_gain_t gain = {1, 2, 3, 4};

struct EchoRecord {
    uint8_t bytes[48];
};

const Bytes name_bytes = text(image_name, strlen(image_name) + 1);

constexpr const char *no_audio = "ORKA_IENCODE: Obtaining IAEncode FD.";
constexpr const char *no_common = "ORKA_IENCODE: Obtaining IEncode FD.";
constexpr const char *no_video = "ORKA_IENCODE: Obtaining Video Encode FD.";
constexpr const char *no_image = "ORKA_IENCODE: Obtaining Image Encoding FD.";

const Operation operations[] = {
    {"orka_iencode_load_audio_encoder_framework", audio_encoder, 0x80216500, name_bytes,
     [] { return orka_iencode_load_audio_encoder_framework(image_name); },
     "ORKA_IENCODE: Loading Audio Encode Framework.", no_audio},
    {"orka_iencode_load_video_encoder_framework", common_encoder, 0x802C6A05,
     words({3, 1}) + text(image_name, 36),
     [] { return orka_iencode_load_video_encoder_framework(3, 1, image_name); },
     "ORKA_IENCODE: Loading Video Encode Framework - Stream 1 of Channel 3.", no_common},
    {"orka_iencode_load_image_encoder_framework", image_encoder, 0x80216A64, name_bytes,
     [] { return orka_iencode_load_image_encoder_framework(image_name); },
     "ORKA_IENCODE: Loading Image Encode Framework.", no_image},
    {"orka_iencode_setup_audio_encoder", audio_encoder, 0x80346502,
     words({0, 0}) + counted_bytes<orka_iencode_audio_params_t>(),
     [] { return orka_iencode_setup_audio_encoder(counted<orka_iencode_audio_params_t>()); },
     "ORKA_IENCODE: Calling Audio Encode Setup.", no_audio},
    {"orka_iencode_setup_video_encoder", common_encoder, 0x81006A00,
     counted_bytes<orka_iencode_video_params_t>(),
     [] { return orka_iencode_setup_video_encoder(counted<orka_iencode_video_params_t>()); },
     "ORKA_IENCODE: Calling Video Encode Setup.", no_common},
    {"orka_iencode_init_video_encoder", video_encoder3, 0x6A01, zeros(0),
     [] { return orka_iencode_init_video_encoder(3); }, "ORKA_IENCODE: Calling Video Encoder Channel Init.",
     no_video},
    {"orka_iencode_start_audio_encoder", audio_encoder, 0x80086505, zeros(8),
     [] { return orka_iencode_start_audio_encoder(); }, "ORKA_IENCODE: Calling Audio Encode Start.",
     no_audio},
    {"orka_iencode_start_video_encoder", video_encoder0, 0x6A02, zeros(0),
     [] { return orka_iencode_start_video_encoder(0); }, "ORKA_IENCODE: Calling Video Encode Start.",
     no_video},
    {"orka_iencode_stop_audio_encoder", audio_encoder, 0x80086506, zeros(8),
     [] { return orka_iencode_stop_audio_encoder(); }, "ORKA_IENCODE: Calling Audio Encode Stop.", no_audio},
    {"orka_iencode_stop_video_encoder", video_encoder3, 0x6A03, zeros(0),
     [] { return orka_iencode_stop_video_encoder(3); }, "ORKA_IENCODE: Calling Video Encode Stop.", no_video},
    {"orka_iencode_start_audio_aec", audio_encoder, 0x80306535, counted_bytes<EchoRecord>(),
     [] { return orka_iencode_start_audio_aec(counted<EchoRecord>()); },
     "ORKA_IENCODE: Calling Audio AEC Start.", no_audio},
    {"orka_iencode_stop_audio_aec", audio_encoder, 0x6536, zeros(0),
     [] { return orka_iencode_stop_audio_aec(); }, "ORKA_IENCODE: Calling Audio AEC Start.", no_audio},
    {"orka_iencode_audio_set_gain",
     audio_encoder,
     0x80086534,
     {1, 0, 2, 0, 3, 0, 4, 0},
     [] { return orka_iencode_audio_set_gain(&gain); },
     "ORKA_IENCODE: Calling Audio Encode Set Gain.",
     no_audio},
    {"orka_iencode_audio_passthru_enable", audio_encoder, 0x80086532, zeros(8),
     [] { return orka_iencode_audio_passthru_enable(); }, "ORKA_IENCODE: Calling Audio Encode Teardown.",
     no_audio},
    {"orka_iencode_audio_passthru_disable", audio_encoder, 0x80086533, zeros(8),
     [] { return orka_iencode_audio_passthru_disable(); }, "ORKA_IENCODE: Calling Audio Encode Teardown.",
     no_audio},
    {"orka_iencode_teardown_audio_encoder", audio_encoder, 0x80086504, zeros(8),
     [] { return orka_iencode_teardown_audio_encoder(); }, "ORKA_IENCODE: Calling Audio Encode Teardown.",
     no_audio},
    {"orka_iencode_teardown_video_encoder", video_encoder0, 0x6A04, zeros(0),
     [] { return orka_iencode_teardown_video_encoder(0); }, "ORKA_IENCODE: Calling Video Encode Teardown.",
     no_video},
};

class EncoderControl : public ControlTest {};

TEST_P(EncoderControl, SendsExactlyItsRecord)
{
    expect_sent();
}

TEST_P(EncoderControl, SendsItsRecordToTheSameNodeAgain)
{
    expect_sent_again();
}

TEST_P(EncoderControl, IsAnErrorWhenTheDriverRefuses)
{
    expect_refused(-1);
}

TEST_P(EncoderControl, IsAnErrorWhenTheDriverAnswersAnythingButZero)
{
    expect_refused(1);
}

TEST_P(EncoderControl, IsAnInputOutputFailureWithoutItsNode)
{
    expect_no_node();
}

INSTANTIATE_TEST_SUITE_P(Operations, EncoderControl, testing::ValuesIn(operations), row_name<Operation>);

class EncoderRecords : public DriverTest {
  protected:
    void expect_in_place(const char *node, uint32_t request, size_t size, const void *expected,
                         orka_status_t (*call)())
    {
        kernel.node(node);
        kernel.accept(node, request, size);
        kernel.forget_calls();
        EXPECT_EQ(call(), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(only_request().argument, expected);
    }
};

TEST_F(EncoderRecords, OfTheCallerAreHandedToTheDriversInPlace)
{
    expect_in_place("/dev/aencode", 0x80216500, name_record, image_name,
                    [] { return orka_iencode_load_audio_encoder_framework(image_name); });
    expect_in_place("/dev/imgencode", 0x80216A64, name_record, image_name,
                    [] { return orka_iencode_load_image_encoder_framework(image_name); });
    expect_in_place("/dev/iencode", 0x81006A00, 256, counted<orka_iencode_video_params_t>(),
                    [] { return orka_iencode_setup_video_encoder(counted<orka_iencode_video_params_t>()); });
    expect_in_place("/dev/aencode", 0x80306535, 48, counted<EchoRecord>(),
                    [] { return orka_iencode_start_audio_aec(counted<EchoRecord>()); });
    expect_in_place("/dev/aencode", 0x80086534, 8, &gain, [] { return orka_iencode_audio_set_gain(&gain); });
}

TEST_F(EncoderRecords, TakeAVideoNameOfThirtyFiveCharacters)
{
    kernel.node("/dev/iencode");
    kernel.accept("/dev/iencode", 0x802C6A05, 44);
    std::string longest(35, 'x');
    EXPECT_EQ(orka_iencode_load_video_encoder_framework(-1, -2, longest.c_str()), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().sent(), words({-1, -2}) + text(longest, 36));
}

struct VideoOperation {
    const char *function;
    uint32_t request;
    orka_status_t (*call)(int32_t);

    friend void PrintTo(const VideoOperation &operation, std::ostream *stream)
    {
        *stream << operation.function;
    }
};

const VideoOperation video_operations[] = {
    {"orka_iencode_init_video_encoder", 0x6A01, orka_iencode_init_video_encoder},
    {"orka_iencode_start_video_encoder", 0x6A02, orka_iencode_start_video_encoder},
    {"orka_iencode_stop_video_encoder", 0x6A03, orka_iencode_stop_video_encoder},
    {"orka_iencode_teardown_video_encoder", 0x6A04, orka_iencode_teardown_video_encoder},
};

class EncoderChannel : public DriverTest, public testing::WithParamInterface<VideoOperation> {};

TEST_P(EncoderChannel, HasANodeOfItsOwn)
{
    for (int32_t channel = 0; channel < 4; channel++) {
        const std::string node = "/dev/vencode" + std::to_string(channel);
        kernel.node(node.c_str());
        kernel.accept(node.c_str(), GetParam().request, no_record);
        kernel.forget_calls();
        EXPECT_EQ(GetParam().call(channel), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(only_request().path, node);
    }
}

TEST_P(EncoderChannel, OutsideZeroToThreeHasNone)
{
    for (int32_t channel : {-1, 4, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(GetParam().call(channel), ORKA_STATUS_IO);
        EXPECT_EQ(log.take_error(), error_line(GetParam().function, no_video));
        EXPECT_TRUE(kernel.calls({Fn::open, Fn::ioctl}).empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, EncoderChannel, testing::ValuesIn(video_operations),
                         row_name<VideoOperation>);

const Assertion assertions[] = {
    {"orka_iencode_load_audio_encoder_framework", audio_encoder, "fwname != ((void *)0)",
     [] { orka_iencode_load_audio_encoder_framework(nullptr); }},
    {"orka_iencode_load_video_encoder_framework", common_encoder, "fwname != ((void *)0)",
     [] { orka_iencode_load_video_encoder_framework(0, 0, nullptr); }},
    {"orka_iencode_load_image_encoder_framework", image_encoder, "fwname != ((void *)0)",
     [] { orka_iencode_load_image_encoder_framework(nullptr); }},
    {"orka_iencode_setup_audio_encoder", audio_encoder, "params != ((void *)0)",
     [] { orka_iencode_setup_audio_encoder(nullptr); }},
    {"orka_iencode_setup_video_encoder", common_encoder, "params != ((void *)0)",
     [] { orka_iencode_setup_video_encoder(nullptr); }},
};

class EncoderNull : public testing::TestWithParam<Assertion> {};

TEST_P(EncoderNull, AbortsThoughTheNodeIsThere)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node(GetParam().device.node);
        GetParam().call();
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_iencode.cpp", GetParam().function,
                                  GetParam().expression),
              "");
}

/* Where the node would be tried first, its absence would be reported. */
TEST_P(EncoderNull, AbortsBeforeTheNodeIsTried)
{
    Ending ending = end_of([](Kernel &) { GetParam().call(); });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_iencode.cpp", GetParam().function,
                                  GetParam().expression),
              "");
    EXPECT_THAT(ending.error, testing::Not(testing::HasSubstr("Opening")));
}

INSTANTIATE_TEST_SUITE_P(Arguments, EncoderNull, testing::ValuesIn(assertions), row_name<Assertion>);

class EncoderGain : public DriverTest {
  protected:
    void expect_out_of_range(int32_t first, int32_t second)
    {
        EXPECT_EQ(orka_iencode_audio_set_gaindb(first, second), ORKA_STATUS_OUT_OF_RANGE);
        EXPECT_EQ(log.take_error(), error_line("orka_iencode_audio_set_gaindb",
                                               "ORKA_IENCODE: Desired Gain out of Range. Min=-13 Max=13."));
        EXPECT_TRUE(kernel.calls({Fn::ioctl, Fn::open}).empty());
    }

    Bytes sent_for(int32_t first, int32_t second)
    {
        kernel.node("/dev/aencode");
        kernel.accept("/dev/aencode", 0x80086534, 8);
        kernel.forget_calls();
        EXPECT_EQ(orka_iencode_audio_set_gaindb(first, second), ORKA_STATUS_SUCCESS);
        return only_request().sent();
    }
};

TEST_F(EncoderGain, HasARowForEachDecibel)
{
    for (const GainRow &row : gain_rows) {
        EXPECT_EQ(sent_for(row.db, 0), halves(row.mantissa, 32767, row.shift, 0)) << row.db;
        EXPECT_EQ(sent_for(-12, row.db), halves(2067, row.mantissa, 0, row.shift)) << row.db;
    }
}

TEST_F(EncoderGain, KeepsTheTwoApart)
{
    EXPECT_EQ(sent_for(-12, 12), halves(2067, 32457, 0, 4));
}

TEST_F(EncoderGain, OutsideTheTableIsRefused)
{
    expect_out_of_range(-13, 0);
    expect_out_of_range(0, -13);
    expect_out_of_range(14, 0);
    expect_out_of_range(0, 14);
    expect_out_of_range(INT32_MAX - 12, 0);
    expect_out_of_range(0, INT32_MIN);
}

TEST_F(EncoderGain, InDecibelsPassesTheDriversRefusalOn)
{
    kernel.node("/dev/aencode");
    kernel.refuse("/dev/aencode", 0x80086534, 8, EPERM);
    EXPECT_EQ(orka_iencode_audio_set_gaindb(1, 1), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_iencode_audio_set_gain",
                                           "ORKA_IENCODE: Calling Audio Encode Set Gain.", EPERM));
}

} // namespace
