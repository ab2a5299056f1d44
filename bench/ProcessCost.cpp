#include "bench/ProcessCost.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace bench {
namespace {

namespace fs = std::filesystem;

std::string folder_of(pid_t process) {
    return "/proc/" + std::to_string(process);
}

// The sum of the labels' numbers in a file of lines "Label: number unit". Throws when one is
// missing: a process that has ended has none, and must not look like one that costs nothing.
double sum_of(const std::string& path, const std::vector<std::string>& labels) {
    std::ifstream file(path);
    double sum = 0;
    std::size_t found = 0;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string label;
        double number = 0;
        if (words >> label >> number &&
            std::find(labels.begin(), labels.end(), label) != labels.end()) {
            sum += number;
            ++found;
        }
    }
    if (found != labels.size()) {
        throw std::runtime_error(path + " lacks " + labels.front());
    }
    return sum;
}

}  // namespace

Cost Cost::of_thread(pid_t process, pid_t thread) {
    const std::string folder = folder_of(process) + "/task/" + std::to_string(thread);
    double nanoseconds = 0;
    std::ifstream(folder + "/schedstat") >> nanoseconds;
    if (!(nanoseconds > 0)) {  // a waiting thread has run before
        throw std::runtime_error("no CPU time in " + folder + "/schedstat");
    }
    return {nanoseconds / 1e6, sum_of(folder + "/status", {"voluntary_ctxt_switches:"})};
}

Cost Cost::of_process(pid_t process) {
    Cost sum;
    for (const pid_t thread : threads_of(process)) {
        const Cost cost = of_thread(process, thread);
        sum.cpu_ms += cost.cpu_ms;
        sum.wakeups += cost.wakeups;
    }
    return sum;
}

Memory Memory::of(pid_t process) {
    const std::string file = folder_of(process) + "/smaps_rollup";
    return {sum_of(file, {"Rss:"}), sum_of(file, {"Pss:"}),
            sum_of(file, {"Private_Clean:", "Private_Dirty:"})};
}

std::vector<pid_t> threads_of(pid_t process) {
    std::vector<pid_t> threads;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_of(process) + "/task")) {
        threads.push_back(std::stoi(entry.path().filename().string()));
    }
    std::sort(threads.begin(), threads.end());
    return threads;
}

void wait_ms(double length) {
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(length));
}

}  // namespace bench
