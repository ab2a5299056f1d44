/// The commands of the program house, typed or from a script. One controlling thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "simulator/House.h"
#include "simulator/prompt/Console.h"
#include "simulator/prompt/PromptWords.h"

namespace simulator {

class Prompt final {
  public:
    /// `is_interrupted` ends a wait.
    Prompt(House& house, Console& console, std::function<bool()> is_interrupted);

    /// Runs one line; ignores empty lines and lines that begin with '#'. Prints the reason and
    /// returns false if the command is invalid or fails.
    bool run(const std::string& line);
    /// Runs the lines of a file. Returns false if the file cannot be read, when interrupted, or at
    /// the first line that fails; prints its number.
    bool run_script(const std::string& path);
    /// True after quit.
    bool is_over() const { return is_over_; }

    /// The list of commands for the user.
    static std::string help();

  private:
    struct Command;
    struct Expectation {
        std::string wanted;
        std::function<std::string()> current;
    };
    static const Command kCommands[];

    bool set(const Words& words);
    bool bulb(const Words& words);
    bool list(const Words& words);
    bool bridge(const Words& words);
    bool core(const Words& words);
    bool huectl(const Words& words);
    bool button(const Words& words);
    bool store(const Words& words);
    bool start(const Words& words);
    bool wait(const Words& words);
    bool expect(const Words& words);
    bool say(const Words& words);
    bool print_help(const Words& words);
    bool quit(const Words& words);

    bool fail(const std::string& text);
    void list_lights();
    void list_objects();
    std::string why_not_checked(const Words& what);
    std::optional<Expectation> expectation_of(const Words& what);
    std::string light_text(int id, const std::string& field);
    bool wait_until(const std::function<bool()>& predicate, double seconds);

    House& house_;
    Console& console_;
    std::function<bool()> is_interrupted_;
    std::size_t heading_ = 0;             // index of the first event after the last heading
    std::optional<std::string> printed_;  // output of the last huectl
    std::string parameters_;              // the last ones that huectl printed
    bool is_over_ = false;
};

}  // namespace simulator
