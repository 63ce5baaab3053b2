/* Pictures of a camera, and what can be done to them before they are read. */
#ifndef ORKA_TESTS_BOARD_DSP_PICTURES_H
#define ORKA_TESTS_BOARD_DSP_PICTURES_H

#include <vector>

#include "dsp/camera.h"
#include "dsp/uyvy_scaler.h"

namespace orka::board::test {

struct Picture8 {
    std::vector<uint8_t> luma;
    uint32_t width = 0;
    uint32_t height = 0;

    int64_t counter() const { return read_counter(luma, width, height, width); }
    bool second() const { return read_second_mark(luma, width, height, width); }
};

inline Picture8 luma_of(std::span<const uint8_t> uyvy, uint32_t width, uint32_t height)
{
    Picture8 picture{{}, width, height};
    for (size_t at = 1; at < uyvy.size(); at += 2)
        picture.luma.push_back(uyvy[at]);
    return picture;
}

inline std::vector<uint8_t> picture_at(CameraView &view, const Standard &standard, uint64_t time_us)
{
    std::vector<uint8_t> uyvy(standard.picture_size());
    view.picture(standard, time_us, uyvy);
    return uyvy;
}

inline std::vector<uint8_t> picture_of(CameraView &view, const Standard &standard, uint64_t number)
{
    return picture_at(view, standard, picture_time_us(standard, number));
}

inline int64_t counter_at(CameraView &view, const Standard &standard, uint64_t time_us)
{
    return luma_of(picture_at(view, standard, time_us), standard.width, standard.height).counter();
}

inline std::vector<uint8_t> scaled(std::span<const uint8_t> uyvy, const Standard &standard, uint32_t width,
                                   uint32_t height)
{
    std::vector<uint8_t> out(size_t{width} * height * 2);
    UyvyScaler().scale(uyvy, standard.width, standard.height, out, width, height);
    return out;
}

inline std::unique_ptr<CameraView> test_view()
{
    std::string why;
    return Camera::create("", why)->open();
}

} // namespace orka::board::test

#endif
