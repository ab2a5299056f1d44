// The optional-parameter text: parses it, encodes it and parses it again.
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/support/Surroundings.h"
#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace {

using fuzzing::require;

using List = LinkedListOwner;

// A closing quote inside the text would end it early.
int has_single_quote(void* data) {
    const auto& variable = *static_cast<optionalpvariable*>(data);
    return variable.type == OPTIONALP_STRING && std::strchr(variable.value, '\'') != nullptr;
}

std::string encoded(linkedlist* list) {
    return xstring(encode_optionalp_variables(list)).get();
}

// Each pass reverses the order.
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
    require(once.size() <= 2 * text.size() + 2, "the encoded text is not longer than the input");
    const std::string twice = after_passes(once, 1);
    require(after_passes(twice, 2) == twice, "two passes do not change an encoded text");
    if (linkedlist_search(&variables, has_single_quote) == nullptr) {
        require(after_passes(once, 2) == once, "a text without single quotes survives two passes");
    }
    if (const auto* last = static_cast<optionalpvariable*>(linkedlist_head(variables))) {
        require(optionalp_variables_searchbyname(variables, last->name) == last,
                "a search returns the last variable of a name");
        const std::string name = last->name;
        require(
            optionalp_variables_insertorreplace(variables, name.c_str(), "1", OPTIONALP_LONG) == 0,
            "a value is replaced");
        require(optionalp_variables_deletebynameprefix(variables, name.c_str()) >= 1,
                "deleting by prefix deletes the name itself");
    }
    return 0;
}
