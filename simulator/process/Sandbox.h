/// Network and mount namespaces for a house, so that the daemon's fixed ports and paths are free,
/// tests run in parallel and nothing leaves the machine.
///
/// Enter it once, at the start of main, while the process has a single thread.
#pragma once

#include <string>

#include "libcbase/Cstylecode.h"

namespace simulator {

class Sandbox final {
  public:
    /// Enters new network and mount namespaces (without root through a user namespace), with
    /// loopback and multicast, an empty directory for the controller's sockets and a /dev without
    /// log.
    /// Where the system forbids that, or unshare or ip is missing, uses the loopback, ports and
    /// paths of the machine as soon as no other house does. Waits up to `kLockSeconds` for that,
    /// then throws std::runtime_error.
    static Sandbox enter();

    /// False if the machine's own network is used; reason() then says why.
    bool is_private() const { return reason_.empty(); }
    const std::string& reason() const { return reason_; }

    static constexpr int kLockSeconds = 300;

  private:
    std::string reason_;
    FileDescriptor lock_;  // held while the machine's own ports are used
};

/// Directory of the core's socket, empty in a new sandbox.
constexpr const char* kSocketDirectory = "/tmp/vexa_variables/sockets";

}  // namespace simulator
