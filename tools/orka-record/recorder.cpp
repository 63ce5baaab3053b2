#include "recorder.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <utility>

#include "capture.h"
#include "common/failure.h"
#include "common/process.h"
#include "common/text.h"
#include "headers.h"

namespace orka::record {

namespace {

using Clock = std::chrono::steady_clock;

/* How long a call waits in a driver before it looks whether the recorder is ending. */
constexpr int32_t patience_ms = 100;

/* How long a stopped encoder may say nothing before its stream counts as ended. */
constexpr int longest_silence = 50; /* times patience_ms */

constexpr double mebibyte = 1024.0 * 1024.0;

/*
 * Players begin a file where its first packet stands, and few containers can say that it is not to be heard:
 * sound that comes before the first picture is left out, in whole packets; but of MP3, whose packets hold
 * parts of the ones that follow.
 */
bool leaves_out_early(const AVCodecParameters &stream)
{
    return stream.codec_id != AV_CODEC_ID_MP3;
}

bool is_too_early(const AVCodecParameters &stream, const Place &place)
{
    return leaves_out_early(stream) && place.time + place.duration / 2 < 0;
}

} // namespace

Recorder::Recorder(const Options &options, const std::atomic<bool> &stop) : options_(options), stop_(stop)
{
    const std::string image = select_image(options);
    check_board("/dev/iencode");
    set_up_capture(options);
    if (options.video != ORKA_VIDEO_TYPE_NONE)
        set_up_video(image);
    if (options.audio != ORKA_AUDIO_TYPE_NONE)
        set_up_audio(image);
    show_picture(options);
    file_.emplace(options.file, *options.container);
}

Recorder::~Recorder()
{
    release_capture(options_);
}

void Recorder::set_up_video(const std::string &image)
{
    const orka_iencode_video_params_t params = video_params(options_);
    video_ = std::make_unique<Stream>();
    video_->video = true;
    describe_video(video_->description, options_.video, params);
    video_->encoder = std::make_unique<Encoder>(image, params);
    picture_ticks_.emplace(params.frame_rate);
}

void Recorder::set_up_audio(const std::string &image)
{
    const orka_iencode_audio_params_t params = audio_params(options_);
    audio_ = std::make_unique<Stream>();
    audio_->video = false;
    describe_audio(audio_->description, options_.audio, params);
    audio_->encoder = std::make_unique<Encoder>(image, params);
    sound_ticks_.emplace(params.sample_rate, audio_->description.initial_padding);
}

std::vector<Recorder::Stream *> Recorder::streams() const
{
    std::vector<Stream *> list;
    for (Stream *stream : {video_.get(), audio_.get()}) {
        if (stream)
            list.push_back(stream);
    }
    return list;
}

/* Taking. */

void Recorder::take(Stream &stream)
{
    Patience patience(options_.give_up, std::string("the ") + stream.encoder->name() + " encoder");
    for (int silence = 0; silence < longest_silence && !stream.goes_on; silence++) {
        orka_iencode_frame_t frame;
        if (!stream.encoder->get_frame(frame, patience_ms)) {
            if (!is_done()) {
                patience.check();
                silence = -1;
            }
            continue;
        }
        patience.renew();
        if (frame.kind == ORKA_FRAME_TYPE_LAST)
            return;
        deliver(stream, frame);
        stream.encoder->release();
        silence = -1;
    }
}

void Recorder::deliver(Stream &stream, const orka_iencode_frame_t &frame)
{
    const std::scoped_lock lock(mutex_);
    const std::span<const uint8_t> data = frame_data(frame);
    if ((frame.flags & frame_header) != 0) {
        stream.headers.assign(data.begin(), data.end());
    } else if (begun_) {
        write(stream, frame, data);
    } else {
        stream.held.push_back({frame, {data.begin(), data.end()}});
        stream.held.back().words.addr = 0;
        if (stream.video && stream.headers.empty())
            stream.headers = video_headers(frame, options_.video, stream.description);
        begin_if_ready();
    }
}

void Recorder::end(Stream &stream)
{
    const std::scoped_lock lock(mutex_);
    stream.ended = true;
    if (!begun_ && !failure_)
        begin_if_ready();
    changed_.notify_all();
}

/* Writing. */

/* A file begins when every stream has a packet, or will never have one. */
void Recorder::begin_if_ready()
{
    const std::vector<Stream *> all = streams();
    if (std::ranges::all_of(all, [](const Stream *stream) { return !stream->held.empty() || stream->ended; }))
        begin();
}

void Recorder::begin()
{
    std::vector<Stream *> present = streams();
    std::erase_if(present, [](const Stream *stream) { return stream->held.empty(); });
    if (present.empty())
        return;
    base_ = present.front()->held.front().words.timestamp;
    for (Stream *stream : present)
        describe(*stream);
    file_->begin();
    begun_ = true;
    for (Stream *stream : present) {
        for (const Held &held : std::exchange(stream->held, {}))
            write(*stream, held.words, held.data);
    }
}

void Recorder::describe(Stream &stream)
{
    const int ticks = ticks_a_second(stream);
    stream.number = stream.video ? file_->add_pictures(ticks) : file_->add_sound(ticks);
    AVCodecParameters &parameters = file_->parameters(stream.number);
    if (avcodec_parameters_copy(&parameters, &stream.description) < 0)
        throw Failure("out of memory");
    if (leaves_out_early(parameters))
        parameters.initial_padding = 0;
    /* Packets of one size are blocks; WMA's decoders have to be told theirs. */
    if (parameters.codec_id == AV_CODEC_ID_WMAV2)
        parameters.block_align = static_cast<int>(stream.held.front().data.size());
    if (!stream.headers.empty())
        set_headers(parameters, stream.headers);
}

Place Recorder::place(const Stream &stream, const orka_iencode_frame_t &words, size_t size)
{
    const int64_t ms = int64_t{words.timestamp} - base_;
    if (stream.video)
        return picture_ticks_->place(ms);
    return sound_ticks_->place(
        ms, av_get_audio_frame_duration2(&file_->parameters(stream.number), static_cast<int>(size)));
}

void Recorder::take_place(const Stream &stream, const Place &place)
{
    if (stream.video)
        picture_ticks_->take(place);
    else
        sound_ticks_->take(place);
}

int Recorder::ticks_a_second(const Stream &stream) const
{
    return stream.video ? static_cast<int>(rate_of(options_.pal)) : stream.description.sample_rate;
}

/* Half of the packet or more lies beyond the end. */
bool Recorder::is_beyond(const Stream &stream, const Place &place) const
{
    if (!options_.seconds)
        return false;
    const double end = *options_.seconds * ticks_a_second(stream);
    if (!stream.first)
        return static_cast<double>(place.time) >= end;
    const int64_t begin = std::min<int64_t>(*stream.first, 0);
    return static_cast<double>(place.time - begin) + static_cast<double>(place.duration) / 2 >= end;
}

void Recorder::end_as_asked(Stream &stream)
{
    stream.enough = true;
    if (stream.video)
        picture_ticks_->end(std::lround(std::ceil(*options_.seconds * ticks_a_second(stream) - 0.5)));
    changed_.notify_all();
}

/* Where sound is counted and not timed, what is missing would bring the rest forward. */
void Recorder::fill_gap(Stream &stream, std::span<const uint8_t> next, const Place &at)
{
    if (!options_.container->counts || stream.video || at.duration <= 0)
        return;
    const std::vector<uint8_t> silence = silence_like(next, stream.description);
    for (int64_t time = stream.written_to; time + at.duration / 2 < at.time; time += at.duration)
        put(stream, {time, at.duration}, silence, true);
}

void Recorder::put(Stream &stream, const Place &at, std::span<const uint8_t> data, bool key)
{
    file_->write(
        {.stream = stream.number, .data = data, .time = at.time, .duration = at.duration, .key = key});
    stream.written_to = at.time + at.duration;
    stream.first = stream.first.value_or(at.time);
    stream.frames++;
    stream.ticks += at.duration;
    stream.bytes += data.size();
}

void Recorder::write(Stream &stream, const orka_iencode_frame_t &words, std::span<const uint8_t> data)
{
    if (failure_ || stream.number < 0 || stream.enough)
        return;
    const Place at = place(stream, words, data.size());
    if (is_beyond(stream, at)) {
        end_as_asked(stream);
        return;
    }
    take_place(stream, at);
    if (is_too_early(stream.description, at))
        return;
    fill_gap(stream, data, at);
    put(stream, at, data,
        !stream.video || is_key_frame((words.flags & frame_key) != 0, data, options_.video));
    if (&stream == streams().front())
        written_.add(words, 1000.0 * static_cast<double>(at.duration) / ticks_a_second(stream));
}

/* Ending. */

void Recorder::keep_failure()
{
    const std::scoped_lock lock(mutex_);
    if (!failure_)
        failure_ = std::current_exception();
    changed_.notify_all();
}

std::thread Recorder::guarded(Stream &stream)
{
    return std::thread([this, &stream] {
        try {
            take(stream);
            end(stream);
        } catch (...) {
            keep_failure();
        }
    });
}

bool Recorder::is_done() const
{
    const std::scoped_lock lock(mutex_);
    const std::vector<Stream *> all = streams();
    return stop_ || failure_ ||
           std::ranges::all_of(all, [](const Stream *stream) { return stream->enough || stream->ended; });
}

/* Signals tell nobody, so they are looked for. */
void Recorder::watch(ProgressLine &line)
{
    while (!is_done()) {
        line.show(progress());
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::milliseconds(20));
    }
}

