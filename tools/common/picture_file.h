/* Pictures of the board, as PNG files. */
#ifndef ORKA_TOOLS_PICTURE_FILE_H
#define ORKA_TOOLS_PICTURE_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace orka {

/* A UYVY 4:2:2 picture of height lines, stride bytes each. Throws Failure. */
void save_picture(const std::string &path, std::span<const uint8_t> uyvy, uint32_t width, uint32_t height,
                  uint32_t stride);

} // namespace orka

#endif
