/* The capture node: a TVP5150 video decoder chip behind which the board's camera stands. */
#include "drivers/driver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <tuple>

#include <nlohmann/json.hpp>

#include "drivers/capture_session.h"
#include "server/log.h"

namespace orka::board {

namespace {

constexpr char chip[] = "TVP5150";

/* In the first word of the video decoder's control record: the value is asked for, not set. */
constexpr uint32_t control_get = 0x80000000;

/* A text of the record, which may fill its field. */
template <size_t size>
std::string text_of(const char (&field)[size])
{
    return {field, strnlen(field, size)};
}

/* What the chip delivers of each height. */
struct Geometry {
    uint32_t height;
    Standard standard;
    bool field;
};
constexpr Geometry geometries[] = {
    {240, ntsc, true}, {288, pal, true}, {480, ntsc, false}, {576, pal, false}};

std::optional<CaptureMode> mode_of(const orka_capture_params_t &params)
{
    const auto *const found = std::ranges::find(geometries, uint32_t{params.height}, &Geometry::height);
    if (text_of(params.device) != chip || found == std::end(geometries))
        return std::nullopt;
    const Standard &standard = found->standard;
    const bool same_size = params.width == standard.width && params.out_width == standard.width &&
                           params.out_height == params.height;
    const bool interlaced = params.interlaced == 1;
    if (!same_size || params.frame_rate != standard.rate || interlaced == found->field)
        return std::nullopt;
    return CaptureMode{text_of(params.mode), standard, found->field};
}

class IcaptureDriver final : public Driver {
  public:
    explicit IcaptureDriver(Machine &machine) : machine_(machine) {}
    ~IcaptureDriver() override { end_session(); }

    void closed(File &file) override;
    void control(std::shared_ptr<Call> call) override;
    void report(nlohmann::json &status) const override;

  private:
    void set_up(Call &call);
    void control_decoder(Call &call);
    void control_session(std::shared_ptr<Call> call);
    void change(Call &call);
    bool accept(uint32_t number, uint32_t value);
    void end_session();
    void tell_readable();

