#include "libcbase/utility.h"

#include <string_view>

#include "libcbase/log.h"
#include "libcbase/memory.h"
#include "libcbase/utility_list.h"

namespace {

// The value of a digit in bases up to 16; 16 for anything else.
int digit_value(char c) {
    constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
    const std::size_t at = kDigits.find(c);
    return at == std::string_view::npos ? 16 : static_cast<int>(at < 16 ? at : at - 6);
}

// Unlinks and releases the element behind `link`.
void remove_at(linkedlist& list, linkedlistelement** link) {
    linkedlistelement* element = *link;
    *link = element->next;
    --list.count;
    linkedlist_deinitelement(&element);
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
        // Once beyond the limit it does not grow, so that the rest is checked but cannot overflow.
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

int linkedlist_remove_matching(linkedlist& list, const std::function<bool(void*)>& matches) {
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

int linkedlist_delete(linkedlist** list, int (*match)(void*)) {
    if (list == nullptr || *list == nullptr) {
        return -1;
    }
    return linkedlist_remove_matching(**list, [match](void* data) { return match(data) != 0; });
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
