/*
 * Files and devices as camera and microphone.
 *
 * A file begins at capture time 0 and begins anew after its length, for whoever looks at it and whenever: its
 * pictures and its sound stay together. Where nobody knows the length (raw streams, filter sources) it begins
 * with the view that shows it. Each view opens the file for itself. A device is opened once, and all views
 * show what it delivers at the time.
 */
#ifndef ORKA_BOARD_DSP_MEDIA_CAMERA_H
#define ORKA_BOARD_DSP_MEDIA_CAMERA_H

#include "dsp/camera.h"
#include "dsp/media_stream.h"

namespace orka::board {

/* Null, and a text in why, where the source does not open or its first picture or sound cannot be decoded. */
std::unique_ptr<Camera> make_media_camera(const std::string &source, std::string &why, const Stop &stop);
std::unique_ptr<Microphone> make_media_microphone(const std::string &source, std::string &why,
                                                  const Stop &stop);

/* Of a stream that is read in a thread, as fast as it delivers. */
std::unique_ptr<Camera> make_device_camera(std::unique_ptr<MediaStream> stream);
std::unique_ptr<Microphone> make_device_microphone(std::unique_ptr<MediaStream> stream);

/* Opens it, and sees whether anything can be decoded. */
std::unique_ptr<MediaStream> open_checked(const std::string &source, AVMediaType type, std::string &why,
                                          const Stop &stop);

} // namespace orka::board

#endif
