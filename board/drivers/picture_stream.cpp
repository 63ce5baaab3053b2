#include "drivers/picture_stream.h"

#include "orka_media.h"

namespace orka::board {

bool PictureStream::decode(const Packet &packet, FrameSink &sink)
{
    return codec_->decode(packet, [&](std::unique_ptr<Picture> picture) { put(*picture, sink); });
}

bool PictureStream::drain(FrameSink &sink)
{
    return codec_->drain([&](std::unique_ptr<Picture> picture) { put(*picture, sink); });
}

void PictureStream::put(const Picture &picture, FrameSink &sink)
{
    const std::span<uint8_t> place = sink.reserve(picture.size());
    if (place.empty())
        return;
    picture.write_uyvy(place);
    sink.publish({.kind = ORKA_FRAME_TYPE_VIDEO,
                  .flags = (picture.key() ? frame_key : 0U) | (picture.damaged() ? frame_damaged : 0U),
                  .width = static_cast<uint32_t>(picture.width()),
                  .height = static_cast<uint32_t>(picture.height()),
                  .tsms = picture.tsms(),
                  .stride = picture.stride(),
                  .duration = picture.duration()});
}

uint64_t picture_bytes(uint32_t width, uint32_t height, uint64_t count)
{
    const uint64_t stride = (uint64_t{width} * 2 + 3) / 4 * 4;
    const uint64_t too_much = uint64_t{1} << 40;
    const uint64_t lines = count * height;
    return lines != 0 && stride > too_much / lines ? too_much : stride * lines;
}

} // namespace orka::board
