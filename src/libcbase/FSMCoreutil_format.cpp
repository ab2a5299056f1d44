#include "libcbase/FSMCoreutil_format.h"

#include <algorithm>

#include <strings.h>

#include "libcbase/utility.h"

namespace fsmcore_format {
namespace {

constexpr std::string_view kStatusTag = "Response Status: ";
constexpr std::string_view kStatusPrefix = "FSMC-";
constexpr std::string_view kCountTag = "Parameter Count: ";
constexpr std::string_view kLabelStart = "Param";
constexpr std::string_view kLengthLabelEnd = " Length: ";
constexpr std::string_view kValueLabelEnd = ":";
constexpr std::string_view kWaittimeTag = "Waittime: ";
constexpr std::size_t kLabelDigits = 3;

// Decimal digits with leading zeros up to `width`.
std::string padded(std::size_t number, std::size_t width) {
    std::string digits = std::to_string(number);
    digits.insert(0, width - std::min(width, digits.size()), '0');
    return digits;
}

// Neither a newline, which would end the line, nor a NUL, which would end the text for its reader.
bool is_one_line(const std::string& text) {
    return text.find('\n') == std::string::npos && text.find('\0') == std::string::npos;
}

bool are_sendable(const std::vector<std::string>& parameters) {
    return parameters.size() <= kMaxParameters &&
           std::all_of(parameters.begin(), parameters.end(), is_one_line);
}

// The count line and each parameter's three lines.
std::string compose_parameters(Form form, const std::vector<std::string>& parameters) {
    const std::size_t count_width = form == Form::length_managed ? 3 : 1;
    const std::size_t length_width = form == Form::length_managed ? 6 : 1;
    std::string text(kCountTag);
    text.append(padded(parameters.size(), count_width)).append("\n");
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const std::string label = std::string(kLabelStart) + padded(i, kLabelDigits);
        text.append(label).append(kLengthLabelEnd);
        text.append(padded(parameters[i].size(), length_width)).append("\n");
        text.append(label).append(kValueLabelEnd).append("\n");
        text.append(parameters[i]).append("\n");
    }
    return text;
}

bool same_letters(std::string_view a, std::string_view b, Letters letters) {
    return a.size() == b.size() &&
           (letters == Letters::exact ? a == b : strncasecmp(a.data(), b.data(), a.size()) == 0);
}

// The text after `tag`, which begins `line`.
std::optional<std::string_view> without_prefix(std::string_view tag, std::string_view line,
                                               Letters letters) {
    if (!same_letters(line.substr(0, tag.size()), tag, letters)) {
        return std::nullopt;
    }
    return line.substr(tag.size());
}

// The text after the label "ParamNNN" + `end`. The digits are not compared with an index.
std::optional<std::string_view> behind_label(std::string_view end, std::string_view line,
                                             Letters letters) {
    const std::optional<std::string_view> rest = without_prefix(kLabelStart, line, letters);
    if (!rest || rest->size() < kLabelDigits ||
        !std::all_of(rest->begin(), rest->begin() + kLabelDigits,
                     [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    return without_prefix(end, rest->substr(kLabelDigits), letters);
}

// A number within min..max that ends with its text.
std::optional<std::int32_t> parse_number(std::string_view text, std::int32_t min,
                                         std::int32_t max) {
    const std::string digits(text);
    std::int32_t number = 0;
    // parse_int32 would stop at a NUL among the bytes.
    if (digits.find('\0') != std::string::npos ||
        parse_int32(digits.c_str(), 10, &number) != PARSE_NUMBER_OK || number < min ||
        number > max) {
        return std::nullopt;
    }
    return number;
}

// Reads the lines of a message and keeps the first fault. Each step returns whether it succeeded,
// so that steps are joined by &&.
class MessageReader final {
  public:
    MessageReader(std::string_view text, Letters letters) : rest_(text), letters_(letters) {
        next_line();
    }

    const ParseResult& result() const { return result_; }

    // Takes a line that begins with `tag`; `out` receives the text after it.
    bool tagged(std::string_view tag, Fault fault, std::string_view& out) {
        return take(line_ ? without_prefix(tag, *line_, letters_) : std::nullopt, fault, out);
    }

    // A count or a length.
    bool count(std::string_view text, std::int32_t max, Fault fault, std::int32_t& out) {
        const std::optional<std::int32_t> number = parse_number(text, 0, max);
        out = number.value_or(0);
        return number || fail(fault, text);
    }

    // The count line and the parameters after it.
    bool parameters(const Limits& limits, std::vector<std::string>& out) {
        std::string_view text;
        std::int32_t announced = 0;
        if (!tagged(kCountTag, Fault::count_tag, text) ||
            !count(text, limits.parameters, Fault::count_number, announced)) {
            return false;
        }
        for (result_.parameter = 0; result_.parameter < announced; ++result_.parameter) {
            std::string_view value;
            if (!parameter(limits.value_bytes, value)) {
                return false;
            }
            out.emplace_back(value);
        }
        result_.parameter = 0;
        return true;
    }

    bool end() { return !line_ || fail(Fault::trailing, *line_); }

    bool fail(Fault fault, std::string_view offending) {
        result_.fault = fault;
        result_.offending = offending;
        return false;
    }

  private:
    bool parameter(std::int32_t max_bytes, std::string_view& value) {
        std::string_view text;
        std::int32_t length = 0;
        if (!take(label_line(kLengthLabelEnd), Fault::length_tag, text) ||
            !count(text, max_bytes, Fault::length_number, length)) {
            return false;
        }
        // Some peers write the label of an empty value, as compose_parameters does; others omit it.
        const std::optional<std::string_view> label = label_line(kValueLabelEnd);
        const bool has_label = label && label->empty();
        if (length == 0) {
            if (has_label) {
                next_line();
            }
            value = {};
            return true;
        }
        return take(has_label ? label : std::nullopt, Fault::value_tag, text) &&
               value_line(static_cast<std::size_t>(length), value);
    }

    bool value_line(std::size_t length, std::string_view& value) {
        const bool is_value =
            line_ && line_->size() == length && line_->find('\0') == std::string_view::npos;
        return take(is_value ? line_ : std::nullopt, Fault::value_mismatch, value);
    }

    std::optional<std::string_view> label_line(std::string_view end) const {
        return line_ ? behind_label(end, *line_, letters_) : std::nullopt;
    }

    // Goes on to the next line when `found`, else fails with the present one.
    bool take(std::optional<std::string_view> found, Fault fault, std::string_view& out) {
        if (!found) {
            return fail(fault, line_.value_or(std::string_view()));
        }
        out = *found;
        next_line();
        return true;
    }

    // Empty lines are ignored.
    void next_line() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of('\n'), rest_.size()));
        if (rest_.empty()) {
            line_.reset();
            return;
        }
        line_ = rest_.substr(0, rest_.find('\n'));
        rest_.remove_prefix(line_->size());
    }

    std::string_view rest_;
    std::optional<std::string_view> line_;
    Letters letters_;
    ParseResult result_;
};

}  // namespace

