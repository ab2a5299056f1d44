// house: runs the real daemon in a simulated house, with commands from the terminal or a script.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <signal.h>

#include <CLI/CLI.hpp>

#include "simulator/House.h"
#include "simulator/net/WakeUp.h"
#include "simulator/process/Sandbox.h"
#include "simulator/prompt/Console.h"
#include "simulator/prompt/LineReader.h"
#include "simulator/prompt/Page.h"
#include "simulator/prompt/Prompt.h"

namespace {

using simulator::Console;
using simulator::Installation;
using simulator::Page;
using simulator::Prompt;
using simulator::Session;

constexpr int kExitFailure = 1;
constexpr int kExitInterrupted = 130;

const simulator::WakeUp interrupt;
volatile sig_atomic_t was_interrupted = 0;

void handle_interrupt(int) {
    was_interrupted = 1;
    interrupt.set();
}

void install_interrupt() {
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
    Session::Setup setup;
    std::string sql = Installation::file("sample-house.sql");
    std::string lights = Installation::file("sample-lights.json");
    std::string script;
    std::optional<int> page_port;
    bool opens_browser = false;
    bool shows_all = false;
};

void add_options(CLI::App& app, Arguments& arguments) {
    Session::Setup& setup = arguments.setup;
    // The programs are in the same build: build/release/simulator/house runs its src/lumivad.
    const auto build = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    setup.house.daemon = build / "src/lumivad";
    setup.house.huectl = build / "tools/huectl";
    setup.shim = build / "tests/support/libfault_shim.so";
    setup.sanitizer = LUMIVAD_SANITIZE;
    app.option_defaults()->always_capture_default();
    app.add_option("--daemon", setup.house.daemon, "path of lumivad");
    app.add_option("--huectl", setup.house.huectl, "path of huectl");
    app.add_option("--shim", setup.shim, "path of the library that faults the daemon");
    app.add_option("--sql", arguments.sql, "the installation");
    app.add_option("--lights", arguments.lights, "the bridge's lights");
    app.add_option("--seed", setup.seed, "seed of random moments in scripts; 0 for none");
    app.add_option(
        "--script", arguments.script,
        "runs the commands of a file (- for standard input) and judges the daemon; exits "
        "with 1 at the first command that fails, with 77 if it cannot be run here");
    app.add_option("--page", arguments.page_port,
                   "serves a page that shows the house, until Ctrl-C; the port, 0 for any")
        ->expected(0, 1)
        ->default_str("0")
        ->check(CLI::Range(0, 65535));
    app.add_flag("--open", arguments.opens_browser, "opens the page in the browser");
    app.add_flag_callback(
        "--unpaired", [&setup] { setup.house.is_paired = false; },
        "the bridge has no user; the daemon is started by the command start");
    app.add_flag("--all", arguments.shows_all, "also prints events that repeat at every poll");
    app.footer("Commands:\n" + Prompt::help());
}

int run_script(Prompt& prompt, const std::string& path) {
    std::ifstream file(path);
    const bool is_stream = path == "-";
    if (!is_stream && !file) {
        throw std::runtime_error("cannot read " + path);
    }
    const int code = prompt.run_script(path, is_stream ? std::cin : file, is_stream);
    return is_interrupted() && code == kExitFailure ? kExitInterrupted : code;
}

void read_lines(Prompt& prompt, Session& session, Console& console) {
    if (simulator::is_at_terminal()) {
        console.print("\"help\" lists the commands, Tab completes them, \"quit\" ends the house");
    }
    const auto completion = [&](const std::string& line) { return prompt.words_after(line); };
    std::optional<std::string> line;
    while (!session.is_over && (line = simulator::read_line(interrupt.fd(), completion))) {
        prompt.run(*line);
    }
}

// Runs one house. Returns the exit code; nothing if another house is to follow.
std::optional<int> run_session(const Arguments& arguments, Console& console, Page* page) {
    const auto is_over = [&] { return is_interrupted() || (page && page->is_cancelled()); };
    Session session(arguments.setup, console, is_over);
    Prompt prompt(session);
    bool is_last = true;
    if (!arguments.script.empty()) {
        return run_script(prompt, arguments.script);
    }
    if (page != nullptr) {
        is_last = !page->run(session, prompt);
    } else if (session.options().is_paired && !prompt.run("start").empty()) {
        return kExitFailure;
    } else {
        read_lines(prompt, session, console);
    }
    if (session.is_running() && !prompt.run("stop").empty()) {
        return kExitFailure;
    }
    return is_last ? std::optional<int>(0) : std::nullopt;
}

int run_house(Arguments& arguments) {
    install_interrupt();  // the set-up of a sandbox is ended too
    // In the browser's namespaces, before those of the house are entered.
    std::unique_ptr<Page> page;
    if (arguments.page_port) {
        page = std::make_unique<Page>(*arguments.page_port, arguments.opens_browser);
    }
    const simulator::Sandbox sandbox = simulator::Sandbox::enter();  // before the first thread
    Console console(arguments.shows_all);
    if (!sandbox.is_private()) {
        console.print("no namespaces (" + sandbox.reason() +
                      "): using the loopback, ports and paths of this machine; searches do not "
                      "find the bridge");
    }
    if (arguments.setup.seed != 0) {
        console.print("seed " + std::to_string(arguments.setup.seed));
    }
    arguments.setup.house.installation = Installation::load(arguments.sql, arguments.lights);
    arguments.setup.listener = [&](const simulator::Event& event) {
        page ? page->add(event) : console.print(event);
    };
    std::optional<int> code;
    while (!(code = run_session(arguments, console, page.get()))) {
    }
    return *code;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Arguments arguments;
        CLI::App app(
            "Runs the real daemon in a simulated house (core, database, bridge with lights, system "
            "log), prints their exchanges, and reads commands.");
        add_options(app, arguments);
        CLI11_PARSE(app, argc, argv);
        return run_house(arguments);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "house: %s\n", problem.what());
        return kExitFailure;
    }
}
