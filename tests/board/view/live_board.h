/* A board with a live view, in its own time, and what a program can ask that view. */
#ifndef ORKA_TESTS_BOARD_VIEW_LIVE_BOARD_H
#define ORKA_TESTS_BOARD_VIEW_LIVE_BOARD_H

#include <cstdint>
#include <gtest/gtest.h>
#include <regex>
#include <string>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "board/tools/served_board.h"

namespace orka_tools_test {

inline int port_in(const std::string &text)
{
    std::smatch found;
    const std::regex place("orka-board: live view at http://127\\.0\\.0\\.1:([0-9]+)/\n");
    return std::regex_search(text, found, place) ? std::stoi(found[1]) : 0;
}

class LiveView : public ::testing::Test {
  protected:
    LiveView()
        : board({"--clock", "real", "--view"}), port(port_in(board.process.err())), client("127.0.0.1", port)
    {
        EXPECT_NE(port, 0) << board.process.err();
        client.set_read_timeout(60);
    }

    std::string get(const std::string &path)
    {
        const httplib::Result answer = client.Get(path);
        EXPECT_TRUE(answer) << path;
        EXPECT_EQ(answer ? answer->status : 0, 200) << path;
        return answer ? answer->body : "";
    }
    int post(const std::string &path, const httplib::Headers &headers = {})
    {
        const httplib::Result answer = client.Post(path, headers);
        return answer ? answer->status : 0;
    }
    nlohmann::json status() { return nlohmann::json::parse(get("/status")); }
    nlohmann::json decoder(const std::string &node)
    {
        const nlohmann::json all = status();
        for (const nlohmann::json &one : all["decoders"]) {
            if (one["node"] == node)
                return one;
        }
        return nlohmann::json::object();
    }
    uint32_t shown(const std::string &node) { return decoder(node).value("tsms", 0U); }

    Board board;
    int port;
    httplib::Client client;
};

/* With three minutes of picture and sound that play. */
class PlayingView : public LiveView {
  protected:
    PlayingView()
        : player({ORKA_BOARD_PROGRAM, "run", "--board", board.socket, "--", ORKA_PLAY_PROGRAM,
                  clip("minutes.avi", picture_source("352x288", 180) + " " + sound_source(44100, 180) +
                                          " -r 25 -c:v mpeg4 -g 25 -c:a libmp3lame")})
    {
        EXPECT_TRUE(soon([this] { return shown("vdecode") > 0; })) << player.err();
    }
    Process player;
};

} // namespace orka_tools_test

#endif
