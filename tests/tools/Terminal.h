/// A pseudo-terminal for the tool: the text on it, and its keyboard. One thread uses it.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "libcbase/Cstylecode.h"

class Terminal final {
  public:
    Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        int number = 0;
        if (!master_ || unlockpt(master_.get()) != 0 ||
            ioctl(master_.get(), TIOCGPTN, &number) != 0) {
            throw std::system_error(errno, std::generic_category(), "no terminal");
        }
        path_ = "/dev/pts/" + std::to_string(number);
        // Kept open, so that the text can be read after the program has ended.
        slave_.reset(open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    /// The words after "/bin/sh" that run a program on this terminal.
    std::vector<std::string> words_for(const std::string& program,
                                       std::vector<std::string> words) const {
        const std::string script = "exec \"$@\" <" + path_ + " >" + path_ + " 2>" + path_;
        words.insert(words.begin(), {"-c", script, "sh", program});
        return words;
    }

    void type(const std::string& keys) {
        [[maybe_unused]] const ssize_t count = write(master_.get(), keys.data(), keys.size());
    }

    /// Waits until the terminal has received `part`; false after `limit`.
    bool wait_until_shown(const std::string& part,
                          std::chrono::seconds limit = std::chrono::seconds(20)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (written_.find(part) == std::string::npos) {
            if (std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            read_some(100);
        }
        return true;
    }

    /// The lines on the screen now; the last one has the cursor.
    std::vector<std::string> lines() {
        while (read_some(0)) {
        }
        std::vector<std::string> lines(1);
        std::size_t column = 0;
        for (std::size_t i = 0; i < written_.size(); ++i) {
            if (written_.compare(i, 3, "\033[K") == 0) {
                lines.back().resize(column);
                i += 2;
            } else if (written_[i] == '\n') {
                lines.emplace_back();
                column = 0;
            } else if (written_[i] == '\r') {
                column = 0;
            } else {
                lines.back().resize(std::max(lines.back().size(), column + 1));
                lines.back()[column++] = written_[i];
            }
        }
        return lines;
    }

  private:
    bool read_some(int limit_milliseconds) {
        pollfd ready{master_.get(), POLLIN, 0};
        char chunk[512];
        const ssize_t count =
            poll(&ready, 1, limit_milliseconds) > 0 ? read(master_.get(), chunk, sizeof(chunk)) : 0;
        if (count > 0) {
            written_.append(chunk, static_cast<std::size_t>(count));
        }
        return count > 0;
    }

    FileDescriptor master_;
    FileDescriptor slave_;
    std::string path_;
    std::string written_;
};
