/* A great many kills, for which one takes the time. */
#include "board/play/kill.h"

namespace orka_play_test {

using ManyKills = Kills;

TEST_F(ManyKills, OfAThousandPlayersLeaveTheBoardExactAndNoLarger)
{
    kill_and_look(1000);
}

} // namespace orka_play_test
