// The commands for pairing and for the start of the daemon.
#include <random>
#include <sstream>
#include <system_error>

#include "simulator/prompt/Prompt.h"

namespace simulator {
namespace {

// The tool waits by then, and its time limit is far away.
constexpr double kSoonestSeconds = 2;
constexpr double kLatestSeconds = 6;

double soon() {
    std::random_device source;
    return std::uniform_real_distribution<double>(kSoonestSeconds, kLatestSeconds)(source);
}

// The line with the parameters, which begins with the address; empty if there is no such line.
std::string parameters_in(const std::string& printed) {
    std::istringstream text(printed);
    for (std::string line; std::getline(text, line);) {
        if (line.rfind("ip_address='", 0) == 0) {
            return line;
        }
    }
    return {};
}

}  // namespace

bool Prompt::huectl(const Words& words) {
    console_.print("           $ " + joined(words.begin(), words.end()));
    if (words[1] == "discover" && !house_.bridge().is_discoverable()) {
        console_.print("           not run: the search would leave this machine");
        printed_.reset();
        return true;
    }
    ChildProcess::Result result;
    try {
        result = house_.run_huectl({words.begin() + 1, words.end()}, is_interrupted_);
    } catch (const std::system_error& problem) {
        return fail(problem.what());
    }
    printed_ = result.output + result.errors;
    const std::string parameters = parameters_in(result.output);
    if (!parameters.empty()) {
        parameters_ = parameters;
    }
    return result.ending.is_success() || fail("huectl ended with " + result.ending.text());
}

bool Prompt::button(const Words& words) {
    double seconds = 0;
    if (words.size() == 1) {
        house_.bridge().press_link_button();
        return true;
    }
    if (words[1] == "soon") {
        seconds = soon();
    } else if (words[1] != "in" || words.size() != 3 || !to_seconds(words[2], seconds)) {
        return fail("usage: button [soon|in SECONDS]");
    }
    house_.press_button_after(std::chrono::milliseconds(static_cast<long long>(seconds * 1000)));
    return true;
}

bool Prompt::store(const Words&) {
    if (parameters_.empty()) {
        return fail("huectl has not printed a bridge's parameters yet");
    }
    house_.store_parameters(parameters_);
    return true;
}

bool Prompt::start(const Words&) {
    if (house_.has_daemon() && house_.daemon().is_running()) {
        return fail("the daemon is already running");
    }
    const auto status = house_.start();
    const auto is_settled = [this] { return house_.is_ready() || !house_.daemon().is_running(); };
    const bool is_up = status && status->status == 0 &&
                       wait_until(is_settled, House::kReadyLimit.count()) && house_.is_ready();
    if (is_up || is_interrupted_()) {
        return true;
    }
    house_.stop();
    return fail("the daemon did not start");
}

}  // namespace simulator
