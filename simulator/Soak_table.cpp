// What a soak prints: a row of the table every minute, the totals at the end.
#include <algorithm>
#include <cstdio>

#include "simulator/Soak.h"

namespace simulator {
namespace {

constexpr std::chrono::minutes kSettling{5};

// The memory of a sanitizer build is not the daemon's own.
constexpr bool is_sanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

}  // namespace

// The house discards its events, so that the simulator does not grow.
void Soak::sample() {
    const ProcessUse before = last_use_;
    last_use_ = ProcessUse::at_rest(house_.daemon().pid());
    print_row(before);
    if (!is_settled_ &&
        Clock::now() - start_ >= std::min<Milliseconds>(kSettling, plan_.duration / 2)) {
        settled_use_ = last_use_;
        is_settled_ = true;
    }
    house_.forget();
}

void Soak::print_row(const ProcessUse& before) {
    if (last_sample_ == start_) {
        print_(
            " minute  resident KiB  files  threads  cpu s  cpu %    sent  acked    done  needless"
            "  failed  refused  waiting  reports  log lines/min");
    }
    const SoakLedger::Counts counts = ledger_.counts();
    const auto now = Clock::now();
    const double passed =
        std::max(0.001, std::chrono::duration<double>(now - last_sample_).count());
    char row[256];
    std::snprintf(
        row, sizeof(row),
        "%7.1f %13zu %6zu %8zu %6.2f %6.2f %7zu %6zu %7zu %9zu %7zu %8zu %8zu %8zu %14.0f",
        std::chrono::duration<double, std::ratio<60>>(now - start_).count(), last_use_.resident_kib,
        last_use_.descriptors, last_use_.threads, last_use_.cpu_seconds,
        (last_use_.cpu_seconds - before.cpu_seconds) * 100 / passed, counts.sent,
        counts.acknowledged, counts.carried_out, counts.needless, counts.failed, counts.refused,
        ledger_.open(), counts.reports,
        static_cast<double>(counts.log_lines - last_counts_.log_lines) * 60 / passed);
    print_(row);
    last_counts_ = counts;
    last_sample_ = now;
}

void Soak::check_growth() {
    if (!is_settled_) {
        print_("the run was too short to check for growth");
        return;
    }
    check(last_use_.threads == settled_use_.threads, "the number of threads changed");
    check(last_use_.descriptors <= settled_use_.descriptors, "descriptors were left open");
    if (is_sanitized() || plan_.duration < 2 * kSettling) {
        print_("resident memory: " + std::to_string(settled_use_.resident_kib) + " -> " +
               std::to_string(last_use_.resident_kib) + " KiB, not checked (" +
               (is_sanitized() ? "sanitizer build" : "run shorter than ten minutes") + ")");
        return;
    }
    print_("resident memory: " + std::to_string(settled_use_.resident_kib) + " -> " +
           std::to_string(last_use_.resident_kib) + " KiB (tolerance " +
           std::to_string(kMemoryToleranceKib) + " KiB)");
    check(last_use_.resident_kib <= settled_use_.resident_kib + kMemoryToleranceKib,
          "the resident memory grew");
}

// The ledger's faults follow those found here.
bool Soak::finish() {
    const SoakLedger::Counts counts = ledger_.counts();
    const std::size_t settled = counts.carried_out + counts.needless + counts.failed +
                                counts.refused + counts.dropped + counts.lost;
    print_("commands: " + std::to_string(counts.sent) + " sent, " +
           std::to_string(counts.acknowledged) +
           " acknowledged = " + std::to_string(counts.carried_out) + " carried out + " +
           std::to_string(counts.needless) + " needless + " + std::to_string(counts.failed) +
           " failed, logged + " + std::to_string(counts.refused) + " colours refused, logged + " +
           std::to_string(counts.dropped) + " dropped at exit + " + std::to_string(counts.lost) +
           " lost");
    print_(std::to_string(counts.requests) + " requests to the bridge, smallest gap " +
           std::to_string(ledger_.smallest_gap().count()) + " ms, at most " +
           std::to_string(ledger_.largest_lead().count()) +
           " ms ahead of one every 100 ms (tolerance " + std::to_string(kLeadTolerance.count()) +
           " ms); " + std::to_string(counts.polls) + " polls, " + std::to_string(counts.reports) +
           " reports; " + std::to_string(reboots_) + " reboots of the bridge");
    check(counts.acknowledged == counts.sent, "not every command was acknowledged");
    check(counts.acknowledged == settled, "acknowledged commands and results differ in number");
    check(ledger_.largest_lead() <= kLeadTolerance, "requests were sent too fast");
    for (const std::string& fault : ledger_.faults()) {
        check(false, fault);
    }
    return faults_.empty();
}

}  // namespace simulator
