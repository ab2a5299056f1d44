/// The message format of FSMCore, both directions, and the calls that speak it.
///
/// This is the one place where the format is written: the composers and parsers below serve the
/// client calls here, the gateway event loop and the simulated core alike. Stateless; any thread
/// may call. The grammar stands in docs/formats/fsmcore.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The UNIX socket on which the core takes requests.
constexpr const char* FSMCORE_SOCKET = "/tmp/vexa_variables/sockets/vexa_fsmcore.socket";

/// Local results of the client calls; any other value is the status number of the core's answer.
enum fsmcore_result {
    FSMCORE_OK = 0,
    FSMCORE_CONNECT_FAILED = 6,
    FSMCORE_SEND_FAILED = 7,
    FSMCORE_RECEIVE_FAILED = 8,
};

/// Sends a plain request to the UNIX socket at `socket_path` and reads the answer, which must
/// arrive in one receive of at most 1024 bytes; it ends at its first NUL, if it has one.
///
/// `params`: `param_count` strings without newlines; a null one counts as empty.
/// `waittime`: seconds as text, "5" for null; it goes into the request and bounds the whole call
/// (5 s when it is not 1..3600).
///
/// `out_count`, `out_params` (both or neither): the answer's parameters; caller frees each and the
/// array with xfree; an empty parameter is a null slot. 0 and null unless the answer was well
/// formed, whatever its status.
///
/// A request that does not fit 1024 bytes, or holds a newline, is refused with FSMCORE_SEND_FAILED
/// before anything is sent. Every failure has its line in the log.
int fsmcore_request(const char* socket_path, const char* function, int param_count,
                    const char* const* params, int* out_count, char*** out_params,
                    const char* waittime);
/// The same with a length line in front of request and answer, and no bound of 1024 bytes; an
/// answer announced longer than 262144 bytes is refused.
int fsmcore_request_lengthmgm(const char* socket_path, const char* function, int param_count,
                              const char* const* params, int* out_count, char*** out_params,
                              const char* waittime);
/// Answers a request on a connected socket, which stays open. `params` may be null, and then means
/// none, whatever the count. FSMCORE_OK, or FSMCORE_SEND_FAILED (logged, also for an answer beyond
/// 1024 bytes) with the socket closed.
int fsmcore_response(int socket, int status, int param_count, const char* const* params);

namespace fsmcore_format {

/// Bytes that a plain request, an answer, or one receive may take.
constexpr std::size_t kBufferBytes = 1024;
/// A length line with more bytes before its newline is none.
constexpr std::size_t kMaxLengthLineBytes = 64;
/// In front of a length-managed request, and of its answer.
constexpr std::string_view kRequestLengthTag = "LengthRequestIs: ";
constexpr std::string_view kResponseLengthTag = "LengthResponseIs: ";
/// The first line of a request's body.
constexpr std::string_view kRequestTag = "Request: ";

enum class Form {
    plain,           ///< "Parameter Count: 2", "Param000 Length: 5"
    length_managed,  ///< a "LengthRequestIs: " line in front; zero-padded counts and lengths
};

struct Request {
    std::string function;
    std::vector<std::string> parameters;
    std::string waittime;  ///< decimal seconds; may be negative
};

struct Response {
    std::int32_t status = 0;  ///< NNN of FSMC-NNN
    std::vector<std::string> parameters;
};

/// What a parser stumbled over, in the order in which a message can go wrong.
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
    trailing,  ///< a line behind the last one
};

struct ParseResult {
    Fault fault = Fault::none;
    int parameter = 0;      ///< index of the parameter at fault
    std::string offending;  ///< the line, or the text that is not a number

    explicit operator bool() const { return fault == Fault::none; }
};

/// Bounds on what a parser takes; a count or a length beyond them is not a valid number.
struct Limits {
    std::int32_t parameters;
    std::int32_t value_bytes;
};

/// Whether the letters of a label have to be written as they stand here.
enum class Letters { exact, any_case };

/// A message may hold this many parameters: their labels have three digits.
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
