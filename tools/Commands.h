/// The commands of the tool. Each returns its result; only progress, the library's lines and
/// questions are printed before. Failures are thrown. The main thread calls them.
#pragma once

#include <string>

#include <json/value.h>

#include "Failure.h"
#include "LightOptions.h"

namespace huectl {

/// One of the two is printed on standard output.
struct Result {
    std::string text;  ///< whole lines
    Json::Value json;
    ExitCode exit_code = ExitCode::done;
};

/// A bridge and its user.
struct Access {
    std::string address, user;
};

/// `is_verbose`: lists devices too that announce themselves as bridges and answer no request.
Result discover(bool is_verbose);
/// Compares the installation of the bridge object `object` in the database with its bridge.
Result check(int object);
/// `is_for_scripts`: the library's lines go to standard error instead of standard output.
Result pair(const std::string& address, bool is_for_scripts);
Result lights(const Access& access);
/// Carries out `options` and returns the state of the light after that.
Result light(const Access& access, int id, const LightOptions& options);
/// Asks on the terminal unless `is_confirmed`.
Result forget(const Access& access, int id, bool is_confirmed);

}  // namespace huectl
