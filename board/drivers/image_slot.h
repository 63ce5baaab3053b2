/*
 * The codec image of one decoder or encoder: the one loaded for it, or that of the whole DSP. It goes with
 * the file that loaded it, but not while it is in use.
 */
#ifndef ORKA_BOARD_IMAGE_SLOT_H
#define ORKA_BOARD_IMAGE_SLOT_H

#include <string_view>

#include "drivers/driver.h"

namespace orka::board {

class ImageSlot {
  public:
    /* user: who is set up with it, in the log. */
    ImageSlot(Machine &machine, std::string_view user) : machine_(machine), user_(user) {}

    const std::string &name() const { return name_.empty() ? machine_.dsp_image : name_; }

    /* Loading what is loaded changes nothing; an errno value, and a text in why, for what cannot be. */
    int load(const File &file, std::string_view name, bool in_use, std::string &why);
    void closed(const File &file, bool in_use);

  private:
    Machine &machine_;
    const std::string_view user_;
    std::string name_;
    const File *loader_ = nullptr;
};

} // namespace orka::board

#endif
