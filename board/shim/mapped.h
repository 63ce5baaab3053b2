/* What the process has mapped of a file, as the kernel tells it. */
#ifndef ORKA_BOARD_SHIM_MAPPED_H
#define ORKA_BOARD_SHIM_MAPPED_H

#include "shim/kernel.h"

namespace orka::board::shim {

struct mapping {
    uint64_t begin;
    uint64_t end;
    uint64_t offset; /* of begin, in the file */
    identity file;   /* without its type */
};

/* The process's mappings, one after the other. No memory is allocated, so that any call may look. */
class mappings {
  public:
    mappings();
    ~mappings();
    mappings(const mappings &) = delete;
    mappings &operator=(const mappings &) = delete;

    bool next(mapping &found); /* false at the end */

  private:
    int letter();
    uint64_t number(unsigned base);

    long fd_;
    long held_ = 0;
    long at_ = 0;
    int terminator_ = 0; /* of the number read last; -1 at the end of the file */
    char text_[1024];
};

} // namespace orka::board::shim

#endif
