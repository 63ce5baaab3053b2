/* All drivers that show, hear and record, with the DSP's own codecs, together on the desk. */
#ifndef ORKA_TESTS_BOARD_WHOLE_DESK_H
#define ORKA_TESTS_BOARD_WHOLE_DESK_H

#include <initializer_list>
#include <map>

#include "desk.h"
#include "drivers/display_modes.h"
#include "drivers/display_placement.h"

namespace orka::board::desk {

/* Requests go to the driver of their node, as with the server. */
class AllDrivers final : public Driver {
  public:
    explicit AllDrivers(Machine &machine)
    {
        using wire::node;
        attach({node::idecode}, make_display_driver(machine));
        attach({node::vdecode}, make_video_decode_driver(machine));
        attach({node::adecode}, make_audio_decode_driver(machine));
        attach({node::iencode, node::imgencode, node::vencode0, node::vencode1, node::vencode2,
                node::vencode3, node::vmvencode0, node::vmvencode1, node::vmvencode2, node::vmvencode3},
               make_video_encode_driver(machine));
        attach({node::aencode}, make_audio_encode_driver(machine));
        attach({node::icapture}, make_icapture_driver(machine));
    }

    void opened(File &file) override { of(file).opened(file); }
    void closed(File &file) override { of(file).closed(file); }
    void control(std::shared_ptr<Call> call) override { of(call->file()).control(call); }

  private:
    void attach(std::initializer_list<wire::node> nodes, const std::shared_ptr<Driver> &driver)
    {
        for (const wire::node node : nodes)
            drivers_[node] = driver;
    }
    Driver &of(const File &file) { return *drivers_.at(file.node()); }

    std::map<wire::node, std::shared_ptr<Driver>> drivers_;
};

class WholeDesk : public ::testing::Test {
  protected:
    WholeDesk()
    {
        desk.attach([this](Machine &machine) {
            board = &machine;
            std::string why;
            camera = Camera::create("", why);
            machine.camera = camera.get();
            return std::make_unique<AllDrivers>(machine);
        });
    }

    /* The number that the test picture shows where it lies on the screen; -1 where there is none. */
    int64_t counter_on_screen()
    {
        RgbPicture screen;
        desk.on_reactor([&] { screen = board->screen->compose(Plane::composed); });
        const PictureSize size = size_on_screen();
        const Rectangle part = place_picture(default_output(), size.width, size.height).to;
        std::vector<uint8_t> green; /* as good as luma: the number is black and white */
        for (uint32_t y = 0; y < part.height; y++) {
            for (uint32_t x = 0; x < part.width; x++)
                green.push_back(screen.at(part.x + x, part.y + y)[1]);
        }
        return read_counter(green, part.width, part.height, part.width);
    }
    /* Of what lies on the video plane. */
    PictureSize size_on_screen()
    {
        PictureSize size;
        desk.on_reactor([&] { size = {board->video.picture().width, board->video.picture().height}; });
        return size;
    }

    std::unique_ptr<Camera> camera;
    Machine *board = nullptr;
    Desk desk;
};

} // namespace orka::board::desk

#endif
