#include "simulator/DaemonProcess.h"

#include <cstdio>

namespace simulator {

std::optional<DaemonProcess::StartStatus> DaemonProcess::start_status(
    std::chrono::milliseconds limit) {
    const auto line = reads_line(limit);
    StartStatus status{};
    char behind = 0;
    if (!line ||
        std::sscanf(line->c_str(), "%d,%d%c", &status.status, &status.port, &behind) != 2) {
        return std::nullopt;
    }
    return status;
}

}  // namespace simulator
