/// How the tool ends. A command that cannot do what it was asked throws a Failure; main prints its
/// message in one line and ends with its exit code.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace huectl {

enum class ExitCode {
    done = 0,
    refused = 1,      ///< the bridge said no, or what was looked for is not there
    usage = 2,        ///< the command line cannot be carried out as it stands
    not_reached = 3,  ///< no connection, no answer in time, or none that a bridge gives
};

class Failure final : public std::exception {
  public:
    /// `message` says what happened and what to try, without a full stop.
    Failure(ExitCode exit_code, std::string message)
        : exit_code_(exit_code), message_(std::move(message)) {}

    ExitCode exit_code() const { return exit_code_; }
    const char* what() const noexcept override { return message_.c_str(); }

  private:
    ExitCode exit_code_;
    std::string message_;
};

}  // namespace huectl
