/* What the tests of the tools share: clips, programs that are run, and what FFmpeg makes of the same clip. */
#ifndef ORKA_TESTS_TOOLS_SUPPORT_H
#define ORKA_TESTS_TOOLS_SUPPORT_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace orka_tools_test {

using Words = std::vector<std::string>;

Words operator+(Words left, const Words &right);

/* A program on its way, with its standard output and error kept. Whoever starts it waits for it. */
class Process {
  public:
    explicit Process(const Words &words);
    ~Process(); /* kills and reaps what was not waited for */
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t id() const { return id_; }
    void signal(int number) const;
    /* Exit status; 128 + N where signal N ended it. */
    int wait();
    std::string out() const; /* so far */
    std::string err() const;

  private:
    pid_t id_ = -1;
    int out_;
    int err_;
};

struct Ending {
    int status;
    std::string out;
    std::string err;
};

Ending run(const Words &words);
/* Tools, each on a board of its own; the board's options come first, if any. */
Ending play(const Words &arguments);
Ending record(const Words &arguments, const Words &board = {});
Ending control(const Words &arguments, const Words &board = {});

/* A file of that name made by `ffmpeg ARGUMENTS FILE`, once for all tests. */
std::string clip(const std::string &name, const std::string &arguments);
/* One second of MPEG-4 with MP3 in AVI, 352x288, 25 pictures. */
std::string plain_clip();
/* A path for the running test's own file. */
std::string scratch(const std::string &name);

std::string contents(const std::string &path);
void write_file(const std::string &path, const std::string &data);

/* ffprobe's answer for those entries, a line each; and what ffmpeg says when it decodes all of the file. */
std::string probed(const std::string &file, const std::string &entries, const std::string &stream = "");
std::string decoding_errors(const std::string &file);
/* The pictures' luma, one after the other; and the sound as one channel of 16-bit samples at that rate. */
std::string decoded_luma(const std::string &file);
std::vector<int16_t> decoded_sound(const std::string &file, int rate);

/* The size and hash of each line, comments left out. */
Words sizes_and_hashes(const std::string &framemd5);
/* What orka-play writes with --framemd5 and --pcm, and what FFmpeg writes of the same file. */
std::string played_framemd5(const std::string &file, const Words &options = {});
std::string ffmpeg_framemd5(const std::string &file);
std::string played_pcm(const std::string &file, const Words &options = {});
std::string ffmpeg_pcm(const std::string &file);

/* ffmpeg's sources of picture and sound. */
std::string picture_source(const std::string &size = "352x288", double seconds = 1);
std::string sound_source(int rate, double seconds = 1);

} // namespace orka_tools_test

#endif
