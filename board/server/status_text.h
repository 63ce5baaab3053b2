/* The board's state for people to read, out of what is there for programs. */
#ifndef ORKA_BOARD_SERVER_STATUS_TEXT_H
#define ORKA_BOARD_SERVER_STATUS_TEXT_H

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace orka::board {

/*
 * A heading for each part of the status, and below it, indented, a line for each record: "name value, name
 * value"; a record within a record follows on lines of its own. Names may be any.
 */
std::string status_text(const nlohmann::json &status);

} // namespace orka::board

#endif
