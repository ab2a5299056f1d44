#include "Values.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

#include "Failure.h"
#include "Text.h"

namespace huectl {
namespace {

constexpr std::size_t kNameCharacters = 32;  // the limit of a bridge
constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";

[[noreturn]] void refuse(const std::string& what, const std::string& text,
                         const std::string& wanted) {
    throw Failure(ExitCode::usage, what + ": \"" + printable(text, 40) + "\" is not " + wanted);
}

// The whole of `text` as a number; digits only.
std::optional<unsigned> unsigned_of(std::string_view text, int base = 10) {
    unsigned value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, value, base);
    return problem == std::errc() && stop == end ? std::make_optional(value) : std::nullopt;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end = text.find(separator); end != std::string::npos;
         end = text.find(separator, start)) {
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

std::optional<std::uint8_t> byte_of(std::string_view text) {
    const auto value = unsigned_of(text);
    return value && *value <= 255 ? std::make_optional(static_cast<std::uint8_t>(*value))
                                  : std::nullopt;
}

// A decimal fraction 0..1, in every locale.
std::optional<float> coordinate_of(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    float value = -1;
    const bool is_plain = text.find_first_not_of("0123456789.") == std::string::npos;
    const bool is_whole = is_plain && stream >> value && stream.peek() == EOF;
    return is_whole && value >= 0 && value <= 1 ? std::make_optional(value) : std::nullopt;
}

}  // namespace

unsigned number_of(const std::string& what, const std::string& text, const NumberRange& range) {
    const auto value = unsigned_of(text);
    if (!value || *value < range.smallest || *value > range.largest) {
        refuse(what, text,
               "in " + std::to_string(range.smallest) + ".." + std::to_string(range.largest) +
                   " (" + range.unit + ")");
    }
    return *value;
}

RGB rgb_of(const std::string& what, const std::string& text) {
    constexpr std::size_t kDigits = 6;
    const auto word = unsigned_of(text, 16);
    if (!word || text.size() != kDigits ||
        text.find_first_not_of(kHexDigits) != std::string::npos) {
        refuse(what, text, "a colour in 000000..FFFFFF (six hex digits, RRGGBB)");
    }
    const auto channel = [&](unsigned shift) {
        return static_cast<std::uint8_t>(*word >> shift & 0xffU);
    };
    const RGB rgb{channel(16), channel(8), channel(0)};
    if (rgb.r == rgb.g && rgb.g == rgb.b) {
        refuse(what, text,
               "a colour with saturation: grey, white and black would switch the light off; use "
               "--kelvin for white, --off for black");
    }
    return rgb;
}

HSVColor hsv_of(const std::string& what, const std::string& text) {
    const std::vector<std::string> parts = split(text, ',');
    if (parts.size() == 3) {
        const auto hue = byte_of(parts[0]);
        const auto saturation = byte_of(parts[1]);
        const auto value = byte_of(parts[2]);
        if (hue && saturation && value && (*hue != 0 || *saturation != 0 || *value != 0)) {
            return {*hue, *saturation, *value};
        }
    }
    refuse(what, text, "H,S,V in 0..255 each (0,0,0 would switch the light off; use --off)");
}

XYColor xy_of(const std::string& what, const std::string& text) {
    const std::vector<std::string> parts = split(text, ',');
    if (parts.size() == 2) {
        const auto x = coordinate_of(parts[0]);
        const auto y = coordinate_of(parts[1]);
        if (x && y) {
            return {*x, *y, 0};
        }
    }
    refuse(what, text, "X,Y in 0..1 each, such as 0.31,0.33");
}

bool switch_of(const std::string& what, const std::string& text) {
    if (text != "on" && text != "off") {
        refuse(what, text, "on or off");
    }
    return text == "on";
}

std::string name_of(const std::string& what, const std::string& text) {
    if (text.empty() || !is_printable(text) || length_of(text) > kNameCharacters) {
        refuse(what, text, "a name of 1..32 printable characters");
    }
    return text;
}

std::string address_of(const std::string& text) {
    const bool is_host = std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               c == '.' || c == '-' || c == '_';
    });
    if (text.empty() || !is_host || text.size() > kParameterBytes) {
        refuse("ADDRESS", text,
               "a bridge's address, such as 192.168.1.20 (without \"http://\" or a port)");
    }
    return text;
}

std::string user_of(const std::string& text) {
    const bool fits = std::all_of(text.begin(), text.end(), [](char c) {
        return c > ' ' && c < '\x7f' && c != '/' && c != '?' && c != '#';
    });
    if (text.empty() || !fits || text.size() > kParameterBytes) {
        refuse("USER", text, "a bridge user's name, as huectl pair prints it");
    }
    return text;
}

}  // namespace huectl
