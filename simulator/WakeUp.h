/// An event that ends the wait of another thread's poll, and stays until it is cleared.
///
/// Any thread may set it; it outlives every poll that waits for it.
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
