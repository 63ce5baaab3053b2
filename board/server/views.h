/*
 * What people's tools ask the board for. Everything here is for the reactor's thread.
 */
#ifndef ORKA_BOARD_SERVER_VIEWS_H
#define ORKA_BOARD_SERVER_VIEWS_H

#include <span>
#include <string>

#include "drivers/screen.h"

namespace orka::board {

/* A memfd with these bytes, or a negative errno value. */
int memory_file(const char *name, std::span<const uint8_t> bytes);

/* The same with the pixels of the screen, whose size goes to size. -ENODEV without a screen. */
int screenshot_file(Screen *screen, uint32_t plane, protocol::picture &size);

} // namespace orka::board

#endif
