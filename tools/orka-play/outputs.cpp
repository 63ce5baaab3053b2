#include "outputs.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <vector>

#include "common/failure.h"
#include "decoder.h"

namespace orka::play {

OutputFile::OutputFile(const std::string &path) : path_(path), file_(fopen(path.c_str(), "wb"))
{
    if (!file_)
        throw Failure(path + ": cannot be written: " + strerror(errno));
}

void OutputFile::write(std::span<const uint8_t> data)
{
    if (fwrite(data.data(), 1, data.size(), file_.get()) != data.size() && error_ == 0)
        error_ = errno;
}

void OutputFile::write(const std::string &text)
{
    write({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
}

void OutputFile::close()
{
    if (fclose(file_.release()) != 0 && error_ == 0)
        error_ = errno;
    if (error_ != 0)
        throw Failure(path_ + ": writing failed: " + strerror(error_));
}

namespace {

struct Md5Deleter {
    void operator()(AVMD5 *context) const { av_free(context); }
};

/* Of the picture's rows without what pads them to the stride. */
std::string picture_md5(const orka_idecode_frame_t &frame, size_t row)
{
    const std::unique_ptr<AVMD5, Md5Deleter> context(av_md5_alloc());
    if (!context)
        throw Failure("out of memory");
    av_md5_init(context.get());
    for (uint32_t y = 0; y < frame.height; y++)
        av_md5_update(context.get(), frame_data(frame) + size_t{y} * frame.stride, row);

    uint8_t digest[16];
    av_md5_final(context.get(), digest);
    std::string text;
    for (const uint8_t byte : digest) {
        char hex[3];
        snprintf(hex, sizeof hex, "%02x", byte);
        text += hex;
    }
    return text;
}

} // namespace

void PictureHashes::write_head(const orka_idecode_frame_t &first)
{
    char text[512];
    snprintf(text, sizeof text,
             "#format: frame checksums\n#version: 2\n#hash: MD5\n#software: orka-play\n#tb 0: %d/%d\n"
             "#media_type 0: video\n#codec_id 0: rawvideo\n#dimensions 0: %" PRIu32 "x%" PRIu32 "\n"
             "#stream#, dts,        pts, duration,     size, hash\n",
             rate_.den, rate_.num, first.width, first.height);
    file_.write(std::string(text));
}

void PictureHashes::add(const orka_idecode_frame_t &frame)
{
    if (!begun_)
        write_head(frame);
    begun_ = true;
    const int64_t number = av_rescale(frame.tsms, rate_.num, int64_t{1000} * rate_.den);
    const int row = av_image_get_linesize(AV_PIX_FMT_UYVY422, static_cast<int>(frame.width), 0);
    char columns[80];
    snprintf(columns, sizeof columns, "0, %10" PRId64 ", %10" PRId64 ", %8d, %8" PRIu32 ", ", number, number,
             1, static_cast<uint32_t>(row) * frame.height);
    file_.write(columns + picture_md5(frame, static_cast<size_t>(row)) + "\n");
}

} // namespace orka::play
