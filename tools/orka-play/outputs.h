/* The files that decoded pictures and sound are written to. */
#ifndef ORKA_PLAY_OUTPUTS_H
#define ORKA_PLAY_OUTPUTS_H

#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "common/ffmpeg.h"
#include "orka_idecode.h"

namespace orka::play {

/* A file that is written from start to end. Failures to write show at close(), which throws Failure. */
class OutputFile {
  public:
    explicit OutputFile(const std::string &path); /* throws Failure */
    void write(std::span<const uint8_t> data);
    void write(const std::string &text);
    void close();

  private:
    struct Closer {
        void operator()(FILE *file) const { fclose(file); }
    };

    std::string path_;
    std::unique_ptr<FILE, Closer> file_;
    int error_ = 0; /* of the first write that failed */
};

/* One line a picture, as `ffmpeg -f framemd5` writes them of UYVY pictures. */
class PictureHashes {
  public:
    PictureHashes(const std::string &path, AVRational frame_rate) : file_(path), rate_(frame_rate) {}
    void add(const orka_idecode_frame_t &frame);
    void close() { file_.close(); }

  private:
    void write_head(const orka_idecode_frame_t &first);

    OutputFile file_;
    AVRational rate_;
    bool begun_ = false;
};

} // namespace orka::play

#endif
