/* Programs killed at any instant leave the board as it was: the fixtures for as many as one likes. */
#ifndef ORKA_TESTS_TOOLS_KILL_H
#define ORKA_TESTS_TOOLS_KILL_H

#include <dirent.h>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>

#include <csignal>

#include "board/tools/support.h"

namespace orka_tools_test {

using namespace std::chrono_literals;

/* What the server holds. */
struct Holding {
    size_t descriptors;
    size_t memory; /* KiB, resident */
};

Holding holding_of(pid_t process)
{
    const std::string directory = "/proc/" + std::to_string(process);
    Holding holding{};
    const std::unique_ptr<DIR, int (*)(DIR *)> descriptors(opendir((directory + "/fd").c_str()), closedir);
    while (readdir(descriptors.get()))
        holding.descriptors++;
    std::ifstream status(directory + "/status");
    for (std::string word; status >> word;) {
        if (word == "RssAnon:")
            status >> holding.memory;
    }
    return holding;
}

class KillsOnABoard : public testing::Test {
  protected:
    void SetUp() override
    {
        while (server.out().find("LD_PRELOAD") == std::string::npos)
            std::this_thread::sleep_for(10ms);
        environment = server.out();
    }

    /* A program of the board that is kept running, as a process of its own and no launcher's. */
    Words tool(const std::string &program, const std::string &arguments) const
    {
        return {"sh", "-c", environment + "exec " + program + " " + arguments};
    }

    /* Each is told by its number. Says how many there still were to kill. */
    template <typename Command>
    int kill_some(int count, Command command)
    {
        std::uniform_int_distribution<int> instant(0, 200);
        int killed = 0;
        for (int i = 0; i < count; i++) {
            Process process(command(i));
            std::this_thread::sleep_for(std::chrono::milliseconds(instant(random)));
            process.signal(SIGKILL);
            killed += process.wait() == 128 + SIGKILL;
        }
        return killed;
    }

    /* The kernel tells the server of a client's end a moment later. */
    Holding settled()
    {
        Holding holding = holding_of(server.id());
        for (int i = 0; i < 50 && holding.descriptors > before.descriptors; i++) {
            std::this_thread::sleep_for(20ms);
            holding = holding_of(server.id());
        }
        return holding;
    }

    void expect_no_more_than_before()
    {
        const Holding after = settled();
        EXPECT_LE(after.descriptors, before.descriptors);
        EXPECT_LE(after.memory, before.memory + 8 * 1024);
    }

    /* In one arena: threads that come and go leave one each to the heap, half full. */
    Process server{{"env", "MALLOC_ARENA_MAX=1", ORKA_BOARD_PROGRAM, "serve"}};
    std::string environment;
    Holding before{};
    std::mt19937 random{testing::UnitTest::GetInstance()->random_seed() + 1u};
};

/* Of players. */
class Kills : public KillsOnABoard {
  protected:
    Words player(const std::string &arguments) const { return tool(ORKA_PLAY_PROGRAM, arguments); }

    /* Of a clip that takes longer than they live. */
    int kill_players(int count)
    {
        const std::string file = clip("kill.avi", picture_source("352x288", 40) + sound_source(44100, 40) +
                                                      "-c:v mpeg4 -g 5 -c:a libmp3lame");
        return kill_some(count, [&](int) { return player(file); });
    }

    void expect_exact_pictures()
    {
        const std::string framemd5 = scratch("framemd5");
        const Ending ending = run(player("--framemd5 " + framemd5 + " " + plain_clip()));
        ASSERT_EQ(ending.status, 0) << ending.err << server.err();
        EXPECT_EQ(sizes_and_hashes(contents(framemd5)), sizes_and_hashes(ffmpeg_framemd5(plain_clip())));
    }

    void kill_and_look(int count)
    {
        expect_exact_pictures();
        kill_players(10);
        std::this_thread::sleep_for(200ms);
        before = holding_of(server.id());
        EXPECT_GE(kill_players(count), count * 9 / 10);
        expect_exact_pictures();
        expect_no_more_than_before();
    }
};

} // namespace orka_tools_test

#endif
