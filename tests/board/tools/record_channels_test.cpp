/* Four channels at once, and what they have to do with each other. */
#include <csignal>

#include "board/tools/channels.h"

namespace orka_tools_test {

TEST_F(FourChannels, OfFourProcessesLoseNoPictureInTenSeconds)
{
    record_all(10);
}

TEST_F(FourChannels, AnswerOnlyThoseWhoDoNotHaveThem)
{
    start(0, {});
    while (encoder(0)["state"] != "encoding")
        std::this_thread::sleep_for(20ms);
    const Ending second = run(on_board({ORKA_RECORD_PROGRAM, scratch("second.avi"), "--no-audio"}));
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("orka-record: the video encoder refused"), std::string::npos) << second.err;
    recorders[0]->signal(SIGINT);
    expect_good_ending(0);
}

TEST_F(FourChannels, AreSeenOnTheScreenWithViewUntilTheRecordingEnds)
{
    const std::string shot = scratch("shot.png");
    const auto screen = [&] {
        EXPECT_EQ(run(on_board({ORKA_BOARD_PROGRAM, "screenshot", shot})).status, 0);
        return decoded_grey(shot);
    };
    const std::string black(size_t{720} * 480, '\0');
    EXPECT_EQ(screen(), black);
    start(3, {"--view"});
    for (int i = 0; i < 250 && screen() == black; i++)
        std::this_thread::sleep_for(20ms);
    EXPECT_GE(counter_in(screen(), 720, {67, 0, 586, 480}), 0); /* 176x144, as large as fits into 640x480 */
    recorders[3]->signal(SIGINT);
    expect_good_ending(3);
    EXPECT_EQ(screen(), black);
}

/* Streams that join begin where the others stand, between two pictures and two samples. */
TEST_F(FourChannels, KeepSoundAndPictureTogetherWhereOthersCaptureAlready)
{
    start(2, {});
    while (encoder(2)["frames_in"] < 10)
        std::this_thread::sleep_for(20ms);
    for (const char *name : {"late.mp4", "late.mkv", "late.avi"}) {
        const std::string file = scratch(name);
        const Ending ending = run(
            on_board({ORKA_RECORD_PROGRAM, file, "--audio", "AAC", "--size", "352x288", "--seconds", "4"}));
        EXPECT_EQ(ending.status, 0) << ending.err;
        const std::vector<double> late = lateness(marks_of(file));
        EXPECT_GE(late.size(), 3u);
        for (const double seconds : late)
            EXPECT_NEAR(seconds, 0, 0.022) << name; /* half a packet, in an AVI */
    }
    recorders[2]->signal(SIGINT);
    expect_good_ending(2);
}

} // namespace orka_tools_test
