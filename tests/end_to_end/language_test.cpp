// Lines that are refused when a script is read, with file and line, before any command runs.
#include <sstream>

#include "simulator/prompt/Prompt.h"
#include "tests/support/Vectors.h"

namespace simulator {
namespace {

TEST(Language, RefusesABadLineBeforeTheScriptRuns) {
    for_each_vector("end_to_end/bad_lines.txt", "lines", 3, [](const auto& cells) {
        std::ostringstream output;
        Console console(output, true);
        Session session({}, console, [] { return false; });
        std::istringstream script("house 6 lights\nsay it runs\n" + cells[0] + "\n");
        EXPECT_EQ(Prompt(session).run_script("bad.house", script), Prompt::Result::failed);
        EXPECT_NE(output.str().find("!! bad.house, line 3: "), std::string::npos) << output.str();
        EXPECT_NE(output.str().find(cells[1]), std::string::npos) << output.str();
        EXPECT_EQ(output.str().find("it runs"), std::string::npos);
    });
}

// Nothing after the line runs, and no judgement follows.
TEST(Language, StopsAtALineThatFails) {
    std::ostringstream output;
    Console console(output, true);
    Session session({}, console, [] { return false; });
    std::istringstream script("say before\n\nstore\nsay after\n");
    EXPECT_EQ(Prompt(session).run_script("bad.house", script), Prompt::Result::failed);
    EXPECT_NE(output.str().find("before\n!! bad.house, line 3: huectl has not printed"),
              std::string::npos)
        << output.str();
    EXPECT_EQ(output.str().find("after"), std::string::npos);
}

}  // namespace
}  // namespace simulator
