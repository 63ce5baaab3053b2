/*
 * Who may talk to the live view. Any page that a browser shows can send requests to this machine: one that
 * came by another name than the view's own (a name that was made to point here) is refused, and so is an
 * action that another page asks for.
 */
#ifndef ORKA_BOARD_VIEW_ACCESS_H
#define ORKA_BOARD_VIEW_ACCESS_H

#include <string>

namespace orka::board {

bool is_numeric_address(const std::string &host); /* IPv4, IPv6 without brackets */

/* header: "name", "name:port", "[address]:port". Good are localhost and the address that the view is bound
   to; of a view that is bound to all addresses, each address, but no name. */
bool is_own_host(const std::string &header, const std::string &bound);

/* The Origin header, which browsers send with every action; other programs send none. */
bool is_own_origin(const std::string &origin, const std::string &host_header);

} // namespace orka::board

#endif
