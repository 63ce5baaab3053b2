#include "server/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace orka::board {
namespace {

using wire::node;

template <typename Record>
std::span<const uint8_t> bytes_of(const Record &record)
{
    return {reinterpret_cast<const uint8_t *>(&record), sizeof record};
}

const wire::request_row &row(node on, uint32_t number)
{
    return *wire::find_request(on, number);
}

TEST(TraceTest, DescribesAnAllocation)
{
    const uint32_t size = 8192;
    const uint32_t address = 0x123000;
    const auto &alloc = row(node::imanage, wire::IMANAGE_ALLOC);
    EXPECT_EQ(describe_request(alloc, bytes_of(size)), "bytes=8192");
    EXPECT_EQ(describe_answer(alloc, bytes_of(address)), "address=0x00123000");
}

TEST(TraceTest, DescribesNothingWhereThereIsNothing)
{
    EXPECT_EQ(describe_request(row(node::imanage, wire::IMANAGE_RESET), {}), "");
    EXPECT_EQ(describe_answer(row(node::imanage, wire::IMANAGE_RESET), {}), "");
}

TEST(TraceTest, DescribesANameUpToItsEndWithItsOddBytesMadeVisible)
{
    const char name[] = "a\tb";
    EXPECT_EQ(describe_request(row(node::imanage, wire::IMANAGE_LOAD), bytes_of(name)), "name=\"a\\x09b\"");
}

TEST(TraceTest, DescribesTheVideoLoadWithItsChannel)
{
    const wire::video_framework_record record{.channel = 1, .stream = 0, .name = "mpeg4_aac_dec"};
    EXPECT_EQ(describe_request(row(node::vdecode, wire::IDECODE_LOAD), bytes_of(record)),
              "channel=1, stream=0, name=\"mpeg4_aac_dec\"");
}

TEST(TraceTest, DescribesTheAudioLoadAsAName)
{
    const char name[] = "x";
    EXPECT_EQ(describe_request(row(node::adecode, wire::IDECODE_LOAD), bytes_of(name)), "name=\"x\"");
}

TEST(TraceTest, DescribesAudioParameters)
{
    wire::audio_setup_record record{};
    record.params = {.codec = 3,
                     .channels = 2,
                     .sample_rate = 44100,
                     .bitrate = 128,
                     .bitrate_bps = 128000,
                     .extra1 = 7,
                     .extra2 = 8,
                     .bufsize = 65536,
                     .bufcount = 16,
                     .maxframe = 4096};
    EXPECT_EQ(describe_request(row(node::adecode, wire::IDECODE_SETUP_AUDIO), bytes_of(record)),
              "channel=0, stream=0, codec=3, channels=2, sample_rate=44100, bitrate=128, bitrate_bps=128000, "
              "extra1=7, extra2=8, bufsize=65536, bufcount=16, maxframe=4096");
}

TEST(TraceTest, DescribesVideoParameters)
{
    wire::video_setup_record record{.channel = 3, .stream = 1};
    record.params.codec = 256;
    record.params.width = 720;
    record.params.height = 480;
    record.params.flag = 1;
    record.params.bufsize = 1000;
    record.params.bufcount = 4;
    record.params.maxframe = 250;
    EXPECT_EQ(describe_request(row(node::vdecode, wire::IDECODE_SETUP_VIDEO), bytes_of(record)),
              "channel=3, stream=1, codec=256, width=720, height=480, flag=1, bufsize=1000, bufcount=4, "
              "maxframe=250");
}

TEST(TraceTest, DescribesGain)
{
    const orka_idecode_gain_t gain{32767, 2067, 0, 4};
    EXPECT_EQ(describe_request(row(node::adecode, wire::IDECODE_SET_GAIN), bytes_of(gain)),
              "first_mantissa=32767, second_mantissa=2067, first_shift=0, second_shift=4");
}

TEST(TraceTest, DescribesQueues)
{
    const wire::queue_record record{.queueid = 8, .length = 4096, .pbase = 0x3000000};
    const auto &queue = row(node::vdecode, wire::IDECODE_QUEUE);
    EXPECT_EQ(describe_request(queue, bytes_of(record)), "channel=0, stream=0, queueid=8");
    EXPECT_EQ(describe_answer(queue, bytes_of(record)), "length=4096, pbase=0x03000000");
}

constexpr orka_idecode_frame_t a_frame{.kind = 2,
                                       .flags = 1,
                                       .number = 9,
                                       .addr = 0x3000100,
                                       .size = 10,
                                       .width = 720,
                                       .height = 480,
                                       .tsms = 40,
                                       .stride = 1440,
                                       .capacity = 20,
                                       .duration = 33};
constexpr char its_words[] =
    "kind=2, flags=1, number=9, addr=0x03000100, size=10, width=720, height=480, tsms=40, "
    "stride=1440, capacity=20, duration=33";

TEST(TraceTest, DescribesAFrameThatIsGiven)
{
    const wire::frame_request_record record{.timeout = -1, .status = 0, .frame = a_frame};
    const auto &get = row(node::vdecode, wire::IDECODE_GET_FRAME);
    EXPECT_EQ(describe_request(get, bytes_of(record)), "channel=0, stream=0, queueid=0, timeout=-1");
    EXPECT_EQ(describe_answer(get, bytes_of(record)), std::string("status=0, ") + its_words);
}

TEST(TraceTest, DescribesNoFrameWhereNoneIsGiven)
{
    const wire::frame_request_record record{.status = 1, .frame = a_frame};
    EXPECT_EQ(describe_answer(row(node::adecode, wire::IDECODE_NEW_FRAME), bytes_of(record)), "status=1");
}

TEST(TraceTest, DescribesAFrameThatGoesBack)
{
    const wire::frame_return_record record{.queueid = 3, .frame = a_frame};
    EXPECT_EQ(describe_request(row(node::adecode, wire::IDECODE_COMMIT_FRAME), bytes_of(record)),
              std::string("channel=0, stream=0, queueid=3, ") + its_words);
}

TEST(TraceTest, DescribesTheRest)
{
    const wire::flush_record flush{.flush = 1};
    const wire::wait_record wait{.timeout = 5, .status = 2};
    const wire::audio_clock_record audio{.tsms = 11};
    const wire::video_clock_record video{.tsms = 12};
    EXPECT_EQ(describe_request(row(node::vdecode, wire::IDECODE_FLUSH), bytes_of(flush)),
              "channel=0, stream=0, flush=1");
    EXPECT_EQ(describe_request(row(node::adecode, wire::IDECODE_WAIT), bytes_of(wait)),
              "channel=0, stream=0, timeout=5");
    EXPECT_EQ(describe_answer(row(node::adecode, wire::IDECODE_WAIT), bytes_of(wait)), "status=2");
    EXPECT_EQ(describe_answer(row(node::adecode, wire::IDECODE_GET_AUDIO_CLOCK), bytes_of(audio)), "tsms=11");
    EXPECT_EQ(describe_answer(row(node::vdecode, wire::IDECODE_GET_VIDEO_CLOCK), bytes_of(video)), "tsms=12");
}

TEST(TraceTest, NoRecordIsReadBeyondItsEnd)
{
    const std::array<uint8_t, 3> stub{};
    for (const wire::request_row &one : wire::requests)
        EXPECT_NO_FATAL_FAILURE(describe_request(one, stub) + describe_answer(one, stub));
}

TEST(TraceTest, AnUnwritableFileIsAnErrorAtOnce)
{
    EXPECT_THROW(Trace("/proc/nonexistent/trace"), std::system_error);
}

TEST(LineFileTest, AFailingWriteIsSaidOnce)
{
    LineFile full("/dev/full");
    testing::internal::CaptureStderr();
    full.write("one");
    full.write("two");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "orka-board: writing /dev/full: No space left on device\n");
}

} // namespace
} // namespace orka::board
