#include "still_decoder.h"

#include <cstring>

#include "common/failure.h"
#include "common/image_node.h"
#include "decoder.h"
#include "orka_idevice.h"
#include "orka_media.h"

namespace orka::play {

namespace {

constexpr uint32_t picture_queue = 8;

constexpr ImageNode node(orka_idevice_imgdec_fd, "the image decoder");

wire::frame_request_record frame_request(int32_t timeout)
{
    return {.queueid = picture_queue, .timeout = timeout};
}

wire::frame_return_record returned(const orka_idecode_frame_t &frame)
{
    return {.queueid = picture_queue, .frame = frame};
}

} // namespace

StillDecoder::StillDecoder(const std::string &image, const wire::image_setup_record &setup)
{
    node.check_loaded(orka_idecode_load_image_decoder_framework(image.c_str()), image);
    node.demand(wire::IDECODE_SETUP_IMAGE, setup, "its setup");
    try {
        open_queue();
    } catch (...) {
        wire::channel_record channel{};
        node.request(wire::IDECODE_TEARDOWN, channel);
        throw;
    }
}

void StillDecoder::open_queue()
{
    wire::queue_record record{.queueid = picture_queue};
    node.demand(wire::IDECODE_QUEUE, record, "its queue");
    queue_.emplace(record.pbase, record.length);
}

StillDecoder::~StillDecoder()
{
    wire::channel_record channel{};
    node.request(wire::IDECODE_TEARDOWN, channel);
}

void StillDecoder::start()
{
    node.demand(wire::IDECODE_START, wire::channel_record{}, "to start");
}

/* There is room for a second file while the first is decoded, so that the frame comes at once. */
void StillDecoder::put(std::span<const uint8_t> file)
{
    auto record = frame_request(-1);
    node.demand(wire::IDECODE_NEW_FRAME, record, "a frame to fill");
    if (record.status != wire::driver_done)
        throw Failure("the image decoder gave no frame to fill");
    orka_idecode_frame_t frame = record.frame;
    frame.kind = file.empty() ? ORKA_FRAME_TYPE_LAST : ORKA_FRAME_TYPE_VIDEO;
    frame.size = static_cast<uint32_t>(file.size());
    if (!file.empty()) {
        const orka_idecode_frame_t mapped = {.addr = queue_->virtual_address(frame.addr)};
        memcpy(frame_data(mapped), file.data(), file.size());
    }
    node.demand(wire::IDECODE_COMMIT_FRAME, returned(frame), "a filled frame");
}

bool StillDecoder::get_frame(orka_idecode_frame_t &frame, int32_t timeout)
{
    auto record = frame_request(timeout);
    node.demand(wire::IDECODE_GET_FRAME, record, "a decoded picture");
    frame = record.frame;
    if (record.status == wire::driver_timeout || record.status == wire::driver_interrupted)
        return false;
    if (record.status != wire::driver_done)
        throw Failure("the image decoder gave no picture");
    frame.addr = queue_->virtual_address(frame.addr);
    return true;
}

void StillDecoder::release(orka_idecode_frame_t frame)
{
    frame.addr = queue_->physical_address(frame.addr);
    node.demand(wire::IDECODE_RELEASE_FRAME, returned(frame), "a picture back");
}

} // namespace orka::play
