#include "gtwhandler/PendingRequest.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

#include "libcbase/FSMCoreutil.h"

namespace gtwhandlernamespace {
namespace {

using fsmcore_format::kRequestLengthTag;
using fsmcore_format::kRequestTag;

constexpr std::size_t kReceiveChunkBytes = 1024;

}  // namespace

PendingRequest::Progress PendingRequest::advance() {
    Progress progress = Progress::arriving;
    while (progress == Progress::arriving) {
        char chunk[kReceiveChunkBytes];
        const ssize_t count = recv(fd(), chunk, sizeof(chunk), 0);
        if (count > 0) {
            received_.append(chunk, static_cast<std::size_t>(count));
            progress = check();
        } else if (count == 0) {
            progress = fail(Progress::receive_failed, kClosedByPeer);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return Progress::arriving;
        } else if (errno != EINTR) {
            progress = fail(Progress::receive_failed, strerror(errno));
        }
    }
    return progress;
}

std::string_view PendingRequest::body() const {
    return std::string_view(received_).substr(body_start_, announced_);
}

void PendingRequest::lower_descriptor() {
    FileDescriptor lowest(fcntl(fd(), F_DUPFD_CLOEXEC, 0));
    if (lowest && lowest.get() < fd()) {
        connection_ = std::move(lowest);
    }
}

void PendingRequest::abandon() {
    shutdown(fd(), SHUT_RDWR);
    connection_.reset();
}

// The length line, the announced length (twice, with the bytes before the body) and one chunk are
// the most that is kept.
PendingRequest::Progress PendingRequest::check() {
    if (line_end_ == 0) {
        const Progress progress = read_length_line();
        if (progress != Progress::complete) {
            return progress;
        }
    }
    // The announced length counts from the tag, which has to be within as many bytes after the
    // line: thus the verdict is the same wherever the network splits the request.
    const std::string_view behind_line = std::string_view(received_).substr(line_end_ + 1);
    const std::string_view announced = behind_line.substr(0, announced_);
    const std::size_t tag = announced.find(kRequestTag);
    if (tag == std::string_view::npos && announced.size() == announced_) {
        return without_tag(announced);
    }
    if (tag == std::string_view::npos || behind_line.size() - tag < announced_) {
        return Progress::arriving;
    }
    body_start_ = line_end_ + 1 + tag;
    return Progress::complete;
}

// A length that ends within the tag is wrong itself. Any other body is left to its parser, which
// names the missing tag.
PendingRequest::Progress PendingRequest::without_tag(std::string_view announced) {
    if (announced == kRequestTag.substr(0, announced.size())) {
        return fail(Progress::bad_length, received_.substr(kRequestLengthTag.size(),
                                                           line_end_ - kRequestLengthTag.size()));
    }
    body_start_ = line_end_ + 1;
    return Progress::complete;
}

// Complete when the line has arrived and its number is valid.
PendingRequest::Progress PendingRequest::read_length_line() {
    const std::string_view start =
        std::string_view(received_).substr(0, fsmcore_format::kMaxLengthLineBytes + 1);
    const std::size_t end = start.find('\n');
    if (end == std::string_view::npos) {
        return start.size() <= fsmcore_format::kMaxLengthLineBytes
                   ? Progress::arriving
                   : fail(Progress::bad_length, std::string(start));
    }
    const std::string_view line = start.substr(0, end);
    const auto length = fsmcore_format::parse_length_line(line, kRequestLengthTag);
    if (!length || static_cast<std::size_t>(*length) > kMaxRequestBytes) {
        const bool is_tagged = line.substr(0, kRequestLengthTag.size()) == kRequestLengthTag;
        return fail(Progress::bad_length,
                    std::string(is_tagged ? line.substr(kRequestLengthTag.size()) : line));
    }
    line_end_ = end;
    announced_ = static_cast<std::size_t>(*length);
    return Progress::complete;
}

PendingRequest::Progress PendingRequest::fail(Progress kind, std::string problem) {
    problem_ = std::move(problem);
    return kind;
}

}  // namespace gtwhandlernamespace
