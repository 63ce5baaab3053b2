/* The video node on the desk, with scripted codecs, and one decoder of it. */
#ifndef ORKA_TESTS_BOARD_VIDEO_DESK_H
#define ORKA_TESTS_BOARD_VIDEO_DESK_H

#include "desk.h"
#include "fake_codecs.h"

namespace orka::board::desk {

inline orka_idecode_video_params_t video_params(uint32_t codec = 1)
{
    return {.codec = codec,
            .width = 320,
            .height = 240,
            .bufsize = 0x300000,
            .bufcount = 400,
            .maxframe = 307200};
}

class VideoDesk : public ::testing::Test {
  protected:
    VideoDesk()
    {
        desk.attach([this](Machine &machine) {
            return make_video_decode_driver(
                machine, [this](const auto &, std::string &) { return std::make_unique<FakeVideo>(stage); });
        });
    }
    ~VideoDesk() override { open_gate(); }

    void open_gate()
    {
        stage.gate_open = true;
        stage.gate_open.notify_all();
    }

    void set_up(Player &player, const orka_idecode_video_params_t &params = video_params())
    {
        ASSERT_EQ(player.load("mpeg4_pcm_dec"), 0);
        ASSERT_EQ(player.set_up(params), 0);
        ASSERT_EQ(player.order(wire::IDECODE_INIT), 0);
    }
    void play(Player &player, const orka_idecode_video_params_t &params = video_params())
    {
        set_up(player, params);
        ASSERT_EQ(player.start(), 0);
    }
    static bool feed(Player &player, Script script, uint8_t value = 0, uint32_t tsms = 0, uint32_t flags = 0)
    {
        const uint8_t packet[] = {script, value};
        return player.feed(packet, tsms, flags);
    }
    /* The worker is inside its codec and stays there until the gate opens. */
    void occupy(Player &player, Script script = hold)
    {
        stage.gate_open = false;
        ASSERT_TRUE(feed(player, script));
        ASSERT_TRUE(eventually([this] { return stage.at_gate.load(); }));
    }
    /* Takes frames until LAST; the values of their pictures. */
    std::vector<int> take_all(Player &player)
    {
        std::vector<int> values;
        for (;;) {
            const auto answer = player.get();
            if (answer.status != wire::driver_done || answer.frame.kind == ORKA_FRAME_TYPE_LAST)
                return values;
            values.push_back(desk.bytes(answer.frame.addr, 1)[0]);
            EXPECT_EQ(player.release(answer.frame), 0);
        }
    }
    uint32_t clock(Player &player)
    {
        return Player::answer_of(
                   *desk.begin(player.file, wire::IDECODE_GET_VIDEO_CLOCK, wire::video_clock_record{}))
            .as<wire::video_clock_record>()
            .tsms;
    }

    Backstage stage;
    Desk desk;
    Player video{desk, wire::node::vdecode};
};

} // namespace orka::board::desk

#endif
