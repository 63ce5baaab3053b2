/* Requests to the image decoder's and the image encoder's nodes, for which the library has no calls. */
#ifndef ORKA_TOOLS_IMAGE_NODE_H
#define ORKA_TOOLS_IMAGE_NODE_H

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include <sys/ioctl.h>

#include "common/failure.h"
#include "orka_status.h"

namespace orka {

class ImageNode {
  public:
    /* The library's accessor, and the node's name in messages. */
    constexpr ImageNode(int32_t (*descriptor)(), const char *name) : descriptor_(descriptor), name_(name) {}

    /* False with errno where the driver refuses. */
    template <typename Record>
    bool request(uint32_t number, Record &record) const
    {
        return ioctl(descriptor_(), number, &record) >= 0;
    }

    /* Throws Failure: what it is that was refused. */
    template <typename Record>
    void demand(uint32_t number, Record &&record, const char *what) const
    {
        if (!request(number, record))
            throw Failure(std::string(name_) + " refused " + what + ": " + strerror(errno));
    }

    /* Throws Failure where loading a codec image was none. */
    void check_loaded(orka_status_t status, const std::string &image) const
    {
        if (status == ORKA_STATUS_IO)
            throw Failure(std::string(name_) + "'s node cannot be opened", status_no_board);
        if (status != ORKA_STATUS_SUCCESS)
            throw Failure(std::string(name_) + " refused the image " + image + ": " +
                          orka_status_string(status));
    }

  private:
    int32_t (*descriptor_)();
    const char *name_;
};

} // namespace orka

#endif
