// Lines that are refused when a script is read, with file and line, before any command runs.
#include <sstream>

#include "simulator/prompt/Prompt.h"
#include "tests/support/Vectors.h"

namespace simulator {
namespace {

// What is printed for a script that fails.
std::string output_of(const std::string& text) {
    testing::internal::CaptureStdout();
    Console console(true);
    Session session({}, console, [] { return false; });
    std::istringstream script(text);
    EXPECT_EQ(Prompt(session).run_script("bad.house", script), Prompt::failed);
    return testing::internal::GetCapturedStdout();
}

TEST(Language, RefusesABadLineBeforeTheScriptRuns) {
    for_each_vector("end_to_end/bad_lines.txt", "lines", 3, [](const auto& cells) {
        const std::string output = output_of("house 6 lights\nsay it runs\n" + cells[0] + "\n");
        EXPECT_NE(output.find("!! bad.house, line 3: "), std::string::npos) << output;
        EXPECT_NE(output.find(cells[1]), std::string::npos) << output;
        EXPECT_EQ(output.find("it runs"), std::string::npos);
    });
}

// Nothing after the line runs, and no judgement follows.
TEST(Language, StopsAtALineThatFails) {
    const std::string output = output_of("house 6 lights\nsay before\nstore\nsay after\n");
    EXPECT_NE(output.find("before\n!! bad.house, line 3: huectl has not"), std::string::npos)
        << output;
    EXPECT_EQ(output.find("after"), std::string::npos);
}

}  // namespace
}  // namespace simulator
