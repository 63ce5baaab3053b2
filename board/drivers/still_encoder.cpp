#include "drivers/still_encoder.h"

#include <cerrno>
#include <utility>

#include <nlohmann/json.hpp>

#include "dsp/images.h"

namespace orka::board {

namespace {

constexpr char label[] = "imgencode";
constexpr uint32_t still_queue = 8;

} // namespace

/* Files. */

void StillEncoder::opened(File &file)
{
    files_.insert(&file);
    tell_readable();
}

void StillEncoder::closed(File &file)
{
    files_.erase(&file);
    if (owner_ == &file)
        end_session();
}

void StillEncoder::tell_readable() const
{
    for (File *const file : files_)
        file->set_readable(session_ && belongs_to(*file) && session_->readable());
}

/* Wakes whoever waits, ends the DSP's thread and frees the queue. */
void StillEncoder::end_session()
{
    session_.reset();
    owner_ = nullptr;
    tell_readable();
}

/* Setup. */

int StillEncoder::refuse(int error, const std::string &why) const
{
    machine_.log(std::string(label) + ": " + why);
    return error;
}

int StillEncoder::check(const wire::image_encode_setup_record &record) const
{
    const std::string type = "image type " + std::to_string(record.type);
    const CodecImage *const loaded = find_image(image_.name());
    if (!machine_.camera)
        return refuse(EINVAL, "there is no camera");
    if (!loaded)
        return refuse(EINVAL, "setup for " + type + " without a codec image; load one first");
    if (!loaded->encodes_still(record.type))
        return refuse(EINVAL, "image " + image_.name() + " does not encode " + type +
                                  "; image_enc encodes types 1 to 5");
    return 0;
}

int StillEncoder::make_session(const wire::image_encode_setup_record &record)
{
    std::string why;
    std::unique_ptr<ImageEncoder> codec = codecs_(
        {.type = record.type, .width = record.width, .height = record.height, .quality = record.quality},
        why);
    if (!codec)
        return refuse(EINVAL, "image type " + std::to_string(record.type) + ": " + why);
    session_ = StillSession::create(machine_, {.label = label,
                                               .width = record.width,
                                               .height = record.height,
                                               .codec = std::move(codec),
                                               .readable_changed = [this] { tell_readable(); }});
    if (!session_)
        return refuse(ENOMEM, "no memory for a queue of " +
                                  std::to_string(StillSession::queue_bytes(record.width, record.height)) +
                                  " bytes; give the board more (--memory)");
    return 0;
}

/* A picture without a size has the camera's. */
wire::image_encode_setup_record StillEncoder::settled(wire::image_encode_setup_record record) const
{
    if (record.width == 0 && record.height == 0) {
        record.width = machine_.standard.width;
        record.height = machine_.standard.height;
    }
    return record;
}

void StillEncoder::set_up(Call &call)
{
    const auto record = settled(call.record<wire::image_encode_setup_record>());
    if (record.stream != 0)
        return call.fail(EINVAL);
    if (session_)
        return call.fail(belongs_to(call.file()) ? EINVAL : EBUSY);
    int error = check(record);
    if (!error)
        error = make_session(record);
    if (error)
        return call.fail(error);
    owner_ = &call.file();
    setup_ = record;
    call.reply();
}

/* Requests. */

void StillEncoder::control(std::shared_ptr<Call> call)
{
    if (call->record<wire::audio_encoder_record>().channel != 0)
        return call->fail(EINVAL);
    if (call->row().number == wire::IENCODE_SETUP_IMAGE)
        return set_up(*call);
    if (!session_ || !belongs_to(call->file()))
        return call->fail(session_ ? EBUSY : EINVAL);
    if (call->row().number != wire::IENCODE_TEARDOWN_IMAGE)
        return control_session(std::move(call));
    end_session();
    call->reply();
}

bool StillEncoder::hang(const File &file)
{
    if (!session_ || !belongs_to(file))
        return false;
    session_->hang();
    return true;
}

void StillEncoder::control_session(std::shared_ptr<Call> call)
{
    auto record = call->record<wire::audio_encode_queue_record>();
    if (record.queueid != still_queue)
        return call->fail(EINVAL);
    switch (call->row().number) {
    case wire::IENCODE_IMAGE_QUEUE:
        record.length = session_->frames().length();
        record.pbase = session_->frames().base();
        return call->reply_record(record);
    case wire::IENCODE_GET_IMAGE:
        return session_->get(std::move(call));
    default:
        return session_->release(*call);
    }
}

void StillEncoder::report(nlohmann::json &status) const
{
    if (!session_)
        return;
    status["encoders"].push_back({{"node", label},
                                  {"channel", 0},
                                  {"image", image_.name()},
                                  {"state", "set up"},
                                  {"codec", setup_.type},
                                  {"process", owner_->process()},
                                  {"width", setup_.width},
                                  {"height", setup_.height},
                                  {"frames_in", session_->made() + session_->failures()},
                                  {"frames_out", session_->made()},
                                  {"dropped", session_->failures()},
                                  {"queue", session_->frames().report()}});
}

} // namespace orka::board
