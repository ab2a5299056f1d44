#include "CommandLine.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "Failure.h"
#include "Values.h"

namespace huectl {
namespace {

constexpr const char* kUserVariable = "HUE_USERNAME";

constexpr const char* kExitCodes =
    "Exit codes: 0 done; 1 the bridge said no, or what was looked for is not there; 2 wrong usage; "
    "3 the bridge was not reached.\nThe manual page is huectl(1).";
constexpr const char* kDiscoverNote =
    "Only bridges that describe themselves as made by \"Royal Philips Electronics\" are found; "
    "those sold since\nthe maker changed its name are not. Give the address of such a bridge by "
    "hand "
    "(the router lists it):\n  huectl pair ADDRESS";
constexpr const char* kPairNote =
    "Press the button on the bridge within 35 seconds. The last line printed is the text for the "
    "bridge object's\noptional parameters.";
constexpr const char* kUserNote =
    "USER may be left out when the environment variable HUE_USERNAME holds it, and then stands "
    "in no shell history. A USER that begins with - has to stand there, or behind --.";
constexpr const char* kLightNote =
    "Without an option the light's state is shown. Several options are carried out in this order: "
    "--name, --on,\n--loop off, temperature or colour, --brightness, --loop on, --blink, --flash, "
    "--off.\n";

// Shows the usage with the brackets where they belong: USER is the only word that may be left out.
class UsageFormatter final : public CLI::Formatter {
  public:
    explicit UsageFormatter(std::string usage) : usage_("\nUsage: huectl " + usage + "\n") {}
    std::string make_usage(const CLI::App*, std::string) const override { return usage_; }
    std::string make_positionals(const CLI::App*) const override { return ""; }

  private:
    std::string usage_;
};

struct Words {
    std::string address, user, id;
};

// "ADDRESS [USER] ID" or "ADDRESS [USER]": the last word is the ID when there is one.
Access access_of(const Words& words) {
    const char* variable = std::getenv(kUserVariable);
    const std::string user =
        words.user.empty() && variable != nullptr ? std::string(variable) : words.user;
    if (user.empty()) {
        throw Failure(ExitCode::usage,
                      "USER is missing; name the bridge user or set HUE_USERNAME "
                      "(huectl pair makes one)");
    }
    return {address_of(words.address), user_of(user)};
}

// An empty word, as an unset variable of a script leaves it, must not let another take its place.
std::string refuse_empty(const std::string& word) {
    return word.empty() ? "an empty word; leave it out" : "";
}
const CLI::Validator kNotEmpty(refuse_empty, "");

struct LightWords {
    Access access;
    int id;
};

LightWords light_words_of(Words words) {
    if (words.id.empty()) {
        words.id.swap(words.user);
    }
    if (words.id.empty()) {
        throw Failure(ExitCode::usage, "ID is missing; huectl lights shows the lights' numbers");
    }
    const auto id = static_cast<int>(number_of("ID", words.id, kLightId));
    return {access_of(words), id};
}

// The parser and what it reads into: one object, since the parser keeps pointers.
class Parser final {
  public:
    Parser() {
        app_.require_subcommand(1);
        app_.option_defaults()->disable_flag_override();  // no --on=0, which would switch on
        app_.set_version_flag("--version", "huectl " LUMIVAD_VERSION);
        app_.footer(kExitCodes);
        add_discover();
        add_pair();
        add_lights();
        add_light();
        add_forget();
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
        return CommandLine{make_command_(), is_for_scripts_};
    }

  private:
    Failure usage_failure(const CLI::ParseError& problem) const {
        const std::vector<CLI::App*> chosen = app_.get_subcommands();
        if (chosen.empty()) {
            return {ExitCode::usage,
                    "which command: discover, pair, lights, light or forget? see huectl --help"};
        }
        return {ExitCode::usage,
                problem.what() + ("; see huectl " + chosen.front()->get_name()) + " --help"};
    }

