// house: runs the real daemon in a simulated house, with commands from the terminal or a script.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "simulator/House.h"
#include "simulator/process/Sandbox.h"
#include "simulator/prompt/Console.h"
#include "simulator/prompt/LineReader.h"
#include "simulator/prompt/Prompt.h"

namespace {

using simulator::Console;
using simulator::House;
using simulator::LineReader;
using simulator::Prompt;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitInterrupted = 130;

std::atomic<int> interrupt_fd{-1};
volatile std::sig_atomic_t was_interrupted = 0;

void handle_interrupt(int) {
    was_interrupted = 1;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(interrupt_fd, &one, sizeof(one));
}

void install_interrupt() {
    interrupt_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action {};
    action.sa_handler = handle_interrupt;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
}

bool is_interrupted() {
    return was_interrupted != 0;
}

struct Arguments {
    House::Options house;
    std::string script;
    bool shows_all = false;
    bool wants_help = false;
};

std::optional<Arguments> parse_arguments(int argc, char** argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        std::string* text = option == "--daemon"   ? &arguments.house.daemon
                            : option == "--sql"    ? &arguments.house.sql_file
                            : option == "--lights" ? &arguments.house.lights_file
                            : option == "--huectl" ? &arguments.house.huectl
                            : option == "--script" ? &arguments.script
                                                   : nullptr;
        if (text != nullptr && i + 1 < argc) {
            *text = argv[++i];
        } else if (option == "--unpaired") {
            arguments.house.is_paired = false;
        } else if (option == "--all") {
            arguments.shows_all = true;
        } else if (option == "--help") {
            arguments.wants_help = true;
        } else {
            return std::nullopt;
        }
    }
    return arguments;
}

void print_help(std::FILE* out) {
    std::fprintf(
        out,
        "usage: house [--daemon PATH] [--huectl PATH] [--sql FILE] [--lights FILE] [--unpaired]"
        " [--script FILE] [--all]\n\n"
        "Starts a simulated house (core, database, bridge with lights, system log) and the daemon"
        " in it,\nprints their exchanges, and reads commands.\n\n"
        "  --daemon PATH   path of lumivad (default: in the same build)\n"
        "  --huectl PATH   path of huectl (default: in the same build)\n"
        "  --sql FILE      the installation (default: %s)\n"
        "  --lights FILE   the bridge's lights (default: %s)\n"
        "  --unpaired      the bridge has no user; the daemon is started by the command start\n"
        "  --script FILE   reads the commands from FILE; exits with 1 at the first one that"
        " fails\n"
        "  --all           also prints events that repeat at every poll\n\n"
        "Commands:\n%s",
        House::sample_sql().c_str(), House::sample_lights().c_str(), Prompt::help().c_str());
}

// build/release/simulator/house runs build/release/src/lumivad.
std::string program_beside(const std::string& name) {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    const std::string self(path, static_cast<std::size_t>(length > 0 ? length : 0));
    const std::string folder = self.substr(0, self.rfind('/'));
    return folder.substr(0, folder.rfind('/')) + name;
}

// "cut|reset" are two words; OBJECT is any word.
std::vector<std::string> alternatives_of(const std::string& usage) {
    std::vector<std::string> words;
    std::istringstream text(usage);
    for (std::string word; std::getline(text, word, '|');) {
        words.push_back(word);
    }
    return words;
}

bool allows(const std::string& usage, const std::string& typed) {
    const auto words = alternatives_of(usage);
    return std::isupper(static_cast<unsigned char>(usage.front())) != 0 ||
           std::find(words.begin(), words.end(), typed) != words.end();
}

// The words that a command in the list of commands may have next.
std::vector<std::string> words_after(const std::string& line_so_far) {
    std::vector<std::string> words;
    std::istringstream commands(Prompt::help());
    for (std::string command; std::getline(commands, command);) {
        if (command.rfind("   ", 0) == 0) {
            continue;  // what the command above does
        }
        std::istringstream usage(command);
        std::istringstream line(line_so_far);
        std::string next;
        usage >> next;
        for (std::string typed; line >> typed && allows(next, typed);) {
            usage >> next;
        }
        if (line.eof() && usage && std::islower(static_cast<unsigned char>(next.front())) != 0) {
            const auto more = alternatives_of(next);
            words.insert(words.end(), more.begin(), more.end());
        }
    }
    return words;
}

int run_prompt(Prompt& prompt, Console& console) {
    if (LineReader::is_at_terminal()) {
        console.print("\"help\" lists the commands, Tab completes them, \"quit\" ends the house");
    }
    LineReader reader(console, "house> ", interrupt_fd, words_after);
    while (!prompt.is_over()) {
        const auto line = reader.read_line();
        if (!line) {
            break;
        }
        prompt.run(*line);
    }
    return 0;
}

int run_house(const Arguments& arguments, Console& console) {
    House house(arguments.house,
                [&console](const simulator::Event& event) { console.print(event); });
    if (house.log() == nullptr) {
        console.print("/dev/log is in use: the daemon's log lines go to the machine's log");
    }
    Prompt prompt(house, console, is_interrupted);
    if (arguments.house.is_paired && !prompt.run("start")) {
        return kExitFailure;
    }
    const int result = arguments.script.empty()              ? run_prompt(prompt, console)
                       : prompt.run_script(arguments.script) ? 0
                       : is_interrupted()                    ? kExitInterrupted
                                                             : kExitFailure;
    if (!house.has_daemon()) {
        return result;
    }
    const bool was_running = house.daemon().is_running();
    const auto ending = house.stop();
    if (!was_running || !ending || !ending->is_success()) {
        console.print("!! the daemon did not exit with 0 on SIGTERM");
        return kExitFailure;
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    std::optional<Arguments> arguments = parse_arguments(argc, argv);
    if (!arguments || arguments->wants_help) {
        print_help(arguments ? stdout : stderr);
        return arguments ? 0 : kExitUsage;
    }
    if (arguments->house.daemon.empty()) {
        arguments->house.daemon = program_beside("/src/lumivad");
    }
    if (arguments->house.huectl.empty()) {
        arguments->house.huectl = program_beside("/tools/huectl");
    }
    try {
        // Before the first thread starts.
        const simulator::Sandbox sandbox = simulator::Sandbox::enter();
        install_interrupt();
        Console console(std::cout, arguments->shows_all);
        if (!sandbox.is_private()) {
            console.print("no namespaces (" + sandbox.reason() +
                          "): using the loopback, ports and paths of this machine; searches do not "
                          "find the bridge");
        }
        return run_house(*arguments, console);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "house: %s\n", problem.what());
        return kExitFailure;
    }
}
