/// The commands of the tool. Each does its work and returns what it found; only what cannot wait
/// (progress, the library's own lines, a question) is printed meanwhile. Failures are thrown.
///
/// They run on the main thread. What keeps a processor busy for seconds has a thread of its own.
#pragma once

#include <string>

#include <json/value.h>

#include "LightOptions.h"

namespace huectl {

/// The same in words and for scripts; one of the two is printed on standard output.
struct Result {
    std::string text;  ///< whole lines
    Json::Value json;
};

/// Who asks which bridge.
struct Access {
    std::string address, user;
};

Result discover();
/// `is_for_scripts`: the library's lines go to standard error, so that standard output stays free.
Result pair(const std::string& address, bool is_for_scripts);
Result lights(const Access& access);
/// Does what `options` wish, and tells the light's state behind it.
Result light(const Access& access, int id, const LightOptions& options);
/// Asks on the terminal unless `is_confirmed`.
Result forget(const Access& access, int id, bool is_confirmed);

}  // namespace huectl
