#include <string>

#include <gtest/gtest.h>

#include "FaultRows.h"

namespace {

// One row of the matrix: after the fault the daemon works as before, and every command that was not
// carried out has a log line.
class FaultTest : public testing::Test {
  public:
    explicit FaultTest(const FaultRow& row) : row_(row) {}

    void TestBody() override {
        const bool is_sanitized = !std::string(LUMIVAD_SANITIZE).empty();
        if (is_sanitized && row_.needs_plain_build()) {
            GTEST_SKIP() << "a sanitizer has a heap and signal handling of its own";
        }
        Trial trial({LUMIVAD_PATH, row_.needs_shim() ? FAULT_SHIM_PATH : "", 0, false});
        row_.run(trial);
        const Trial::Finding finding = trial.finish();
        EXPECT_EQ(finding.problems, std::vector<std::string>()) << trial.transcript();
    }

  private:
    FaultRow row_;
};

// Registers a test for each row that takes seconds, with the row's name.
const bool kIsRegistered = [] {
    for (const FaultRow& row : fault_rows()) {
        if (row.length == FaultRow::Length::seconds) {
            testing::RegisterTest("Faults", row.name, nullptr, nullptr, __FILE__, __LINE__,
                                  [row]() -> testing::Test* { return new FaultTest(row); });
        }
    }
    return true;
}();

}  // namespace
