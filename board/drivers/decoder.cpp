#include "drivers/decoder.h"

#include <cerrno>
#include <utility>

#include <nlohmann/json.hpp>

#include "drivers/transition.h"

namespace orka::board {

namespace {

constexpr Transition<uint32_t, State> transitions[] = {
    {wire::IDECODE_INIT, any_of({State::set_up}), State::ready},
    {wire::IDECODE_START,
     any_of({State::ready, State::paused, State::rewinding, State::forwarding, State::stopped}),
     State::playing},
    {wire::IDECODE_PAUSE, any_of({State::playing, State::rewinding, State::forwarding}), State::paused},
    {wire::IDECODE_REWIND, any_of({State::playing, State::paused, State::forwarding}), State::rewinding},
    {wire::IDECODE_FASTFORWARD, any_of({State::playing, State::paused, State::rewinding}), State::forwarding},
    {wire::IDECODE_STOP, any_of({State::playing, State::paused, State::rewinding, State::forwarding}),
     State::stopped},
};

std::string make_label(std::string_view node, int32_t channel, int32_t stream)
{
    return std::string(node) + " " + std::to_string(channel) + "/" + std::to_string(stream);
}

} // namespace

Decoder::Decoder(Machine &machine, const DecoderKind &kind, int32_t channel, int32_t stream,
                 std::function<void(File &)> readable_changed)
    : machine_(machine), kind_(kind), channel_(channel), stream_(stream),
      label_(make_label(kind.node, channel, stream)), readable_changed_(std::move(readable_changed)),
      image_(machine, "decoder")
{
}

/* The board ends, and its files with it. */
Decoder::~Decoder()
{
    owner_ = nullptr;
    end_session();
}

int Decoder::refuse(int error, const std::string &why) const
{
    machine_.log(label_ + ": " + why);
    return error;
}

void Decoder::load(Call &call, std::string_view name)
{
    std::string why;
    const int error = image_.load(call.file(), name, session_ != nullptr, why);
    if (error)
        return call.fail(refuse(error, why));
    call.reply();
}

int Decoder::check(const Setup &setup) const
{
    const std::string codec = std::string(kind_.subject) + " " + std::to_string(setup.codec);
    const CodecImage *const loaded = find_image(image_.name());
    if (!loaded)
        return refuse(EINVAL, "setup for " + codec + " without a codec image; load one first");
    if (!(loaded->*kind_.decodes)(setup.codec))
        return refuse(EINVAL, "image " + image_.name() + " does not decode " + codec + "; " +
                                  std::string(kind_.advice));
    if (setup.bufsize == 0 || setup.bufcount == 0 || setup.maxframe == 0 || setup.maxframe > setup.bufsize)
        return refuse(EINVAL, "setup asks for an input queue of " + std::to_string(setup.bufsize) +
                                  " bytes and " + std::to_string(setup.bufcount) + " frames of at most " +
                                  std::to_string(setup.maxframe) + " bytes");
    return 0;
}

void Decoder::set_up(Call &call, const Setup &setup)
{
    if (session_)
        return call.fail(owner_ == &call.file() ? EINVAL : EBUSY);
    int error = check(setup);
    if (!error)
        error = make_session(setup, call.file());
    if (error)
        return call.fail(error);
    call.reply();
}

std::shared_ptr<DecoderSession> Decoder::create_session(const Setup &setup, std::string &why)
{
    SessionPlan plan{.first = kind_.wants_init ? State::set_up : State::ready,
                     .kind = kind_.frame_kind,
                     .label = label_,
                     .bufsize = setup.bufsize,
                     .bufcount = setup.bufcount,
                     .maxframe = setup.maxframe,
                     .output = setup.output,
                     .stream = nullptr,
                     .rank = rank_in_plane(),
                     .timeless = kind_.timeless,
                     .readable_changed = [this] { readable_changed_(*owner_); }};
    if (setup.make_session)
        return setup.make_session(plan, why);
    plan.stream = setup.make_stream(why);
    if (!plan.stream)
        return nullptr;
    return Session::create(machine_, std::move(plan));
}

int Decoder::make_session(const Setup &setup, File &file)
{
    std::string why;
    session_ = create_session(setup, why);
    if (!session_ && !why.empty())
        return refuse(EINVAL, std::string(kind_.subject) + " " + std::to_string(setup.codec) + ": " + why);
    if (!session_)
        return refuse(ENOMEM, "no memory for a queue of " + std::to_string(setup.bufsize + setup.output) +
                                  " bytes; give the board more (--memory)");
    owner_ = &file;
    codec_ = setup.codec;
    return 0;
}

std::optional<uint32_t> Decoder::rank_in_plane() const
{
    constexpr int32_t most_streams = 16;
    if (!kind_.first_rank)
        return std::nullopt;
    return *kind_.first_rank + static_cast<uint32_t>(channel_ * most_streams + stream_);
}

/* Wakes whoever waits, ends the DSP's thread and frees the queue. */
void Decoder::end_session()
{
    if (!session_)
        return;
    session_->close();
    session_.reset();
    File *const owner = std::exchange(owner_, nullptr);
    if (owner)
        readable_changed_(*owner);
}

void Decoder::closed(const File &file)
{
    if (owner_ == &file) {
        owner_ = nullptr;
        end_session();
    }
    image_.closed(file, session_ != nullptr);
}

nlohmann::json Decoder::report() const
{
    if (!session_)
        return nullptr;
    nlohmann::json decoder{{"node", kind_.node},     {"channel", channel_}, {"stream", stream_},
                           {"image", image_.name()}, {"codec", codec_},     {"process", owner_->process()}};
    session_->report(decoder);
    return decoder;
}

void Decoder::reset_shown_tsms()
{
    if (session_)
        session_->reset_shown_tsms();
}

bool Decoder::change_state(uint32_t request)
{
    const auto *const row = find_transition<uint32_t, State>(transitions, request, session_->state());
    if (row)
        session_->enter(row->to);
    return row;
}

void Decoder::control(std::shared_ptr<Call> call)
{
    if (!session_)
        return call->fail(EINVAL);
    if (owner_ != &call->file())
        return call->fail(EBUSY);
    switch (call->row().number) {
    case wire::IDECODE_WAIT:
        return session_->wait(std::move(call));
    case wire::IDECODE_TEARDOWN:
        end_session();
        return call->reply();
    case wire::IDECODE_FLUSH:
        if (!is_started(session_->state()))
            return call->fail(EINVAL);
        session_->flush();
        return call->reply();
    case wire::IDECODE_QUEUE:
    case wire::IDECODE_NEW_FRAME:
    case wire::IDECODE_COMMIT_FRAME:
    case wire::IDECODE_GET_FRAME:
    case wire::IDECODE_RELEASE_FRAME:
        return control_frames(std::move(call));
    default:
        return change_state(call->row().number) ? call->reply() : call->fail(EINVAL);
    }
}

bool Decoder::hang(const File &file)
{
    return session_ && owner_ == &file && session_->hang();
}

/* All records of queues and frames begin alike. */
void Decoder::control_frames(std::shared_ptr<Call> call)
{
    if (call->record<wire::flush_record>().flush != kind_.queueid)
        return call->fail(EINVAL);
    switch (call->row().number) {
    case wire::IDECODE_QUEUE:
        return session_->queue(*call);
    case wire::IDECODE_NEW_FRAME:
        return session_->new_frame(std::move(call));
    case wire::IDECODE_COMMIT_FRAME:
        return session_->commit(*call);
    case wire::IDECODE_GET_FRAME:
        return session_->get(std::move(call));
    default:
        return session_->release(*call);
    }
}

} // namespace orka::board
