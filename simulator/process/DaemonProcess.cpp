#include "simulator/process/DaemonProcess.h"

#include <cstdio>

namespace simulator {

std::optional<DaemonProcess::StartStatus> DaemonProcess::start_status(
    std::chrono::milliseconds limit) {
    const auto line = read_line(limit);
    StartStatus status{};
    char extra = 0;
    if (!line || std::sscanf(line->c_str(), "%d,%d%c", &status.status, &status.port, &extra) != 2) {
        return std::nullopt;
    }
    return status;
}

}  // namespace simulator
