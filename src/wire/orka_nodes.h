/* The device nodes of memory, the IMEM manager and the decoders, and the requests that each takes. */
#ifndef ORKA_WIRE_NODES_H
#define ORKA_WIRE_NODES_H

#include <cstddef>
#include <string_view>

#include "wire/orka_idecode_wire.h"
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
};

struct node_path {
    std::string_view path;
    wire::node node;
};

/* A device may stand under two names. */
inline constexpr node_path node_paths[] = {
    {"/dev/mem", node::mem},          {"/dev/imanage", node::imanage},       {"/dev/idecode", node::idecode},
    {"/dev/adecode", node::adecode},  {"/dev/adecode0", node::adecode},      {"/dev/vdecode", node::vdecode},
    {"/dev/vdecode0", node::vdecode}, {"/dev/dtmfdecode", node::dtmfdecode}, {"/dev/windisp", node::windisp},
    {"/dev/irender", node::irender},
};

/* What the argument of a request is. */
enum class argument : uint8_t {
    record, /* points to a record of fixed size */
    name,   /* points to a NUL-terminated name of at most `in` bytes, the NUL included */
    none,   /* null, and not looked at */
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
};

/* Records are as long as their numbers say, but for the video decoder's load. */
constexpr bool sizes_match_numbers()
{
    for (const request_row &row : requests) {
        const bool exempt = row.node == node::vdecode && row.number == IDECODE_LOAD;
        if (row.argument == argument::record && !exempt && row.in != record_size(row.number))
            return false;
        if (row.out != 0 && row.out != row.in)
            return false;
    }
    return true;
}
static_assert(sizes_match_numbers());

/* The row of a request on a node, or null where the node does not take it. */
constexpr const request_row *find_request(node on, uint32_t number)
{
    for (const request_row &row : requests) {
        if (row.node == on && row.number == number)
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