    CLI::App& add(const char* name, const char* description, const char* usage,
                  const std::string& note, std::function<std::function<Result()>()> maker) {
        CLI::App& command = *app_.add_subcommand(name, description);
        command.formatter(std::make_shared<UsageFormatter>(usage));
        command.footer(note);
        command.add_flag("--json", is_for_scripts_,
                         "Print one JSON document on standard output instead of text");
        command.callback([this, maker = std::move(maker)] { make_command_ = maker; });
        return command;
    }

    void add_words(CLI::App& command, bool with_id) {
        command.add_option("ADDRESS", words_.address)->required();
        command.add_option("USER", words_.user)->check(kNotEmpty);
        if (with_id) {
            command.add_option("ID", words_.id)->check(kNotEmpty);
        }
    }

    void add_discover() {
        add("discover", "List the bridges of the local network", "discover [OPTIONS]",
            kDiscoverNote, [] { return [] { return discover(); }; });
    }

    void add_pair() {
        CLI::App& command = add("pair", "Get a user name from a bridge by its link button",
                                "pair [OPTIONS] ADDRESS", kPairNote, [this] {
                                    return [address = address_of(words_.address),
                                            is_for_scripts = is_for_scripts_] {
                                        return pair(address, is_for_scripts);
                                    };
                                });
        command.add_option("ADDRESS", words_.address)->required();
    }

    void add_lights() {
        CLI::App& command = add(
            "lights", "List a bridge's lights and their state", "lights [OPTIONS] ADDRESS [USER]",
            kUserNote, [this] { return [access = access_of(words_)] { return lights(access); }; });
        add_words(command, false);
    }

    void add_light() {
        CLI::App& command =
            add("light", "Show or change one light", "light [OPTIONS] ADDRESS [USER] ID",
                std::string(kLightNote) + kUserNote, [this] {
                    return [words = light_words_of(words_), options = options_] {
                        return light(words.access, words.id, options);
                    };
                });
        add_words(command, true);
        add_light_options(command);
    }

    void add_light_options(CLI::App& command) {
        LightOptions& o = options_;
        const auto add = [&command](const char* name, std::optional<std::string>& value,
                                    const char* kind, const char* description) {
            command.add_option(name, value, description)->type_name(kind);
        };
        command.add_flag("--on", o.on, "Switch on");
        command.add_flag("--off", o.off, "Switch off");
        add("--brightness", o.brightness, "PERCENT", "0..100; 0 switches off");
        add("--kelvin", o.kelvin, "K", "Colour temperature, 2000..6535");
        add("--mired", o.mired, "M", "Colour temperature, 153..500");
        add("--rgb", o.rgb, "RRGGBB", "Colour, hex digits; no grey, white or black");
        add("--hsv", o.hsv, "H,S,V", "Hue, saturation and value, 0..255 each");
        add("--xy", o.xy, "X,Y", "Coordinates of the colour, 0..1 each");
        add("--loop", o.loop, "on|off", "Run through all colours");
        add("--transition", o.transition, "MS",
            "Time that the change takes, 0..25500 milliseconds in steps of 100 (400)");
        add("--name", o.name, "TEXT", "Give the light another name, 1..32 characters");
        command.add_flag("--blink", o.blink, "Blink once");
        add("--flash", o.flash, "RRGGBB|K",
            "Blink once in a colour or a temperature of 2000..6535 K and go back");
    }

    void add_forget() {
        CLI::App& command =
            add("forget", "Remove a light from the bridge", "forget [OPTIONS] ADDRESS [USER] ID",
                kUserNote, [this] {
                    return [words = light_words_of(words_), is_confirmed = is_confirmed_] {
                        return forget(words.access, words.id, is_confirmed);
                    };
                });
        add_words(command, true);
        command.add_flag("--yes", is_confirmed_, "Do not ask first");
    }

    CLI::App app_{"Finds, pairs with and tests Philips Hue bridges, for whoever installs them.",
                  "huectl"};
    Words words_;
    LightOptions options_;
    bool is_for_scripts_ = false;
    bool is_confirmed_ = false;
    std::function<std::function<Result()>()> make_command_;
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
