/// The real daemon, started as the core starts it. Its standard error is this process's own.
#pragma once

#include <optional>
#include <string>

#include "simulator/process/ChildProcess.h"

namespace simulator {

class DaemonProcess final : public ChildProcess {
  public:
    /// The line "%d,%d\n" that the daemon prints at start-up.
    struct StartStatus {
        int status;  ///< 0, or -1 for a failure
        int port;    ///< of its commands endpoint, or -1
    };

    /// Starts the program at `path`; throws std::system_error on failure.
    DaemonProcess(const std::string& path, const Words& arguments, const Words& environment = {})
        : ChildProcess({path, arguments, environment, false, {}}) {}

    /// The next line of output as a start status; nothing for a missing or other line.
    std::optional<StartStatus> start_status(std::chrono::milliseconds limit);
};

}  // namespace simulator
