/// A test with a system log of its own that keeps every line.
#pragma once

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "libcbase/Cstylecode.h"
#include "tests/support/TestLog.h"

class SystemLogTest : public testing::Test {
  protected:
    /// Waits up to 10 s for a line that contains `part`.
    bool logged(const std::string& part) const { return log_.wait_for(part); }
    /// Number of lines written before this call that contain `part`.
    std::size_t lines_with(const std::string& part) const {
        log_.sync();
        return log_.count(part);
    }
    bool never_logged(const std::string& part) const { return lines_with(part) == 0; }
    /// The text after `start` of the last line since log_.clear(); empty without a line.
    std::string last_line_after(const std::string& start) const {
        log_.sync();
        const std::string text = log_.lines().empty() ? start : log_.lines().back().text;
        EXPECT_EQ(text.substr(0, start.size()), start);
        return text.substr(std::min(start.size(), text.size()));
    }

    TestLog log_;
};
