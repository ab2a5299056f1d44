/// The fault matrix: the faults around the daemon, one per row.
///
/// The tests run each row once in a house of its own; the program torture also repeats them at
/// random moments. A row contains the steps of the fault. Trial::finish() checks the rest.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Trial.h"

struct FaultRow {
    enum class Length {
        seconds,  ///< also runs as a test
        minutes,  ///< waits for time-outs of the daemon
        quarter_of_an_hour,
    };
    enum class Needs {
        nothing,
        shim,         ///< the library fault_shim in the daemon
        plain_build,  ///< no sanitizer: its heap and signal handling differ
        shim_and_plain_build,
    };

    using Steps = std::function<void(Trial&)>;

    const char* name;   ///< of the test
    const char* fault;  ///< its description in the table
    Steps run;
    Length length = Length::seconds;
    Needs needs = Needs::nothing;

    bool needs_shim() const { return needs == Needs::shim || needs == Needs::shim_and_plain_build; }
    bool needs_plain_build() const { return needs >= Needs::plain_build; }
};

/// Rows for the bridge; for core, database and log; for the daemon's process.
std::vector<FaultRow> bridge_rows();
std::vector<FaultRow> service_rows();
std::vector<FaultRow> process_rows();
/// All rows.
std::vector<FaultRow> fault_rows();
