/* A few kills, every time. */
#include "board/tools/record_kill.h"

namespace orka_tools_test {

TEST_F(RecorderKills, OfTwentyRecordersLeaveTheBoardFreeAndNoLarger)
{
    kill_and_look(20);
}

TEST_F(RecorderKills, DoNotDisturbARecordingOnAnotherChannel)
{
    const std::string file = scratch("undisturbed.mov");
    Process other(recorder(file + " --video H263 --no-audio --channel 3"));
    kill_recorders(8);
    other.signal(SIGINT);
    EXPECT_EQ(other.wait(), 0) << other.err() << server.err();
    const std::vector<int64_t> counters = marks_of(file).counters;
    EXPECT_GT(counters.size(), 30u);
    EXPECT_EQ(counters, consecutive(counters));
}

} // namespace orka_tools_test
