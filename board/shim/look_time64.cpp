/* Built as a program whose time has 64 bits, for the layout of its record alone. */
#include "shim/look.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace orka::board::shim {

void mark_time64(void *record, wire::node node)
{
    struct stat *const status = static_cast<struct stat *>(record);
    const device_number device = device_of(node);

    status->st_rdev = makedev(device.major, device.minor);
    status->st_ino = inode_of(node);
}

} // namespace orka::board::shim
