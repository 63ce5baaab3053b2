/*
 * The camera and the microphone of a board that was given none.
 *
 * The tone is 440 Hz on the first channel and 110 Hz higher on each further one, at a tenth of full scale;
 * instead of it, the first 50 ms of each second are a click of 1 kHz at four fifths, which begins at its peak
 * with the second's first sample.
 */
#ifndef ORKA_BOARD_DSP_TEST_CAMERA_H
#define ORKA_BOARD_DSP_TEST_CAMERA_H

#include "dsp/camera.h"

namespace orka::board {

std::unique_ptr<Camera> make_test_camera();
std::unique_ptr<Microphone> make_test_microphone();

} // namespace orka::board

#endif
