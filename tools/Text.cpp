#include "Text.h"

#include <algorithm>
#include <cstdint>

#include "libcbase/log.h"

namespace huectl {
namespace {

constexpr std::size_t kCellCharacters = 40;
constexpr std::size_t kColumnGap = 2;

struct Character {
    std::uint32_t code;
    std::size_t bytes;  // 0: not UTF-8
};

struct Range {
    std::uint32_t first, last;
};

// By the number of bytes of a character: the marker bits of its first byte, its smallest code.
struct Lead {
    unsigned mask, pattern;
    std::uint32_t smallest;
};
constexpr Lead kLeads[] = {
    {0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};
constexpr Range kSurrogates = {0xd800, 0xdfff};
constexpr std::uint32_t kLastCharacter = 0x10ffff;

// Marks that change the writing direction, line breaks and the invisible byte-order mark.
constexpr Range kMisleading[] = {
    {0x061c, 0x061c}, {0x200e, 0x200f}, {0x2028, 0x202e}, {0x2066, 0x2069}, {0xfeff, 0xfeff}};

bool is_in(const Range& range, std::uint32_t code) {
    return code >= range.first && code <= range.last;
}

Character first_character(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (std::size_t i = 0; i < std::size(kLeads); ++i) {
        const Lead& lead = kLeads[i];
        if ((byte(0) & lead.mask) != lead.pattern) {
            continue;
        }
        std::uint32_t code = byte(0) & ~lead.mask;
        for (std::size_t next = 1; next <= i; ++next) {
            if (next >= text.size() || (byte(next) & 0xc0U) != 0x80) {
                return {0, 0};
            }
            code = code << 6U | (byte(next) & 0x3fU);
        }
        const bool is_valid =
            code >= lead.smallest && code <= kLastCharacter && !is_in(kSurrogates, code);
        return {code, is_valid ? i + 1 : 0};
    }
    return {0, 0};
}

bool is_misleading(const Character& character) {
    return character.bytes == 0 ||
           std::any_of(std::begin(kMisleading), std::end(kMisleading),
                       [&](const Range& range) { return is_in(range, character.code); });
}

}  // namespace

std::string printable(std::string_view text, std::size_t limit) {
    static constexpr std::string_view kEllipsis = "...";
    const std::string escaped = escape_control_characters(text);
    std::string result;
    std::size_t characters = 0;
    std::size_t end_before_ellipsis = 0;
    for (std::string_view rest = escaped; !rest.empty(); ++characters) {
        if (characters == limit) {
            return result.substr(0, end_before_ellipsis).append(kEllipsis);
        }
        if (characters + kEllipsis.size() <= limit) {
            end_before_ellipsis = result.size();
        }
        const Character character = first_character(rest);
        result += is_misleading(character) ? "?" : rest.substr(0, character.bytes);
        rest.remove_prefix(std::max<std::size_t>(character.bytes, 1));
    }
    return result;
}

bool is_printable(std::string_view text) {
    return printable(text) == text;
}

std::size_t length_of(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80;
    }));
}

std::string table(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], length_of(printable(row[i], kCellCharacters)));
        }
    }
    std::string result;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = printable(row[i], kCellCharacters);
            const bool is_last = i + 1 == row.size();
            result += cell;
            result.append(is_last ? 0 : widths[i] + kColumnGap - length_of(cell), ' ');
        }
        result += '\n';
    }
    return result;
}

}  // namespace huectl
