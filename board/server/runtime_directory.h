/*
 * The private directory of a board or of a launcher: the socket, and the shims where programs' loaders find
 * them.
 */
#ifndef ORKA_BOARD_SERVER_RUNTIME_DIRECTORY_H
#define ORKA_BOARD_SERVER_RUNTIME_DIRECTORY_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace orka::board {

/* In which directory boards make theirs. */
std::string runtime_root();

using ShimFiles = std::map<std::string, std::filesystem::path>;
/* The shims that are found, by their ABIs' triples: in the preferred directories, then beside the program. */
ShimFiles shims_by_triple(const std::vector<std::string> &preferred);

/* Both of these throw std::system_error. A directory of mode 0700 with a new name. */
std::string make_runtime_directory();
/* Links the shims of every ABI that is found into the directory. Returns the ABIs' triples. */
std::vector<std::string> link_shims(const std::string &directory, const std::vector<std::string> &preferred);

void remove_runtime_directory(const std::string &directory);

std::string socket_in(const std::string &directory);
/* For LD_PRELOAD; each loader puts its own ABI's triple in. */
std::string preload_in(const std::string &directory);

} // namespace orka::board

#endif
