/// A system log of a test, which keeps every line.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "simulator/journal/SystemLog.h"

struct JournalOfTest {
    simulator::Journal journal;
};

class TestLog final : JournalOfTest, public simulator::SystemLog {
  public:
    TestLog() : SystemLog(journal) {}

    /// The lines since the start or the last clear().
    std::vector<simulator::LogLine> lines() const {
        std::vector<simulator::LogLine> lines;
        for (const simulator::Event& event : journal.events()) {
            lines.push_back(event.line);
        }
        return lines;
    }
    /// Number of these lines that contain `part`.
    std::size_t count(const std::string& part) const {
        return journal.count(simulator::EventKind::log, part);
    }
    /// Waits until a line contains `part`; false at the limit.
    bool wait_for(const std::string& part,
                  std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        return journal.wait_until([&] { return count(part) > 0; }, limit);
    }
    void clear() { journal.forget(); }
};
