/// A progress line on standard error, the last line of the terminal. Without a terminal, a plain
/// line is written once per kPlainLinePeriod instead.
///
/// Any thread may call; one exists at a time. A signal that ends the program erases the line first.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
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

    /// Runs `work` on another thread and returns when it ends. Until then it shows `text` of the
    /// seconds that are left of `period`, 0 or less after it; `text` must fit into one line. An
    /// exception of `work` propagates.
    void count_down(std::chrono::seconds period, const std::function<std::string(long long)>& text,
                    const std::function<void()>& work);
    /// Writes a whole line to the descriptor `fd`, above the progress line.
    void print(int fd, const std::string& line);

    static constexpr std::chrono::seconds kPlainLinePeriod{10};

  private:
    void show(const std::string& text);
    void erase();

    std::mutex mutex_;  // guards `shown_` and the output
    bool is_terminal_;
    std::string shown_;
    std::optional<std::chrono::steady_clock::time_point> last_plain_line_;
};

/// Writes all of `text`; false when the descriptor cannot be written.
bool write_all(int fd, const std::string& text);

}  // namespace huectl
