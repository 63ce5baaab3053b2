/* Codecs that do what their packets say. */
#ifndef ORKA_TESTS_BOARD_FAKE_CODECS_H
#define ORKA_TESTS_BOARD_FAKE_CODECS_H

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "drivers/decode_driver.h"

namespace orka::board::desk {

/* The first byte of a packet; the second is the value of what comes out. */
enum Script : uint8_t {
    show = 's',   /* one picture of 1 MiB, so that 8 fill the output */
    huge = 'h',   /* one picture larger than the output */
    damage = 'd', /* nothing comes out */
    mend = 'm',   /* a failure, but a picture all the same */
    throws = 't',
    hold = 'l', /* nothing comes out for as long as the gate is shut */
    late = 'w', /* a picture that is not written as long as the gate is shut */
    keep = 'k', /* a picture that only the end of the stream gives out */
};

constexpr uint32_t fake_width = 1024;
constexpr uint32_t fake_height = 512;

/* What the test sees of a codec, and how it holds it up. */
struct Backstage {
    std::atomic<bool> gate_open = true;
    std::atomic<bool> at_gate = false;
    void wait_at_gate()
    {
        at_gate = true;
        gate_open.wait(false);
        at_gate = false;
    }

    std::atomic<int> flushes = 0;
    std::atomic<int> headers = 0;
    std::atomic<int> alive = 0;
};

class FakePicture : public Picture {
  public:
    FakePicture(const Packet &packet, uint8_t value, uint32_t height = fake_height)
        : value_(value), height_(static_cast<int>(height)), tsms_(packet.tsms), duration_(packet.duration),
          key_(packet.key)
    {
    }
    int width() const override { return fake_width; }
    int height() const override { return height_; }
    uint32_t tsms() const override { return tsms_; }
    uint32_t duration() const override { return duration_; }
    bool key() const override { return key_; }
    bool damaged() const override { return false; }
    void write_uyvy(std::span<uint8_t> out) const override
    {
        if (out.size() != size())
            throw std::length_error("not the size of the picture");
        out.front() = value_;
        out.back() = value_;
    }

  private:
    uint8_t value_;
    int height_;
    uint32_t tsms_;
    uint32_t duration_;
    bool key_;
};

class LatePicture final : public FakePicture {
  public:
    LatePicture(const Packet &packet, Backstage &stage) : FakePicture(packet, packet.data[1]), stage_(stage)
    {
    }
    void write_uyvy(std::span<uint8_t> out) const override
    {
        stage_.wait_at_gate();
        FakePicture::write_uyvy(out);
    }

  private:
    Backstage &stage_;
};

class FakeVideo final : public VideoDecoder {
  public:
    explicit FakeVideo(Backstage &stage) : stage_(stage) { stage_.alive++; }
    ~FakeVideo() override { stage_.alive--; }

    bool header(std::span<const uint8_t>) override
    {
        stage_.headers++;
        return true;
    }
    bool decode(const Packet &packet, const PictureSink &sink) override
    {
        switch (packet.data[0]) {
        case hold:
            stage_.wait_at_gate();
            return true;
        case damage:
            return false;
        case throws:
            throw std::runtime_error("out of luck");
        case late:
            sink(std::make_unique<LatePicture>(packet, stage_));
            return true;
        case keep:
            kept_ = std::make_unique<FakePicture>(packet, packet.data[1]);
            return true;
        default:
            sink(std::make_unique<FakePicture>(packet, packet.data[1],
                                               packet.data[0] == huge ? 1U << 14 : fake_height));
            return packet.data[0] != mend;
        }
    }
    bool drain(const PictureSink &sink) override
    {
        if (kept_)
            sink(std::move(kept_));
        return true;
    }
    void flush() override
    {
        stage_.flushes++;
        kept_.reset();
    }
    const std::string &error() const override { return error_; }

  private:
    Backstage &stage_;
    std::unique_ptr<Picture> kept_;
    std::string error_ = "as scripted";
};

/* Sound: packets are 16-bit samples in pairs, and come out as they are. */
class FakeAudio final : public AudioDecoder {
  public:
    bool header(std::span<const uint8_t>) override { return true; }
    bool decode(const Packet &packet, const SoundSink &sink) override
    {
        std::vector<int16_t> samples(packet.data.size() / 2);
        std::ranges::copy(packet.data.first(samples.size() * 2), reinterpret_cast<uint8_t *>(samples.data()));
        sink({.samples = samples, .sample_rate = 8000, .channels = 2, .tsms = packet.tsms, .duration = 20});
        return true;
    }
    bool drain(const SoundSink &) override { return true; }
    void flush() override {}
    const std::string &error() const override { return error_; }

  private:
    std::string error_;
};

} // namespace orka::board::desk

#endif
