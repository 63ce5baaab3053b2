#include "server/fault_target.h"

#include "server/layouts.h"

namespace orka::board {

using wire::node;

std::optional<size_t> status_offset(const wire::request_row &row)
{
    const layouts::layout &known = *layouts::find_layout(row);
    if (known.out.empty() || known.out.front().name != "status")
        return std::nullopt;
    return known.out.front().offset;
}

std::optional<size_t> committed_frame(const wire::request_row &row)
{
    if (row.number != wire::IDECODE_COMMIT_FRAME && row.number != wire::IENCODE_COMMIT_FRAME)
        return std::nullopt;
    return layouts::find_layout(row)->in_frame;
}

std::optional<size_t> delivered_frame(const wire::request_row &row)
{
    switch (row.number) {
    case wire::IDECODE_GET_FRAME:
    case wire::IENCODE_GET_FRAME:
    case wire::IENCODE_GET_IMAGE:
        return layouts::find_layout(row)->out_frame;
    case wire::IENCODE_GET_VIDEO_FRAME:
    case wire::IENCODE_GET_MV_FRAME:
        return 0;
    default:
        return std::nullopt;
    }
}

bool reaches_codec(const wire::request_row &row)
{
    switch (row.number) {
    case wire::IDECODE_LOAD:
    case wire::IDECODE_SETUP_AUDIO:
    case wire::IDECODE_SETUP_VIDEO:
    case wire::IDECODE_SETUP_IMAGE:
    case wire::IENCODE_LOAD_AUDIO:
    case wire::IENCODE_SETUP_AUDIO:
    case wire::IENCODE_LOAD_IMAGE:
    case wire::IENCODE_SETUP_IMAGE:
        return false;
    default:
        return row.node == node::adecode || row.node == node::vdecode || row.node == node::imgdecode ||
               row.node == node::aencode || row.node == node::vencode0 || row.node == node::imgencode;
    }
}

} // namespace orka::board
