// Memory and CPU of many daemons on one board: each bridge has its own.
#include <chrono>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <vector>

#include "bench/Fixture.h"
#include "bench/ProcessCost.h"
#include "simulator/JsonText.h"

namespace bench {
namespace {

constexpr int kLights = 5;
constexpr int kBridgeObject = 100;  // bridge object of the installation
constexpr int kObjectsOfABridge = 1000000;
const Goal kNoMoreThanTheFirst{Goal::Of::ratio, Goal::Side::at_most, 1.1};
constexpr std::chrono::seconds kStartLimit{20};
constexpr std::chrono::seconds kReadyLimit{60};
constexpr double kPeriodMs = 30000;
constexpr double kQuickPeriodMs = 3000;

std::string address_of(int bridge) {
    return "127.0.1." + std::to_string(bridge + 1);
}

// Many bridges, each with a copy of the same installation.
class Street final {
  public:
    explicit Street(int bridges)
        : installation_(kLights), database_(simulator::load_text_file(installation_.sql_file())) {
        simulator::Bridge::Setup setup;
        setup.lights = simulator::load_json_file(installation_.lights_file());
        setup.username = "soaked-user";
        for (int i = 0; i < bridges; ++i) {
            setup.address = address_of(i);
            bridges_.push_back(std::make_unique<simulator::Bridge>(setup));
            add_installation(i);
        }
    }

    /// The object of a bridge; bridges count from 0.
    static int object_of(int bridge) { return kBridgeObject + (bridge + 1) * kObjectsOfABridge; }
    bool has_polled(int bridge) const {
        return bridges_[static_cast<std::size_t>(bridge)]->count("GET", "/lights") > 1;
    }

  private:
    void add_installation(int bridge) {
        const std::string offset = std::to_string((bridge + 1) * kObjectsOfABridge);
        const std::string below = " < " + std::to_string(kObjectsOfABridge);
        database_.rows("INSERT INTO vexad_object SELECT id + " + offset +
                       ", msp, replace(optionalp, '" + simulator::Bridge::kAddress + "', '" +
                       address_of(bridge) + "'), name FROM vexad_object WHERE id" + below);
        database_.rows("INSERT INTO vexad_object_relation SELECT parentobj_id + " + offset +
                       ", childobj_id + " + offset +
                       ", optional FROM vexad_object_relation WHERE parentobj_id" + below);
    }

    Installation installation_;
    simulator::SystemLog log_;
    simulator::DatabaseService database_;
    simulator::Core core_;
    std::vector<std::unique_ptr<simulator::Bridge>> bridges_;
};

class Daemons final {
  public:
    Daemons(const Plan& plan, const Street& street) : plan_(plan), street_(street) {}

    void grow_to(int count) {
        const int before = static_cast<int>(daemons_.size());
        for (int i = before; i < count; ++i) {
            daemons_.push_back(
                std::make_unique<simulator::ChildProcess>(simulator::ChildProcess::Setup{
                    plan_.daemon, {"--id", std::to_string(Street::object_of(i))}}));
            const auto status = daemons_.back()->start_status(kStartLimit);
            if (!status || status->status != 0) {
                throw std::runtime_error("a daemon did not start");
            }
        }
        const auto deadline = std::chrono::steady_clock::now() + kReadyLimit;
        for (int i = before; i < count; ++i) {
            while (!street_.has_polled(i)) {
                if (std::chrono::steady_clock::now() > deadline) {
                    throw std::runtime_error("a daemon does not poll");
                }
                wait_ms(50);
            }
        }
    }
    /// Memory that the daemons share counts once.
    double memory_kib() const {
        return sum([](pid_t process) { return Memory::of(process).proportional_kib; });
    }
    double cpu_ms() const {
        return sum([](pid_t process) { return Cost::of_process(process).cpu_ms; });
    }

  private:
    template <typename Figure>
    double sum(Figure figure) const {
        return std::accumulate(
            daemons_.begin(), daemons_.end(), 0.0,
            [&](double so_far, const auto& daemon) { return so_far + figure(daemon->pid()); });
    }

    const Plan& plan_;
    const Street& street_;
    std::vector<std::unique_ptr<simulator::ChildProcess>> daemons_;
};

}  // namespace

void measure_scale(const Plan& plan, Report& report) {
    const std::vector<int> counts =
        plan.is_quick ? std::vector<int>{1, 3} : std::vector<int>{1, 10, 50};
    const Street street(counts.back());
    Daemons daemons(plan, street);
    Samples x;
    Samples memory;
    Samples cpu;
    for (const int count : counts) {
        daemons.grow_to(count);
        const double period = plan.rounds(kPeriodMs, kQuickPeriodMs);
        const double before = daemons.cpu_ms();
        wait_ms(period);
        x.push_back(count);
        cpu.push_back((daemons.cpu_ms() - before) / period * 60000);
        memory.push_back(daemons.memory_kib());
        // The first daemon shares no page and is the yardstick of the others.
        const std::optional<Goal> goal =
            count == 1 ? std::optional<Goal>{} : std::optional<Goal>{kNoMoreThanTheFirst};
        const std::string of = ", each of " + std::to_string(count);
        report.add(
            {"scale", "memory" + of, "KiB", {memory.back() / count}, {memory.front()}, goal});
        report.add({"scale", "CPU" + of, "ms a minute", {cpu.back() / count}, {cpu.front()}, goal});
    }
    report.add({"scale", "memory of a further daemon", "KiB", {Line::through(x, memory).slope}});
    report.add({"scale", "CPU of a further daemon", "ms a minute", {Line::through(x, cpu).slope}});
}

}  // namespace bench
