#include "libcbase/utility.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <strings.h>

#include "libcbase/log.h"
#include "libcbase/memory.h"
#include "libcbase/utility_list.h"

namespace {

// A record straight from optionalpvariable_init has no texts yet.
const char* name_of(const void* data) {
    return text_or_empty(static_cast<const optionalpvariable*>(data)->name);
}

struct ReleaseVariable {
    void operator()(optionalpvariable* variable) const {
        optionalpvariable_deinit(variable);
        xfree(variable);
    }
};
using Variable = std::unique_ptr<optionalpvariable, ReleaseVariable>;

void release_variable(void* data) {
    ReleaseVariable()(static_cast<optionalpvariable*>(data));
}

Variable new_variable(std::string_view name, std::string_view value) {
    Variable variable(optionalpvariable_init());
    if (variable != nullptr) {
        variable->name = xstrncpy(nullptr, name.data(), name.size());
        variable->value = xstrncpy(nullptr, value.data(), value.size());
        variable->type = OPTIONALP_STRING;
        if (variable->name == nullptr || variable->value == nullptr) {
            variable.reset();
        }
    }
    return variable;
}

// Reads as strtol does where a long has 32 bits: leading blanks are skipped, and an empty text is
// 0, as no character of it is left over.
int convert_long(const char* text, std::int32_t* out) {
    if (*text == '\0') {
        *out = 0;
        return 0;
    }
    switch (parse_int32(text + std::strspn(text, " \t\n\v\f\r"), 10, out)) {
        case PARSE_NUMBER_OK:
            return 0;
        case PARSE_NUMBER_RANGE:
            return ERANGE;
        default:
            return EINVAL;
    }
}

int convert_double(const char* text, double* out) {
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0') {
        return EINVAL;
    }
    if (errno == ERANGE) {
        return ERANGE;
    }
    *out = value;
    return 0;
}

int convert_boolean(const char* text, std::int32_t* out) {
    const bool is_true = strcasecmp(text, "TRUE") == 0;
    if (!is_true && strcasecmp(text, "FALSE") != 0) {
        return EINVAL;
    }
    *out = is_true ? 1 : 0;
    return 0;
}

// Reads the value text as `type`. 0, or EINVAL or ERANGE when it is not of that type; the record
// then does not change.
int apply_type(optionalpvariable& variable, optionalpvariabletypes type) {
    int failure = 0;
    switch (type) {
        case OPTIONALP_UNKNOWN:
        case OPTIONALP_STRING:
            break;
        case OPTIONALP_LONG:
            failure = convert_long(variable.value, &variable.long_value);
            break;
        case OPTIONALP_DOUBLE:
            failure = convert_double(variable.value, &variable.double_value);
            break;
        case OPTIONALP_BOOLEAN:
            failure = convert_boolean(variable.value, &variable.boolean_value);
            break;
        default:
            failure = EINVAL;
    }
    if (failure == 0) {
        variable.type = type;
    }
    return failure;
}

// The text between the quotes, up to the end when the closing one is missing.
std::string_view unquote(std::string_view value) {
    const char quote = value.find('"') != std::string_view::npos ? '"' : '\'';
    const std::string_view text = value.substr(value.find(quote) + 1);
    return text.substr(0, text.find(quote));
}

void type_by_look(optionalpvariable& variable) {
    std::int32_t ignored = 0;
    if (convert_boolean(variable.value, &ignored) == 0) {
        apply_type(variable, OPTIONALP_BOOLEAN);
        return;
    }
    const bool is_double = std::strpbrk(variable.value, ".,") != nullptr;
    const int failure = apply_type(variable, is_double ? OPTIONALP_DOUBLE : OPTIONALP_LONG);
    if (failure != 0) {
        warning("utility->parse_optionalp_variables error converting in %s the string '%s': %s",
                is_double ? "double" : "long", escape_control_characters(variable.value).c_str(),
                strerror(failure));
    }
}

