#include "dsp/decoded_picture.h"

#include <stdexcept>

#include "dsp/stream.h"

namespace orka::board {

bool DecodedPicture::damaged() const
{
    return is_damaged(*frame_);
}

void DecodedPicture::write_uyvy(std::span<uint8_t> out) const
{
    if (out.size() < size())
        throw std::length_error("no room for a picture");
    converter_->write(*frame_, out);
}

} // namespace orka::board
