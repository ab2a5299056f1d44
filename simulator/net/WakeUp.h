/// An event that ends the poll of another thread and lasts until it is cleared.
///
/// Any thread may set it. It must outlive every poll that waits for it.
#pragma once

#include "libcbase/Cstylecode.h"

namespace simulator {

class WakeUp final {
  public:
    /// Throws std::system_error.
    WakeUp();

    void set() const;
    void clear() const;
    /// Readable while it is set.
    int fd() const { return event_.get(); }

  private:
    FileDescriptor event_;
};

}  // namespace simulator
