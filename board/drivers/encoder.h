/*
 * One encoder of a node: the codec image that it runs, whose it is, and the order of calls.
 *
 *     load -> setup -> (video: init) -> start -> stop -> tear-down
 *
 * Setup binds the encoder to the process that opened the file which asked for it; to the files of all others
 * it is busy until torn down or until that file's last close.
 */
#ifndef ORKA_BOARD_ENCODER_H
#define ORKA_BOARD_ENCODER_H

#include "drivers/encode_session.h"
#include "drivers/image_slot.h"
#include "dsp/images.h"

namespace orka::board {

/* What differs between the encoders of sound and of pictures. */
struct EncoderKind {
    std::string_view node; /* begins its lines in the log */
    bool wants_init;
    bool (CodecImage::*encodes)(uint32_t codec) const;
    std::string_view width;  /* what the words of these names are called */
    std::string_view height; /* in the board's report */
};

/* What a setup asks for. */
struct EncodeSetup {
    uint32_t codec = 0;
    uint32_t bufsize = 0;
    uint32_t bufcount = 0;
    orka_iencode_frame_t form{};      /* what all its frames have in common: kind, width, height, stride */
    uint32_t vectors_size = 0;        /* bytes of a picture's motion vectors */
    const ImageSlot *image = nullptr; /* serves it instead of the encoder's own */
    /* Null, and a text, for what the DSP cannot encode. */
    std::function<std::unique_ptr<EncodeStream>(std::string &why)> make_stream;
};

class Encoder {
  public:
    /* frames_changed: frames came or went; the driver looks who is to be told. */
    Encoder(Machine &machine, const EncoderKind &kind, uint32_t channel,
            std::function<void()> frames_changed);
    ~Encoder();

    void load(Call &call, std::string_view name);
    void set_up(Call &call, const EncodeSetup &setup);
    void order(Call &call, EncodeOrder order);
    void tear_down(Call &call);
    void closed(const File &file);
    bool hang(const File &file); /* its codec; false where that file's program has none set up */

    /* The session, for the files of its owner; for others the call fails, and null. */
    EncodeSession *admit(Call &call) const;
    bool belongs_to(const File &file) const { return owner_ && owner_->process() == file.process(); }
    /* Null where it is not set up. */
    EncodeSession *session() const { return session_.get(); }
    /* Of the last setup. */
    uint32_t codec() const { return codec_; }
    const orka_iencode_frame_t &form() const { return form_; }

    /* Adds it to the list "encoders". */
    void report(nlohmann::json &status) const;
    int refuse(int error, const std::string &why) const; /* says why in the log; the error */

  private:
    int check(const EncodeSetup &setup) const;
    int make_session(const EncodeSetup &setup);
    void end_session();

    Machine &machine_;
    const EncoderKind &kind_;
    const uint32_t channel_;
    const std::string label_;
    const std::function<void()> frames_changed_;
    ImageSlot image_;
    const File *owner_ = nullptr; /* which set it up */
    uint32_t codec_ = 0;
    orka_iencode_frame_t form_{};
    std::shared_ptr<EncodeSession> session_;
};

} // namespace orka::board

#endif
