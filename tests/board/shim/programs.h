/* Runs programs of every ABI that is built here, with the shim before them. */
#ifndef ORKA_TESTS_PROGRAMS_H
#define ORKA_TESTS_PROGRAMS_H

#include <iosfwd>
#include <string>
#include <vector>

namespace orka::board::test {

struct Abi {
    std::string name;
    std::string build; /* the build folder */
    std::string triple;
    std::vector<std::string> launcher; /* what runs its programs, if not the kernel */
    bool time64;                       /* has a second build of each program, with times of 64 bits */

    std::string program(const std::string &file) const { return build + "/programs/" + file; }
    std::string shim() const;
    bool is_built() const;
};

/* In a failure's message. */
void PrintTo(const Abi &abi, std::ostream *out);

/* This build's own, and those of the build folders beside it. */
const std::vector<Abi> &abis();
std::vector<Abi> abis_with_time64(bool time64);

struct Outcome {
    std::string output; /* and errors, as they came */
    int status;         /* as waitpid() tells it */
};

struct Setting {
    std::string board;   /* ORKA_BOARD; none where empty */
    bool preload = true; /* the shims of all ABIs */
};

Outcome run_program(const Abi &abi, const std::string &file, const std::vector<std::string> &arguments,
                    const Setting &setting);

/* The value of LD_PRELOAD that serves programs of every ABI. */
std::string preload_path();

} // namespace orka::board::test

#endif
