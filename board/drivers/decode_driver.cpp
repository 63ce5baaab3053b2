#include "drivers/decode_driver.h"

#include <algorithm>
#include <cerrno>

#include <nlohmann/json.hpp>

namespace orka::board {

DecodeDriver::DecodeDriver(Machine &machine, const DecoderKind &kind, int32_t channels, int32_t streams)
    : machine_(machine), channels_(channels), streams_(streams)
{
    for (int32_t channel = 0; channel < channels; channel++) {
        for (int32_t stream = 0; stream < streams; stream++)
            decoders_.push_back(std::make_unique<Decoder>(machine, kind, channel, stream,
                                                          [this](File &file) { tell_readable(file); }));
    }
}

Decoder *DecodeDriver::find(int32_t channel, int32_t stream)
{
    if (channel < 0 || channel >= channels_ || stream < 0 || stream >= streams_)
        return nullptr;
    return decoders_[static_cast<size_t>(channel) * static_cast<size_t>(streams_) +
                     static_cast<size_t>(stream)]
        .get();
}

void DecodeDriver::tell_readable(File &file) const
{
    file.set_readable(
        std::ranges::any_of(decoders_, [&](const auto &decoder) { return decoder->is_readable_for(file); }));
}

void DecodeDriver::closed(File &file)
{
    for (const std::unique_ptr<Decoder> &decoder : decoders_)
        decoder->closed(file);
}

void DecodeDriver::report(nlohmann::json &status) const
{
    nlohmann::json &all = status["decoders"];
    if (all.is_null())
        all = nlohmann::json::array();
    for (const std::unique_ptr<Decoder> &decoder : decoders_) {
        if (nlohmann::json one = decoder->report(); !one.is_null())
            all.push_back(std::move(one));
    }
}

bool DecodeDriver::hang(const Call &call)
{
    const auto record = call.record<wire::channel_record>();
    Decoder *const decoder = find(record.channel, record.stream);
    return decoder && decoder->hang(call.file());
}

void DecodeDriver::control(std::shared_ptr<Call> call)
{
    const uint32_t number = call->row().number;
    if (number == wire::IDECODE_LOAD)
        return load(*call);
    if (number == wire::IDECODE_SETUP_AUDIO || number == wire::IDECODE_SETUP_VIDEO ||
        number == wire::IDECODE_SETUP_SUBTITLE) /* which is that of stills too */
        return set_up(*call);
    if (control_node(*call))
        return;
    const auto record = call->record<wire::channel_record>();
    Decoder *const decoder = find(record.channel, record.stream);
    if (!decoder)
        return call->fail(EINVAL);
    decoder->control(std::move(call));
}

} // namespace orka::board
