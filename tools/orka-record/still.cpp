#include "still.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>

#include "capture.h"
#include "common/failure.h"
#include "common/process.h"
#include "encoder.h"
#include "still_encoder.h"

namespace orka::record {

namespace {

/* How long a call waits in the driver before it looks whether the tool is to end. */
constexpr int32_t patience_ms = 100;

struct Closer {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, Closer>;

/* Capture for as long as it lives. */
class Capture {
  public:
    explicit Capture(const Options &options) : options_(options) { set_up_capture(options); }
    ~Capture() { release_capture(options_); }
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

  private:
    const Options &options_;
};

void check(bool good, const std::string &path)
{
    if (!good)
        throw Failure(path + ": " + strerror(errno));
}

void write(const std::string &path, std::span<const uint8_t> data)
{
    File file(fopen(path.c_str(), "wb"));
    check(file != nullptr, path);
    check(fwrite(data.data(), 1, data.size(), file.get()) == data.size(), path);
    check(fclose(file.release()) == 0, path);
}

} // namespace

void record_still(const Options &options, const std::atomic<bool> &stop)
{
    check_board("/dev/iencode");
    const Capture capture(options);
    StillEncoder encoder({.type = static_cast<uint32_t>(options.container->still),
                          .width = options.size.width,
                          .height = options.size.height,
                          .quality = options.quality});
    orka_iencode_frame_t frame;
    const Patience patience(options.give_up, "the image encoder");
    while (!encoder.get(frame, patience_ms)) {
        patience.check();
        if (stop)
            throw Failure(options.file + ": nothing was captured");
    }
    write(options.file, frame_data(frame));
    encoder.release(frame);
    printf("picture: %s %ux%u\n%s: %u bytes\n", orka_media_image_string(options.container->still),
           frame.width, frame.height, options.file.c_str(), frame.size);
}

} // namespace orka::record
