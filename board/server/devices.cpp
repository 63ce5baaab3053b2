#include "server/devices.h"

namespace orka::board {

namespace {

constexpr wire::node video_encode_nodes[] = {
    wire::node::iencode,    wire::node::vencode0,   wire::node::vencode1,   wire::node::vencode2,
    wire::node::vencode3,   wire::node::vmvencode0, wire::node::vmvencode1, wire::node::vmvencode2,
    wire::node::vmvencode3, wire::node::imgencode,
};

} // namespace

void attach_devices(Server &server, Machine &machine)
{
    server.attach(wire::node::imanage, make_imanage_driver(machine));
    server.attach(wire::node::adecode, make_audio_decode_driver(machine));
    server.attach(wire::node::vdecode, make_video_decode_driver(machine));
    server.attach(wire::node::subtldecode, make_subtitle_decode_driver(machine));
    server.attach(wire::node::imgdecode, make_image_decode_driver(machine));
    const std::shared_ptr<Driver> video_encoders = make_video_encode_driver(machine);
    for (const wire::node node : video_encode_nodes)
        server.attach(node, video_encoders);
    server.attach(wire::node::aencode, make_audio_encode_driver(machine));
    server.attach(wire::node::idecode, make_display_driver(machine));
    server.attach(wire::node::icapture, make_icapture_driver(machine));
}

} // namespace orka::board
