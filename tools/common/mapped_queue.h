/* A driver's queue of frames, mapped, for nodes whose queues the library has no calls for. */
#ifndef ORKA_TOOLS_MAPPED_QUEUE_H
#define ORKA_TOOLS_MAPPED_QUEUE_H

#include <cstdint>

namespace orka {

/* Addresses in frames are physical in the driver's records; the library maps where 32 bits hold the virtual
   ones. */
class MappedQueue {
  public:
    MappedQueue(uint32_t pbase, uint32_t length); /* throws Failure */
    ~MappedQueue();
    MappedQueue(const MappedQueue &) = delete;
    MappedQueue &operator=(const MappedQueue &) = delete;

    uint32_t virtual_address(uint32_t physical) const;
    uint32_t physical_address(uint32_t address) const;

  private:
    const uint32_t pbase_;
    const uint32_t length_;
    void *const vbase_;
};

} // namespace orka

#endif
