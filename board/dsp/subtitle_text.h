/*
 * What a subtitle's bytes say: UTF-8 text with the markup of SubRip, WebVTT and ASS.
 *
 * <i>, <b>, <u>, <s> and their like in ASS ({\i1}) are kept, all other tags and override blocks are left out,
 * and so is what ASS draws with lines ({\p1}). \N and \n are ends of lines, \h is a space that does not
 * break.
 */
#ifndef ORKA_BOARD_DSP_SUBTITLE_TEXT_H
#define ORKA_BOARD_DSP_SUBTITLE_TEXT_H

#include <cstdint>
#include <span>
#include <string>

namespace orka::board {

/*
 * As a TextPainter takes it. Bytes that are no UTF-8 become U+FFFD, control characters spaces; the text ends
 * at a NUL. Empty where there is nothing to be read.
 */
std::string subtitle_text(std::span<const uint8_t> bytes);

/* Two that are shown at the same time, the second below the first. */
std::string stacked(const std::string &upper, const std::string &lower);

} // namespace orka::board

#endif
