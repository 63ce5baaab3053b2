/* Four recorders at once, each a process of its own with another channel, codec and size, on one board. */
#ifndef ORKA_TESTS_TOOLS_CHANNELS_H
#define ORKA_TESTS_TOOLS_CHANNELS_H

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "board/tools/recorded.h"
#include "board/tools/support.h"

namespace orka_tools_test {

using namespace std::chrono_literals;

constexpr size_t channels = 4;

class FourChannels : public testing::Test {
  protected:
    explicit FourChannels(const Words &options = {}) : server(Words{ORKA_BOARD_PROGRAM, "serve"} + options)
    {
        while (server.out().find("LD_PRELOAD") == std::string::npos)
            std::this_thread::sleep_for(10ms);
        environment = server.out();
        const Words arguments[channels] = {{"--video", "MPEG4", "--audio", "MP3"},
                                           {"--video", "H264", "--no-audio", "--size", "640x480"},
                                           {"--video", "H263", "--no-audio"},
                                           {"--video", "MPEG2", "--no-audio", "--size", "176x144"}};
        const char *const names[channels] = {"0.avi", "1.mkv", "2.mov", "3.ts"};
        for (size_t i = 0; i < channels; i++) {
            files[i] = scratch(names[i]);
            orders[i] = Words{files[i], "--channel", std::to_string(i)} + arguments[i];
        }
    }
    /* A program of the board, as a process of its own and no launcher's. */
    Words on_board(const Words &words) const
    {
        return Words{"sh", "-c", environment + "exec \"$@\"", "sh"} + words;
    }
    void start(size_t channel, const Words &options)
    {
        recorders[channel] =
            std::make_unique<Process>(on_board(Words{ORKA_RECORD_PROGRAM} + orders[channel] + options));
    }
    void expect_good_ending(size_t channel)
    {
        EXPECT_EQ(recorders[channel]->wait(), 0) << channel << recorders[channel]->err() << server.err();
    }
    nlohmann::json encoder(size_t channel) const { return told_of("vencode", channel); }
    nlohmann::json sound_encoder() const { return told_of("aencode", 0); }
    nlohmann::json told_of(const char *node, size_t channel) const
    {
        const nlohmann::json status = nlohmann::json::parse(
            run(on_board({ORKA_BOARD_PROGRAM, "status", "--json"})).out, nullptr, false);
        for (const nlohmann::json &one : status.value("encoders", nlohmann::json::array())) {
            if (one["node"] == node && one["channel"] == channel)
                return one;
        }
        return {};
    }
    /* On the fast clock: every picture is in every file. */
    void record_all(unsigned seconds)
    {
        for (size_t i = 0; i < channels; i++)
            start(i, {"--seconds", std::to_string(seconds)});
        for (size_t i = 0; i < channels; i++)
            expect_good_ending(i);
        for (const std::string &file : files) {
            const std::vector<int64_t> counters = marks_of(file).counters;
            EXPECT_EQ(counters.size(), seconds * 30) << file;
            EXPECT_GE(counters.front(), 0) << file;
            EXPECT_EQ(counters, consecutive(counters)) << file;
        }
    }

    Process server;
    std::string environment;
    std::array<std::string, channels> files;
    std::array<Words, channels> orders;
    std::array<std::unique_ptr<Process>, channels> recorders;
};

} // namespace orka_tools_test

#endif
