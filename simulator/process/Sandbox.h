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
    /// log. Where the system forbids that, or unshare or ip is missing, waits until no other house
    /// uses the loopback, ports and paths of the machine, and uses them.
    static Sandbox enter();

    /// False if the machine's own network is used; reason() then says why.
    bool is_private() const { return reason_.empty(); }
    const std::string& reason() const { return reason_; }

  private:
    std::string reason_;
    FileDescriptor lock_;  // held while the machine's own ports are used
};

/// Directory of the core's socket, empty in a new sandbox.
constexpr const char* kSocketDirectory = "/tmp/vexa_variables/sockets";

}  // namespace simulator
