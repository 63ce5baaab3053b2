/* A few kills, every time. */
#include "board/play/kill.h"

namespace orka_play_test {

TEST_F(Kills, OfTwentyPlayersLeaveTheBoardExactAndNoLarger)
{
    kill_and_look(20);
}

} // namespace orka_play_test
