#include "still_encoder.h"

#include "common/failure.h"
#include "common/image_node.h"
#include "orka_idevice.h"

namespace orka::record {

namespace {

constexpr char still_image[] = "image_enc";
constexpr uint32_t picture_queue = 8;

constexpr ImageNode node(orka_idevice_imgenc_fd, "the image encoder");

} // namespace

StillEncoder::StillEncoder(const wire::image_encode_setup_record &setup)
{
    node.check_loaded(orka_iencode_load_image_encoder_framework(still_image), still_image);
    node.demand(wire::IENCODE_SETUP_IMAGE, setup, "its setup");
    try {
        open_queue();
    } catch (...) {
        wire::audio_encoder_record channel{};
        node.request(wire::IENCODE_TEARDOWN_IMAGE, channel);
        throw;
    }
}

StillEncoder::~StillEncoder()
{
    wire::audio_encoder_record channel{};
    node.request(wire::IENCODE_TEARDOWN_IMAGE, channel);
}

void StillEncoder::open_queue()
{
    wire::audio_encode_queue_record record{.queueid = picture_queue};
    node.demand(wire::IENCODE_IMAGE_QUEUE, record, "its queue");
    queue_.emplace(record.pbase, record.length);
}

bool StillEncoder::get(orka_iencode_frame_t &frame, int32_t timeout)
{
    wire::encode_frame_request_record record{.queueid = picture_queue,
                                             .timeout = static_cast<uint32_t>(timeout)};
    node.demand(wire::IENCODE_GET_IMAGE, record, "a picture");
    frame = record.frame;
    if (record.status == wire::driver_timeout || record.status == wire::driver_interrupted)
        return false;
    if (record.status != wire::driver_done)
        throw Failure("the image encoder failed at the picture");
    frame.addr = queue_->virtual_address(frame.addr);
    return true;
}

void StillEncoder::release(orka_iencode_frame_t frame)
{
    frame.addr = queue_->physical_address(frame.addr);
    node.demand(wire::IENCODE_RELEASE_IMAGE,
                wire::encode_frame_return_record{.queueid = picture_queue, .frame = frame}, "a picture back");
}

} // namespace orka::record
