/*
 * The process's connections to the server. A call borrows a free one, or makes one; so as many calls run side
 * by side as the program has threads, and a signal handler may call in the middle of another call.
 */
#ifndef ORKA_BOARD_SHIM_CONNECTION_H
#define ORKA_BOARD_SHIM_CONNECTION_H

#include "shim/kernel.h"
#include "shim/talk.h"

namespace orka::board::shim {

void prepare_connections();

/* Makes the first connection; silent when there is no server. */
void greet();

/*
 * talk() over a connection of this process: -ENODEV where the board is gone or another board stands in its
 * place, -EMFILE, -ENFILE or -ENOMEM where the process has no means to connect.
 */
long transact(exchange &what);

/*
 * Whether a descriptor is the board's physical memory, and how many bytes that has. False before any
 * connection.
 */
bool is_memory(const identity &file, uint64_t &size);

/* Whether the board keeps programs and the DSP apart by a cache. False before any connection. */
bool has_cache();

} // namespace orka::board::shim

#endif
