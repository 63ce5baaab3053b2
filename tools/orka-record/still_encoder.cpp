#include "still_encoder.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <sys/ioctl.h>

#include "common/failure.h"
#include "orka_idevice.h"

namespace orka::record {

namespace {

constexpr char still_image[] = "image_enc";
constexpr uint32_t picture_queue = 8;

[[noreturn]] void fail(const std::string &what, int error)
{
    throw Failure("the image encoder refused " + what + ": " + strerror(error));
}

template <typename Record>
bool request(uint32_t number, Record &record)
{
    return ioctl(orka_idevice_imgenc_fd(), number, &record) >= 0;
}

template <typename Record>
void demand(uint32_t number, Record record, const char *what)
{
    if (!request(number, record))
        fail(what, errno);
}

void load()
{
    const orka_status_t status = orka_iencode_load_image_encoder_framework(still_image);
    if (status == ORKA_STATUS_IO)
        throw Failure("the image encoder's node cannot be opened", status_no_board);
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure(std::string("the image encoder refused the image ") + still_image + ": " +
                      orka_status_string(status));
}

} // namespace

StillEncoder::StillEncoder(const wire::image_encode_setup_record &setup)
{
    load();
    demand(wire::IENCODE_SETUP_IMAGE, setup, "its setup");
    try {
        open_queue();
    } catch (...) {
        wire::audio_encoder_record channel{};
        request(wire::IENCODE_TEARDOWN_IMAGE, channel);
        throw;
    }
}

StillEncoder::~StillEncoder()
{
    wire::audio_encoder_record channel{};
    request(wire::IENCODE_TEARDOWN_IMAGE, channel);
}

void StillEncoder::open_queue()
{
    wire::audio_encode_queue_record record{.queueid = picture_queue};
    if (!request(wire::IENCODE_IMAGE_QUEUE, record))
        fail("its queue", errno);
    queue_.emplace(record.pbase, record.length);
}

bool StillEncoder::get(orka_iencode_frame_t &frame, int32_t timeout)
{
    wire::encode_frame_request_record record{.queueid = picture_queue,
                                             .timeout = static_cast<uint32_t>(timeout)};
    if (!request(wire::IENCODE_GET_IMAGE, record))
        fail("a picture", errno);
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
    demand(wire::IENCODE_RELEASE_IMAGE,
           wire::encode_frame_return_record{.queueid = picture_queue, .frame = frame}, "a picture back");
}

} // namespace orka::record
