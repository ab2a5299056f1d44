/// A simulated house with the real daemon, ready to be measured, and what the measurements share.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "bench/Report.h"
#include "simulator/House.h"
#include "simulator/process/ProcessUse.h"

namespace bench {

struct Plan {
    std::string daemon;     ///< path of the program
    std::string echo;       ///< path of bench_echo, the yardstick of the commands endpoint
    std::string broker;     ///< path of mosquitto, the yardstick of the footprint
    bool is_quick = false;  ///< few rounds: checks that every row appears

    template <typename Number>
    Number rounds(Number full, Number quick) const {
        return is_quick ? quick : full;
    }
};

/// Each adds the rows of one subject. Throws std::exception when it cannot measure.
/// @{
void measure_endpoint(const Plan& plan, Report& report);
void measure_dispatch(const Plan& plan, Report& report);
void measure_sustained(const Plan& plan, Report& report);
void measure_poll(const Plan& plan, Report& report);
void measure_change(const Plan& plan, Report& report);
void measure_footprint(const Plan& plan, Report& report);
void measure_scale(const Plan& plan, Report& report);
/// @}

/// A house with lights of every class, with descriptions as long as a real bridge's. `daemon`: path
/// of the program.
simulator::House::Options options_of(int lights, const std::string& daemon);

class Fixture final {
  public:
    /// Returns after the daemon has read its lights and polled once. Throws std::runtime_error when
    /// it does not. `daemon`: path of the program.
    Fixture(const std::string& daemon, int lights);

    simulator::House& house() { return house_; }
    int port() const { return port_; }
    pid_t pid() { return house_.daemon().pid(); }
    /// The thread that polls.
    pid_t monitor() const { return monitor_; }
    /// The object of this role that drives the first light with every role.
    simulator::RoleObject object(const std::string& role);
    /// Sends a command. Throws std::runtime_error when the daemon refuses it.
    void command(int object, const std::string& payload);
    /// Waits for `count` more polls to start and the last of them to end.
    void await_polls(int count);
    /// Polls since the start.
    int polls() { return house_.bridge().count("GET", "/lights"); }

  private:
    simulator::House house_;
    int port_ = 0;
    pid_t monitor_ = 0;
};

/// Whether the program can be run; prints a line when it cannot.
bool has_program(const std::string& path);
/// The port of a program that has started. Throws std::runtime_error when it has not.
int port_of(std::optional<int> port);
/// `use`, of a process or thread. Throws std::runtime_error when the process has ended, which must
/// not look like one that costs nothing, or the kernel does not count.
simulator::ProcessUse checked(const simulator::ProcessUse& use);

/// The steady clock in milliseconds.
double ms_of(std::chrono::steady_clock::time_point time);
double now_ms();
void wait_ms(double length);

}  // namespace bench
