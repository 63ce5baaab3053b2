/*
 * The encoder of stills, /dev/imgencode: whose it is, and its requests. Setup binds it to the process that
 * opened the file which asked for it, until torn down or until that file's last close.
 */
#ifndef ORKA_BOARD_STILL_ENCODER_H
#define ORKA_BOARD_STILL_ENCODER_H

#include <set>

#include "drivers/encode_driver.h"
#include "drivers/image_slot.h"
#include "drivers/still_session.h"

namespace orka::board {

class StillEncoder {
  public:
    /* image: what the node loaded. */
    StillEncoder(Machine &machine, const ImageSlot &image, ImageEncoders codecs)
        : machine_(machine), image_(image), codecs_(std::move(codecs))
    {
    }

    bool is_set_up() const { return session_ != nullptr; }
    void opened(File &file);
    void closed(File &file);
    void control(std::shared_ptr<Call> call);
    bool hang(const File &file); /* false where that file's program has none set up */
    /* Adds it to the list "encoders", where it is set up. */
    void report(nlohmann::json &status) const;

  private:
    void set_up(Call &call);
    wire::image_encode_setup_record settled(wire::image_encode_setup_record record) const;
    int check(const wire::image_encode_setup_record &record) const;
    int make_session(const wire::image_encode_setup_record &record);
    int refuse(int error, const std::string &why) const;
    void control_session(std::shared_ptr<Call> call);
    void end_session();
    bool belongs_to(const File &file) const { return owner_ && owner_->process() == file.process(); }
    void tell_readable() const;

    Machine &machine_;
    const ImageSlot &image_;
    const ImageEncoders codecs_;
    std::set<File *> files_; /* open */
    const File *owner_ = nullptr;
    wire::image_encode_setup_record setup_{};
    std::shared_ptr<StillSession> session_;
};

} // namespace orka::board

#endif
