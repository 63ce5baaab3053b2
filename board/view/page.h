#ifndef ORKA_BOARD_VIEW_PAGE_H
#define ORKA_BOARD_VIEW_PAGE_H

#include <string_view>

namespace orka::board {

/* page.html, made a part of the program by embed.cmake. */
extern const std::string_view page;

} // namespace orka::board

#endif
