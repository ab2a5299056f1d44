/// The real daemon, started as the core starts it: its start status is read, its standard error is
/// this process's own.
#pragma once

#include <optional>
#include <string>

#include "simulator/ChildProcess.h"

namespace simulator {

class DaemonProcess final : public ChildProcess {
  public:
    /// The line "%d,%d\n" of the daemon's start.
    struct StartStatus {
        int status;  ///< 0, or -1 for a failure
        int port;    ///< of its commands endpoint, or -1
    };

    /// Starts the program at `path`; throws std::system_error when that is not possible.
    DaemonProcess(const std::string& path, const Words& arguments, const Words& environment = {})
        : ChildProcess({path, arguments, environment, false, {}}) {}

    /// The next line of its output as a start status; nothing when there is none, or another text.
    std::optional<StartStatus> start_status(std::chrono::milliseconds limit);
};

}  // namespace simulator
