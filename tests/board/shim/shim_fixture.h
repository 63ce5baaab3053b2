#ifndef ORKA_TESTS_SHIM_FIXTURE_H
#define ORKA_TESTS_SHIM_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "board/shim/programs.h"
#include "board/shim/scripted_server.h"

namespace orka::board::test {

using Commands = std::vector<std::string>;
using protocol::operation;

/* A program with the shim before it, and a scripted server behind that; once for each ABI. */
class Shim : public testing::TestWithParam<Abi> {
  protected:
    void SetUp() override
    {
        if (!GetParam().is_built())
            GTEST_SKIP() << "nothing is built in " << GetParam().build;
    }

    /* What device_probe prints for the commands. */
    std::string probe(const Commands &commands) { return probe_with(commands, {.board = server.path()}); }

    std::string probe_with(const Commands &commands, const Setting &setting)
    {
        const Outcome outcome = run_program(GetParam(), "device_probe", commands, setting);
        status = outcome.status;
        return outcome.output;
    }

    /* The command that runs the rest in a new image. */
    std::string exec() const
    {
        std::string command = "exec";
        for (const std::string &word : GetParam().launcher)
            command += " " + word;
        return command;
    }

    /* What becomes of a request that neither kernel nor board knows: an emulator does not hand it on. */
    std::string refused() const { return GetParam().launcher.empty() ? "-1 ENOTTY" : "-1 ENOSYS"; }

    /* The requests of one operation that came, after the program's end. */
    std::vector<Asked> asked(operation which) const { return server.asked(which); }

    ScriptedServer server;
    int status = -1;
};

inline std::string name_of_abi(const testing::TestParamInfo<Abi> &info)
{
    return info.param.name;
}

} // namespace orka::board::test

#endif
