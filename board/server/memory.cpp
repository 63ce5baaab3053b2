#include "server/memory.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace orka::board {

namespace {

constexpr uint32_t mebibyte = 1024 * 1024;

/* Below it nothing is given out: the DSP's own window lies there, and no address is ever within page 0. */
constexpr uint32_t imem_base = mebibyte;

constexpr uint32_t queues_base(uint32_t size)
{
    return size / 8 * 3;
}

int sealed_memory(uint32_t bytes)
{
    const int fd = memfd_create("orka-board", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd >= 0 && ftruncate(fd, bytes) == 0 &&
        fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) == 0)
        return fd;
    const int error = errno;
    if (fd >= 0)
        close(fd);
    throw std::system_error(error, std::generic_category(), "making the board's memory");
}

uint8_t *map(uint32_t bytes, int flags, int fd)
{
    void *const mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, fd, 0);
    if (mapped == MAP_FAILED)
        throw std::system_error(errno, std::generic_category(), "mapping the board's memory");
    return static_cast<uint8_t *>(mapped);
}

} // namespace

RangeAllocator::RangeAllocator(uint32_t base, uint32_t length) : base_(base), length_(length) {}

std::optional<uint32_t> RangeAllocator::allocate(uint64_t bytes)
{
    if (refused_)
        refused_();
    if (refused_ || bytes == 0 || bytes > length_)
        return std::nullopt;
    const auto length = static_cast<uint32_t>((bytes + page_size - 1) / page_size * page_size);
    uint32_t start = base_;
    for (const auto &[address, taken] : blocks_) {
        if (address - start >= length)
            break;
        start = address + taken;
    }
    if (base_ + length_ - start < length)
        return std::nullopt;
    blocks_[start] = length;
    return start;
}

bool RangeAllocator::free(uint32_t address)
{
    return blocks_.erase(address) == 1;
}

uint32_t RangeAllocator::available() const
{
    uint32_t bytes = length_;
    for (const auto &[address, taken] : blocks_)
        bytes -= taken;
    return bytes;
}

void RangeAllocator::reset()
{
    blocks_.clear();
}

Memory::Memory(uint32_t bytes, bool cached)
    : fd_(sealed_memory(bytes)), size_(bytes), imem_(imem_base, queues_base(bytes) - imem_base),
      /* The last page stays free: what overruns the last queue leaves physical memory, and is noticed. */
      queues_(queues_base(bytes), bytes - queues_base(bytes) - page_size)
{
    try {
        base_ = map(size_, MAP_SHARED, fd_);
        dsp_ = cached ? map(size_, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1) : base_;
        synced_ = cached ? map(size_, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1) : nullptr;
    } catch (const std::system_error &) {
        unmap();
        throw;
    }
}

Memory::~Memory()
{
    unmap();
}

void Memory::unmap()
{
    if (is_cached() && dsp_)
        munmap(dsp_, size_);
    if (synced_)
        munmap(synced_, size_);
    if (base_)
        munmap(base_, size_);
    close(fd_);
}

void Memory::exhaust(const std::function<void()> &refused)
{
    imem_.exhaust(refused);
    queues_.exhaust(refused);
}

std::span<uint8_t> Memory::part(uint8_t *whole, uint32_t address, uint32_t length) const
{
    if (address > size_ || length > size_ - address)
        return {};
    return {whole + address, length};
}

std::span<uint8_t> Memory::at(uint32_t address, uint32_t length) const
{
    return part(dsp_, address, length);
}

std::span<uint8_t> Memory::shared(uint32_t address, uint32_t length) const
{
    return part(base_, address, length);
}

void Memory::hand_in(uint32_t address, uint32_t length)
{
    if (!is_cached())
        return;
    const std::span<const uint8_t> programs = shared(address, length);
    std::ranges::copy(programs, part(synced_, address, length).begin());
    std::ranges::copy(programs, at(address, length).begin());
}

void Memory::hand_out(uint32_t address, uint32_t length)
{
    if (!is_cached())
        return;
    const std::span<const uint8_t> made = at(address, length);
    std::ranges::copy(made, shared(address, length).begin());
    std::ranges::copy(made, part(synced_, address, length).begin());
}

void Memory::sync_line(uint32_t address, uint32_t length)
{
    if (std::ranges::equal(shared(address, length), part(synced_, address, length)))
        hand_out(address, length);
    else
        hand_in(address, length);
}

void Memory::sync(uint64_t address, uint64_t length)
{
    constexpr uint32_t line = 32; /* bytes, of the ARM926's data cache */
    if (!is_cached() || address >= size_)
        return;
    const auto begin = static_cast<uint32_t>(address / line * line);
    const auto end = static_cast<uint32_t>(address + std::min<uint64_t>(length, size_ - address));
    for (uint32_t at = begin; at < end; at += line)
        sync_line(at, line);
}

} // namespace orka::board
