/* A camera whose pictures tell their time, and encoders that do what a test has them do. */
#ifndef ORKA_TESTS_BOARD_FAKE_ENCODERS_H
#define ORKA_TESTS_BOARD_FAKE_ENCODERS_H

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "drivers/encode_driver.h"

namespace orka::board::desk {

/* What every packet begins with. */
struct Stamp {
    uint64_t shown_us = 0; /* capture time that the camera was asked for */
    uint32_t standard_height = 0;
    uint32_t serial = 0; /* within its stream */
    uint32_t codec = 0;
    uint32_t width = 0;
};

class FakeCamera final : public Camera {
  public:
    std::unique_ptr<CameraView> open() override { return std::make_unique<View>(); }

  private:
    class View final : public CameraView {
        void picture(const Standard &, uint64_t time_us, std::span<uint8_t> uyvy) override
        {
            std::memcpy(uyvy.data(), &time_us, sizeof time_us);
        }
    };
};

/* What the test sees of the encoders, and what it has them do. Serials count the pictures of a stream. */
struct EncoderStage {
    std::atomic<uint32_t> packet_size = 64;
    std::atomic<bool> with_header = false;
    std::atomic<bool> hold_back = false; /* a picture comes with the next one, or at the end */
    std::atomic<int> fails_from = -1;    /* serial */
    std::atomic<int> fails_until = -1;
    std::atomic<int> throws_at = -1;
    std::atomic<int> huge_at = -1;
    std::atomic<int> gated_from = -1; /* pictures that wait at the gate */
    std::atomic<bool> refuses = false;

    std::atomic<bool> gate_open = true;
    std::atomic<bool> at_gate = false;
    std::atomic<int> alive = 0;
    std::atomic<int> made = 0;

    void open_gate()
    {
        gate_open = true;
        gate_open.notify_all();
    }
};

class FakeEncoder final : public VideoEncoder {
  public:
    FakeEncoder(EncoderStage &stage, const orka_iencode_video_params_t &params)
        : stage_(stage), params_(params)
    {
        stage_.alive++;
        stage_.made++;
    }
    ~FakeEncoder() override { stage_.alive--; }

    bool encode(const CapturedPicture &picture, const CodedSink &sink) override
    {
        const int serial = serial_++;
        pass_the_gate(serial);
        if (serial == stage_.throws_at)
            throw std::runtime_error("out of luck");
        if (serial >= stage_.fails_from && serial < stage_.fails_until)
            return false;
        if (serial == 0 && stage_.with_header)
            sink({.data = std::vector<uint8_t>{'h', 'd', 'r'}, .header = true});
        code(picture, static_cast<uint32_t>(serial));
        if (!stage_.hold_back)
            give(sink);
        return true;
    }
    bool drain(const CodedSink &sink) override
    {
        give(sink);
        return true;
    }
    void want_vectors(bool wanted) override { vectors_wanted_ = wanted; }
    const std::string &error() const override { return error_; }

  private:
    struct Coded {
        std::vector<uint8_t> data;
        std::vector<MotionVector> vectors;
        uint32_t tsms;
        bool key;
    };

    void pass_the_gate(int serial)
    {
        if (stage_.gated_from < 0 || serial < stage_.gated_from || stage_.gate_open)
            return;
        stage_.at_gate = true;
        stage_.gate_open.wait(false);
        stage_.at_gate = false;
    }
    void code(const CapturedPicture &picture, uint32_t serial)
    {
        Stamp stamp{.standard_height = picture.height,
                    .serial = serial,
                    .codec = params_.codec,
                    .width = params_.width};
        std::memcpy(&stamp.shown_us, picture.uyvy.data(), sizeof stamp.shown_us);
        const bool huge = static_cast<int>(serial) == stage_.huge_at;
        Coded coded{.data = std::vector<uint8_t>(huge ? 64U << 20 : stage_.packet_size.load()),
                    .vectors = {},
                    .tsms = picture.tsms,
                    .key = serial % params_.key_distance == 0};
        std::memcpy(coded.data.data(), &stamp, sizeof stamp);
        if (vectors_wanted_)
            coded.vectors.resize(size_t{params_.width / 16} * (params_.height / 16),
                                 {.x = 16, .y = 32, .dx = static_cast<int16_t>(serial), .dy = -1});
        coded_.push_back(std::move(coded));
    }
    void give(const CodedSink &sink)
    {
        for (const Coded &coded : coded_)
            sink({.data = coded.data,
                  .tsms = coded.tsms,
                  .duration = 1000U / params_.frame_rate,
                  .key = coded.key,
                  .vectors = coded.vectors});
        coded_.clear();
    }

    EncoderStage &stage_;
    const orka_iencode_video_params_t params_;
    std::vector<Coded> coded_;
    int serial_ = 0;
    bool vectors_wanted_ = false;
    std::string error_ = "as scripted";
};

} // namespace orka::board::desk

#endif
