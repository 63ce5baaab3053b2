/* One request and its reply over a connection to the server. */
#ifndef ORKA_BOARD_SHIM_TALK_H
#define ORKA_BOARD_SHIM_TALK_H

#include <cstddef>

#include "protocol/protocol.h"

namespace orka::board::shim {

struct exchange {
    protocol::request request{};
    const void *record = nullptr; /* request.length bytes, often the program's own */
    void *answer = nullptr;       /* where the reply's bytes go, untouched on an error */
    size_t room = 0;              /* bytes that fit there */
    bool interruptible = false;   /* a signal makes the server give the request up */
    protocol::reply reply{};
    int descriptor = -1; /* what an open brought; close-on-exec */
};

/*
 * 0 when the server has replied, whatever it replied, or a negative error number: -EFAULT where the program's
 * record or answer cannot be reached, -EMFILE where a descriptor found no number, -ENOMEM. After -ENODEV the
 * connection is of no more use.
 */
long talk(int connection, exchange &what);

} // namespace orka::board::shim

#endif
