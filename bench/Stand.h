/// A simulated house with the real daemon in it, brought to the moment at which a measurement may
/// begin; and what the measurements have in common.
#pragma once

#include <string>

#include "bench/Report.h"
#include "simulator/House.h"
#include "simulator/SoakInstallation.h"

namespace bench {

struct Plan {
    std::string daemon;     ///< path of the program
    std::string echo;       ///< path of the yardstick of the commands endpoint
    std::string broker;     ///< path of mosquitto, the yardstick of the footprint
    bool is_quick = false;  ///< few rounds: does each measurement give its rows?

    template <typename Number>
    Number rounds(Number full, Number quick) const {
        return is_quick ? quick : full;
    }
};

/// One for each row of the table, or group of rows; throws std::exception when it cannot be done.
/// @{
void measure_endpoint(const Plan& plan, Report& report);
void measure_dispatch(const Plan& plan, Report& report);
void measure_sustained(const Plan& plan, Report& report);
void measure_poll(const Plan& plan, Report& report);
void measure_change(const Plan& plan, Report& report);
void measure_footprint(const Plan& plan, Report& report);
void measure_scale(const Plan& plan, Report& report);
/// @}

/// Lights of every class, described at the length of a real bridge's descriptions.
class Installation final {
  public:
    explicit Installation(int lights);

    std::string sql_file() const { return files_.sql_file(); }
    std::string lights_file() const { return files_.lights_file(); }
    /// A house with this installation and that daemon.
    simulator::House::Options house_options(const std::string& daemon) const;

  private:
    simulator::SoakInstallation files_;
};

class Stand final {
  public:
    /// Returns when the daemon has read its lights and polled once; throws std::runtime_error when
    /// it does not come that far. `daemon`: another program to start instead of the plan's.
    Stand(const Plan& plan, int lights, const std::string& daemon = {});

    simulator::House& house() { return house_; }
    const Installation& installation() const { return installation_; }
    int port() const { return port_; }
    pid_t pid() { return house_.daemon().pid(); }
    /// The thread that polls.
    pid_t monitor();
    /// The first object that has this role; its light can have every other role too.
    simulator::House::RoleObject object(const std::string& role);
    /// Waits for `count` more polls, and a moment for the last of them to end.
    void await_polls(int count);
    /// How often the bridge has been polled.
    int polls() { return house_.bridge().count("GET", "/lights"); }

  private:
    Installation installation_;
    simulator::House house_;
    int port_ = 0;
};

/// True when the program is there; says so in the table's place when it is not.
bool has_program(const std::string& path);

}  // namespace bench
