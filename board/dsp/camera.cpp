#include "dsp/camera.h"

#include "dsp/media_camera.h"
#include "dsp/test_camera.h"

namespace orka::board {

std::unique_ptr<Camera> Camera::create(const std::string &source, std::string &why)
{
    return source.empty() ? make_test_camera() : make_media_camera(source, why);
}

std::unique_ptr<Microphone> Microphone::create(const std::string &source, std::string &why)
{
    return source.empty() ? make_test_microphone() : make_media_microphone(source, why);
}

} // namespace orka::board
