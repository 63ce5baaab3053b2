#include "dsp/camera.h"

#include "dsp/media_camera.h"
#include "dsp/test_camera.h"

namespace orka::board {

std::unique_ptr<Camera> Camera::create(const std::string &source, std::string &why, const Stop &stop)
{
    return source.empty() ? make_test_camera() : make_media_camera(source, why, stop);
}

std::unique_ptr<Microphone> Microphone::create(const std::string &source, std::string &why, const Stop &stop)
{
    return source.empty() ? make_test_microphone() : make_media_microphone(source, why, stop);
}

} // namespace orka::board
