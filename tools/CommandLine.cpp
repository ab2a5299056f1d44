#include "CommandLine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "Failure.h"
#include "Values.h"

namespace huectl {
namespace {

constexpr const char* kUserVariable = "HUE_USERNAME";

constexpr const char* kExitCodes =
    "Exit codes: 0 success; 1 the bridge refused, nothing was found, or check found faults; 2 "
    "wrong\nusage; 3 the bridge or the database was not reached. See huectl(1).";

constexpr const char* kUserNote =
    "USER may be omitted if the environment variable HUE_USERNAME holds it; it then stays out of "
    "the shell's\nhistory. A USER that begins with - must be in HUE_USERNAME, or follow --.";

// The words of a command line.
struct Arguments {
    std::string address, user, id, object;
    LightOptions options;
    bool is_for_scripts = false;
    bool is_confirmed = false;
    bool is_verbose = false;
};

constexpr std::pair<const char*, std::string Arguments::*> kOperands[] = {
    {"ADDRESS", &Arguments::address},
    {"USER", &Arguments::user},
    {"ID", &Arguments::id},
    {"OBJECT", &Arguments::object}};

Access access_of(const Arguments& arguments) {
    const char* variable = std::getenv(kUserVariable);
    const std::string user =
        arguments.user.empty() && variable != nullptr ? std::string(variable) : arguments.user;
    if (user.empty()) {
        throw Failure(ExitCode::usage,
                      "USER is missing; give the user name that huectl pair printed, or set "
                      "HUE_USERNAME");
    }
    return {address_of(arguments.address), user_of(user)};
}

int id_of(const Arguments& arguments) {
    return static_cast<int>(number_of("ID", arguments.id, kLightId));
}

struct Command {
    const char* name;
    const char* operands;  // as the usage shows them
    const char* help;
    const char* note;
    Result (*run)(const Arguments&);

    bool has(const char* operand) const { return std::strstr(operands, operand) != nullptr; }
};

constexpr Command kCommands[] = {
    {"discover", "", "List the bridges of the local network",
     "The search takes at most six seconds. It finds bridges of every make by SSDP and by mDNS.",
     [](const Arguments& a) { return discover(a.is_verbose); }},
    {"pair", " ADDRESS", "Get a user name from a bridge by its link button",
     "Press the button on the bridge within 35 seconds. Then the text for the optional "
     "parameters of\nthe bridge object is printed, and a second one if lights are of unknown "
     "models.",
     [](const Arguments& a) { return pair(address_of(a.address), a.is_for_scripts); }},
    {"check", " OBJECT", "Check an installation in the controller's database, on the board",
     "OBJECT is the ID of the bridge object, as after lumivad --id. Nothing is changed.",
     [](const Arguments& a) {
         return check(static_cast<int>(number_of("OBJECT", a.object, kObjectId)));
     }},
    {"lights", " ADDRESS [USER]", "List a bridge's lights and their state", "",
     [](const Arguments& a) { return lights(access_of(a)); }},
    {"light", " ADDRESS [USER] ID", "Show or change one light",
     "Without an option, the state of the light is shown. Several options are carried out in this "
     "order:\n--name, --on, --loop off, temperature or colour, --brightness, --loop on, --blink, "
     "--flash, --off.\n",
     [](const Arguments& a) { return light(access_of(a), id_of(a), a.options); }},
    {"forget", " ADDRESS [USER] ID", "Remove a light from the bridge", "",
     [](const Arguments& a) { return forget(access_of(a), id_of(a), a.is_confirmed); }},
};

// Shows the usage with the brackets in the right places.
class UsageFormatter final : public CLI::Formatter {
  public:
    explicit UsageFormatter(std::string usage) : usage_("\nUsage: huectl " + usage + "\n") {}
    std::string make_usage(const CLI::App*, std::string) const override { return usage_; }
    std::string make_positionals(const CLI::App*) const override { return ""; }

