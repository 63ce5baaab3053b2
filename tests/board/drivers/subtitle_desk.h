/* The subtitle decoder on the desk, with a decoder of pictures whose time the test sets. */
#ifndef ORKA_TESTS_BOARD_SUBTITLE_DESK_H
#define ORKA_TESTS_BOARD_SUBTITLE_DESK_H

#include <nlohmann/json.hpp>

#include "desk.h"
#include "drivers/decode_driver.h"

namespace orka::board::desk {

constexpr orka_idecode_subtitle_params_t usual{};

class SubtitleDesk : public ::testing::Test {
  protected:
    SubtitleDesk()
    {
        desk.attach([this](Machine &board) {
            machine = &board;
            return make_subtitle_decode_driver(board);
        });
        desk.on_reactor(
            [this] { pictures = std::make_unique<DisplayClock::Source>(machine->display_clock, 0); });
    }
    ~SubtitleDesk() override
    {
        desk.on_reactor([this] { pictures.reset(); });
    }

    static void set_up(Player &player, const orka_idecode_subtitle_params_t &params = usual)
    {
        ASSERT_EQ(player.load("subtitle_dec"), 0);
        ASSERT_EQ(player.set_up(params), 0);
    }
    void play(Player &player, const orka_idecode_subtitle_params_t &params = usual)
    {
        set_up(player, params);
        ASSERT_EQ(player.start(), 0);
        desk.on_reactor([this] { pictures->start(true); });
    }
    int commit(Player &player, uint32_t begin, uint32_t duration, const std::string &text)
    {
        orka_idecode_frame_t frame = player.new_frame().frame;
        std::ranges::copy(text, desk.bytes(frame.addr, frame.capacity).begin());
        frame.size = static_cast<uint32_t>(text.size());
        frame.tsms = begin;
        frame.duration = duration;
        return player.commit(frame);
    }
    /* What is to be read when the picture of that time is shown. */
    std::string at(uint32_t tsms)
    {
        desk.on_reactor([&] { pictures->show(tsms); });
        return shown();
    }
    std::string shown()
    {
        std::string text;
        desk.on_reactor([&] { text = machine->subtitles.text(); });
        return text;
    }
    nlohmann::json told() { return desk.report<nlohmann::json>()["decoders"][0]; }

    Desk desk;
    Machine *machine = nullptr;
    std::unique_ptr<DisplayClock::Source> pictures;
    Player subtitles{desk, wire::node::subtldecode};
};

} // namespace orka::board::desk

#endif
