/* Whether other users can put something of their own in the place of what lies in a directory. */
#ifndef ORKA_BOARD_SERVER_DIRECTORY_SAFETY_H
#define ORKA_BOARD_SERVER_DIRECTORY_SAFETY_H

#include <string>

namespace orka::board {

/*
 * Why other users could; empty where they cannot: in a directory of this user's or of root's to which nobody
 * else can write, or, as in /tmp, where everybody keeps what is his own.
 */
std::string danger_in_directory(const std::string &path);

inline bool is_safe_directory(const std::string &path)
{
    return danger_in_directory(path).empty();
}

} // namespace orka::board

#endif
