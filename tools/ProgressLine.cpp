#include "ProgressLine.h"

#include <cerrno>
#include <cstdlib>
#include <future>
#include <string_view>

#include <poll.h>
#include <signal.h>
#include <unistd.h>

namespace huectl {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRedrawPeriod{100};
constexpr char kErase[] = "\r\033[K";
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// SA_RESETHAND has restored the default action, so raise() ends the program.
void erase_and_end(int signal_number) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kErase, sizeof kErase - 1);
    raise(signal_number);
}

void on_ending_signals(void (*handler)(int), unsigned flags) {
    for (const int number : kEndingSignals) {
        struct sigaction present {};
        sigaction(number, nullptr, &present);
        if (present.sa_handler == SIG_IGN) {
            continue;  // set by nohup
        }
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = static_cast<int>(flags);
        sigaction(number, &action, nullptr);
    }
}

bool can_be_redrawn() {
    const char* terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

}  // namespace

bool write_all(int fd, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(fd, text.data() + written, text.size() - written);
        if (count < 0 && errno == EAGAIN) {  // a pipe that its creator made non-blocking
            pollfd writable{fd, POLLOUT, 0};
            poll(&writable, 1, -1);
            continue;
        }
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += static_cast<std::size_t>(count < 0 ? 0 : count);
    }
    return true;
}

ProgressLine::ProgressLine() : is_terminal_(can_be_redrawn()) {
    if (is_terminal_) {
        on_ending_signals(erase_and_end, SA_RESETHAND);
    }
}

ProgressLine::~ProgressLine() {
    if (is_terminal_) {
        erase();
        on_ending_signals(SIG_DFL, 0);
    }
}

void ProgressLine::count_down(std::chrono::seconds period,
                              const std::function<std::string(long long)>& text,
                              const std::function<void()>& work) {
    const auto end = steady_clock::now() + period;
    auto done = std::async(std::launch::async, work);
    do {
        show(text(std::chrono::ceil<std::chrono::seconds>(end - steady_clock::now()).count()));
    } while (done.wait_for(kRedrawPeriod) != std::future_status::ready);
    done.get();
}

void ProgressLine::show(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto now = steady_clock::now();
    if (is_terminal_) {
        if (text != shown_) {
            write_all(STDERR_FILENO, kErase + text);
            shown_ = text;
        }
    } else if (!last_plain_line_ || now - *last_plain_line_ >= kPlainLinePeriod) {
        write_all(STDERR_FILENO, text + "\n");
        last_plain_line_ = now;
    }
}

void ProgressLine::print(int fd, const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    erase();
    write_all(fd, line + "\n");
}

void ProgressLine::erase() {
    if (!shown_.empty()) {
        write_all(STDERR_FILENO, kErase);
        shown_.clear();
    }
}

}  // namespace huectl
