/* In real time: what nobody takes is dropped, counted, and missing where it was. */
#include <csignal>
#include <gmock/gmock.h>

#include "board/soon.h"
#include "board/tools/channels.h"

namespace orka_tools_test {

using orka_test::soon;

class InRealTime : public FourChannels {
  protected:
    InRealTime() : FourChannels({"--clock", "real"}) {}

    /* Pictures that are missing between the first and the last. */
    static int64_t missing(const std::vector<int64_t> &counters)
    {
        return counters.back() - counters.front() + 1 - static_cast<int64_t>(counters.size());
    }
    /* Until the recorder took what waits for it now, and as many pictures more. */
    void let_record(size_t channel, int64_t pictures) const
    {
        const nlohmann::json now = encoder(channel);
        const int64_t taken = now["frames_out"].get<int64_t>() + now["queue"]["waiting"].get<int64_t>();
        EXPECT_TRUE(soon([&] { return encoder(channel)["frames_out"] >= taken + pictures; }));
    }
};

/* The recorder stands still until its queue is full, which is four seconds of H.264. */
TEST_F(InRealTime, WhatNobodyTakesIsDroppedAndCounted)
{
    for (size_t i = 0; i < channels; i++)
        start(i, {});
    for (size_t i = 0; i < channels; i++)
        ASSERT_TRUE(soon([&] { return encoder(i)["frames_out"] >= 1; }));
    const int64_t before = encoder(1)["dropped"];
    recorders[1]->signal(SIGSTOP);
    ASSERT_TRUE(soon([&] { return encoder(1)["dropped"] >= before + 30; }));
    const int64_t dropped = encoder(1)["dropped"].get<int64_t>() - before;
    EXPECT_EQ(encoder(1)["state"], "encoding");
    recorders[1]->signal(SIGCONT);
    let_record(1, 30);
    for (size_t i = 0; i < channels; i++) {
        recorders[i]->signal(SIGINT);
        expect_good_ending(i);
        const std::vector<int64_t> counters = marks_of(files[i]).counters;
        EXPECT_TRUE(std::ranges::is_sorted(counters, std::less_equal<>())) << files[i];
        const std::string told = std::to_string(missing(counters)) + " dropped\n";
        EXPECT_NE(recorders[i]->out().find(", " + told), std::string::npos) << told << recorders[i]->out();
        EXPECT_GE(missing(counters), i == 1 ? dropped : 0) << files[i];
    }
}

/* Sound's queue is full after five seconds or later, pictures' after eight. */
TEST_F(InRealTime, SoundAndPictureStayTogetherWhereSoundWasDropped)
{
    for (const char *audio : {"PCM", "G711", "MP3", "AAC"}) {
        const std::string file = scratch(std::string(audio) + ".avi");
        Process recorder(on_board({ORKA_RECORD_PROGRAM, file, "--audio", audio, "--size", "352x288"}));
        ASSERT_TRUE(soon([&] { return sound_encoder()["frames_out"] >= 10; }));
        recorder.signal(SIGSTOP);
        ASSERT_TRUE(soon([&] { return sound_encoder()["dropped"] >= 20; }));
        recorder.signal(SIGCONT);
        let_record(0, 120);
        recorder.signal(SIGINT);
        EXPECT_EQ(recorder.wait(), 0) << recorder.err();
        const std::vector<double> late = lateness(marks_of(file));
        EXPECT_GE(late.size(), 3u);
        EXPECT_NEAR(late.back(), 0, 0.045) << audio; /* in whole packets */
    }
}

/* The recorder stands still beyond the end that was asked for. */
TEST_F(InRealTime, WhatIsDroppedUpToTheEndIsCountedAndNothingAfterIt)
{
    start(1, {"--seconds", "8"});
    ASSERT_TRUE(soon([&] { return encoder(1)["frames_out"] >= 1; }));
    recorders[1]->signal(SIGSTOP);
    ASSERT_TRUE(soon([&] { return encoder(1)["frames_in"] >= 280; }));
    recorders[1]->signal(SIGCONT);
    expect_good_ending(1);
    const size_t held = marks_of(files[1]).counters.size();
    EXPECT_LT(held, 240u);
    EXPECT_THAT(recorders[1]->out(),
                testing::HasSubstr(" seconds, " + std::to_string(240 - held) + " dropped\n"));
}

/* None is dropped on a machine that keeps up; on another one, what is not there was counted. */
TEST_F(InRealTime, FourChannelsHoldOrCountEveryPictureOfTenSeconds)
{
    for (size_t i = 0; i < channels; i++)
        start(i, {"--seconds", "10"});
    for (size_t i = 0; i < channels; i++) {
        expect_good_ending(i);
        const std::vector<int64_t> counters = marks_of(files[i]).counters;
        EXPECT_TRUE(std::ranges::is_sorted(counters, std::less_equal<>())) << files[i];
        const int64_t dropped = 300 - static_cast<int64_t>(counters.size());
        EXPECT_THAT(recorders[i]->out(), testing::ContainsRegex(", " + std::to_string(counters.size()) +
                                                                " frames, [0-9.]+ seconds, " +
                                                                std::to_string(dropped) + " dropped\n"));
        EXPECT_LE(missing(counters), dropped) << files[i];
        RecordProperty("dropped" + std::to_string(i), std::to_string(dropped));
    }
}

} // namespace orka_tools_test
