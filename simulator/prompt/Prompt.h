/// Runs commands of the house, typed or from a script. One controlling thread.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "simulator/prompt/Session.h"

namespace simulator {

class Prompt final {
  public:
    /// As an exit code of CTest.
    enum Result { passed = 0, failed = 1, skipped = 77 };

    explicit Prompt(Session& session);

    /// Checks and runs one line. If it is invalid or fails, prints the reason and returns it.
    std::string run(const std::string& line);
    /// Checks all lines, runs them, and ends with the judgement. Prints the file and line of a
    /// fault. `text`: the script; with `is_stream` each line is run as soon as it is read.
    Result run_script(const std::string& name, std::istream& text, bool is_stream = false);

    /// Every form with its meaning, as in the documentation.
    static std::string help();
    /// Words that may follow, for completion.
    std::vector<std::string> words_after(const std::string& beginning) const;

  private:
    struct Step {
        const Command* command;
        Slots slots;
    };

    Step parse(const Words& words);
    void execute(const Step& step);

    Session& session_;
    std::vector<Command> commands_;
    bool is_declaring_ = true;
};

}  // namespace simulator
