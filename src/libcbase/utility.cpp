#include "libcbase/utility.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include <strings.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"

namespace {

// The value of a digit in bases up to 16; 16 for anything else.
int digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return 16;
}

}  // namespace

int parse_int32(const char* text, int base, std::int32_t* out) {
    if (text == nullptr || (base != 10 && base != 16)) {
        return PARSE_NUMBER_INVALID;
    }
    const bool may_have_sign = base == 10;
    const bool is_negative = may_have_sign && *text == '-';
    const char* at = text + (is_negative || (may_have_sign && *text == '+') ? 1 : 0);
    if (*at == '\0') {
        return PARSE_NUMBER_INVALID;
    }
    const std::int64_t limit = is_negative ? -static_cast<std::int64_t>(INT32_MIN) : INT32_MAX;
    std::int64_t value = 0;
    for (; *at != '\0'; ++at) {
        const int digit = digit_value(*at);
        if (digit >= base) {
            return PARSE_NUMBER_INVALID;
        }
        // Stays one step beyond the limit, so that the rest is still looked at but cannot overflow.
        if (value <= limit) {
            value = value * base + digit;
        }
    }
    if (value > limit) {
        return PARSE_NUMBER_RANGE;
    }
    *out = static_cast<std::int32_t>(is_negative ? -value : value);
    return PARSE_NUMBER_OK;
}

struct linkedlistelement {
    int flag;  // 1 while the element is in use
    void* data;
    void (*release)(void*);
    linkedlistelement* next;
};

struct linkedlist {
    int count;
    linkedlistelement* first;
};

namespace {

void remove_at(linkedlist& list, linkedlistelement** link) {
    linkedlistelement* element = *link;
    *link = element->next;
    --list.count;
    linkedlist_deinitelement(&element);
}

// Removes the elements for whose data `matches` is true: those behind the head first, the head
// last.
template <typename Matches>
int remove_matching(linkedlist& list, Matches matches) {
    if (list.first == nullptr) {
        return 0;
    }
    const int count_before = list.count;
    linkedlistelement** link = &list.first->next;
    while (*link != nullptr) {
        if (matches((*link)->data)) {
            remove_at(list, link);
        } else {
            link = &(*link)->next;
        }
    }
    if (matches(list.first->data)) {
        remove_at(list, &list.first);
    }
    return count_before - list.count;
}

}  // namespace

linkedlist* linkedlist_init() {
    return static_cast<linkedlist*>(xmalloc(sizeof(linkedlist)));
}

int linkedlist_add(linkedlist** list, void* data, void (*release)(void*)) {
    if (list == nullptr || *list == nullptr) {
        error("utility->linkedlist_add error: parameter list is null");
        return -1;
    }
    auto* const element = static_cast<linkedlistelement*>(xmalloc(sizeof(linkedlistelement)));
    if (element == nullptr) {
        return -1;
    }
    *element = {1, data, release, (*list)->first};
    (*list)->first = element;
    ++(*list)->count;
    return 0;
}

int linkedlist_delete(linkedlist** list, int (*match)(void*)) {
    if (list == nullptr || *list == nullptr) {
        return -1;
    }
    return remove_matching(**list, [match](void* data) { return match(data) != 0; });
}

void* linkedlist_search_firstorlast(linkedlist** list, int (*match)(void*), int first) {
    if (list == nullptr || *list == nullptr) {
        return nullptr;
    }
    void* found = nullptr;
    for (const linkedlistelement* at = (*list)->first; at != nullptr; at = at->next) {
        if (match(at->data) != 0) {
            found = at->data;
            if (first != 0) {
                break;
            }
        }
    }
    return found;
}

void* linkedlist_search(linkedlist** list, int (*match)(void*)) {
    return linkedlist_search_firstorlast(list, match, 1);
}

void* linkedlist_head(linkedlist* list) {
    return list == nullptr || list->first == nullptr ? nullptr : list->first->data;
}

void* linkedlist_tail(linkedlist* list) {
    if (list == nullptr || list->first == nullptr) {
        return nullptr;
    }
    const linkedlistelement* at = list->first;
    while (at->next != nullptr) {
        at = at->next;
    }
    return at->data;
}

int linkedlist_getelementcount(linkedlist* list) {
    return list == nullptr ? -1 : list->count;
}

void linkedlist_print(linkedlist* list, char* (*describe)(void*)) {
    if (list == nullptr) {
        return;
    }
    info("utility->linkedlist_print --- start printing list");
    info("utility->linkedlist_print --- element count %d", list->count);
    for (linkedlistelement* at = list->first; at != nullptr; at = at->next) {
        info("utility->linkedlist_print --- element %p", static_cast<void*>(at));
        const xstring text(describe(at->data));
        info("utility->linkedlist_print --- element %s", text ? text.get() : "");
    }
    info("utility->linkedlist_print --- end printing list");
}

void linkedlist_deinitelement(linkedlistelement** element) {
    if (element == nullptr || *element == nullptr) {
        return;
    }
    if ((*element)->release != nullptr) {
        (*element)->release((*element)->data);
    }
    xfree(*element);
    *element = nullptr;
}

void linkedlist_deinit(linkedlist** list) {
    if (list == nullptr || *list == nullptr) {
        return;
    }
    while ((*list)->first != nullptr) {
        remove_at(**list, &(*list)->first);
    }
    xfree(*list);
    *list = nullptr;
}

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

// Reads what strtol reads where a long has 32 bits: leading blanks are skipped, and an empty text
// is 0, as no character of it is left over.
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

// Reads the value text as `type`; 0, or why it is not of that type (EINVAL, ERANGE), and then the
// record is left alone.
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
                is_double ? "double" : "long", variable.value, strerror(failure));
    }
}

// One "name=value" as a record; null when it yields none.
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

// Puts the record at the head; the list owns it then.
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
                  variable->name);
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
    return remove_matching(*list, [copy = std::string(prefix)](const void* data) {
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
    remove_matching(*list, [present](const void* data) {
        return data != present && strcasecmp(name_of(data), name_of(present)) == 0;
    });
    return 0;
}
