/* Not hearing what the library says. */
#ifndef ORKA_TOOLS_QUIET_H
#define ORKA_TOOLS_QUIET_H

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace orka {

/* What the library has to say for itself on a stream is not heard while this lives. */
class Quiet {
  public:
    explicit Quiet(FILE *stream) : stream_(stream), kept_(fcntl(fileno(stream), F_DUPFD_CLOEXEC, 0))
    {
        fflush(stream_);
        const int nothing = kept_ < 0 ? -1 : open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nothing < 0)
            return;
        dup2(nothing, fileno(stream_));
        close(nothing);
    }
    ~Quiet()
    {
        fflush(stream_);
        if (kept_ < 0)
            return;
        dup2(kept_, fileno(stream_));
        close(kept_);
    }
    Quiet(const Quiet &) = delete;
    Quiet &operator=(const Quiet &) = delete;

  private:
    FILE *const stream_;
    const int kept_;
};

} // namespace orka

#endif
