#include "player.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "catalogue.h"
#include "common/failure.h"
#include "common/process.h"
#include "common/progress_line.h"
#include "common/text.h"

namespace orka::play {

namespace {

/* How long a call waits in a driver before it looks whether the player is ending. */
constexpr int32_t patience_ms = 100;
constexpr std::chrono::milliseconds patience{patience_ms};

void notice(const std::string &text)
{
    fprintf(stderr, "orka-play: %s\n", text.c_str());
}

std::string damage_text(uint32_t damaged, uint32_t all, const char *what)
{
    return std::to_string(damaged) + " of " + std::to_string(all) + " " + what +
           " are damaged: the clip's data is corrupt";
}

/* Of a clip that was cut out of another, or recorded from a broadcast. */
std::string leading_text(uint32_t leading, const char *what)
{
    return "of its first " + std::string(what) + " " + std::to_string(leading) +
           (leading == 1 ? " needs" : " need") + " what lies before the clip's beginning";
}

std::string too_large_text(uint32_t packets, const char *decoder, uint32_t capacity)
{
    return std::to_string(packets) + (packets == 1 ? " packet is" : " packets are") + " larger than the " +
           decoder + " decoder's frames of " + std::to_string(capacity) +
           " bytes and left out: encode the clip at a lower bit rate";
}

} // namespace

Player::Player(Clip &clip, const Options &options, const std::atomic<bool> &stop)
    : clip_(clip), options_(options), stop_(stop)
{
    const Choice choice = choose();
    check_board("/dev/idecode");
    set_up_display(choice);
    set_up(choice);
    open_outputs(choice);
}

Player::~Player() = default;

Player::Choice Player::choose() const
{
    const AVStream *video = options_.no_video ? nullptr : clip_.video();
    const AVStream *audio = options_.no_audio ? nullptr : clip_.audio();
    if (!video && !audio)
        throw Failure(clip_.path() + ": there is nothing to play in it" +
                      (clip_.video()   ? " but picture"
                       : clip_.audio() ? " but sound"
                                       : ""));

    Choice choice;
    std::string why;
    if (video)
        choice.video = video_type(*video->codecpar, why);
    if (video && choice.video == ORKA_VIDEO_TYPE_NONE)
        throw Failure(clip_.path() + ": its picture cannot be played: " + why +
                      (audio ? " (--no-video plays the sound alone)" : ""));
    if (audio)
        choice.audio = audio_type(*audio->codecpar, why);
    if (audio && choice.audio == ORKA_AUDIO_TYPE_NONE) {
        if (!video)
            throw Failure(clip_.path() + ": its sound cannot be played: " + why);
        notice("playing the picture alone: " + why);
    }
    choose_image(choice);
    return choice;
}

void Player::choose_image(Choice &choice) const
{
    choice.image = options_.image.empty() ? select_image(choice.video, choice.audio) : options_.image;
    if (choice.image.empty() && choice.video != ORKA_VIDEO_TYPE_NONE &&
        choice.audio != ORKA_AUDIO_TYPE_NONE) {
        notice(std::string("playing the picture alone: no codec image decodes ") +
               orka_media_video_string(choice.video) + " with " + orka_media_audio_string(choice.audio) +
               " (--no-video plays the sound alone)");
        choice.audio = ORKA_AUDIO_TYPE_NONE;
        choice.image = select_image(choice.video, choice.audio);
    }
    if (choice.image.empty())
        throw Failure(clip_.path() + ": no codec image decodes it");
}

template <typename Params>
std::unique_ptr<Player::Stream> Player::make_stream(const AVStream &source, const std::string &image,
                                                    const Params &params)
{
    auto stream = std::make_unique<Stream>();
    const AVCodecParameters &codec = *source.codecpar;
    stream->index = source.index;
    stream->source = &codec;
    stream->header = codec_header(codec, {codec.extradata, static_cast<size_t>(codec.extradata_size)});
    stream->begins_silent = codec.codec_id == AV_CODEC_ID_VORBIS;
    stream->queue_limit = params.bufcount;
    stream->decoder = std::make_unique<Decoder>(image, params);
    return stream;
}

void Player::set_up_display(const Choice &choice)
{
    Size source;
    if (options_.output.empty())
        return;
    if (choice.video != ORKA_VIDEO_TYPE_NONE) {
        const AVCodecParameters &picture = *clip_.video()->codecpar;
        source = {static_cast<uint32_t>(picture.width), static_cast<uint32_t>(picture.height)};
    }
    display_.emplace(options_.output, source);
}

void Player::set_up(const Choice &choice)
{
    if (choice.video != ORKA_VIDEO_TYPE_NONE) {
        const AVStream &source = *clip_.video();
        video_ = make_stream(source, choice.image, video_params(*source.codecpar, choice.video));
        video_->deliver = &Player::deliver_picture;
    }
    if (choice.audio != ORKA_AUDIO_TYPE_NONE) {
        const AVStream &source = *clip_.audio();
        audio_ = make_stream(source, choice.image, audio_params(*source.codecpar, choice.audio));
        audio_->deliver = &Player::deliver_sound;
    }
    subtitles_ = Subtitles::open(clip_, options_);
}

void Player::open_outputs(const Choice &choice)
{
    if (choice.video == ORKA_VIDEO_TYPE_NONE && !(options_.framemd5.empty() && options_.snapshot.empty()))
        throw Failure("--framemd5 and --snapshot need a picture, and none is played");
    if (choice.audio == ORKA_AUDIO_TYPE_NONE && !options_.pcm.empty())
        throw Failure("--pcm needs sound, and none is played");
    if (!options_.framemd5.empty())
        hashes_.emplace(options_.framemd5, clip_.frame_rate());
    if (!options_.pcm.empty())
        pcm_.emplace(options_.pcm);
    if (!options_.snapshot.empty())
        snapshot_.emplace(options_.snapshot, options_.snapshot_at);
}

void Player::close_outputs()
{
    if (hashes_)
        hashes_->close();
    if (pcm_)
        pcm_->close();
    if (snapshot_)
        snapshot_->save();
}

std::vector<Player::Stream *> Player::streams() const
{
    std::vector<Stream *> list;
    for (Stream *stream : {video_.get(), audio_.get()}) {
        if (stream)
            list.push_back(stream);
    }
    return list;
}

Player::Stream *Player::stream_at(int index)
{
    for (Stream *stream : streams()) {
        if (stream->index == index)
            return stream;
    }
    return nullptr;
}

/* Reading. */

/* An empty packet stands for a picture that repeats the last one: there is nothing to decode. */
void Player::read()
{
    for (ClipPacket packet = clip_.read(); packet.data && !ending(); packet = clip_.read()) {
        if (subtitles_)
            subtitles_->pass(packet);
        Stream *stream = packet.data->size > 0 ? stream_at(packet.data->stream_index) : nullptr;
        if (stream != nullptr)
            stream->packets.push(std::move(packet));
    }
    for (Stream *stream : streams())
        stream->packets.finish();
    if (!subtitles_)
        return;
    subtitles_->finish();
    while (!ending() && !played_ && !subtitles_->feed(patience_ms))
        continue;
}

/* Feeding. */

ClipPacket Player::next_packet(Stream &stream)
{
    stream.starved = true;
    ClipPacket packet = stream.packets.pop();
    stream.starved = false;
    return packet;
}

void Player::feed(Stream &stream)
{
    const auto kind = static_cast<uint32_t>(stream.decoder->kind());
    if (!stream.header.empty() && !put(stream, {.kind = kind, .flags = frame_header}, stream.header))
        return;
    for (ClipPacket packet = next_packet(stream); packet.data; packet = next_packet(stream)) {
        const AVPacket &data = *packet.data;
        const orka_idecode_frame_t words = {
            .kind = kind,
            .flags = data.flags & AV_PKT_FLAG_KEY ? uint32_t{frame_key} : 0,
            .tsms = packet.tsms,
            .duration = Edits::duration(data, packet.duration),
        };
        if (!put_new_header(stream, data))
            return;
        if (stream.frames_in == 0 && (words.flags & frame_key) != 0)
            stream.begins_at = words.tsms;
        if (stream.frames_in > 0 || !stream.begins_silent)
            stream.edits.note(data, words.tsms,
                              &stream == audio_.get() ? Edits::Which::every : Edits::Which::marked);
        if (!put(stream, words, {data.data, static_cast<size_t>(data.size)}))
            return;
        if (words.tsms != no_time)
            stream.fed_to = std::max(stream.fed_to.load(), words.tsms);
        stream.frames_in++;
    }
    if (!ending())
        put(stream, {.kind = ORKA_FRAME_TYPE_LAST}, {});
}

/* A packet that is coded by another header than those before it carries that: of a joined clip, say. */
bool Player::put_new_header(Stream &stream, const AVPacket &packet)
{
    size_t size = 0;
    const uint8_t *const data = av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (!data || size == 0)
        return true;
    const auto kind = static_cast<uint32_t>(stream.decoder->kind());
    return put(stream, {.kind = kind, .flags = frame_header}, codec_header(*stream.source, {data, size}));
}

/* False when the player ends before the decoder has room. */
bool Player::obtain(Stream &stream, orka_idecode_frame_t &frame)
{
    if (stream.unused) {
        frame = *std::exchange(stream.unused, std::nullopt);
        return true;
    }
    do {
        if (ending())
            return false;
    } while (!stream.decoder->new_frame(frame, patience_ms));
    return true;
}

/* A packet that no frame holds is left out: in a damaged clip it is what a wrong length made of one. */
bool Player::put(Stream &stream, const orka_idecode_frame_t &words, std::span<const uint8_t> data)
{
    orka_idecode_frame_t frame;
    if (!obtain(stream, frame))
        return false;
    if (data.size() > frame.capacity) {
        stream.unused = frame;
        stream.left_out++;
        stream.frame_capacity = frame.capacity;
        return true;
    }
    frame.kind = words.kind;
    frame.flags = words.flags;
    frame.tsms = words.tsms;
    frame.duration = words.duration;
    frame.size = static_cast<uint32_t>(data.size());
    if (!data.empty())
        memcpy(frame_data(frame), data.data(), data.size());
    stream.decoder->commit(frame);
    return true;
}

/* Taking. */

Patience Player::patience_with(const Stream &stream) const
{
    return {options_.give_up, std::string("the ") + stream.decoder->name() + " decoder"};
}

/* How far what went in is ahead of what came out. */
std::chrono::milliseconds Player::lead_of(const Stream &stream)
{
    const uint32_t fed_to = stream.fed_to;
    return std::chrono::milliseconds(fed_to - std::min(fed_to, stream.position.load()));
}

/* Its last frame, which holds nothing, tells of damage after all others. */
void Player::count_damage(Stream &stream, const orka_idecode_frame_t &frame) const
{
    if ((frame.flags & frame_damaged) == 0) {
        stream.whole += frame.kind != ORKA_FRAME_TYPE_LAST;
        return;
    }
    const bool leads = &stream == video_.get() && stream.whole == 0 && frame.tsms < stream.begins_at;
    (leads ? stream.leading : stream.damaged)++;
}

/*
 * Silence is the decoder's own where it has been fed all that there is, or takes no more. With a clock that
 * is real a picture may be shown for long: until the next one, which is no later than what was fed last.
 */
void Player::take(Stream &stream)
{
    bool last = false;
    uint32_t fed = 0;
    Patience patience = patience_with(stream);
    while (!last && !ending()) {
        orka_idecode_frame_t frame;
        if (!stream.decoder->get_frame(frame, patience_ms)) {
            if (stream.starved || std::exchange(fed, stream.frames_in) != stream.frames_in)
                patience.renew();
            patience.check(lead_of(stream));
            continue;
        }
        last = frame.kind == ORKA_FRAME_TYPE_LAST;
        bool kept = last;
        if (!last) {
            hold(frame.tsms);
            kept = (this->*stream.deliver)(frame);
            stream.frames_out++;
            stream.position = frame.tsms;
        }
        if (kept)
            count_damage(stream, frame);
        stream.decoder->release(frame);
        patience.renew();
    }
}

void Player::wait_finished(const Stream &stream) const
{
    const Patience patience = patience_with(stream);
    while (!ending() && !stream.decoder->wait_finished(patience_ms))
        patience.check();
}

/* By the player's own clock, whose start is the first frame of any stream. */
void Player::hold(uint32_t tsms)
{
    if (!options_.real_time)
        return;
    const std::chrono::milliseconds stamp(tsms);
    std::unique_lock lock(mutex_);
    const Clock::time_point due = origin_.emplace(origin_.value_or(Clock::now() - stamp)) + stamp;
    lock.unlock();
    while (!ending() && Clock::now() < due)
        std::this_thread::sleep_until(std::min(due, Clock::now() + patience));
}

bool Player::deliver_picture(const orka_idecode_frame_t &frame)
{
    if (video_->edits.drops_picture(frame.tsms, frame.duration))
        return false;
    if (hashes_)
        hashes_->add(frame);
    if (snapshot_)
        snapshot_->offer(frame);
    return true;
}

bool Player::deliver_sound(const orka_idecode_frame_t &frame)
{
    const uint32_t sample_size = frame.height * static_cast<uint32_t>(sizeof(int16_t));
    if (sample_size == 0 || frame.width == 0)
        throw Failure("the audio decoder gave sound without channels or rate");
    const Edits::Range kept = audio_->edits.kept_samples(frame.tsms, frame.size / sample_size);
    if (pcm_)
        pcm_->write({frame_data(frame) + size_t{kept.first} * sample_size, size_t{kept.count} * sample_size});
    audio_seconds_ += static_cast<double>(kept.count) / frame.width;
    return kept.count > 0;
}

/* Threads. */

/* The first failure is kept, and ends the other threads. */
std::thread Player::guarded(std::function<void()> work)
{
    return std::thread([this, work = std::move(work)] {
        try {
            work();
        } catch (...) {
            std::lock_guard lock(mutex_);
            if (!failure_)
                failure_ = std::current_exception();
            failed_ = true;
        }
    });
}

void Player::start_threads()
{
    const SignalsHeld held;
    takers_ = streams().size();
    for (Stream *stream : streams()) {
        stream->taker = guarded([this, stream] {
            take(*stream);
            std::lock_guard lock(mutex_);
            takers_--;
            taker_ended_.notify_one();
        });
        stream->feeder = guarded([this, stream] { feed(*stream); });
    }
    reader_ = guarded([this] { read(); });
}

/* Until all is taken or a thread fails; signals tell nobody, so they are looked for. */
void Player::watch()
{
    ProgressLine line;
    std::unique_lock lock(mutex_);
    while (takers_ > 0 && !ending()) {
        line.show(progress());
        taker_ended_.wait_for(lock, std::chrono::milliseconds(20));
    }
}

void Player::end()
{
    if (ending()) {
        for (Stream *stream : streams())
            stream->packets.close();
    }
    played_ = true;
    reader_.join();
    for (Stream *stream : streams()) {
        stream->feeder.join();
        stream->taker.join();
    }
    end_ = Clock::now();
}

void Player::play()
{
    begin_ = Clock::now();
    for (Stream *stream : streams())
        stream->decoder->start();
    if (subtitles_)
        subtitles_->start();
    start_threads();
    watch();
    end();
    for (Stream *stream : streams()) {
        wait_finished(*stream);
        stream->decoder.reset();
    }
    if (subtitles_)
        subtitles_->stop();
    close_outputs();
    if (failure_)
        std::rethrow_exception(failure_);
    if (!stop_)
        report_faults();
}

/* Telling. */

double Player::elapsed() const
{
    const Clock::time_point until = end_ == Clock::time_point() ? Clock::now() : end_;
    return std::chrono::duration<double>(until - begin_).count();
}

std::string Player::progress() const
{
    const Stream &stream = video_ ? *video_ : *audio_;
    const uint32_t out = stream.frames_out;
    const uint32_t in = stream.frames_in;
    const std::string length = clip_.seconds() > 0 ? format(" of %.1f s", clip_.seconds()) : "";
    return format("%.1f s", stream.position / 1000.0) + length +
           format("  %.1f frames/s  queue %u/%u", out / std::max(elapsed(), 1e-3), in > out ? in - out : 0,
                  stream.queue_limit);
}

void Player::print_summary() const
{
    for (const Stream *stream : streams()) {
        printf("%s: %" PRIu32 " frames in, %" PRIu32 " frames out, ",
               stream == video_.get() ? "picture" : "sound", stream->frames_in.load(),
               stream->frames_out.load());
        if (stream == video_.get())
            printf("%.1f frames a second\n", stream->frames_out / std::max(elapsed(), 1e-3));
        else
            printf("%.2f seconds\n", audio_seconds_);
    }
    if (subtitles_)
        printf("subtitles: %" PRIu32 " frames in\n", subtitles_->frames_in());
}

/* A clip that was played, but is not whole, fails all the same. */
void Player::report_faults() const
{
    std::vector<std::string> faults;
    if (const std::string fault = clip_.fault(); !fault.empty())
        faults.push_back(fault);
    for (const Stream *stream : streams()) {
        const char *what = stream == video_.get() ? "pictures" : "sound frames";
        if (stream->frames_out == 0)
            faults.push_back(std::string("no ") + what + " could be decoded");
        if (stream->left_out > 0)
            faults.push_back(too_large_text(stream->left_out, stream == video_.get() ? "video" : "audio",
                                            stream->frame_capacity));
        const bool begins_inside = stream->leading > 0 && stream->whole > 0;
        if (begins_inside)
            notice(clip_.path() + ": " + leading_text(stream->leading, what));
        if (const uint32_t damaged = stream->damaged + (begins_inside ? 0 : stream->leading); damaged > 0)
            faults.push_back(damage_text(damaged, stream->frames_out, what));
    }
    std::string text;
    for (const std::string &fault : faults)
        text += (text.empty() ? clip_.path() + ": " : "; ") + fault;
    if (!text.empty())
        throw Failure(text);
}

} // namespace orka::play
