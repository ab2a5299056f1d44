/// An event that ends the poll of another thread and lasts until it is cleared.
///
/// Any thread may set it. It must outlive every poll that waits for it.
#pragma once

#include <cerrno>
#include <system_error>

#include <sys/eventfd.h>

#include "libcbase/Cstylecode.h"

namespace simulator {

class WakeUp final {
  public:
    /// Throws std::system_error.
    WakeUp() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!event_) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }

    void set() const { eventfd_write(event_.get(), 1); }
    void clear() const {
        eventfd_t count = 0;
        eventfd_read(event_.get(), &count);
    }
    /// Readable while it is set.
    int fd() const { return event_.get(); }

  private:
    FileDescriptor event_;
};

}  // namespace simulator
