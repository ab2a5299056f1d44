#include "simulator/prompt/LineReader.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <poll.h>
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

namespace simulator {
namespace {

// readline passes nothing of the caller to its callbacks.
LineReader::Completion words_after;
bool is_complete;
std::optional<std::string> complete_line;

void take_line(char* text) {
    is_complete = true;
    if (text != nullptr) {
        complete_line = text;
        if (*text != '\0') {
            add_history(text);
        }
        std::free(text);
    }
    rl_callback_handler_remove();  // otherwise readline shows the next prompt
}

// Returns one word that begins with `text` a call. readline frees it.
char* next_candidate(const char* text, int calls) {
    static std::vector<std::string> candidates;
    const std::size_t length = std::strlen(text);
    if (calls == 0) {
        candidates = words_after({rl_line_buffer, static_cast<std::size_t>(rl_point) - length});
    }
    while (!candidates.empty()) {
        const std::string word = std::move(candidates.back());
        candidates.pop_back();
        if (word.compare(0, length, text) == 0) {
            return strdup(word.c_str());
        }
    }
    return nullptr;
}

}  // namespace

LineReader::LineReader(Console& console, std::string prompt, int interrupt, Completion completion)
    : console_(console), prompt_(std::move(prompt)), interrupt_(interrupt) {
    words_after = std::move(completion);
    rl_readline_name = "house";
    rl_completion_entry_function = next_candidate;
    rl_completer_word_break_characters = " ";
    rl_catch_signals = 0;  // the program handles them
    console_.print_through([this](const std::string& line) { print(line); });
}

LineReader::~LineReader() {
    console_.print_through({});
}

bool LineReader::is_at_terminal() {
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

std::optional<std::string> LineReader::read_line() {
    return is_at_terminal() ? edit_line() : read_plain_line();
}

// Any thread calls this; readline is used only by the one that reads.
void LineReader::print(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    waiting_ += line + '\n';
    if (is_editing_) {
        has_waiting_.set();
    } else {
        print_waiting();
    }
}

void LineReader::print_waiting() {
    std::fputs(waiting_.c_str(), stdout);
    std::fflush(stdout);
    waiting_.clear();
}

void LineReader::print_above_line() {
    const std::lock_guard<std::mutex> lock(mutex_);
    has_waiting_.clear();
    rl_clear_visible_line();
    print_waiting();
    rl_forced_update_display();
}

void LineReader::set_editing(bool is_editing) {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_editing_ = is_editing;
    print_waiting();
}

bool LineReader::wait_for_input() {
    for (;;) {
        pollfd ready[] = {
            {interrupt_, POLLIN, 0}, {has_waiting_.fd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
        if (poll(ready, std::size(ready), -1) < 0) {
            continue;  // a signal, which makes `interrupt_` readable or changes the window's size
        }
        if (ready[0].revents != 0) {
            return false;
        }
        if (ready[1].revents != 0) {
            print_above_line();
        } else if (ready[2].revents != 0) {
            return true;
        }
    }
}

std::optional<std::string> LineReader::edit_line() {
    set_editing(true);
    is_complete = false;
    complete_line.reset();
    rl_callback_handler_install(prompt_.c_str(), take_line);
    while (!is_complete && wait_for_input()) {
        rl_callback_read_char();
    }
    if (!is_complete) {
        rl_callback_handler_remove();  // sets the terminal as it was
    }
    if (!complete_line) {
        std::putchar('\n');
    }
    set_editing(false);
    return std::exchange(complete_line, std::nullopt);
}

std::optional<std::string> LineReader::read_plain_line() {
    std::string line;
    for (char next; wait_for_input() && read(STDIN_FILENO, &next, 1) == 1; line += next) {
        if (next == '\n') {
            return line;
        }
    }
    return std::nullopt;
}

}  // namespace simulator
