/// A test with a system log of its own that keeps every line.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "libcbase/Cstylecode.h"
#include "simulator/journal/SystemLog.h"

class SystemLogTest : public testing::Test {
  protected:
    /// Waits up to 10 s for a line that contains `part`.
    bool logged(const std::string& part) const { return log_.wait_for(part); }

    /// Number of lines written before this call that contain `part`.
    std::size_t lines_with(const std::string& part) const {
        // Lines arrive in order: all earlier ones are there once the mark is.
        static int last_mark = 0;
        const std::string mark = "mark " + std::to_string(++last_mark) + " of the test";
        info("%s", mark.c_str());
        EXPECT_TRUE(log_.wait_for(mark));
        return log_.count(part);
    }
    bool never_logged(const std::string& part) const { return lines_with(part) == 0; }

    simulator::SystemLog log_;
};
