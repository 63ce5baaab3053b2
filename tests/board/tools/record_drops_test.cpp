/* In real time: what nobody takes is dropped, counted, and missing where it was. */
#include <csignal>

#include "board/tools/channels.h"

namespace orka_tools_test {

class InRealTime : public FourChannels {
  protected:
    InRealTime() : FourChannels({"--clock", "real"}) {}

    /* Pictures that are missing between the first and the last. */
    static int64_t missing(const std::vector<int64_t> &counters)
    {
        return counters.back() - counters.front() + 1 - static_cast<int64_t>(counters.size());
    }
};

/* The recorder stands still until its queue is full, which is four seconds of H.264. */
TEST_F(InRealTime, WhatNobodyTakesIsDroppedAndCounted)
{
    for (size_t i = 0; i < channels; i++)
        start(i, {});
    while (encoder(1)["frames_out"] < 1)
        std::this_thread::sleep_for(20ms);
    recorders[1]->signal(SIGSTOP);
    while (encoder(1)["dropped"] < 30)
        std::this_thread::sleep_for(50ms);
    const int64_t dropped = encoder(1)["dropped"];
    EXPECT_EQ(encoder(1)["state"], "encoding");
    recorders[1]->signal(SIGCONT);
    std::this_thread::sleep_for(2s);
    const int64_t by_others[] = {encoder(0)["dropped"], 0, encoder(2)["dropped"], encoder(3)["dropped"]};
    for (size_t i = 0; i < channels; i++) {
        recorders[i]->signal(SIGINT);
        expect_good_ending(i);
        const std::vector<int64_t> counters = marks_of(files[i]).counters;
        EXPECT_TRUE(std::ranges::is_sorted(counters, std::less_equal<>())) << files[i];
        const std::string told = std::to_string(missing(counters)) + " dropped\n";
        EXPECT_NE(recorders[i]->out().find(", " + told), std::string::npos) << told << recorders[i]->out();
        EXPECT_GE(missing(counters), i == 1 ? dropped : by_others[i]);
    }
}

/* Sound's queue is full after five seconds or later, pictures' after eight. */
TEST_F(InRealTime, SoundAndPictureStayTogetherWhereSoundWasDropped)
{
    for (const char *audio : {"PCM", "G711", "MP3", "AAC"}) {
        const std::string file = scratch(std::string(audio) + ".avi");
        Process recorder(on_board({ORKA_RECORD_PROGRAM, file, "--audio", audio, "--size", "352x288"}));
        while (sound_encoder()["frames_out"] < 10)
            std::this_thread::sleep_for(20ms);
        recorder.signal(SIGSTOP);
        while (sound_encoder()["dropped"] < 20)
            std::this_thread::sleep_for(50ms);
        recorder.signal(SIGCONT);
        std::this_thread::sleep_for(4s);
        recorder.signal(SIGINT);
        EXPECT_EQ(recorder.wait(), 0) << recorder.err();
        const std::vector<double> late = lateness(marks_of(file));
        EXPECT_GE(late.size(), 3u);
        EXPECT_NEAR(late.back(), 0, 0.045) << audio; /* in whole packets */
    }
}

} // namespace orka_tools_test