  private:
    std::string usage_;
};

// An unset variable of a script leaves an empty word. The word after it must not take its place.
std::string refuse_empty(const std::string& word) {
    return word.empty() ? "an empty word; leave it out" : "";
}

// The parser and what it reads into: one object, since the parser keeps pointers.
class Parser final {
  public:
    Parser() {
        app_.require_subcommand(1);
        app_.option_defaults()->disable_flag_override();  // no --on=0, which would switch on
        app_.set_version_flag("--version", "huectl " LUMIVAD_VERSION);
        app_.footer(kExitCodes);
        for (const Command& command : kCommands) {
            add(command);
        }
        for (const LightOption& option : light_options()) {
            add(option, *app_.get_subcommand("light"));
        }
        app_.get_subcommand("discover")
            ->add_flag(
                "--verbose", arguments_.is_verbose,
                "List devices too that announce themselves as bridges and answer no request");
        app_.get_subcommand("forget")->add_flag("--yes", arguments_.is_confirmed, "Do not ask");
    }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    std::optional<CommandLine> read(int argc, const char* const* argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::Success& help_or_version) {
            app_.exit(help_or_version);
            return std::nullopt;
        } catch (const CLI::ParseError& problem) {
            throw usage_failure(problem);
        }
        return CommandLine{[run = command_->run, words = arguments_] { return run(words); },
                           arguments_.is_for_scripts};
    }

  private:
    Failure usage_failure(const CLI::ParseError& problem) const {
        const std::vector<CLI::App*> chosen = app_.get_subcommands();
        if (chosen.empty()) {
            return {ExitCode::usage,
                    "expected discover, pair, check, lights, light or forget; see huectl --help"};
        }
        return {ExitCode::usage,
                problem.what() + ("; see huectl " + chosen.front()->get_name()) + " --help"};
    }

    void add(const Command& command) {
        CLI::App& app = *app_.add_subcommand(command.name, command.help);
        app.formatter(std::make_shared<UsageFormatter>(std::string(command.name) + " [OPTIONS]" +
                                                       command.operands));
        app.footer(command.note + std::string(command.has("USER") ? kUserNote : ""));
        app.add_flag("--json", arguments_.is_for_scripts,
                     "Print one JSON document on standard output instead of text");
        for (const auto& [name, member] : kOperands) {
            if (command.has(name)) {
                CLI::Option& operand = *app.add_option(name, arguments_.*member);
                if (member == &Arguments::address || member == &Arguments::object) {
                    operand.required();
                } else {
                    operand.check(CLI::Validator(refuse_empty, ""));
                }
            }
        }
        app.callback([this, &command] { choose(command); });
    }

    void add(const LightOption& option, CLI::App& app) {
        const auto take = [this, &option](const std::string& value) {
            arguments_.options[option.name] = value;
        };
        if (option.value == nullptr) {
            app.add_flag_callback(
                option.name, [take] { take(""); }, option.help);
        } else {
            app.add_option_function<std::string>(option.name, take, option.help)
                ->type_name(option.value);
        }
    }

    // Of "ADDRESS [USER] ID" the last word is the ID.
    void choose(const Command& command) {
        command_ = &command;
        if (command.has("ID") && arguments_.id.empty()) {
            arguments_.id.swap(arguments_.user);
        }
        if (command.has("ID") && arguments_.id.empty()) {
            throw Failure(ExitCode::usage, "ID is missing; huectl lights lists the IDs");
        }
    }

    CLI::App app_{"Finds, pairs with and tests Philips Hue bridges, and checks an installation.",
                  "huectl"};
    Arguments arguments_;
    const Command* command_ = nullptr;
};

}  // namespace

std::optional<CommandLine> read_command_line(int argc, const char* const* argv) {
    return Parser().read(argc, argv);
}

bool asks_for_json(int argc, const char* const* argv) {
    return std::any_of(argv, argv + argc,
                       [](const char* word) { return std::string_view(word) == "--json"; });
}

}  // namespace huectl