std::optional<std::string> compose_request(Form form, const Request& request) {
    if (!is_one_line(request.function) || !is_one_line(request.waittime) ||
        !are_sendable(request.parameters)) {
        return std::nullopt;
    }
    std::string body(kRequestTag);
    body.append(request.function).append("\n");
    body.append(compose_parameters(form, request.parameters));
    body.append(kWaittimeTag).append(request.waittime).append("\n\n");
    if (form == Form::plain) {
        return body;
    }
    constexpr std::size_t kRequestLengthWidth = 9;
    return std::string(kRequestLengthTag) + padded(body.size(), kRequestLengthWidth) + "\n" + body;
}

ParseResult parse_request(std::string_view body, const Limits& limits, Request& out) {
    out = Request();
    MessageReader reader(body, Letters::exact);
    std::string_view text;
    if (!reader.tagged(kRequestTag, Fault::first_tag, text)) {
        return reader.result();
    }
    out.function = text;
    if (!reader.parameters(limits, out.parameters) ||
        !reader.tagged(kWaittimeTag, Fault::waittime_tag, text)) {
        return reader.result();
    }
    if (!parse_number(text, INT32_MIN, INT32_MAX)) {
        reader.fail(Fault::waittime_number, text);
        return reader.result();
    }
    out.waittime = text;
    reader.end();
    return reader.result();
}

std::optional<std::string> compose_response(const Response& response) {
    if (response.status < 0 || !are_sendable(response.parameters)) {
        return std::nullopt;
    }
    constexpr std::size_t kStatusWidth = 3;
    std::string text(kStatusTag);
    text.append(kStatusPrefix);
    text.append(padded(static_cast<std::size_t>(response.status), kStatusWidth)).append("\n");
    return text.append(compose_parameters(Form::plain, response.parameters)).append("\n");
}

ParseResult parse_response(std::string_view body, Response& out) {
    out = Response();
    MessageReader reader(body, Letters::any_case);
    std::string_view text;
    if (!reader.tagged(kStatusTag, Fault::first_tag, text)) {
        return reader.result();
    }
    const std::optional<std::string_view> digits =
        without_prefix(kStatusPrefix, text, Letters::exact);
    if (!digits) {
        reader.fail(Fault::status_format, text);
        return reader.result();
    }
    // Each announced parameter needs its lines, so the answer's size limits the allocation.
    constexpr Limits kNoLimits{INT32_MAX, INT32_MAX};
    if (reader.count(*digits, INT32_MAX, Fault::status_number, out.status) &&
        reader.parameters(kNoLimits, out.parameters)) {
        reader.end();
    }
    return reader.result();
}

std::optional<std::int32_t> parse_length_line(std::string_view line, std::string_view tag,
                                              Letters letters) {
    const std::optional<std::string_view> digits = without_prefix(tag, line, letters);
    return digits ? parse_number(*digits, 0, INT32_MAX) : std::nullopt;
}

}  // namespace fsmcore_format
