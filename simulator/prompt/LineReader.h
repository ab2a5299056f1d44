/// Reads the lines of standard input for a prompt. At a terminal they are edited with GNU readline,
/// with a history and completion, and what the console prints meanwhile appears above the prompt.
///
/// At most one at a time. One thread reads.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/net/WakeUp.h"
#include "simulator/prompt/Console.h"

namespace simulator {

class LineReader final {
  public:
    /// Returns the words that may follow the text before the current word.
    using Completion = std::function<std::vector<std::string>(const std::string& line_so_far)>;

    /// The console prints through this object during its life. `interrupt` is a descriptor.
    LineReader(Console& console, std::string prompt, int interrupt, Completion completion);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    static bool is_at_terminal();
    /// The next line, without the newline; nothing at the end of the input, or once `interrupt` is
    /// readable.
    std::optional<std::string> read_line();

  private:
    void print(const std::string& line);
    void print_waiting();
    void print_above_line();
    void set_editing(bool is_editing);
    bool wait_for_input();
    std::optional<std::string> edit_line();
    std::optional<std::string> read_plain_line();

    Console& console_;
    std::string prompt_;
    int interrupt_;
    std::mutex mutex_;  // guards the next two
    bool is_editing_ = false;
    std::string waiting_;  // lines to print above the one that is edited
    WakeUp has_waiting_;
};

}  // namespace simulator
