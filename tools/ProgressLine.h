/// A progress line on standard error, the last line of the terminal. Without a terminal, a plain
/// line is written once per kPlainLinePeriod instead.
///
/// One thread uses it, and one exists at a time. A signal that ends the program erases the line
/// first.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace huectl {

class ProgressLine final {
  public:
    ProgressLine();
    /// Erases the line.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Replaces the line by `text`, which must fit into one line.
    void show(const std::string& text);
    /// Writes a whole line to the descriptor `fd`, above the progress line.
    void print(int fd, const std::string& line);

    static constexpr std::chrono::seconds kPlainLinePeriod{10};

  private:
    void erase();

    bool is_terminal_;
    std::string shown_;
    std::optional<std::chrono::steady_clock::time_point> last_plain_line_;
};

/// Writes all of `text`; false when the descriptor cannot be written.
bool write_all(int fd, const std::string& text);

}  // namespace huectl
