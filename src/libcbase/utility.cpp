#include "libcbase/utility.h"

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
    const bool is_negative = *text == '-';
    const char* at = text + (is_negative || *text == '+' ? 1 : 0);
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
