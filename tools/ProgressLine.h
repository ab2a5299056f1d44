/// The line at the foot of the terminal that tells how a long operation goes, on standard error.
/// Where that is no terminal nothing is redrawn: a plain line now and then.
///
/// One thread uses it, and one exists at a time. While it does, a signal that ends the program
/// erases the line first.
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

    /// Draws `text`, short enough for one line, in place of what was there.
    void show(const std::string& text);
    /// Writes a whole line to the descriptor `fd`, above the progress.
    void print(int fd, const std::string& line);

    static constexpr std::chrono::seconds kPlainLinePeriod{10};

  private:
    void erase();

    bool is_terminal_;
    std::string shown_;
    std::optional<std::chrono::steady_clock::time_point> last_plain_line_;
};

/// Writes all of `text`; false when the descriptor does not take it.
bool write_all(int fd, const std::string& text);

}  // namespace huectl
