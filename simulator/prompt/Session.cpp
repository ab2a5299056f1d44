#include "simulator/prompt/Session.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "simulator/process/Sandbox.h"

namespace simulator {
namespace {

constexpr double kPollSeconds = 40;

std::string shim_file() {
    return std::string(kSocketDirectory) + "/fault-shim";
}

// An environment variable with a further sanitizer option.
std::string with_option(const std::string& variable, const std::string& option) {
    const char* options = std::getenv(variable.c_str());
    return variable + "=" + (options == nullptr ? "" : std::string(options) + ":") + option;
}

}  // namespace

Session::Session(const Setup& setup, Console& console, std::function<bool()> is_interrupted)
    : setup_(setup),
      console_(console),
      is_interrupted_(std::move(is_interrupted)),
      random_(setup.seed) {
    // The handler of SIGTERM ends the daemon without joining its threads, and at once, where the
    // thread sanitizer would sleep for a second first.
    setup_.house.environment.push_back(
        with_option("TSAN_OPTIONS", "report_thread_leaks=0:atexit_sleep_ms=0"));
}

Session::~Session() {
    house_.reset();
    if (shim_ != nullptr) {
        munmap(shim_, sizeof(FaultShim));
        unlink(shim_file().c_str());
    }
}

House& Session::house() {
    if (!house_) {
        house_ = std::make_unique<House>(setup_.house, setup_.listener);
        if (house_->log() == nullptr) {
            console_.print("/dev/log is in use: log lines and commands are not judged");
        }
        // The first light is left to changes past the daemon.
        for (const RoleObject& object : house_->objects()) {
            if ((object.role == "value" || object.role == "hsv") &&
                object.light != house_->bridge().light_ids().front()) {
                mixture_.push_back(object);
            }
        }
    }
    return *house_;
}

const RoleObject& Session::object(int id) {
    for (const RoleObject& object : house().objects()) {
        if (object.id == id) {
            return object;
        }
    }
    throw CommandError("no such object: " + std::to_string(id));
}

bool Session::wait_until(const std::function<bool()>& predicate, double seconds) {
    const auto limit = std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
    bool is_met = false;
    house().wait_until([&] { return (is_met = predicate()) || is_interrupted_(); }, limit);
    return is_met;
}

void Session::start(const ChildProcess::Words& arguments, bool awaits_poll) {
    require(!is_running(), "the daemon is already running");
    require(house().start(arguments).value_or(-1) > 0, "the daemon did not start");
    require(shim_ == nullptr || shim_->is_loaded != 0, "the fault shim was not loaded");
    expects_end = false;
    if (!awaits_poll) {
        return;
    }
    const auto is_settled = [this] { return house_->is_ready() || !is_running(); };
    require((wait_until(is_settled, kPollSeconds) && house_->is_ready()) || is_interrupted_(),
            "the daemon did not poll");
    use_ = ProcessUse::at_rest(house_->daemon().pid());
}

void Session::load_shim() {
    const FileDescriptor file(
        open(shim_file().c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    void* memory = MAP_FAILED;
    if (file && ftruncate(file.get(), sizeof(FaultShim)) == 0) {
        memory =
            mmap(nullptr, sizeof(FaultShim), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    }
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), shim_file());
    }
    shim_ = static_cast<FaultShim*>(memory);
    // Only the file name in LD_PRELOAD, where a blank ends a path.
    const std::size_t slash = setup_.shim.rfind('/');
    ChildProcess::Words& environment = setup_.house.environment;
    environment.push_back(with_option("ASAN_OPTIONS", "verify_asan_link_order=0"));
    environment.push_back(with_option("LD_LIBRARY_PATH", setup_.shim.substr(0, slash)));
    environment.push_back("LD_PRELOAD=" + setup_.shim.substr(slash + 1));
    environment.push_back(std::string(kShimVariable) + "=" + shim_file());
}

FaultShim& Session::shim() {
    if (shim_ == nullptr) {
        throw CommandError("needs the fault shim");
    }
    return *shim_;
}

void Session::recover() {
    peers.clear();
    house().bridge().recover();
    house().core().recover();
    house().database().recover();
    if (house().log() != nullptr) {
        house().log()->recover();
    }
}

int Session::ask() {
    require(!mixture_.empty(), "the installation has no brightness and no colour");
    const RoleObject& object = mixture_[asked_ % mixture_.size()];
    const auto payloads = house().ledger().conversions().payloads(object.role);
    const std::string& payload = payloads[asked_++ / mixture_.size() % payloads.size()];
    const auto start = std::chrono::steady_clock::now();
    const bool is_acknowledged = house().command(object.id, payload) == 0;
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    return is_acknowledged ? static_cast<int>(took.count()) : -1;
}

}  // namespace simulator
