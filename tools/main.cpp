// huectl: finds, pairs with and tests Hue bridges.
#include <csignal>
#include <exception>
#include <string>

#include <fcntl.h>
#include <json/writer.h>
#include <unistd.h>

#include "CommandLine.h"
#include "Failure.h"
#include "ProgressLine.h"
#include "Text.h"

namespace {

using huectl::ExitCode;
using huectl::Failure;

// Non-ASCII characters are escaped, so the document is valid in every locale.
std::string document_of(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    return Json::writeString(builder, value) + "\n";
}

// A result can be a user name, which the bridge gives only once.
void print(const std::string& text) {
    if (!huectl::write_all(STDOUT_FILENO, text)) {
        huectl::write_all(STDERR_FILENO, text);
        throw Failure(
            ExitCode::refused,
            "done, but standard output cannot be written; the result is on standard error");
    }
}

ExitCode report(const Failure& failure, bool is_for_scripts) {
    const std::string message = huectl::printable(failure.what());
    huectl::write_all(STDERR_FILENO, "huectl: " + message + "\n");
    if (is_for_scripts) {
        Json::Value document;
        document["error"] = message;
        huectl::write_all(STDOUT_FILENO, document_of(document));
    }
    return failure.exit_code();
}

ExitCode run(int argc, char** argv) {
    try {
        const auto command_line = huectl::read_command_line(argc, argv);
        if (command_line) {
            const huectl::Result result = command_line->command();
            print(command_line->is_for_scripts ? document_of(result.json) : result.text);
            return result.exit_code;
        }
        return ExitCode::done;
    } catch (const Failure& failure) {
        return report(failure, huectl::asks_for_json(argc, argv));
    } catch (const std::exception&) {
        return report({ExitCode::refused,
                       "out of system resources (memory, threads or descriptors); try again"},
                      huectl::asks_for_json(argc, argv));
    }
}

// If the caller closed a standard stream, the next socket would get its number, and output for the
// terminal would go to the bridge. Writing to the replacement fails.
void open_standard_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != fd) {
            _exit(static_cast<int>(ExitCode::refused));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    open_standard_streams();
    // A reader that has gone is a failed write, which print() reports.
    std::signal(SIGPIPE, SIG_IGN);
    return static_cast<int>(run(argc, argv));
}
