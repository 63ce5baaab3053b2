/* A great many kills, for which one takes the time. */
#include "board/tools/record_kill.h"

namespace orka_tools_test {

using ManyRecorderKills = RecorderKills;

TEST_F(ManyRecorderKills, OfFiveHundredRecordersLeaveTheBoardFreeAndNoLarger)
{
    kill_and_look(500);
}

} // namespace orka_tools_test
