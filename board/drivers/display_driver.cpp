/*
 * The display's requests on /dev/idecode.
 *
 * The display is one for the board. Its output, switches and placement are anybody's to change, as with a
 * remote control; its OSD belongs to the file that set it up. It is as after power-on again when that file
 * tears it down or is closed, and when nobody has the node open any more.
 */
#include <cerrno>

#include <nlohmann/json.hpp>

#include "drivers/display.h"
#include "drivers/display_modes.h"

namespace orka::board {

namespace {

class DisplayDriver final : public Driver {
  public:
    explicit DisplayDriver(Machine &machine);
    ~DisplayDriver() override;
    DisplayDriver(const DisplayDriver &) = delete;
    DisplayDriver &operator=(const DisplayDriver &) = delete;

    void opened(File &) override { files_++; }
    void closed(File &file) override;
    void control(std::shared_ptr<Call> call) override;
    void report(nlohmann::json &status) const override;

  private:
    int refuse(int error, const std::string &why) const;
    int check(const Call &call) const;
    void set_up(Call &call);
    void set_output(Call &call);
    void tear_down(Call &call);
    void place(Call &call);
    void control_osd(Call &call);
    void zoom_osd(Call &call);
    void use_osd(Call &call);
    void tell_size(Call &call) const;
    void release_osd(Call &call);

