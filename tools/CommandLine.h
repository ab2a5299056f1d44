/// The command line of the tool, read and judged before anything is sent.
#pragma once

#include <functional>
#include <optional>

#include "Commands.h"

namespace huectl {

struct CommandLine {
    std::function<Result()> command;
    bool is_for_scripts = false;  ///< --json
};

/// Nothing when help or the version was asked for, and printed. Throws a usage Failure.
std::optional<CommandLine> read_command_line(int argc, const char* const* argv);

/// Whether a command line, be it right or wrong, asks for JSON.
bool asks_for_json(int argc, const char* const* argv);

}  // namespace huectl
