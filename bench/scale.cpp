// Memory and CPU of many daemons on one board: each bridge has its own.
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/Fixture.h"

namespace bench {
namespace {

using simulator::Bridge;
using simulator::ChildProcess;
using simulator::ProcessUse;

constexpr int kLights = 5;
constexpr int kObjectsOfABridge = 1000000;
constexpr std::chrono::seconds kReadyLimit{60};

// Daemons, each with a bridge and a copy of the same installation, in one house.
class Street final {
  public:
    explicit Street(const Plan& plan)
        : options_(options_of(kLights, plan.daemon)), house_(options_) {}

    void grow_to(std::size_t count) {
        while (daemons_.size() < count) {
            add_daemon(static_cast<int>(daemons_.size()) + 1);
        }
        const auto have_polled = [this] {
            return std::all_of(bridges_.begin(), bridges_.end(), [](const auto& bridge) {
                return bridge->count("GET", "/lights") > 1;
            });
        };
        if (!house_.wait_until(have_polled, kReadyLimit)) {
            throw std::runtime_error("a daemon does not poll");
        }
    }
    /// Proportional memory and CPU time of all daemons. Memory that they share counts once.
    ProcessUse use() const {
        ProcessUse sum;
        for (const auto& daemon : daemons_) {
            const ProcessUse use = checked(ProcessUse::of(daemon->pid()));
            sum.proportional_kib += use.proportional_kib;
            sum.cpu_seconds += use.cpu_seconds;
        }
        return sum;
    }

  private:
    void add_daemon(int number) {
        const std::string address = "127.0.1." + std::to_string(number);
        bridges_.push_back(std::make_unique<Bridge>(
            Bridge::Setup{simulator::Installation::kUser, options_.installation.lights, address}));
        add_installation(std::to_string(number * kObjectsOfABridge), address);
        const int object = house_.runner() + number * kObjectsOfABridge;
        daemons_.push_back(std::make_unique<ChildProcess>(
            ChildProcess::Setup{options_.daemon, {"--id", std::to_string(object)}}));
        port_of(daemons_.back()->start_port(simulator::House::kStartLimit));
    }
    void add_installation(const std::string& offset, const std::string& address) {
        const std::string below = " < " + std::to_string(kObjectsOfABridge);
        house_.database().rows("INSERT INTO vexad_object SELECT id + " + offset +
                               ", msp, replace(optionalp, '" + Bridge::kAddress + "', '" + address +
                               "'), name FROM vexad_object WHERE id" + below);
        house_.database().rows("INSERT INTO vexad_object_relation SELECT parentobj_id + " + offset +
                               ", childobj_id + " + offset +
                               ", optional FROM vexad_object_relation WHERE parentobj_id" + below);
    }

    simulator::House::Options options_;
    simulator::House house_;
    std::vector<std::unique_ptr<Bridge>> bridges_;
    std::vector<std::unique_ptr<ChildProcess>> daemons_;
};

}  // namespace

void measure_scale(const Plan& plan, Report& report) {
    const double period_ms = plan.rounds(30000.0, 3000.0);
    Street street(plan);
    Samples counts;
    Samples memory_kib;
    Samples cpu_ms;  // a minute
    for (const std::size_t count : plan.rounds<std::vector<std::size_t>>({1, 10, 50}, {1, 3})) {
        street.grow_to(count);
        const ProcessUse start = street.use();
        wait_ms(period_ms);
        const ProcessUse end = street.use();
        counts.push_back(static_cast<double>(count));
        memory_kib.push_back(static_cast<double>(end.proportional_kib));
        cpu_ms.push_back((end.cpu_seconds - start.cpu_seconds) * 1000 * 60000 / period_ms);
        // The first daemon shares no page and is the yardstick of the others.
        const std::string goal = count == 1 ? "" : "ratio <= 1.1";
        const std::string of = ", each of " + std::to_string(count);
        report.add("memory" + of, "KiB", {memory_kib.back() / counts.back()}, {memory_kib.front()},
                   goal);
        report.add("CPU" + of, "ms a minute", {cpu_ms.back() / counts.back()}, {cpu_ms.front()},
                   goal);
    }
    report.add("memory of a further daemon", "KiB", {Line::through(counts, memory_kib).slope});
    report.add("CPU of a further daemon", "ms a minute", {Line::through(counts, cpu_ms).slope});
}

}  // namespace bench
