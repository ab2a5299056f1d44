/// Takes over standard output while the client library pairs, which prints lines of its own: they
/// come in whole, and whoever shows a countdown beside them can put each in its place.
///
/// The library may print on any thread; one thread, which made it, reads.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "libcbase/Cstylecode.h"

namespace huectl {

class StdoutCapture final {
  public:
    /// Throws std::system_error.
    StdoutCapture();
    /// Gives standard output back.
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /// The standard output that was there before.
    int original() const { return original_.get(); }
    /// The lines that are complete, without their newlines; waits up to `limit` for output.
    std::vector<std::string> lines(std::chrono::milliseconds limit);
    /// Gives standard output back and returns what was not read; nobody may print meanwhile.
    std::vector<std::string> finish();

  private:
    void give_back();
    bool read_some(int limit_milliseconds);
    std::vector<std::string> take_lines();

    FileDescriptor original_;
    FileDescriptor reader_;
    std::string text_;
    bool is_capturing_ = false;
};

}  // namespace huectl
