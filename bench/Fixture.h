/// A simulated house with the real daemon, ready to be measured, and what the measurements share.
#pragma once

#include <string>

#include "bench/Report.h"
#include "simulator/House.h"
#include "simulator/SoakInstallation.h"

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

/// Lights of every class, with descriptions as long as a real bridge's.
class Installation final {
  public:
    explicit Installation(int lights);

    std::string sql_file() const { return files_.sql_file(); }
    std::string lights_file() const { return files_.lights_file(); }
    /// Options of a house with this installation; `daemon`: path of the program.
    simulator::House::Options house_options(const std::string& daemon) const;

  private:
    simulator::SoakInstallation files_;
};

class Fixture final {
  public:
    /// Returns after the daemon has read its lights and polled once. Throws std::runtime_error when
    /// it does not. `daemon`: path of another program to start instead of the plan's.
    Fixture(const Plan& plan, int lights, const std::string& daemon = {});

    simulator::House& house() { return house_; }
    const Installation& installation() const { return installation_; }
    int port() const { return port_; }
    pid_t pid() { return house_.daemon().pid(); }
    /// The thread that polls.
    pid_t monitor();
    /// The object of this role that drives the first light with every role.
    simulator::House::RoleObject object(const std::string& role);
    /// Waits for `count` more polls to start and the last of them to end.
    void await_polls(int count);
    /// Polls since the start.
    int polls() { return house_.bridge().count("GET", "/lights"); }

  private:
    Installation installation_;
    simulator::House house_;
    int port_ = 0;
};

/// Whether the program can be run; prints a line when it cannot.
bool has_program(const std::string& path);

}  // namespace bench
