// The optional-parameter text: parsed, encoded, and parsed again.
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/support/Surroundings.h"
#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace {

using fuzzing::require;

using List = LinkedListOwner;

// A closing quote that stands within the text would end it early.
int holds_a_single_quote(void* data) {
    const auto& variable = *static_cast<optionalpvariable*>(data);
    return variable.type == OPTIONALP_STRING && std::strchr(variable.value, '\'') != nullptr;
}

std::string encoded(linkedlist* list) {
    return xstring(encode_optionalp_variables(list)).get();
}

// Each pass turns the order round.
std::string after_passes(std::string text, int passes) {
    for (int i = 0; i < passes; ++i) {
        text = encoded(List(parse_optionalp_variables(text.c_str())).get());
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    List list(parse_optionalp_variables(text.c_str()));
    linkedlist* variables = list.get();
    const std::string once = encoded(variables);
    require(once.size() <= 2 * text.size() + 2, "no variable is longer than its text");
    const std::string twice = after_passes(once, 1);
    require(after_passes(twice, 2) == twice, "two passes leave what the format can hold");
    if (linkedlist_search(&variables, holds_a_single_quote) == nullptr) {
        require(after_passes(once, 2) == once, "what has no single quote reads back");
    }
    if (const auto* last = static_cast<optionalpvariable*>(linkedlist_head(variables))) {
        require(optionalp_variables_searchbyname(variables, last->name) == last,
                "the last of a name is found");
        const std::string name = last->name;
        require(
            optionalp_variables_insertorreplace(variables, name.c_str(), "1", OPTIONALP_LONG) == 0,
            "a value is replaced");
        require(optionalp_variables_deletebynameprefix(variables, name.c_str()) >= 1,
                "a name is its own prefix");
    }
    return 0;
}
