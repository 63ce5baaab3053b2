/* A board that is kept running while a test looks at it, and waiting for what it comes to. */
#ifndef ORKA_TESTS_TOOLS_SERVED_BOARD_H
#define ORKA_TESTS_TOOLS_SERVED_BOARD_H

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include <unistd.h>

#include "board/soon.h"
#include "board/tools/support.h"

namespace orka_tools_test {

using orka_test::soon;

class Board {
  public:
    /* A socket's path is short. */
    explicit Board(const Words &options)
        : socket("/tmp/orka-test-" + std::to_string(getpid())),
          process(Words{ORKA_BOARD_PROGRAM, "serve", "--socket", socket} + options)
    {
        EXPECT_TRUE(soon([this] { return process.out().find("LD_PRELOAD") != std::string::npos; }))
            << process.err();
    }
    ~Board()
    {
        process.signal(SIGTERM);
        EXPECT_EQ(process.wait(), 0);
    }
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    /* The command line that runs a program on it. */
    Words running(const Words &program) const
    {
        return Words{ORKA_BOARD_PROGRAM, "run", "--board", socket, "--"} + program;
    }
    Words looking(const std::string &how) const { return {ORKA_BOARD_PROGRAM, how, "--board", socket}; }

    const std::string socket;
    Process process;
};

} // namespace orka_tools_test

#endif
