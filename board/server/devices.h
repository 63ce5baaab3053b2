/* What stands behind the nodes of a board. */
#ifndef ORKA_BOARD_SERVER_DEVICES_H
#define ORKA_BOARD_SERVER_DEVICES_H

#include "server/server.h"

namespace orka::board {

/* The machine has its camera and its microphone. */
void attach_devices(Server &server, Machine &machine);

} // namespace orka::board

#endif