    Machine &machine_;
    File *owner_ = nullptr; /* which set capture up */
    std::shared_ptr<CaptureSession> session_;
    uint32_t channels_ = 1;
    uint32_t start_channel_ = 0;
    PassThrough pass_through_ = PassThrough::none;
};

void IcaptureDriver::closed(File &file)
{
    if (owner_ == &file)
        end_session();
}

void IcaptureDriver::end_session()
{
    owner_ = nullptr;
    session_.reset();
}

/* A file that goes has nothing to read any more. */
void IcaptureDriver::tell_readable()
{
    if (owner_ != nullptr)
        owner_->set_readable(session_->readable());
}

void IcaptureDriver::control(std::shared_ptr<Call> call)
{
    const uint32_t number = call->row().number;
    if (owner_ != nullptr && owner_ != &call->file())
        return call->fail(EBUSY);
    if (number == wire::ICAPTURE_SETUP)
        return set_up(*call);
    if (number == wire::ICAPTURE_VDECODER_CONTROL)
        return control_decoder(*call);
    if (!session_)
        return call->fail(EINVAL);
    control_session(std::move(call));
}

void IcaptureDriver::set_up(Call &call)
{
    const auto params = call.record<orka_capture_params_t>();
    const std::optional<CaptureMode> mode = mode_of(params);
    if (session_ && session_->enabled())
        return call.fail(EINVAL);
    if (!mode) {
        machine_.log("icapture: " + printable(text_of(params.device)) + " has no mode " +
                     printable(text_of(params.mode)) + " of " + std::to_string(params.width) + "x" +
                     std::to_string(params.height) + " at " + std::to_string(params.frame_rate) +
                     " a second; the library's capture table names those that there are");
        return call.fail(EINVAL);
    }
    end_session();
    session_ = CaptureSession::create(machine_, *mode, [this] { tell_readable(); });
    if (!session_) {
        machine_.log("icapture: no memory for " + std::to_string(CaptureSession::buffers) + " frames of " +
                     std::to_string(mode->frame_size()) + " bytes");
        return call.fail(ENOMEM);
    }
    owner_ = &call.file();
    machine_.standard = mode->standard;
    channels_ = 1;
    start_channel_ = 0;
    pass_through_ = PassThrough::none;
    call.reply_record(params);
}

void IcaptureDriver::control_decoder(Call &call)
{
    auto record = call.record<wire::vdecoder_record>();
    const uint32_t control = record.words[0] & ~control_get;
    const bool set = (record.words[0] & control_get) == 0;
    if (control >= PictureControls::count || (set && record.words[1] > UINT8_MAX))
        return call.fail(EINVAL);
    if (set)
        machine_.picture_controls.set(static_cast<PictureControls::Control>(control),
                                      static_cast<uint8_t>(record.words[1]));
    record.words[1] = machine_.picture_controls.settings()[control];
    call.reply_record(record);
}

void IcaptureDriver::control_session(std::shared_ptr<Call> call)
{
    switch (call->row().number) {
    case wire::ICAPTURE_BUFFER_BASE:
        return call->reply_record(session_->base());
    case wire::ICAPTURE_BUFFER_SIZE:
        return call->reply_record(session_->size());
    case wire::ICAPTURE_DIMENSION:
        return call->reply_record(
            wire::capture_dimension_record{session_->mode().standard.width, session_->mode().height()});
    case wire::ICAPTURE_GET_FRAME:
        return session_->get(std::move(call));
    case wire::ICAPTURE_RELEASE_FRAME:
        return session_->release(*call);
    default:
        return change(*call);
    }
}

void IcaptureDriver::change(Call &call)
{
    if (!accept(call.row().number, call.record<uint32_t>()))
        return call.fail(EINVAL);
    session_->pass_through(pass_through_, start_channel_);
    call.reply();
}

/* False for a value that the setting does not have. */
bool IcaptureDriver::accept(uint32_t number, uint32_t value)
{
    constexpr auto most_channels = static_cast<uint32_t>(std::tuple_size_v<decltype(machine_.encoded)>);
    switch (number) {
    case wire::ICAPTURE_ENABLE:
        if (value <= 1)
            session_->enable(value == 1);
        return value <= 1;
    case wire::ICAPTURE_SET_CHANNELS:
        channels_ = value >= 1 && value <= most_channels ? value : channels_;
        return channels_ == value;
    case wire::ICAPTURE_SET_START_CHANNEL:
        start_channel_ = value < most_channels ? value : start_channel_;
        return start_channel_ == value;
    case wire::ICAPTURE_SET_PASSTHRU:
        pass_through_ = value <= static_cast<uint32_t>(PassThrough::captured)
                            ? static_cast<PassThrough>(value)
                            : pass_through_;
        return static_cast<uint32_t>(pass_through_) == value;
    default:
        return false;
    }
}

void IcaptureDriver::report(nlohmann::json &status) const
{
    nlohmann::json &capture = status["capture"];
    capture["mode"] = nullptr;
    if (!session_)
        return;
    const CaptureSession::Counts &counts = session_->counts();
    capture = {{"mode", printable(session_->mode().name)},
               {"width", session_->mode().standard.width},
               {"height", session_->mode().height()},
               {"rate", session_->mode().standard.rate},
               {"state", session_->enabled() ? "capturing" : "stopped"},
               {"process", owner_->process()},
               {"channels", channels_},
               {"start_channel", start_channel_},
               {"pass_through", static_cast<uint32_t>(pass_through_)},
               {"frames_in", counts.captured},
               {"frames_out", counts.got},
               {"dropped", counts.dropped},
               {"queue",
                {{"base", session_->base()},
                 {"bytes", session_->size()},
                 {"limit", CaptureSession::buffers},
                 {"waiting", session_->waiting()},
                 {"taken", session_->held()}}}};
}

} // namespace

std::unique_ptr<Driver> make_icapture_driver(Machine &machine)
{
    return std::make_unique<IcaptureDriver>(machine);
}

} // namespace orka::board
