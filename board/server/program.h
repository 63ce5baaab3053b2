/* The program to run: where it is, what kind it is, and what that means for preloading. */
#ifndef ORKA_BOARD_SERVER_PROGRAM_H
#define ORKA_BOARD_SERVER_PROGRAM_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orka::board {

struct Architecture {
    uint16_t machine;
    const char *name;   /* for people */
    const char *triple; /* of its shim; empty where there is none */
    const char *preset; /* that builds its shim; null for one that none builds */
};

std::span<const Architecture> architectures_with_shims();
std::string how_to_build_shim(const std::string &triple);

/* Where Debian's cross packages put what ARM programs need. */
inline constexpr char arm_system[] = "/usr/arm-linux-gnueabi";
bool kernel_runs_arm();

struct Program {
    std::string path;
    bool elf = false;
    bool interpreted = false; /* has a loader, which can preload */
    bool privileged = false;  /* set-user-ID or set-group-ID: its loader preloads nothing from us */
    bool arm = false;
    std::string architecture; /* for people */
    std::string triple;       /* of the shim it needs; empty for an architecture that has none */
};

/* What a file is, whether it can be executed or not. */
Program look_at(const std::string &path);

/* As a shell finds it. error: 0, ENOENT, or what keeps it from being executed. */
Program find_program(const std::string &name, int &error);

/* The words to execute. An ARM program goes through the emulator where the kernel does not know how to run
   it; then preload goes into the words, not into the environment, which is the emulator's too. */
struct Invocation {
    std::vector<std::string> words;
    bool emulated = false;
};
/* No words, and a text in why, where the program cannot be run here. */
Invocation invocation_of(const Program &program, const std::vector<std::string> &arguments,
                         const std::string &preload, std::string &why);

/* Why a program never came to the board. */
std::string why_not_connected(const Program &program, const std::vector<std::string> &shim_triples);

} // namespace orka::board

#endif
