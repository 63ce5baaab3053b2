/* A decoder of pictures as a worker runs it: what it gives goes into the output buffers as UYVY 4:2:2. */
#ifndef ORKA_BOARD_PICTURE_STREAM_H
#define ORKA_BOARD_PICTURE_STREAM_H

#include "drivers/worker.h"

namespace orka::board {

class PictureStream final : public CodecStream {
  public:
    /* stills: each packet is a picture of its own. */
    explicit PictureStream(std::unique_ptr<VideoDecoder> codec, bool stills = false)
        : codec_(std::move(codec)), stills_(stills)
    {
    }

    bool header(std::span<const uint8_t> data) override { return codec_->header(data); }
    bool decode(const Packet &packet, FrameSink &sink) override;
    bool drain(FrameSink &sink) override;
    void flush() override { codec_->flush(); }
    const std::string &error() const override { return codec_->error(); }
    bool stands_alone() const override { return stills_; }

  private:
    static void put(const Picture &picture, FrameSink &sink);

    const std::unique_ptr<VideoDecoder> codec_;
    const bool stills_;
};

/* Of so many pictures as they come out. Any width and height that 32 bits can say give a number; what is
   absurd finds no memory. */
uint64_t picture_bytes(uint32_t width, uint32_t height, uint64_t count);

} // namespace orka::board

#endif
