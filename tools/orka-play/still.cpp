#include "still.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <span>
#include <string_view>
#include <thread>

#include "common/failure.h"
#include "common/process.h"
#include "common/progress_line.h"
#include "common/text.h"
#include "decoder.h"

namespace orka::play {

namespace {

constexpr char still_image[] = "image_dec";
constexpr double usual_seconds = 5; /* on the real clock */
constexpr int32_t patience_ms = 100;

struct still_row {
    AVCodecID codec;
    orka_image_type_t type;
};

constexpr still_row still_rows[] = {
    {AV_CODEC_ID_BMP, ORKA_IMAGE_TYPE_BMP},    {AV_CODEC_ID_GIF, ORKA_IMAGE_TYPE_GIF},
    {AV_CODEC_ID_MJPEG, ORKA_IMAGE_TYPE_JPEG}, {AV_CODEC_ID_PNG, ORKA_IMAGE_TYPE_PNG},
    {AV_CODEC_ID_APNG, ORKA_IMAGE_TYPE_PNG},   {AV_CODEC_ID_TIFF, ORKA_IMAGE_TYPE_TIFF},
};

/* libavformat's formats of single pictures; some codecs stand in films, too. */
bool is_picture_format(std::string_view format)
{
    return format == "image2" || format == "gif" || format == "apng" || format.ends_with("_pipe");
}

struct Closer {
    void operator()(AVIOContext *context) const { avio_close(context); }
};

std::vector<uint8_t> read_whole(const std::string &path)
{
    constexpr int piece = 1 << 16;
    AVIOContext *context = nullptr;
    int result = avio_open(&context, path.c_str(), AVIO_FLAG_READ);
    const std::unique_ptr<AVIOContext, Closer> file(context);
    std::vector<uint8_t> data;
    while (result >= 0) {
        const size_t before = data.size();
        data.resize(before + piece);
        result = avio_read(context, data.data() + before, piece);
        data.resize(before + static_cast<size_t>(std::max(result, 0)));
    }
    if (result != AVERROR_EOF)
        throw Failure(path + ": " + av_error(result));
    return data;
}

bool begins_with(std::span<const uint8_t> data, std::span<const uint8_t> begin)
{
    return data.size() >= begin.size() && std::ranges::equal(data.first(begin.size()), begin);
}

/* Whether another picture follows the first: thumbnails lie inside of segments, whose lengths lead past them.
 */
bool is_film_of_jpegs(std::span<const uint8_t> file)
{
    constexpr uint8_t start_of_image = 0xD8;
    constexpr uint8_t end_of_image = 0xD9;
    constexpr uint8_t start_of_scan = 0xDA;
    constexpr uint8_t app2 = 0xE2;
    constexpr uint8_t several_of_one_photo[] = {'M', 'P', 'F', 0};
    bool in_scan = false;
    for (size_t at = 2; at + 3 < file.size();) {
        const uint8_t marker = file[at + 1];
        if (file[at] != 0xFF || marker == 0xFF || (in_scan && (marker == 0 || (marker & 0xF8) == 0xD0))) {
            at++;
        } else if (marker == end_of_image) {
            return file[at + 2] == 0xFF && file[at + 3] == start_of_image;
        } else if (marker == app2 && begins_with(file.subspan(at + 4), several_of_one_photo)) {
            return false;
        } else {
            in_scan = marker == start_of_scan;
            at += 2 + AV_RB16(&file[at + 2]);
        }
    }
    return false;
}

} // namespace

orka_image_type_t still_type(const Clip &clip)
{
    const AVStream *const video = clip.video();
    if (!video || !is_picture_format(clip.format()))
        return ORKA_IMAGE_TYPE_NONE;
    const auto *const found = std::ranges::find(still_rows, video->codecpar->codec_id, &still_row::codec);
    return found == std::end(still_rows) ? ORKA_IMAGE_TYPE_NONE : found->type;
}

StillPlayer::StillPlayer(const Clip &clip, const Options &options, const std::atomic<bool> &stop)
    : path_(clip.path()), type_(still_type(clip)), options_(options), stop_(stop),
      seconds_(options.seconds.value_or(options.real_time ? usual_seconds : 0)), rate_(clip.frame_rate())
{
    if (options.no_video)
        throw Failure(path_ + ": there is nothing to play in it but picture");
    if (!options.pcm.empty())
        throw Failure("--pcm needs sound, and none is played");
    if (!options.subtitles.empty())
        throw Failure("--subtitles needs a film, and " + path_ + " is a still");
    file_ = read_whole(path_);
    if (clip.format() == "jpeg_pipe" && is_film_of_jpegs(file_))
        throw Failure(path_ + ": its pictures cannot be played: no codec image decodes mjpeg");
    check_board("/dev/idecode");
    const AVCodecParameters &picture = *clip.video()->codecpar;
    const Size size{static_cast<uint32_t>(picture.width), static_cast<uint32_t>(picture.height)};
    if (!options.output.empty())
        display_.emplace(options.output, size);
    decoder_.emplace(options.image.empty() ? still_image : options.image,
                     wire::image_setup_record{.type = static_cast<uint32_t>(type_),
                                              .width = size.width,
                                              .height = size.height,
                                              .input_bytes = static_cast<uint32_t>(file_.size())});
    open_outputs();
}

void StillPlayer::open_outputs()
{
    if (!options_.framemd5.empty())
        hashes_.emplace(options_.framemd5, rate_);
    if (!options_.snapshot.empty())
        snapshot_.emplace(options_.snapshot, options_.snapshot_at);
}

void StillPlayer::close_outputs()
{
    if (hashes_)
        hashes_->close();
    if (snapshot_ && shown_.kind != ORKA_FRAME_TYPE_NONE)
        snapshot_->save();
}

void StillPlayer::play()
{
    decoder_->start();
    decoder_->put(file_);
    decoder_->put({});
    take();
    close_outputs();
    if (shown_.kind != ORKA_FRAME_TYPE_NONE)
        keep_shown();
    decoder_.reset();
    if (!stop_)
        report_faults();
}

void StillPlayer::take()
{
    const Patience patience(options_.give_up, "the image decoder");
    for (bool last = false; !last && !stop_;) {
        orka_idecode_frame_t frame;
        if (!decoder_->get_frame(frame, patience_ms)) {
            patience.check();
            continue;
        }
        last = frame.kind == ORKA_FRAME_TYPE_LAST;
        if (!last)
            deliver(frame);
        decoder_->release(frame);
    }
}

void StillPlayer::deliver(const orka_idecode_frame_t &frame)
{
    shown_ = frame;
    if (hashes_)
        hashes_->add(frame);
    if (snapshot_)
        snapshot_->offer(frame);
}

/* Signals tell nobody, so they are looked for. */
void StillPlayer::keep_shown()
{
    using Clock = std::chrono::steady_clock;
    ProgressLine line;
    const Clock::time_point begin = Clock::now();
    for (double left = seconds_; left > 0 && !stop_; left = seconds_ - shown_seconds_) {
        line.show(format("%s %ux%u  %.1f s of %.1f s", orka_media_image_string(type_), shown_.width,
                         shown_.height, shown_seconds_, seconds_));
        std::this_thread::sleep_for(std::chrono::duration<double>(std::min(left, patience_ms / 1000.0)));
        shown_seconds_ = std::chrono::duration<double>(Clock::now() - begin).count();
    }
}

void StillPlayer::report_faults() const
{
    if (shown_.kind == ORKA_FRAME_TYPE_NONE)
        throw Failure(path_ + ": no picture could be decoded");
    if (shown_.flags & frame_damaged)
        throw Failure(path_ + ": the picture is damaged: the file's data is corrupt");
}

void StillPlayer::print_summary() const
{
    if (shown_.kind != ORKA_FRAME_TYPE_NONE)
        printf("picture: %s %ux%u, shown for %.1f seconds\n", orka_media_image_string(type_), shown_.width,
               shown_.height, shown_seconds_);
}

} // namespace orka::play
