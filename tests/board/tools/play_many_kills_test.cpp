/* A great many kills, for which one takes the time. */
#include "board/tools/kill.h"

namespace orka_tools_test {

using ManyKills = Kills;

TEST_F(ManyKills, OfAThousandPlayersLeaveTheBoardExactAndNoLarger)
{
    kill_and_look(1000);
}

} // namespace orka_tools_test
