#include "StdoutCapture.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace huectl {
namespace {

constexpr std::size_t kLongestLine = 4096;

[[noreturn]] void fail(const char* step) {
    throw std::system_error(errno, std::generic_category(), step);
}

}  // namespace

StdoutCapture::StdoutCapture() {
    std::fflush(stdout);
    original_.reset(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    int ends[2];
    if (!original_ || pipe2(ends, O_CLOEXEC) != 0) {
        fail("standard output");
    }
    reader_.reset(ends[0]);
    const FileDescriptor writer(ends[1]);
    if (dup2(writer.get(), STDOUT_FILENO) < 0) {
        fail("standard output");
    }
    is_capturing_ = true;
}

StdoutCapture::~StdoutCapture() {
    give_back();
}

void StdoutCapture::give_back() {
    if (is_capturing_) {
        std::fflush(stdout);
        dup2(original_.get(), STDOUT_FILENO);
        is_capturing_ = false;
    }
}

std::vector<std::string> StdoutCapture::lines(std::chrono::milliseconds limit) {
    read_some(static_cast<int>(limit.count()));
    return take_lines();
}

std::vector<std::string> StdoutCapture::finish() {
    give_back();
    while (read_some(0)) {
    }
    if (!text_.empty()) {
        text_ += '\n';
    }
    return take_lines();
}

bool StdoutCapture::read_some(int limit_milliseconds) {
    pollfd ready{reader_.get(), POLLIN, 0};
    char chunk[512];
    const ssize_t length =
        poll(&ready, 1, limit_milliseconds) > 0 ? read(reader_.get(), chunk, sizeof chunk) : 0;
    if (length > 0) {
        text_.append(chunk, static_cast<std::size_t>(length));
    }
    return length > 0;
}

std::vector<std::string> StdoutCapture::take_lines() {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = text_.find('\n'); end != std::string::npos;
         end = text_.find('\n', start)) {
        lines.push_back(text_.substr(start, end - start));
        start = end + 1;
    }
    text_.erase(0, start);
    if (text_.size() > kLongestLine) {
        lines.push_back(std::exchange(text_, std::string()));
    }
    return lines;
}

}  // namespace huectl
