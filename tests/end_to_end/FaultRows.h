/// The fault matrix: what may fail around the daemon, one row a fault.
///
/// The tests run each row once in a house of its own, the program torture again and again at random
/// moments. A row says what happens; what must hold afterwards is the trial's own.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Trial.h"

struct FaultRow {
    enum class Length {
        seconds,  ///< runs as a test too
        minutes,  ///< waits for the daemon's own limits
        quarter_of_an_hour,
    };
    enum class Needs {
        nothing,
        shim,         ///< the library in the daemon
        plain_build,  ///< without a sanitizer, which has a heap and signal handling of its own
        shim_and_plain_build,
    };

    using Course = std::function<void(Trial&)>;

    const char* name;   ///< of the test
    const char* fault;  ///< for the table
    Course run;
    Length length = Length::seconds;
    Needs needs = Needs::nothing;

    bool needs_shim() const { return needs == Needs::shim || needs == Needs::shim_and_plain_build; }
    bool needs_plain_build() const { return needs >= Needs::plain_build; }
};

/// Of the bridge, of the core and the database, and of the daemon's own process.
std::vector<FaultRow> bridge_rows();
std::vector<FaultRow> service_rows();
std::vector<FaultRow> process_rows();
/// All of them.
std::vector<FaultRow> fault_rows();