void Recorder::stop_encoders()
{
    for (Stream *stream : streams()) {
        try {
            stream->encoder->stop();
        } catch (...) {
            keep_failure();
            stream->goes_on = true;
        }
    }
    for (Stream *stream : streams())
        stream->taker.join();
}

void Recorder::finish()
{
    try {
        file_->finish();
    } catch (...) {
        keep_failure();
    }
    end_ = Clock::now();
    if (failure_)
        std::rethrow_exception(failure_);
    if (!begun_)
        throw Failure(options_.file + ": nothing was captured");
}

void Recorder::record()
{
    begin_ = Clock::now();
    end_ = begin_;
    for (Stream *stream : streams())
        stream->encoder->start();
    {
        const SignalsHeld held;
        for (Stream *stream : streams())
            stream->taker = guarded(*stream);
    }
    ProgressLine line;
    watch(line);
    stop_encoders();
    line.show(progress());
    finish();
}

/* Telling. */

std::string Recorder::progress() const
{
    const std::scoped_lock lock(mutex_);
    if (!begun_)
        return "waiting for the first frames";
    uint64_t bytes = 0;
    for (const Stream *stream : streams())
        bytes += stream->bytes;
    const Stream &first = *streams().front();
    return format("%.1f s  %u frames  %.1f MiB", std::max(0.0, (written_.ms() - base_) / 1000), first.frames,
                  static_cast<double>(bytes) / mebibyte) +
           (video_ ? format("  %" PRId64 " dropped", picture_ticks_->dropped()) : "");
}

/* Of those that libavformat has written: of a file that failed, the last ones may be missing. */
std::string Recorder::told_frames(const Stream &stream) const
{
    const int64_t count = file_->packets(stream.number);
    const double ticks = stream.frames == 0
                             ? 0
                             : static_cast<double>(stream.ticks) * static_cast<double>(count) / stream.frames;
    return format("%s%" PRId64 "%s frames, %.2f seconds", file_->has_failed() ? "at most " : "", count,
                  file_->has_failed() ? " whole" : "", ticks / ticks_a_second(stream));
}

void Recorder::print_summary() const
{
    if (video_)
        printf("picture: %s %dx%d, %s, %" PRId64 " dropped\n", orka_media_video_string(options_.video),
               video_->description.width, video_->description.height, told_frames(*video_).c_str(),
               picture_ticks_->dropped());
    if (audio_)
        printf("sound: %s %d Hz, %d channels, %s\n", orka_media_audio_string(options_.audio),
               audio_->description.sample_rate, audio_->description.ch_layout.nb_channels,
               told_frames(*audio_).c_str());
    printf("%s: recorded in %.1f seconds\n", options_.file.c_str(),
           std::chrono::duration<double>(end_ - begin_).count());
}

} // namespace orka::record
