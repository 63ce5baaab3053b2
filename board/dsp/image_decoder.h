/*
 * The DSP's decoder of stills: each packet is a whole file of one type, and gives its first picture. It is
 * decoded by itself, so that a damaged one leaves nothing behind.
 */
#ifndef ORKA_BOARD_DSP_IMAGE_DECODER_H
#define ORKA_BOARD_DSP_IMAGE_DECODER_H

#include "dsp/codec.h"

namespace orka::board {

/* The largest side of a picture that is decoded or encoded, pixels. */
constexpr uint32_t largest_image_side = 4096;

struct ImageSetup {
    uint32_t type = 0;  /* orka_image_type_t; 0: what the data are */
    uint32_t width = 0; /* of the largest picture, pixels */
    uint32_t height = 0;
};

/* Null, and a text for the board's log in why, for what cannot be decoded. */
std::unique_ptr<VideoDecoder> create_image_decoder(const ImageSetup &setup, std::string &why);

} // namespace orka::board

#endif
