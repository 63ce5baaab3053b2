/* Pictures as PNG files. */
#ifndef ORKA_TOOLS_PNG_PNG_FILE_H
#define ORKA_TOOLS_PNG_PNG_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace orka {

/*
 * Writes pixels of three bytes, red first, without gaps between the lines; "-" is standard output. What was
 * there before is overwritten, be it a file, a pipe or a device, and nothing is ever removed. Throws
 * std::runtime_error, which names the path and the reason.
 */
void write_png(const std::string &path, uint32_t width, uint32_t height, std::span<const uint8_t> rgb);

} // namespace orka

#endif
