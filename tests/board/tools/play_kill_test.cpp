/* A few kills, every time. */
#include "board/tools/kill.h"

namespace orka_tools_test {

TEST_F(Kills, OfTwentyPlayersLeaveTheBoardExactAndNoLarger)
{
    kill_and_look(20);
}

} // namespace orka_tools_test
