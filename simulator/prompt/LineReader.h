/// Reads the lines of standard input for a prompt. At a terminal they are edited with GNU readline,
/// with a history and completion, and what the console prints meanwhile appears above the prompt.
///
/// At most one at a time. One thread reads.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/prompt/Console.h"

namespace simulator {

class LineReader final {
  public:
    /// Returns the words that may follow the text before the current word.
    using Completion = std::function<std::vector<std::string>(const std::string& line_so_far)>;

    /// The console prints through this object during its life. `interrupt` is a descriptor.
    LineReader(Console& console, int interrupt, Completion completion);
    ~LineReader() { console_.print_through({}); }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    static bool is_at_terminal();
    /// The next line, without the newline; nothing at the end of the input, or once `interrupt` is
    /// readable.
    std::optional<std::string> read_line();

  private:
    Console& console_;
};

}  // namespace simulator
