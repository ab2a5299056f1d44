// The core's answer to a report, in the plain form and in the length-managed one.
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/support/ScriptedPeer.h"
#include "libcbase/Cstylecode.h"
#include "libcbase/FSMCoreutil.h"

namespace {

using fuzzing::End;
using fuzzing::require;
using fuzzing::ScriptedPeer;
using namespace fsmcore_format;

constexpr std::size_t kLongestFramedAnswer = 262144;
constexpr std::size_t kMostTaken =
    kMaxLengthLineBytes + kLongestFramedAnswer + 2 * kReceiveChunkBytes;

auto ask(const ScriptedPeer& peer, Form form, std::size_t most_taken) {
    Response response;
    const int result =
        fsmcore_call("/core", form, {"SERVICE_RUNONELEMENT", {"7", "SETVALUE"}, "5"}, response);
    require(result >= 0, "the result is not negative");
    require(peer.taken() <= most_taken, "the received size is limited");
    return std::pair(result, response.parameters);
}

auto ask_framed(std::string_view answer, End end) {
    return with_all_cuts(answer, end, [](const ScriptedPeer& peer) {
        return ask(peer, Form::length_managed, kMostTaken);
    });
}

void check_format(std::string_view body) {
    Response response, reread;
    if (!parse_response(body, response)) {
        return;
    }
    const auto again = compose_response(response);
    require(response.parameters.size() > kMaxParameters ||
                (again && parse_response(*again, reread) && reread.status == response.status &&
                 reread.parameters == response.parameters),
            "a parsed response can be composed and parsed again");
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    ask_framed(input, end_of(input));
    // The first receive is the whole plain answer, up to its first NUL.
    const std::string_view first = input.substr(0, kBufferBytes);
    const std::string body(first.substr(0, first.find('\0')));
    const auto framed = "LengthResponseIs: " + std::to_string(body.size()) + "\n" + body;
    const auto expected = ask_framed(framed, End::closes);
    const ScriptedPeer peer(input, Cuts::none, End::stalls);
    require(ask(peer, Form::plain, first.size()) == expected, "both forms give the same result");
    check_format(input);
}
