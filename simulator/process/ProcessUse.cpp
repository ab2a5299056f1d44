#include "simulator/process/ProcessUse.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

#include <unistd.h>

namespace simulator {
namespace {

namespace fs = std::filesystem;

constexpr int kSamples = 20;
constexpr std::chrono::milliseconds kSamplePeriod{10};
constexpr int kFieldsBeforeUserTime = 11;  // after the name, which may contain blanks

double cpu_time_of(const std::string& folder) {
    std::ifstream file(folder + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name_end = text.rfind(')');
    if (name_end == std::string::npos) {
        return 0;
    }
    std::istringstream fields(text.substr(name_end + 1));
    std::string skipped;
    for (int i = 0; i < kFieldsBeforeUserTime; ++i) {
        fields >> skipped;
    }
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::size_t count_descriptors(const std::string& folder) {
    std::error_code problem;
    const fs::directory_iterator entries(folder + "/fd", problem);
    return problem ? 0 : static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

ProcessUse ProcessUse::of(pid_t pid) {
    const std::string folder = "/proc/" + std::to_string(pid);
    ProcessUse use;
    std::ifstream status(folder + "/status");
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        std::string label;
        std::size_t value = 0;
        words >> label >> value;
        if (label == "VmRSS:") {
            use.resident_kib = value;
        } else if (label == "VmHWM:") {
            use.peak_kib = value;
        } else if (label == "Threads:") {
            use.threads = value;
        }
    }
    use.descriptors = count_descriptors(folder);
    use.cpu_seconds = cpu_time_of(folder);
    return use;
}

ProcessUse ProcessUse::at_rest(pid_t pid) {
    ProcessUse least = of(pid);
    for (int i = 1; i < kSamples; ++i) {
        std::this_thread::sleep_for(kSamplePeriod);
        const ProcessUse use = of(pid);
        if (use.descriptors <= least.descriptors) {
            least = use;
        }
    }
    return least;
}

}  // namespace simulator
