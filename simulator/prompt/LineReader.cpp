#include "simulator/prompt/LineReader.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include <poll.h>
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

namespace simulator {
namespace {

// readline passes nothing of the caller to its callbacks.
Completion words_after;
int interrupt_fd = -1;
std::mutex mutex;  // guards readline and the next one
bool is_editing = false;

// The next byte of the input; EOF at its end or once the interrupt is readable.
int read_key() {
    pollfd ready[] = {{interrupt_fd, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    TEMP_FAILURE_RETRY(poll(ready, std::size(ready), -1));
    unsigned char key = 0;
    return ready[0].revents == 0 && read(STDIN_FILENO, &key, 1) == 1 ? key : EOF;
}

// Lets other threads print while readline waits.
int await_key(FILE*) {
    mutex.unlock();
    const int key = read_key();
    mutex.lock();
    return key;
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

std::optional<std::string> edit_line() {
    rl_readline_name = "house";
    rl_getc_function = await_key;
    rl_completion_entry_function = next_candidate;
    rl_completer_word_break_characters = " ";
    rl_catch_signals = 0;  // the program handles them
    const std::lock_guard<std::mutex> lock(mutex);
    is_editing = true;
    const std::unique_ptr<char, decltype(&std::free)> line(readline("house> "), std::free);
    is_editing = false;
    if (!line) {
        std::putchar('\n');
        return std::nullopt;
    }
    if (*line != '\0') {
        add_history(line.get());
    }
    return line.get();
}

std::optional<std::string> read_plain_line() {
    std::string line;
    for (int key; (key = read_key()) != EOF; line += static_cast<char>(key)) {
        if (key == '\n') {
            return line;
        }
    }
    return std::nullopt;
}

}  // namespace

void print_above_line(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (is_editing) {
        rl_clear_visible_line();
    }
    std::puts(line.c_str());
    std::fflush(stdout);
    if (is_editing) {
        rl_forced_update_display();
    }
}

bool is_at_terminal() {
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

std::optional<std::string> read_line(int interrupt, const Completion& completion) {
    interrupt_fd = interrupt;
    words_after = completion;
    return is_at_terminal() ? edit_line() : read_plain_line();
}

}  // namespace simulator
