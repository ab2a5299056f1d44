/// Reads the lines of standard input for a prompt. At a terminal they are edited with GNU readline,
/// with a history and completion, and what is printed meanwhile appears above the prompt.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// Returns the words that may follow the text before the current word.
using Completion = std::function<std::vector<std::string>(const std::string& line_so_far)>;

bool is_at_terminal();
/// The next line, without the newline; nothing at the end of the input, or once the descriptor
/// `interrupt` is readable. One thread calls this.
std::optional<std::string> read_line(int interrupt, const Completion& completion);
/// Prints a line on standard output. Thread-safe.
void print_above_line(const std::string& line);

}  // namespace simulator
