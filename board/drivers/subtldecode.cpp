/* /dev/subtldecode: the decoder of subtitles, one channel. */
#include "drivers/decode_driver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "drivers/subtitle_session.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr DecoderKind subtitle_kind{
    .node = "subtldecode",
    .frame_kind = ORKA_FRAME_TYPE_SUBTITLE,
    .queueid = 3,
    .wants_init = false,
    .decodes = &CodecImage::decodes_subtitles,
    .advice = "load subtitle_dec",
};

/* What zeros of a setup stand for. */
constexpr uint32_t usual_bytes = 64 << 10;
constexpr uint32_t usual_frames = 32;

/* Of one text. No larger one is drawn in the time that the reactor's thread has. */
constexpr uint32_t largest_frame = 4096;

/* All frames of a queue fit into it at the same time; 0 where they are too small to hold anything. */
uint32_t frame_bytes(uint32_t bufsize, uint32_t bufcount)
{
    const uint32_t share = bufsize / bufcount;
    return std::min(largest_frame, share / BufferSpace::alignment * BufferSpace::alignment);
}

class SubtitleDecodeDriver final : public DecodeDriver {
  public:
    SubtitleDecodeDriver(Machine &machine, TextPainters painters)
        : DecodeDriver(machine, subtitle_kind, 1, 1), painters_(std::move(painters))
    {
    }

  private:
    void load(Call &call) override;
    void set_up(Call &call) override;
    bool control_node(Call &) override { return false; }

    const TextPainters painters_;
};

void SubtitleDecodeDriver::load(Call &call)
{
    const auto *const name = reinterpret_cast<const char *>(call.in().data());
    find(0, 0)->load(call, {name, strnlen(name, call.in().size())});
}

void SubtitleDecodeDriver::set_up(Call &call)
{
    const auto record = call.record<wire::subtitle_setup_record>();
    Decoder *const decoder = find(record.channel, record.stream);
    if (!decoder)
        return call.fail(EINVAL);
    const uint32_t bufsize = record.params.words[0] ? record.params.words[0] : usual_bytes;
    const uint32_t bufcount = record.params.words[1] ? record.params.words[1] : usual_frames;
    decoder->set_up(call, {.bufsize = bufsize,
                           .bufcount = bufcount,
                           .maxframe = frame_bytes(bufsize, bufcount),
                           .make_session = [&](const SessionPlan &plan, std::string &why) {
                               std::shared_ptr<TextPainter> painter = painters_(why);
                               return painter ? SubtitleSession::create(machine_, plan, std::move(painter))
                                              : nullptr;
                           }});
}

} // namespace

std::unique_ptr<Driver> make_subtitle_decode_driver(Machine &machine, TextPainters painters)
{
    return std::make_unique<SubtitleDecodeDriver>(machine, std::move(painters));
}

std::unique_ptr<Driver> make_subtitle_decode_driver(Machine &machine)
{
    return make_subtitle_decode_driver(
        machine, [](std::string &why) { return TextPainter::create(TextPainter::default_font(), why); });
}

} // namespace orka::board
