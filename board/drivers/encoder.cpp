#include "drivers/encoder.h"

#include <cerrno>
#include <utility>

#include <nlohmann/json.hpp>

namespace orka::board {

namespace {

const char *name_of(EncodeState state)
{
    switch (state) {
    case EncodeState::set_up:
        return "set up";
    case EncodeState::ready:
        return "ready";
    case EncodeState::encoding:
        return "encoding";
    case EncodeState::stopped:
        break;
    }
    return "stopped";
}

} // namespace

Encoder::Encoder(Machine &machine, const EncoderKind &kind, uint32_t channel,
                 std::function<void()> frames_changed)
    : machine_(machine), kind_(kind), channel_(channel),
      label_(std::string(kind.node) + " " + std::to_string(channel)),
      frames_changed_(std::move(frames_changed)), image_(machine, "encoder")
{
}

Encoder::~Encoder() = default;

int Encoder::refuse(int error, const std::string &why) const
{
    machine_.log(label_ + ": " + why);
    return error;
}

void Encoder::load(Call &call, std::string_view name)
{
    std::string why;
    const int error = image_.load(call.file(), name, session_ != nullptr, why);
    if (error)
        return call.fail(refuse(error, why));
    call.reply();
}

int Encoder::check(const EncodeSetup &setup) const
{
    const std::string codec = std::to_string(setup.codec);
    const ImageSlot &slot = setup.image ? *setup.image : image_;
    const CodecImage *const loaded = find_image(slot.name());
    if (!loaded)
        return refuse(EINVAL, "setup for codec " + codec + " without a codec image; load one first");
    if (!(loaded->*kind_.encodes)(setup.codec))
        return refuse(EINVAL, "image " + slot.name() + " does not encode codec " + codec +
                                  "; load the image that the selection table names for it");
    if (setup.bufsize == 0 || setup.bufcount == 0)
        return refuse(EINVAL, "setup asks for a queue of " + std::to_string(setup.bufsize) + " bytes and " +
                                  std::to_string(setup.bufcount) + " frames");
    return 0;
}

void Encoder::set_up(Call &call, const EncodeSetup &setup)
{
    if (session_)
        return call.fail(belongs_to(call.file()) ? EINVAL : EBUSY);
    int error = check(setup);
    if (!error)
        error = make_session(setup);
    if (error)
        return call.fail(error);
    owner_ = &call.file();
    codec_ = setup.codec;
    form_ = setup.form;
    call.reply();
}

int Encoder::make_session(const EncodeSetup &setup)
{
    std::string why;
    std::unique_ptr<EncodeStream> stream = setup.make_stream(why);
    if (!stream)
        return refuse(EINVAL, "codec " + std::to_string(setup.codec) + ": " + why);
    session_ =
        EncodeSession::create(machine_, {.first = kind_.wants_init ? EncodeState::set_up : EncodeState::ready,
                                         .label = label_,
                                         .bufsize = setup.bufsize,
                                         .bufcount = setup.bufcount,
                                         .form = setup.form,
                                         .vectors_size = setup.vectors_size,
                                         .stream = std::move(stream),
                                         .frames_changed = frames_changed_});
    if (!session_)
        return refuse(ENOMEM, "no memory for a queue of " + std::to_string(setup.bufsize) +
                                  " bytes; give the board more (--memory)");
    return 0;
}

EncodeSession *Encoder::admit(Call &call) const
{
    if (session_ && belongs_to(call.file()))
        return session_.get();
    call.fail(session_ ? EBUSY : EINVAL);
    return nullptr;
}

void Encoder::order(Call &call, EncodeOrder order)
{
    EncodeSession *const session = admit(call);
    if (!session)
        return;
    if (!session->enter(order))
        return call.fail(EINVAL);
    call.reply();
}

void Encoder::tear_down(Call &call)
{
    if (!admit(call))
        return;
    end_session();
    call.reply();
}

/* Ends the DSP's thread and frees the queues. */
void Encoder::end_session()
{
    session_.reset();
    owner_ = nullptr;
    frames_changed_();
}

bool Encoder::hang(const File &file)
{
    if (!session_ || !belongs_to(file))
        return false;
    session_->hang();
    return true;
}

void Encoder::closed(const File &file)
{
    if (owner_ == &file)
        end_session();
    image_.closed(file, session_ != nullptr);
}

void Encoder::report(nlohmann::json &status) const
{
    nlohmann::json encoder{{"node", kind_.node}, {"channel", channel_}, {"image", image_.name()}};
    encoder["state"] = session_ ? name_of(session_->state()) : "idle";
    if (session_) {
        const EncodeCounts &counts = session_->counts();
        encoder["codec"] = codec_;
        encoder["process"] = owner_->process();
        encoder[std::string(kind_.width)] = form_.width;
        encoder[std::string(kind_.height)] = form_.height;
        encoder["frames_in"] = counts.captured.load();
        encoder["frames_out"] = session_->frames_out();
        encoder["dropped"] = counts.dropped.load();
        encoder["tsms"] = session_->taken_tsms();
        encoder["queue"] = session_->frames().report();
        if (session_->vectors()) {
            encoder["vectors"] = session_->vectors()->report();
            encoder["vectors"]["dropped"] = counts.vectors_dropped.load();
        }
    }
    status["encoders"].push_back(std::move(encoder));
}

} // namespace orka::board
