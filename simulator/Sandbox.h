/// The place where a house stands: network and mount namespaces of its own, so that the product's
/// fixed ports and paths are free, tests run side by side and nothing leaves the machine.
///
/// Enter once, first thing in main, while the process still has a single thread.
#pragma once

#include <string>

#include "libcbase/Cstylecode.h"

namespace simulator {

class Sandbox final {
  public:
    /// Enters new network and mount namespaces (as an ordinary user by way of a user namespace):
    /// loopback up and multicast on it, an empty directory for the controller's sockets, a /dev
    /// whose log is free.
    /// Where the system forbids that, stays on the machine's own loopback, ports and paths, once no
    /// other house is on them (waits for up to `kLockSeconds`; throws std::runtime_error after
    /// that).
    static Sandbox enter();

    /// False when this is the machine itself; `reason` then tells why.
    bool is_private() const { return reason_.empty(); }
    const std::string& reason() const { return reason_; }

    static constexpr int kLockSeconds = 300;

  private:
    std::string reason_;
    FileDescriptor lock_;  // held while the house is on the machine's own ports
};

/// Directory of the core's socket, made empty by the sandbox.
constexpr const char* kSocketDirectory = "/tmp/vexa_variables/sockets";

}  // namespace simulator
