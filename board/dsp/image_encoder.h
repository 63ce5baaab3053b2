/* The DSP's encoder of stills: each picture becomes a whole file of one type. */
#ifndef ORKA_BOARD_DSP_IMAGE_ENCODER_H
#define ORKA_BOARD_DSP_IMAGE_ENCODER_H

#include "dsp/encoder.h"

namespace orka::board {

struct ImageCoding {
    uint32_t type = 0;  /* orka_image_type_t */
    uint32_t width = 0; /* pixels */
    uint32_t height = 0;
    uint32_t quality = 0; /* 1 to 100, of JPEG; 0 for the usual one */
};

class ImageEncoder {
  public:
    /* Null, and a text for the board's log in why, for what cannot be encoded. Pictures of any size are
       scaled to that of the coding. */
    static std::unique_ptr<ImageEncoder> create(const ImageCoding &coding, std::string &why);
    virtual ~ImageEncoder() = default;
    virtual bool encode(const CapturedPicture &picture, const CodedSink &sink) = 0;
    virtual const std::string &error() const = 0;
};

} // namespace orka::board

#endif
