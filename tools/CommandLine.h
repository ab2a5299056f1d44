/// The command line of the tool, checked before anything is sent.
#pragma once

#include <functional>
#include <optional>

#include "Commands.h"

namespace huectl {

struct CommandLine {
    std::function<Result()> command;  ///< throws a usage Failure before it sends anything
    bool is_for_scripts = false;      ///< --json
};

/// Nothing after --help and --version, which are printed. Throws a usage Failure.
std::optional<CommandLine> read_command_line(int argc, const char* const* argv);

/// Whether a command line, valid or not, asks for JSON.
bool asks_for_json(int argc, const char* const* argv);

}  // namespace huectl
