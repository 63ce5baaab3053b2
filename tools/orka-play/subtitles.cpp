#include "subtitles.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "common/failure.h"

namespace orka::play {

namespace {

constexpr char image[] = "subtitle_dec";

} // namespace

Subtitles::Subtitles(const AVStream *track, SubtitleFile file)
    : track_(track ? track->index : -1), reader_(track ? std::make_unique<SubtitleReader>(*track) : nullptr),
      decoder_(std::make_unique<Decoder>(image, orka_idecode_subtitle_params_t{})),
      waiting_(std::make_move_iterator(file.subtitles.begin()),
               std::make_move_iterator(file.subtitles.end())),
      finished_(!track), left_out_(file.damaged)
{
}

std::unique_ptr<Subtitles> Subtitles::open(const Clip &clip, const Options &options)
{
    if (options.no_subtitles)
        return nullptr;
    if (!options.subtitles.empty())
        return std::unique_ptr<Subtitles>(new Subtitles(nullptr, read_subtitle_file(options.subtitles)));
    return clip.subtitles() ? open_track(*clip.subtitles()) : nullptr;
}

/* Nobody asked for those of the clip: it plays without. */
std::unique_ptr<Subtitles> Subtitles::open_track(const AVStream &track)
{
    try {
        return std::unique_ptr<Subtitles>(new Subtitles(&track, {}));
    } catch (const Failure &failure) {
        fprintf(stderr, "orka-play: playing without subtitles: %s\n", failure.what());
        return nullptr;
    }
}

void Subtitles::start()
{
    decoder_->start();
    feed(0);
}

void Subtitles::stop()
{
    decoder_.reset();
    if (left_out_ > 0)
        fprintf(stderr, "orka-play: %u subtitles were left out: damaged, too long, or no UTF-8\n", left_out_);
}

void Subtitles::pass(const ClipPacket &packet)
{
    if (packet.data->stream_index == track_) {
        std::optional<std::string> text = reader_->text(*packet.data);
        left_out_ += !text;
        if (text && !text->empty())
            waiting_.push_back({packet.tsms, packet.duration, std::move(*text)});
    }
    feed(0);
}

void Subtitles::finish()
{
    finished_ = true;
}

bool Subtitles::feed(int32_t timeout)
{
    orka_idecode_frame_t frame;
    while (!waiting_.empty() && decoder_->new_frame(frame, timeout)) {
        put(frame, waiting_.front());
        waiting_.pop_front();
    }
    if (waiting_.empty() && finished_ && !ended_ && decoder_->new_frame(frame, timeout)) {
        frame.kind = ORKA_FRAME_TYPE_LAST;
        decoder_->commit(frame);
        ended_ = true;
    }
    return ended_;
}

/* One that is too long goes as an empty one: its place was given, and has to come back. */
void Subtitles::put(const orka_idecode_frame_t &place, const Subtitle &subtitle)
{
    const bool fits = subtitle.text.size() <= place.capacity;
    orka_idecode_frame_t frame = place;
    frame.tsms = subtitle.tsms;
    frame.duration = fits ? subtitle.duration : 1;
    frame.size = fits ? static_cast<uint32_t>(subtitle.text.size()) : 0;
    memcpy(frame_data(frame), subtitle.text.data(), frame.size);
    decoder_->commit(frame);
    frames_in_ += fits;
    left_out_ += !fits;
}

} // namespace orka::play
