#include "simulator/process/ProcessUse.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

namespace simulator {
namespace {

namespace fs = std::filesystem;

constexpr int kSamples = 20;
constexpr std::chrono::milliseconds kSamplePeriod{10};

std::string file_of(pid_t id, const std::string& name) {
    return "/proc/" + std::to_string(id) + "/" + name;
}

// The numbers of a file of lines "Label: number unit", by label; none if it cannot be read.
std::map<std::string, std::size_t> numbers_in(const std::string& file) {
    std::map<std::string, std::size_t> numbers;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string label;
        words >> label >> numbers[label];
    }
    return numbers;
}

// The sorted entries of a folder of numbers; none if it cannot be read.
std::vector<pid_t> entries_of(const std::string& folder) {
    std::vector<pid_t> numbers;
    std::error_code problem;
    for (fs::directory_iterator entry(folder, problem), end; entry != end;
         entry.increment(problem)) {
        numbers.push_back(std::stoi(entry->path().filename().string()));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace

ProcessUse ProcessUse::of(pid_t process) {
    auto memory = numbers_in(file_of(process, "smaps_rollup"));
    ProcessUse use;
    use.resident_kib = memory["Rss:"];
    use.proportional_kib = memory["Pss:"];
    use.private_kib = memory["Private_Clean:"] + memory["Private_Dirty:"];
    use.descriptors = entries_of(file_of(process, "fd")).size();
    for (const pid_t thread : threads_of(process)) {
        const ProcessUse part = of_thread(thread);
        use.cpu_seconds += part.cpu_seconds;
        use.wakeups += part.wakeups;
        ++use.threads;
    }
    return use;
}

ProcessUse ProcessUse::of_thread(pid_t thread) {
    ProcessUse use;
    double nanoseconds = 0;
    std::ifstream(file_of(thread, "schedstat")) >> nanoseconds;
    use.cpu_seconds = nanoseconds / 1e9;
    use.wakeups = numbers_in(file_of(thread, "status"))["voluntary_ctxt_switches:"];
    return use;
}

ProcessUse ProcessUse::at_rest(pid_t process) {
    ProcessUse least = of(process);
    for (int i = 1; i < kSamples; ++i) {
        std::this_thread::sleep_for(kSamplePeriod);
        const ProcessUse use = of(process);
        least = use.descriptors <= least.descriptors ? use : least;
    }
    return least;
}

std::vector<pid_t> ProcessUse::threads_of(pid_t process) {
    return entries_of(file_of(process, "task"));
}

}  // namespace simulator
