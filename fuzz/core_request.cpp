// The lines of a core's request.
#include <string>

#include "fuzz/support/Surroundings.h"
#include "libcbase/FSMCoreutil.h"

using namespace fsmcore_format;

void fuzzing::check_input(std::string_view body) {
    constexpr Limits kLimits{6, 511};
    Request request;
    const ParseResult result = parse_request(body, kLimits, request);
    require(request.parameters.size() <= 6, "the number of parameters is limited");
    for (const std::string& value : request.parameters) {
        require(value.size() <= 511, "the size of a value is limited");
    }
    if (!result || request.function.find('\0') != std::string::npos) {
        return;
    }
    const auto again = compose_request(Form::plain, request);
    require(again.has_value(), "a parsed request can be composed");
    Request reread;
    require(parse_request(*again, kLimits, reread) && reread.function == request.function &&
                reread.parameters == request.parameters && reread.waittime == request.waittime,
            "a composed request parses to the same");
}
