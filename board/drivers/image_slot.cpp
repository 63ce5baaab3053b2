#include "drivers/image_slot.h"

#include <cerrno>

#include "dsp/images.h"
#include "server/log.h"

namespace orka::board {

int ImageSlot::load(const File &file, std::string_view name, bool in_use, std::string &why)
{
    if (!find_image(name)) {
        why = "there is no codec image '" + printable(std::string(name)) + "'";
        return EINVAL;
    }
    if (in_use && name != this->name()) {
        why = "image " + std::string(name) + " cannot be loaded while the " + std::string(user_) +
              " is set up with " + this->name();
        return EBUSY;
    }
    if (!in_use || !name_.empty()) {
        name_ = name;
        machine_.dsp_window.load(this, name_);
        loader_ = in_use ? loader_ : &file;
    }
    return 0;
}

void ImageSlot::closed(const File &file, bool in_use)
{
    if (loader_ != &file)
        return;
    loader_ = nullptr;
    if (in_use)
        return;
    name_.clear();
    machine_.dsp_window.unload(this);
}

} // namespace orka::board
