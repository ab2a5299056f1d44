/// The exit codes, and the exception of a failed command. main prints the message of a Failure in
/// one line and exits with its code.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace huectl {

enum class ExitCode {
    done = 0,
    refused = 1,      ///< the bridge refused, nothing was found, or check found faults
    usage = 2,        ///< invalid command line; nothing was sent
    not_reached = 3,  ///< bridge or database: no connection, no answer in time, or a wrong one
};

class Failure final : public std::exception {
  public:
    /// `message` gives the fault and what to try, without a full stop.
    Failure(ExitCode exit_code, std::string message)
        : exit_code_(exit_code), message_(std::move(message)) {}

    ExitCode exit_code() const { return exit_code_; }
    const char* what() const noexcept override { return message_.c_str(); }

  private:
    ExitCode exit_code_;
    std::string message_;
};

}  // namespace huectl
