/*
 * One decoder of a node: the codec image that it runs, whose it is, and the order of calls.
 *
 *     load -> setup -> (video: init) -> start <-> pause, rewind, fast-forward, flush -> stop -> tear-down
 *
 * Setup binds the decoder to the file that asked for it; to all others it is busy until torn down or until
 * that file's last close.
 */
#ifndef ORKA_BOARD_DECODER_H
#define ORKA_BOARD_DECODER_H

#include "drivers/image_slot.h"
#include "drivers/session.h"
#include "dsp/images.h"

namespace orka::board {

/* What differs between the decoders of sound, of pictures and of stills. */
struct DecoderKind {
    std::string_view node; /* begins its lines in the log */
    uint32_t frame_kind;
    uint32_t queueid;
    bool wants_init;
    bool (CodecImage::*decodes)(uint32_t codec) const;
    std::optional<uint32_t>
        first_rank{};                   /* in the video plane, of its first decoder; none without pictures */
    bool timeless = false;              /* see SessionPlan */
    std::string_view subject = "codec"; /* what its setup names by number */
    /* Where the image does not decode it. */
    std::string_view advice = "load the image that the selection table names for it";
};

/* What a setup asks for. */
struct Setup {
    uint32_t codec = 0;
    uint32_t bufsize = 0;
    uint32_t bufcount = 0;
    uint32_t maxframe = 0;
    uint64_t output = 0; /* bytes for what is decoded */
    /* Null, and a text, for what the DSP cannot decode. */
    std::function<std::unique_ptr<CodecStream>(std::string &why)> make_stream{};
    /* In its place, where nothing comes out of the decoder. Null without a text where there is no memory. */
    std::function<std::shared_ptr<DecoderSession>(const SessionPlan &plan, std::string &why)> make_session{};
};

class Decoder {
  public:
    Decoder(Machine &machine, const DecoderKind &kind, int32_t channel, int32_t stream,
            std::function<void(File &)> readable_changed);
    ~Decoder();

    void load(Call &call, std::string_view name);
    void set_up(Call &call, const Setup &setup);
    void control(std::shared_ptr<Call> call);
    bool hang(const File &file); /* its codec; false where that file has none set up */
    void closed(const File &file);
    /* What it is and does; null where it is not set up. */
    nlohmann::json report() const;

    bool is_playing() const { return session_ && is_started(session_->state()); }
    bool is_readable_for(const File &file) const
    {
        return session_ && owner_ == &file && session_->readable();
    }
    uint32_t shown_tsms() const { return session_ ? session_->shown_tsms() : 0; }
    void reset_shown_tsms();

  private:
    int refuse(int error, const std::string &why) const;
    int check(const Setup &setup) const;
    int make_session(const Setup &setup, File &file);
    std::shared_ptr<DecoderSession> create_session(const Setup &setup, std::string &why);
    std::optional<uint32_t> rank_in_plane() const;
    bool change_state(uint32_t request);
    void control_frames(std::shared_ptr<Call> call);
    void end_session();

    Machine &machine_;
    const DecoderKind &kind_;
    const int32_t channel_;
    const int32_t stream_;
    const std::string label_;
    const std::function<void(File &)> readable_changed_;
    ImageSlot image_;
    File *owner_ = nullptr;
    uint32_t codec_ = 0; /* which it was set up for */
    std::shared_ptr<DecoderSession> session_;
};

} // namespace orka::board

#endif
