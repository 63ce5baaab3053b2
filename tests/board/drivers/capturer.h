/* A program that captures, and the modes that it can ask for. */
#ifndef ORKA_TESTS_BOARD_CAPTURER_H
#define ORKA_TESTS_BOARD_CAPTURER_H

#include "board/dsp/pictures.h"
#include "desk.h"

namespace orka::board::desk {

inline orka_capture_params_t capture_mode(uint16_t height)
{
    const bool ntsc_mode = height == 240 || height == 480;
    orka_capture_params_t params{.words0 = {0, 0, 1, 1, 1, 10},
                                 .out_width = 720,
                                 .out_height = height,
                                 .words40 = {0, 6, 6},
                                 .frame_rate = ntsc_mode ? 30U : 25U,
                                 .device = "TVP5150",
                                 .mode = "a_mode",
                                 .width = 720,
                                 .height = height,
                                 .interlaced = height >= 480 ? 1U : 0U};
    return params;
}

/* A program that captures, one request a line. */
class Capturer {
  public:
    explicit Capturer(Desk &desk) : file(wire::node::icapture), desk_(desk) {}
    ~Capturer() { close(); }
    Capturer(const Capturer &) = delete;
    Capturer &operator=(const Capturer &) = delete;

    void close()
    {
        if (!std::exchange(closed_, true))
            desk_.close(file);
    }
    template <typename Record>
    Answer ask(uint32_t number, const Record &record)
    {
        return Player::answer_of(*desk_.begin(file, number, record));
    }
    int set_up(const orka_capture_params_t &params) { return ask(wire::ICAPTURE_SETUP, params).error; }
    int enable(uint32_t flag) { return ask(wire::ICAPTURE_ENABLE, flag).error; }
    int channels(uint32_t count) { return ask(wire::ICAPTURE_SET_CHANNELS, count).error; }
    int start_channel(uint32_t channel) { return ask(wire::ICAPTURE_SET_START_CHANNEL, channel).error; }
    int pass_through(uint32_t to) { return ask(wire::ICAPTURE_SET_PASSTHRU, to).error; }
    uint32_t base() { return ask(wire::ICAPTURE_BUFFER_BASE, uint32_t{0}).as<uint32_t>(); }
    uint32_t size() { return ask(wire::ICAPTURE_BUFFER_SIZE, uint32_t{0}).as<uint32_t>(); }
    wire::capture_dimension_record dimension()
    {
        return ask(wire::ICAPTURE_DIMENSION, wire::capture_dimension_record{})
            .as<wire::capture_dimension_record>();
    }
    std::shared_ptr<TestCall> begin_get(bool nonblocking = false)
    {
        return desk_.begin(file, wire::ICAPTURE_GET_FRAME, uint32_t{0xDEAD}, nonblocking);
    }
    uint32_t get() { return Player::answer_of(*begin_get()).as<uint32_t>(); }
    int release(uint32_t address) { return ask(wire::ICAPTURE_RELEASE_FRAME, address).error; }
    Answer decoder(uint32_t word, uint32_t value)
    {
        return ask(wire::ICAPTURE_VDECODER_CONTROL, wire::vdecoder_record{{word, value}});
    }
    test::Picture8 picture(uint32_t address)
    {
        const auto [width, height] = dimension();
        return test::luma_of(desk_.bytes(address, width * height * 2), width, height);
    }
    int64_t next_number()
    {
        const uint32_t address = get();
        const int64_t number = picture(address).counter();
        EXPECT_EQ(release(address), 0);
        return number;
    }

    TestFile file;

  private:
    Desk &desk_;
    bool closed_ = false;
};

} // namespace orka::board::desk

#endif
