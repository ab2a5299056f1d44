// The optional-parameter text: parses it, encodes it and parses it again.
#include <string>

#include "fuzz/support/Surroundings.h"
#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace {

// Each pass reverses the order.
std::string after_passes(std::string text, int passes) {
    for (int i = 0; i < passes; ++i) {
        const LinkedListOwner list(parse_optionalp_variables(text.c_str()));
        text = xstring(encode_optionalp_variables(list.get())).get();
    }
    return text;
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    const std::string text(input);
    const std::string once = after_passes(text, 1);
    require(once.size() <= 2 * text.size() + 2, "the encoded text is not longer than the input");
    const std::string twice = after_passes(once, 1);
    require(after_passes(twice, 2) == twice, "two passes do not change an encoded text");
    // A single quote inside a value would end it early.
    require(text.find('\'') != std::string::npos || after_passes(once, 2) == once,
            "a text without single quotes survives two passes");
}
