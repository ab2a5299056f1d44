/// The message format of FSMCore, both directions: requests and answers.
///
/// The client calls, the gateway event loop and the simulated core use these composers and parsers.
/// Pure functions; any thread may call. The grammar is in docs/formats/fsmcore.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fsmcore_format {

/// Bytes that a plain request, an answer, or one receive may take.
constexpr std::size_t kBufferBytes = 1024;
/// A length line may have this many bytes before its newline.
constexpr std::size_t kMaxLengthLineBytes = 64;
/// In front of a length-managed request, and of its answer.
constexpr std::string_view kRequestLengthTag = "LengthRequestIs: ";
constexpr std::string_view kResponseLengthTag = "LengthResponseIs: ";
/// The first line of a request's body.
constexpr std::string_view kRequestTag = "Request: ";

/// The two forms of a request.
enum class Form {
    plain,           ///< "Parameter Count: 2", "Param000 Length: 5"
    length_managed,  ///< a "LengthRequestIs: " line in front; zero-padded counts and lengths
};

/// A request; no text of it may contain a newline or a NUL.
struct Request {
    std::string function;                 ///< such as FSMCORE_RUN_ON_ELEMENT
    std::vector<std::string> parameters;  ///< in order; at most kMaxParameters
    std::string waittime;                 ///< decimal seconds; may be negative
};

/// An answer; no parameter may contain a newline or a NUL.
struct Response {
    std::int32_t status = 0;              ///< NNN of FSMC-NNN
    std::vector<std::string> parameters;  ///< in order; at most kMaxParameters when composed
};

/// Why a parser refused a message, in the order in which it checks.
enum class Fault {
    none,
    first_tag,      ///< no "Request: " / "Response Status: " line
    status_format,  ///< the status does not begin with FSMC-
    status_number,
    count_tag,
    count_number,
    length_tag,
    length_number,
    value_tag,       ///< no "ParamNNN:" line
    value_mismatch,  ///< no value, or not of the announced length
    waittime_tag,
    waittime_number,
    trailing,  ///< a line after the last one
};

/// The first fault of a message, and where it is.
struct ParseResult {
    Fault fault = Fault::none;  ///< none after a success
    int parameter = 0;          ///< index of the parameter at fault
    std::string offending;      ///< the line, or the text that is not a number

    /// True after a success.
    explicit operator bool() const { return fault == Fault::none; }
};

/// Limits of a parser; a count or a length above them is not a valid number.
struct Limits {
    std::int32_t parameters;   ///< the highest count
    std::int32_t value_bytes;  ///< the length of the longest value
};

/// Whether the letters of a label are compared with regard to case.
enum class Letters { exact, any_case };

/// A message may have this many parameters: their labels have three digits.
constexpr std::size_t kMaxParameters = 1000;

/// The request as it goes onto the wire; nothing when a text holds a newline or a NUL, or there are
/// more than kMaxParameters.
std::optional<std::string> compose_request(Form form, const Request& request);
/// Reads a request body, from "Request: " to its end, of either form (the length line is the
/// caller's). Empty lines are skipped; a value of length 0 may have a "ParamNNN:" line or not.
/// On a fault `out` holds what was read before it.
ParseResult parse_request(std::string_view body, const Limits& limits, Request& out);

/// The answer in the plain form; nothing when a parameter holds a newline or a NUL, there are more
/// than kMaxParameters, or the status is negative.
std::optional<std::string> compose_response(const Response& response);
/// Reads an answer's body, from "Response Status: " to its end; labels without regard to case.
ParseResult parse_response(std::string_view body, Response& out);

/// Reads the number of a length line, `tag` ("LengthRequestIs: ", "LengthResponseIs: ") at the
/// front of `line` (without its newline). Nothing when the tag is missing, or the rest is not a
/// number within 0..INT32_MAX.
std::optional<std::int32_t> parse_length_line(std::string_view line, std::string_view tag,
                                              Letters letters = Letters::exact);

}  // namespace fsmcore_format
