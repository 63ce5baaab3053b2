#include "shim/mapped.h"

#include <fcntl.h>

namespace orka::board::shim {

namespace {

constexpr int end_of_file = -1;

/* Its value as a digit, or 16. */
unsigned digit(int letter)
{
    if (letter >= '0' && letter <= '9')
        return static_cast<unsigned>(letter - '0');
    return letter >= 'a' && letter <= 'f' ? static_cast<unsigned>(letter - 'a') + 10 : 16;
}

} // namespace

mappings::mappings() : fd_(kernel(SYS_openat, AT_FDCWD, "/proc/self/maps", O_RDONLY | O_CLOEXEC, 0)) {}

mappings::~mappings()
{
    if (fd_ >= 0)
        kernel(SYS_close, fd_);
}

int mappings::letter()
{
    if (at_ == held_) {
        held_ = fd_ < 0 ? 0 : kernel(SYS_read, fd_, &text_[0], sizeof text_);
        at_ = 0;
    }
    if (held_ <= 0) {
        held_ = 0;
        return end_of_file;
    }
    return static_cast<unsigned char>(text_[at_++]);
}

/* Up to and with the letter that ends it. */
uint64_t mappings::number(unsigned base)
{
    uint64_t value = 0;
    for (;;) {
        terminator_ = letter();
        const unsigned one = digit(terminator_);
        if (one >= base)
            return value;
        value = value * base + one;
    }
}

/* "begin-end rw-s offset major:minor inode path" */
bool mappings::next(mapping &found)
{
    constexpr int permissions = 5; /* letters, with the space after them */
    found.begin = number(16);
    if (terminator_ == end_of_file)
        return false;
    found.end = number(16);
    for (int i = 0; i < permissions; i++)
        letter();
    found.offset = number(16);
    found.file.major = static_cast<uint32_t>(number(16));
    found.file.minor = static_cast<uint32_t>(number(16));
    found.file.inode = number(10);
    while (terminator_ != '\n' && terminator_ != end_of_file)
        terminator_ = letter();
    return true;
}

} // namespace orka::board::shim