    Machine &machine_;
    Display display_;
    unsigned files_ = 0;
    const File *owner_ = nullptr;
};

/* x, y, width and height, 16 bits each. */
Rectangle rectangle_of(const uint8_t (&block)[8])
{
    uint16_t words[4];
    __builtin_memcpy(words, block, sizeof words);
    return {words[0], words[1], words[2], words[3]};
}

bool is_given(const Rectangle &rectangle)
{
    return rectangle != Rectangle{};
}

bool fits(const Rectangle &rectangle, const orka_display_params_t &output)
{
    return rectangle.x + rectangle.width <= output.width && rectangle.y + rectangle.height <= output.height;
}

DisplayDriver::DisplayDriver(Machine &machine) : machine_(machine), display_(machine)
{
    machine_.screen = &display_;
    machine_.show_captured = [&video = machine_.video](std::span<const uint8_t> uyvy, uint32_t width,
                                                       uint32_t height) {
        video.show_captured({.pixels = uyvy, .width = width, .height = height, .stride = width * 2});
    };
}

DisplayDriver::~DisplayDriver()
{
    machine_.screen = nullptr;
    machine_.show_captured = nullptr;
}

void DisplayDriver::closed(File &file)
{
    files_--;
    if (owner_ == &file || files_ == 0) {
        owner_ = nullptr;
        display_.reset();
    }
}

int DisplayDriver::refuse(int error, const std::string &why) const
{
    machine_.log("display: " + why);
    return error;
}

/* Those of the OSD, and its end, are for the file that set the display up. */
int DisplayDriver::check(const Call &call) const
{
    switch (call.row().number) {
    case wire::IDISPLAY_TEARDOWN:
    case wire::IDISPLAY_OSD_ZOOM:
    case wire::IDISPLAY_BUFFER_BASE:
    case wire::IDISPLAY_BUFFER_SIZE:
    case wire::IDISPLAY_GET_FRAME_BUFFER:
    case wire::IDISPLAY_GET_FRAME_DIMENSION:
    case wire::IDISPLAY_RELEASE_FRAME_BUFFER:
        return !owner_ ? EINVAL : owner_ != &call.file() ? EBUSY : 0;
    default:
        return 0;
    }
}

void DisplayDriver::control(std::shared_ptr<Call> call)
{
    if (const int error = check(*call))
        return call->fail(error);
    switch (call->row().number) {
    case wire::IDISPLAY_SETUP:
        return set_up(*call);
    case wire::IDISPLAY_SET_OUTPUT:
        return set_output(*call);
    case wire::IDISPLAY_GET_OUTPUT:
        return call->reply_record(display_.output());
    case wire::IDISPLAY_ENABLE:
        display_.enable(call->record<uint32_t>() != 0);
        return call->reply();
    case wire::IDISPLAY_MASK:
    case wire::IDISPLAY_UNMASK:
        display_.mask(call->row().number == wire::IDISPLAY_MASK);
        return call->reply();
    case wire::IDISPLAY_RESYNC:
        /* The next picture or sound is shown at once, and those after it follow from there. */
        machine_.presentation.restart();
        return call->reply();
    case wire::IDISPLAY_TEARDOWN:
        return tear_down(*call);
    case wire::IDECODE_SET_RESIZE:
        return place(*call);
    default:
        return control_osd(*call);
    }
}

void DisplayDriver::control_osd(Call &call)
{
    switch (call.row().number) {
    case wire::IDISPLAY_OSD_ZOOM:
        return zoom_osd(call);
    case wire::IDISPLAY_BUFFER_BASE:
        return call.reply_record(*display_.osd_base());
    case wire::IDISPLAY_BUFFER_SIZE:
        return call.reply_record(Display::osd_size());
    case wire::IDISPLAY_GET_FRAME_BUFFER:
        return use_osd(call);
    case wire::IDISPLAY_GET_FRAME_DIMENSION:
        return tell_size(call);
    case wire::IDISPLAY_RELEASE_FRAME_BUFFER:
        return release_osd(call);
    default:
        return call.fail(ENOTTY);
    }
}

void DisplayDriver::set_up(Call &call)
{
    const auto output = call.record<orka_display_params_t>();
    if (owner_)
        return call.fail(owner_ == &call.file() ? EINVAL : EBUSY);
    if (const std::string why = refuse_output(output); !why.empty())
        return call.fail(refuse(EINVAL, why));
    if (!display_.open_osd())
        return call.fail(refuse(ENOMEM, "no memory for frame buffers of " +
                                            std::to_string(Display::osd_size()) +
                                            " bytes; give the board more (--memory)"));
    display_.set_output(output);
    owner_ = &call.file();
    call.reply();
}

void DisplayDriver::set_output(Call &call)
{
    const auto output = call.record<orka_display_params_t>();
    if (const std::string why = refuse_output(output); !why.empty())
        return call.fail(refuse(EINVAL, why));
    display_.set_output(output);
    call.reply();
}

void DisplayDriver::tear_down(Call &call)
{
    owner_ = nullptr;
    display_.reset();
    call.reply();
}

void DisplayDriver::place(Call &call)
{
    const auto record = call.record<wire::resize_record>();
    const Rectangle from = rectangle_of(record.first);
    const Rectangle to = rectangle_of(record.second);
    if ((is_given(from) && from.empty()) || (is_given(to) && to.empty()) || !fits(to, display_.output()))
        return call.fail(EINVAL);
    display_.place(from, to);
    call.reply();
}

/* 0 is no zoom, as 1 is. */
void DisplayDriver::zoom_osd(Call &call)
{
    const auto record = call.record<wire::osd_zoom_record>();
    if (record.zoom_a > 2 || record.zoom_b > 2)
        return call.fail(EINVAL);
    display_.zoom_osd(record.zoom_a == 2 ? 2 : 1, record.zoom_b == 2 ? 2 : 1);
    call.reply();
}

void DisplayDriver::use_osd(Call &call)
{
    auto record = call.record<wire::frame_buffer_record>();
    if (record.channel >= Display::osd_channels)
        return call.fail(EINVAL);
    record.paddr = display_.use_osd(record.channel);
    call.reply_record(record);
}

void DisplayDriver::tell_size(Call &call) const
{
    auto record = call.record<wire::frame_dimension_record>();
    if (record.channel >= Display::osd_channels)
        return call.fail(EINVAL);
    record.width = display_.output().width;
    record.height = display_.output().height;
    call.reply_record(record);
}

/* The caller's value is the channel. */
void DisplayDriver::release_osd(Call &call)
{
    const auto channel = call.record<uint32_t>();
    if (channel >= Display::osd_channels || !display_.release_osd(channel))
        return call.fail(EINVAL);
    call.reply();
}

void DisplayDriver::report(nlohmann::json &status) const
{
    nlohmann::json &display = status["display"];
    display["set_up_by"] = owner_ ? nlohmann::json(owner_->process()) : nlohmann::json();
    display_.report(display);
}

} // namespace

std::unique_ptr<Driver> make_display_driver(Machine &machine)
{
    return std::make_unique<DisplayDriver>(machine);
}

} // namespace orka::board
