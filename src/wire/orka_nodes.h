/* The device nodes, and the requests that each takes. */
#ifndef ORKA_WIRE_NODES_H
#define ORKA_WIRE_NODES_H

#include <cstddef>
#include <string_view>

#include "wire/orka_icapture_wire.h"
#include "wire/orka_idecode_wire.h"
#include "wire/orka_idisplay_wire.h"
#include "wire/orka_iencode_wire.h"
#include "wire/orka_imanage_wire.h"

namespace orka::wire {

/* Numbers travel between processes: they never change. */
enum class node : uint32_t {
    mem = 0,
    imanage = 1,
    idecode = 2,
    adecode = 3,
    vdecode = 4,
    dtmfdecode = 5,
    windisp = 6,
    irender = 7,
    iencode = 8,
    aencode = 9,
    vencode0 = 10,
    vencode1 = 11,
    vencode2 = 12,
    vencode3 = 13,
    vmvencode0 = 14,
    vmvencode1 = 15,
    vmvencode2 = 16,
    vmvencode3 = 17,
    imgencode = 18,
    icapture = 19,
    subtldecode = 20,
    imgdecode = 21,
};
inline constexpr uint32_t node_count = 22;

/* Nodes of one kind, a channel each, take the same requests: those of the first. */
constexpr node first_channel(node of)
{
    if (of >= node::vencode0 && of <= node::vencode3)
        return node::vencode0;
    return of >= node::vmvencode0 && of <= node::vmvencode3 ? node::vmvencode0 : of;
}

constexpr uint32_t channel_of(node of)
{
    return static_cast<uint32_t>(of) - static_cast<uint32_t>(first_channel(of));
}

struct node_path {
    std::string_view path;
    wire::node node;
};

/* A device may stand under two names. */
inline constexpr node_path node_paths[] = {
    {"/dev/mem", node::mem},
    {"/dev/imanage", node::imanage},
    {"/dev/idecode", node::idecode},
    {"/dev/adecode", node::adecode},
    {"/dev/adecode0", node::adecode},
    {"/dev/vdecode", node::vdecode},
    {"/dev/vdecode0", node::vdecode},
    {"/dev/dtmfdecode", node::dtmfdecode},
    {"/dev/windisp", node::windisp},
    {"/dev/irender", node::irender},
    {"/dev/iencode", node::iencode},
    {"/dev/aencode", node::aencode},
    {"/dev/aencode0", node::aencode},
    {"/dev/vencode0", node::vencode0},
    {"/dev/vencode1", node::vencode1},
    {"/dev/vencode2", node::vencode2},
    {"/dev/vencode3", node::vencode3},
    {"/dev/vmvencode0", node::vmvencode0},
    {"/dev/vmvencode1", node::vmvencode1},
    {"/dev/vmvencode2", node::vmvencode2},
    {"/dev/vmvencode3", node::vmvencode3},
    {"/dev/imgencode", node::imgencode},
    {"/dev/imgenc", node::imgencode},
    {"/dev/icapture", node::icapture},
    {"/dev/icap", node::icapture},
    {"/dev/subtldecode", node::subtldecode},
    {"/dev/imgdecode", node::imgdecode},
    {"/dev/imgd0", node::imgdecode},
};

/* What the argument of a request is. */
enum class argument : uint8_t {
    record, /* points to a record of fixed size */
    name,   /* points to a NUL-terminated name of at most `in` bytes, the NUL included */
    none,   /* null, and not looked at */
    value,  /* is no pointer, but the 32-bit value itself */
};

/* One request as one node takes it. The sizes are those of the record, not those that the number tells. */
struct request_row {
    wire::node node;
    uint32_t number;
    std::string_view name;
    wire::argument argument;
    uint16_t in;  /* bytes that go to the driver */
    uint16_t out; /* bytes that come back */
};

inline constexpr request_row requests[] = {
    {node::imanage, IMANAGE_LOAD, "IMANAGE_LOAD", argument::name, image_name_size, 0},
    {node::imanage, IMANAGE_RESET, "IMANAGE_RESET", argument::none, 0, 0},
    {node::imanage, IMANAGE_ALLOC, "IMANAGE_ALLOC", argument::record, 4, 4},
    {node::imanage, IMANAGE_FREE, "IMANAGE_FREE", argument::record, 4, 0},
    {node::imanage, IMANAGE_WRITE_MCBSP, "IMANAGE_WRITE_MCBSP", argument::record, 8, 0},
    {node::imanage, IMANAGE_READ_MCBSP, "IMANAGE_READ_MCBSP", argument::record, 64, 64},

    {node::adecode, IDECODE_LOAD, "IDECODE_LOAD", argument::name, image_name_size, 0},
    {node::adecode, IDECODE_SETUP_AUDIO, "IDECODE_SETUP_AUDIO", argument::record, 60, 0},
    {node::adecode, IDECODE_START, "IDECODE_START", argument::record, 8, 0},
    {node::adecode, IDECODE_PAUSE, "IDECODE_PAUSE", argument::record, 8, 0},
    {node::adecode, IDECODE_STOP, "IDECODE_STOP", argument::record, 8, 0},
    {node::adecode, IDECODE_TEARDOWN, "IDECODE_TEARDOWN", argument::record, 8, 0},
    {node::adecode, IDECODE_WAIT, "IDECODE_WAIT", argument::record, 16, 16},
    {node::adecode, IDECODE_SET_GAIN, "IDECODE_SET_GAIN", argument::record, 8, 0},
    {node::adecode, IDECODE_QUEUE, "IDECODE_QUEUE", argument::record, 72, 72},
    {node::adecode, IDECODE_NEW_FRAME, "IDECODE_NEW_FRAME", argument::record, 72, 72},
    {node::adecode, IDECODE_COMMIT_FRAME, "IDECODE_COMMIT_FRAME", argument::record, 64, 0},
    {node::adecode, IDECODE_GET_FRAME, "IDECODE_GET_FRAME", argument::record, 72, 72},
    {node::adecode, IDECODE_RELEASE_FRAME, "IDECODE_RELEASE_FRAME", argument::record, 64, 0},
    {node::adecode, IDECODE_RESET_AUDIO_CLOCK, "IDECODE_RESET_AUDIO_CLOCK", argument::record, 8, 0},
    {node::adecode, IDECODE_GET_AUDIO_CLOCK, "IDECODE_GET_AUDIO_CLOCK", argument::record, 8, 8},

    {node::vdecode, IDECODE_LOAD, "IDECODE_LOAD", argument::record, sizeof(video_framework_record), 0},
    {node::vdecode, IDECODE_SETUP_VIDEO, "IDECODE_SETUP_VIDEO", argument::record, 344, 0},
    {node::vdecode, IDECODE_INIT, "IDECODE_INIT", argument::record, 8, 0},
    {node::vdecode, IDECODE_START, "IDECODE_START", argument::record, 8, 0},
    {node::vdecode, IDECODE_PAUSE, "IDECODE_PAUSE", argument::record, 8, 0},
    {node::vdecode, IDECODE_REWIND, "IDECODE_REWIND", argument::record, 8, 0},
    {node::vdecode, IDECODE_FASTFORWARD, "IDECODE_FASTFORWARD", argument::record, 8, 0},
    {node::vdecode, IDECODE_FLUSH, "IDECODE_FLUSH", argument::record, 12, 0},
    {node::vdecode, IDECODE_STOP, "IDECODE_STOP", argument::record, 8, 0},
    {node::vdecode, IDECODE_TEARDOWN, "IDECODE_TEARDOWN", argument::record, 8, 0},
    {node::vdecode, IDECODE_WAIT, "IDECODE_WAIT", argument::record, 16, 16},
    {node::vdecode, IDECODE_QUEUE, "IDECODE_QUEUE", argument::record, 72, 72},
    {node::vdecode, IDECODE_NEW_FRAME, "IDECODE_NEW_FRAME", argument::record, 72, 72},
    {node::vdecode, IDECODE_COMMIT_FRAME, "IDECODE_COMMIT_FRAME", argument::record, 64, 0},
    {node::vdecode, IDECODE_GET_FRAME, "IDECODE_GET_FRAME", argument::record, 72, 72},
    {node::vdecode, IDECODE_RELEASE_FRAME, "IDECODE_RELEASE_FRAME", argument::record, 64, 0},
    {node::vdecode, IDECODE_GET_VIDEO_CLOCK, "IDECODE_GET_VIDEO_CLOCK", argument::record, 12, 12},

    {node::subtldecode, IDECODE_LOAD, "IDECODE_LOAD", argument::name, image_name_size, 0},
    {node::subtldecode, IDECODE_SETUP_SUBTITLE, "IDECODE_SETUP_SUBTITLE", argument::record, 24, 0},
    {node::subtldecode, IDECODE_START, "IDECODE_START", argument::record, 8, 0},
    {node::subtldecode, IDECODE_PAUSE, "IDECODE_PAUSE", argument::record, 8, 0},
    {node::subtldecode, IDECODE_STOP, "IDECODE_STOP", argument::record, 8, 0},
    {node::subtldecode, IDECODE_TEARDOWN, "IDECODE_TEARDOWN", argument::record, 8, 0},
    {node::subtldecode, IDECODE_QUEUE, "IDECODE_QUEUE", argument::record, 72, 72},
    {node::subtldecode, IDECODE_NEW_FRAME, "IDECODE_NEW_FRAME", argument::record, 72, 72},
    {node::subtldecode, IDECODE_COMMIT_FRAME, "IDECODE_COMMIT_FRAME", argument::record, 64, 0},
    {node::subtldecode, IDECODE_GET_FRAME, "IDECODE_GET_FRAME", argument::record, 72, 72},
    {node::subtldecode, IDECODE_RELEASE_FRAME, "IDECODE_RELEASE_FRAME", argument::record, 64, 0},

    {node::imgdecode, IDECODE_LOAD, "IDECODE_LOAD", argument::name, image_name_size, 0},
    {node::imgdecode, IDECODE_SETUP_IMAGE, "IDECODE_SETUP_IMAGE", argument::record, 24, 0},
    {node::imgdecode, IDECODE_START, "IDECODE_START", argument::record, 8, 0},
    {node::imgdecode, IDECODE_STOP, "IDECODE_STOP", argument::record, 8, 0},
    {node::imgdecode, IDECODE_TEARDOWN, "IDECODE_TEARDOWN", argument::record, 8, 0},
    {node::imgdecode, IDECODE_QUEUE, "IDECODE_QUEUE", argument::record, 72, 72},
    {node::imgdecode, IDECODE_NEW_FRAME, "IDECODE_NEW_FRAME", argument::record, 72, 72},
    {node::imgdecode, IDECODE_COMMIT_FRAME, "IDECODE_COMMIT_FRAME", argument::record, 64, 0},
    {node::imgdecode, IDECODE_GET_FRAME, "IDECODE_GET_FRAME", argument::record, 72, 72},
    {node::imgdecode, IDECODE_RELEASE_FRAME, "IDECODE_RELEASE_FRAME", argument::record, 64, 0},

    {node::iencode, IENCODE_LOAD_VIDEO, "IENCODE_LOAD_VIDEO", argument::record,
     sizeof(encode_framework_record), 0},
    {node::iencode, IENCODE_SETUP_VIDEO, "IENCODE_SETUP_VIDEO", argument::record, 256, 0},

    {node::aencode, IENCODE_LOAD_AUDIO, "IENCODE_LOAD_AUDIO", argument::name, image_name_size, 0},
    {node::aencode, IENCODE_SETUP_AUDIO, "IENCODE_SETUP_AUDIO", argument::record, 52, 0},
    {node::aencode, IENCODE_START_AUDIO, "IENCODE_START_AUDIO", argument::record, 8, 0},
    {node::aencode, IENCODE_STOP_AUDIO, "IENCODE_STOP_AUDIO", argument::record, 8, 0},
    {node::aencode, IENCODE_TEARDOWN_AUDIO, "IENCODE_TEARDOWN_AUDIO", argument::record, 8, 0},
    {node::aencode, IENCODE_START_AEC, "IENCODE_START_AEC", argument::record, 48, 0},
    {node::aencode, IENCODE_STOP_AEC, "IENCODE_STOP_AEC", argument::none, 0, 0},
    {node::aencode, IENCODE_SET_GAIN, "IENCODE_SET_GAIN", argument::record, 8, 0},
    {node::aencode, IENCODE_PASSTHRU_ENABLE, "IENCODE_PASSTHRU_ENABLE", argument::record, 8, 0},
    {node::aencode, IENCODE_PASSTHRU_DISABLE, "IENCODE_PASSTHRU_DISABLE", argument::record, 8, 0},
    {node::aencode, IENCODE_AUDIO_QUEUE, "IENCODE_AUDIO_QUEUE", argument::record, 72, 72},
    {node::aencode, IENCODE_NEW_FRAME, "IENCODE_NEW_FRAME", argument::record, 72, 72},
    {node::aencode, IENCODE_COMMIT_FRAME, "IENCODE_COMMIT_FRAME", argument::record, 64, 0},
    {node::aencode, IENCODE_GET_FRAME, "IENCODE_GET_FRAME", argument::record, 72, 72},
    {node::aencode, IENCODE_RELEASE_FRAME, "IENCODE_RELEASE_FRAME", argument::record, 64, 0},

    {node::vencode0, IENCODE_INIT_VIDEO, "IENCODE_INIT_VIDEO", argument::none, 0, 0},
    {node::vencode0, IENCODE_START_VIDEO, "IENCODE_START_VIDEO", argument::none, 0, 0},
    {node::vencode0, IENCODE_STOP_VIDEO, "IENCODE_STOP_VIDEO", argument::none, 0, 0},
    {node::vencode0, IENCODE_TEARDOWN_VIDEO, "IENCODE_TEARDOWN_VIDEO", argument::none, 0, 0},
    {node::vencode0, IENCODE_VIDEO_QUEUE, "IENCODE_VIDEO_QUEUE", argument::record, 0, 60},
    {node::vencode0, IENCODE_GET_VIDEO_FRAME, "IENCODE_GET_VIDEO_FRAME", argument::record, 0, 52},
    {node::vencode0, IENCODE_RELEASE_VIDEO_FRAME, "IENCODE_RELEASE_VIDEO_FRAME", argument::none, 0, 0},

    {node::vmvencode0, IENCODE_MV_QUEUE, "IENCODE_MV_QUEUE", argument::record, 0, 60},
    {node::vmvencode0, IENCODE_GET_MV_FRAME, "IENCODE_GET_MV_FRAME", argument::record, 0, 52},
    {node::vmvencode0, IENCODE_RELEASE_MV_FRAME, "IENCODE_RELEASE_MV_FRAME", argument::none, 0, 0},

    {node::imgencode, IENCODE_LOAD_IMAGE, "IENCODE_LOAD_IMAGE", argument::name, image_name_size, 0},
    {node::imgencode, IENCODE_SETUP_IMAGE, "IENCODE_SETUP_IMAGE", argument::record, 24, 0},
    {node::imgencode, IENCODE_TEARDOWN_IMAGE, "IENCODE_TEARDOWN_IMAGE", argument::record, 8, 0},
    {node::imgencode, IENCODE_IMAGE_QUEUE, "IENCODE_IMAGE_QUEUE", argument::record, 72, 72},
    {node::imgencode, IENCODE_GET_IMAGE, "IENCODE_GET_IMAGE", argument::record, 72, 72},
    {node::imgencode, IENCODE_RELEASE_IMAGE, "IENCODE_RELEASE_IMAGE", argument::record, 64, 0},

    {node::icapture, ICAPTURE_SETUP, "ICAPTURE_SETUP", argument::record, 132, 132},
    {node::icapture, ICAPTURE_ENABLE, "ICAPTURE_ENABLE", argument::record, 4, 0},
    {node::icapture, ICAPTURE_SET_CHANNELS, "ICAPTURE_SET_CHANNELS", argument::record, 4, 0},
    {node::icapture, ICAPTURE_SET_START_CHANNEL, "ICAPTURE_SET_START_CHANNEL", argument::record, 4, 0},
    {node::icapture, ICAPTURE_SET_PASSTHRU, "ICAPTURE_SET_PASSTHRU", argument::record, 4, 0},
    {node::icapture, ICAPTURE_BUFFER_BASE, "ICAPTURE_BUFFER_BASE", argument::record, 4, 4},
    {node::icapture, ICAPTURE_BUFFER_SIZE, "ICAPTURE_BUFFER_SIZE", argument::record, 4, 4},
    {node::icapture, ICAPTURE_DIMENSION, "ICAPTURE_DIMENSION", argument::record, 8, 8},
    {node::icapture, ICAPTURE_GET_FRAME, "ICAPTURE_GET_FRAME", argument::record, 4, 4},
    {node::icapture, ICAPTURE_RELEASE_FRAME, "ICAPTURE_RELEASE_FRAME", argument::record, 4, 4},
    {node::icapture, ICAPTURE_VDECODER_CONTROL, "ICAPTURE_VDECODER_CONTROL", argument::record, 8, 8},

    {node::idecode, IDISPLAY_SETUP, "IDISPLAY_SETUP", argument::record, 124, 0},
    {node::idecode, IDISPLAY_SET_OUTPUT, "IDISPLAY_SET_OUTPUT", argument::record, 124, 0},
    {node::idecode, IDISPLAY_GET_OUTPUT, "IDISPLAY_GET_OUTPUT", argument::record, 0, 124},
    {node::idecode, IDISPLAY_ENABLE, "IDISPLAY_ENABLE", argument::value, 4, 0},
    {node::idecode, IDISPLAY_TEARDOWN, "IDISPLAY_TEARDOWN", argument::none, 0, 0},
    {node::idecode, IDISPLAY_RESYNC, "IDISPLAY_RESYNC", argument::none, 0, 0},
    {node::idecode, IDISPLAY_MASK, "IDISPLAY_MASK", argument::none, 0, 0},
    {node::idecode, IDISPLAY_UNMASK, "IDISPLAY_UNMASK", argument::none, 0, 0},
    {node::idecode, IDISPLAY_OSD_ZOOM, "IDISPLAY_OSD_ZOOM", argument::record, 8, 0},
    {node::idecode, IDISPLAY_BUFFER_BASE, "IDISPLAY_BUFFER_BASE", argument::record, 0, 4},
    {node::idecode, IDISPLAY_BUFFER_SIZE, "IDISPLAY_BUFFER_SIZE", argument::record, 0, 4},
    {node::idecode, IDISPLAY_GET_FRAME_BUFFER, "IDISPLAY_GET_FRAME_BUFFER", argument::record, 8, 8},
    {node::idecode, IDISPLAY_GET_FRAME_DIMENSION, "IDISPLAY_GET_FRAME_DIMENSION", argument::record, 12, 12},
    {node::idecode, IDISPLAY_RELEASE_FRAME_BUFFER, "IDISPLAY_RELEASE_FRAME_BUFFER", argument::record, 4, 0},
    {node::idecode, IDECODE_SET_RESIZE, "IDECODE_SET_RESIZE", argument::record, 24, 0},
};

/* Records are as long as their numbers say, but for the video decoder's load. */
constexpr bool sizes_match_numbers()
{
    for (const request_row &row : requests) {
        const bool exempt = row.node == node::vdecode && row.number == IDECODE_LOAD;
        const uint16_t size = row.in != 0 ? row.in : row.out;
        if (row.argument == argument::record && !exempt && size != record_size(row.number))
            return false;
        if (row.in != 0 && row.out != 0 && row.out != row.in)
            return false;
    }
    return true;
}
static_assert(sizes_match_numbers());

/* The row of a request on a node, or null where the node does not take it. */
constexpr const request_row *find_request(node on, uint32_t number)
{
    for (const request_row &row : requests) {
        if (row.node == first_channel(on) && row.number == number)
            return &row;
    }
    return nullptr;
}

/* The largest record of all. */
constexpr size_t largest_record()
{
    size_t largest = 0;
    for (const request_row &row : requests) {
        largest = row.in > largest ? row.in : largest;
        largest = row.out > largest ? row.out : largest;
    }
    return largest;
}
static_assert(largest_record() == sizeof(video_setup_record));

} // namespace orka::wire

#endif
