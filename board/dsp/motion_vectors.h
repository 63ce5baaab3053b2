/* The motion vectors of a coded stream, which is decoded for them. */
#ifndef ORKA_BOARD_DSP_MOTION_VECTORS_H
#define ORKA_BOARD_DSP_MOTION_VECTORS_H

#include <span>
#include <string>
#include <vector>

#include "dsp/av.h"
#include "dsp/encoder.h"

namespace orka::board {

/*
 * One vector for each macroblock of 16 x 16 pixels, row by row. A macroblock that is split has the mean of
 * its parts; an intra coded one has none, which reads as no motion.
 */
class MotionVectors {
  public:
    /* The stream's first packet has to be a key picture. */
    MotionVectors(AVCodecID codec, uint32_t width, uint32_t height);

    /* Empty, and a text in error(), where the packet does not decode; valid until the next packet. */
    std::span<const MotionVector> of(const AVPacket &packet);
    const std::string &error() const { return error_; }

  private:
    void clear();
    void read(const AVFrame &picture);
    void add(int x, int y, int width, int height, int dx, int dy);

    uint32_t columns_;
    uint32_t rows_;
    av::Context decoder_;
    av::Frame picture_;
    std::vector<MotionVector> vectors_;
    std::vector<std::pair<int32_t, int32_t>> sums_; /* of vectors, each as often as it has pixels */
    std::string error_;
};

} // namespace orka::board

#endif
