// The answer of a bridge: receiving it, header and body, and the JSON in it.
#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "fuzz/support/ScriptedPeer.h"
#include "huelib/JsonAccess.h"
#include "huelib/LinHttpHandler.h"

namespace {

using fuzzing::require;
using fuzzing::ScriptedPeer;

constexpr std::size_t kLongestAnswer = 1000;
constexpr std::size_t kReadBytes = 127;
constexpr const char* kIncomplete =
    "LinHttpHandler: Failed to store complete response from socket\n";
constexpr const char* kNoBody = "BaseHttpHandler: Failed to find body in response";

std::string text_of(int error) {
    return "errno " + std::to_string(error);
}

// The answer, or the text of the failure.
template <typename Call>
std::string result_of(Call call) {
    try {
        return call();
    } catch (const std::system_error& failure) {
        return text_of(failure.code().value());
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
}

std::string receive(const ScriptedPeer& peer) {
    LinHttpHandler::Limits limits;
    limits.answerBytes = kLongestAnswer;
    std::string answer = result_of([&] {
        return LinHttpHandler::exchange("GET / HTTP/1.0\r\n\r\n", "127.0.0.1", 80, limits);
    });
    require(peer.taken() <= kLongestAnswer + kReadBytes, "the received size is limited");
    return answer;
}

std::string receive_body(const ScriptedPeer&) {
    return result_of([] { return LinHttpHandler().GETString("/", "", "", "127.0.0.1", 80); });
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    const std::string whole = with_all_cuts(input, End::closes, receive);
    if (input.size() == 3) {
        require(whole == kIncomplete, "an answer of three bytes is refused");
        return;
    }
    const bool is_too_long = input.size() > kLongestAnswer;
    require(is_too_long ? whole == text_of(EMSGSIZE) : whole == input,
            "an answer within the limit is received unchanged");
    const End end = end_of(input);
    if (end != End::closes && !input.empty()) {
        const int error = is_too_long || end == End::repeats ? EMSGSIZE : EAGAIN;
        require(with_all_cuts(input, end, receive) == text_of(error),
                "an answer without an end is refused");
    }
    const std::size_t header_end = input.find("\r\n\r\n");
    const std::string body = with_all_cuts(input, End::closes, receive_body);
    require(body == (header_end == std::string_view::npos ? kNoBody : input.substr(header_end + 4)),
            "the body follows the first empty line");
    Json::Value ignored;
    JsonAccess::parse(body, ignored);
}
