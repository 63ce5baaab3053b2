/*
 * The board's physical memory: one sealed memfd whose file offset is the physical address. On a board with a
 * strict cache that is the programs' side alone; the DSP has another one, and what passes between them passes
 * by name.
 */
#ifndef ORKA_BOARD_SERVER_MEMORY_H
#define ORKA_BOARD_SERVER_MEMORY_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <utility>

namespace orka::board {

constexpr uint32_t page_size = 4096;

/* First fit, whole pages, over one range of physical addresses. */
class RangeAllocator {
  public:
    RangeAllocator(uint32_t base, uint32_t length);
    std::optional<uint32_t> allocate(uint64_t bytes); /* nothing for 0 bytes or when full */
    bool free(uint32_t address);                      /* false for an address that it never gave */
    void reset();
    /* From here on it gives nothing, and tells at each attempt; an empty one ends that. */
    void exhaust(std::function<void()> refused) { refused_ = std::move(refused); }
    const std::map<uint32_t, uint32_t> &blocks() const { return blocks_; } /* address to length */
    uint32_t base() const { return base_; }
    uint32_t length() const { return length_; }
    uint32_t available() const; /* bytes, in however many pieces */

  private:
    uint32_t base_;
    uint32_t length_;
    std::map<uint32_t, uint32_t> blocks_;
    std::function<void()> refused_;
};

class Memory {
  public:
    /* bytes: a multiple of 1 MiB. Throws std::system_error. */
    explicit Memory(uint32_t bytes, bool cached = false);
    ~Memory();
    Memory(const Memory &) = delete;
    Memory &operator=(const Memory &) = delete;

    int fd() const { return fd_; }
    uint32_t size() const { return size_; }
    bool is_cached() const { return dsp_ != base_; }
    /* An empty span where the range is not all inside. The DSP's side, and that of programs. */
    std::span<uint8_t> at(uint32_t address, uint32_t length) const;
    std::span<uint8_t> shared(uint32_t address, uint32_t length) const;

    /* What programs wrote reaches the DSP; what the DSP wrote reaches programs. Not where it is not all
       inside. */
    void hand_in(uint32_t address, uint32_t length);
    void hand_out(uint32_t address, uint32_t length);
    /* Cleans and invalidates, by cache lines: those that programs have changed since they were handed in or
       out reach the DSP, all others come from there. As much of it as lies inside. */
    void sync(uint64_t address, uint64_t length);

    RangeAllocator &imem() { return imem_; }     /* what /dev/imanage gives out */
    RangeAllocator &queues() { return queues_; } /* the drivers' own carve-out, for their queues */
    void exhaust(const std::function<void()> &refused);

  private:
    void unmap();
    std::span<uint8_t> part(uint8_t *whole, uint32_t address, uint32_t length) const;
    void sync_line(uint32_t address, uint32_t length);

    int fd_ = -1;
    uint32_t size_ = 0;
    uint8_t *base_ = nullptr;
    uint8_t *dsp_ = nullptr;    /* base_ where there is no cache */
    uint8_t *synced_ = nullptr; /* what base_ held when it was handed in or out */
    RangeAllocator imem_;
    RangeAllocator queues_;
};

} // namespace orka::board

#endif