// One "name=value" as a record; null when the name is missing.
Variable parse_variable(std::string_view piece) {
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        return nullptr;
    }
    const std::string_view name = piece.substr(0, equals);
    const std::string_view value = piece.substr(equals + 1);
    if (value.find_first_of("'\"") != std::string_view::npos) {
        return new_variable(name, unquote(value));
    }
    Variable variable = new_variable(name, value);
    if (variable != nullptr) {
        type_by_look(*variable);
    }
    return variable;
}

// Adds the record at the head; the list then owns it.
bool add_variable(linkedlist* list, Variable& variable) {
    if (linkedlist_add(&list, variable.get(), release_variable) != 0) {
        return false;
    }
    static_cast<void>(variable.release());
    return true;
}

}  // namespace

optionalpvariable* optionalpvariable_init() {
    return static_cast<optionalpvariable*>(xmalloc(sizeof(optionalpvariable)));
}

void optionalpvariable_deinit(optionalpvariable* variable) {
    if (variable == nullptr) {
        return;
    }
    xfree(variable->name);
    xfree(variable->value);
    *variable = optionalpvariable{};
}

linkedlist* parse_optionalp_variables(const char* text) {
    linkedlist* const list = linkedlist_init();
    std::string_view rest = text == nullptr ? std::string_view() : std::string_view(text);
    while (!rest.empty()) {
        const std::size_t bar = rest.find('|');
        Variable variable = parse_variable(rest.substr(0, bar));
        if (variable != nullptr && !add_variable(list, variable)) {
            error("utility->parse_optionalp_variables error adding element '%s' to linked list",
                  escape_control_characters(variable->name).c_str());
        }
        rest.remove_prefix(bar == std::string_view::npos ? rest.size() : bar + 1);
    }
    return list;
}

char* encode_optionalp_variables(linkedlist* list) {
    std::string text;
    for (const linkedlistelement* at = list == nullptr ? nullptr : list->first; at != nullptr;
         at = at->next) {
        auto& variable = *static_cast<optionalpvariable*>(at->data);
        text += text.empty() ? "" : "|";
        text.append(name_of(&variable)).append("=");
        switch (variable.type) {
            case OPTIONALP_STRING:
                text.append("'").append(text_or_empty(variable.value)).append("'");
                break;
            case OPTIONALP_LONG:
            case OPTIONALP_DOUBLE:
            case OPTIONALP_BOOLEAN:
                text.append(text_or_empty(variable.value));
                break;
            default:
                variable.type = OPTIONALP_UNKNOWN;
        }
    }
    return xstrcpy(nullptr, text.c_str());
}

optionalpvariable* optionalp_variables_searchbyname(linkedlist* list, const char* name) {
    if (list == nullptr || name == nullptr) {
        return nullptr;
    }
    for (const linkedlistelement* at = list->first; at != nullptr; at = at->next) {
        if (strcasecmp(name_of(at->data), name) == 0) {
            return static_cast<optionalpvariable*>(at->data);
        }
    }
    return nullptr;
}

int optionalp_variables_deletebynameprefix(linkedlist* list, const char* prefix) {
    if (list == nullptr || prefix == nullptr) {
        return -1;
    }
    // A copy: the prefix may be the name of a record that is removed here.
    return linkedlist_remove_matching(*list, [copy = std::string(prefix)](const void* data) {
        return strncasecmp(name_of(data), copy.c_str(), copy.size()) == 0;
    });
}

int optionalp_variables_insertorreplace(linkedlist* list, const char* name, const char* value,
                                        optionalpvariabletypes type) {
    if (list == nullptr || name == nullptr || *name == '\0' || value == nullptr) {
        return -1;
    }
    Variable variable = new_variable(name, value);
    if (variable == nullptr || apply_type(*variable, type) != 0) {
        return -1;
    }
    optionalpvariable* const present = optionalp_variables_searchbyname(list, name);
    if (present == nullptr) {
        return add_variable(list, variable) ? 0 : -1;
    }
    std::swap(*present, *variable);
    // A text may have given the name more than once; from here on it is unique. (`name` may belong
    // to one of the records that are removed.)
    linkedlist_remove_matching(*list, [present](const void* data) {
        return data != present && strcasecmp(name_of(data), name_of(present)) == 0;
    });
    return 0;
}
