#include "common/mapped_queue.h"

#include "common/failure.h"
#include "orka_imem.h"

namespace orka {

MappedQueue::MappedQueue(uint32_t pbase, uint32_t length)
    : pbase_(pbase), length_(length), vbase_(orka_imem_mmap(pbase, length))
{
    if (!vbase_)
        throw Failure("a queue of " + std::to_string(length) + " bytes cannot be mapped");
}

MappedQueue::~MappedQueue()
{
    orka_imem_munmap(vbase_, length_);
}

uint32_t MappedQueue::virtual_address(uint32_t physical) const
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(orka_imem_p2v(physical, pbase_, vbase_)));
}

uint32_t MappedQueue::physical_address(uint32_t address) const
{
    return orka_imem_v2p(reinterpret_cast<void *>(static_cast<uintptr_t>(address)), vbase_, pbase_);
}

} // namespace orka
