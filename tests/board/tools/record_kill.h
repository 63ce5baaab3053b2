/* Recorders killed at any instant: the fixture for as many as one likes. */
#ifndef ORKA_TESTS_TOOLS_RECORD_KILL_H
#define ORKA_TESTS_TOOLS_RECORD_KILL_H

#include <nlohmann/json.hpp>

#include "board/soon.h"
#include "board/tools/kill.h"
#include "board/tools/recorded.h"

namespace orka_tools_test {

using orka_test::soon;

class RecorderKills : public KillsOnABoard {
  protected:
    Words recorder(const std::string &arguments) const { return tool(ORKA_RECORD_PROGRAM, arguments); }

    /* They would record for ever. */
    int kill_recorders(int count)
    {
        const std::string orders[] = {
            scratch("killed.avi"),
            scratch("killed.mkv") + " --video H264 --audio PCM --channel 1",
            scratch("killed.ts") + " --video MPEG2 --no-audio --channel 2 --view",
            scratch("killed.wav") + " --audio PCM",
        };
        return kill_some(count, [&](int i) { return recorder(orders[static_cast<size_t>(i) % 4]); });
    }

    nlohmann::json status() const
    {
        return nlohmann::json::parse(run(tool(ORKA_BOARD_PROGRAM, "status --json")).out, nullptr, false);
    }
    bool all_encoders_idle() const
    {
        for (const nlohmann::json &encoder : status()["encoders"]) {
            if (encoder["state"] != "idle")
                return false;
        }
        return status()["capture"]["mode"].is_null();
    }
    void expect_free_board()
    {
        EXPECT_TRUE(soon([this] { return all_encoders_idle(); })) << status().dump(1);
        EXPECT_EQ(status()["queues"]["blocks"], 0);
    }
    /* On every channel, from the first picture on. */
    void expect_whole_recordings()
    {
        for (int channel = 0; channel < 4; channel++) {
            const std::string file = scratch("whole.avi");
            const Ending ending = run(recorder(file + " --seconds 1 --channel " + std::to_string(channel)));
            ASSERT_EQ(ending.status, 0) << ending.err << server.err();
            const std::vector<int64_t> counters = marks_of(file).counters;
            ASSERT_EQ(counters.size(), 30u);
            EXPECT_EQ(counters, consecutive(counters));
            EXPECT_EQ(counters.front(), 0);
        }
    }

    void kill_and_look(int count)
    {
        expect_whole_recordings();
        kill_recorders(20);
        expect_free_board();
        before = holding_of(server.id());
        EXPECT_GE(kill_recorders(count), count * 9 / 10);
        expect_free_board();
        expect_whole_recordings();
        expect_no_more_than_before();
    }
};

} // namespace orka_tools_test

#endif
