/*
 * Bytes between two pages that cannot be touched, so that one byte read too many ends the program. They lie
 * below 4 GiB, where the address words of frames reach.
 */
#ifndef ORKA_TESTS_GUARDED_PAGES_H
#define ORKA_TESTS_GUARDED_PAGES_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace orka_test {

class GuardedPages {
  public:
    explicit GuardedPages(size_t capacity) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE)))
    {
        size_ = (capacity + page_ - 1) / page_ * page_;
        base_ = static_cast<uint8_t *>(
            mmap(nullptr, size_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | below_4_gib, -1, 0));
        if (base_ == MAP_FAILED || mprotect(begin(), size_, PROT_READ | PROT_WRITE) != 0)
            abort();
    }
    ~GuardedPages() { munmap(base_, size_ + 2 * page_); }
    GuardedPages(const GuardedPages &) = delete;
    GuardedPages &operator=(const GuardedPages &) = delete;

    /* A copy whose last byte is the last before the page behind; a longer one than there is room for ends
     * all. */
    uint8_t *copy_to_end(std::span<const uint8_t> bytes)
    {
        return copy(bytes, begin() + size_ - bytes.size());
    }

    /* A copy whose first byte is the first behind the page before. */
    uint8_t *copy_to_begin(std::span<const uint8_t> bytes) { return copy(bytes, begin()); }

  private:
#ifdef MAP_32BIT
    static constexpr int below_4_gib = MAP_32BIT;
#else
    static constexpr int below_4_gib = 0;
    static_assert(sizeof(void *) == 4);
#endif

    uint8_t *begin()
    {
        return base_ + page_;
    }

    uint8_t *copy(std::span<const uint8_t> bytes, uint8_t *to)
    {
        if (bytes.size() > size_)
            abort();
        if (!bytes.empty())
            memcpy(to, bytes.data(), bytes.size());
        return to;
    }

    size_t page_;
    size_t size_;
    uint8_t *base_;
};

} // namespace orka_test

#endif
