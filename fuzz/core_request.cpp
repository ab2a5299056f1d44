// The core's request: receiving it at the commands endpoint, and parsing its lines.
#include <string>
#include <tuple>

#include "fuzz/support/ScriptedPeer.h"
#include "fuzz/support/Surroundings.h"
#include "gtwhandler/PendingRequest.h"
#include "libcbase/FSMCoreutil.h"

namespace {

using fuzzing::require;
using gtwhandlernamespace::PendingRequest;
using Verdict = std::tuple<PendingRequest::Progress, std::string, std::string>;

constexpr fsmcore_format::Limits kLimits{6, 511};
// The length line, the announced length before and in the body, and one receive.
constexpr std::size_t kMostTaken = fsmcore_format::kMaxLengthLineBytes + 1 +
                                   2 * PendingRequest::kMaxRequestBytes + kReceiveChunkBytes;

Verdict collect(std::string_view bytes, fuzzing::Cuts cuts, fuzzing::End end) {
    const fuzzing::ScriptedPeer peer(bytes, cuts, end);
    PendingRequest request(FileDescriptor(), PendingRequest::Clock::now());
    const auto progress = request.advance();
    require(peer.taken() <= kMostTaken, "the received size is limited");
    const bool is_complete = progress == PendingRequest::Progress::complete;
    return {progress, request.problem(), is_complete ? std::string(request.body()) : ""};
}

void check_lines(std::string_view body) {
    fsmcore_format::Request request;
    const fsmcore_format::ParseResult result = parse_request(body, kLimits, request);
    require(request.parameters.size() <= 6, "the number of parameters is limited");
    for (const std::string& value : request.parameters) {
        require(value.size() <= 511, "the size of a value is limited");
    }
    const auto again = compose_request(fsmcore_format::Form::plain, request);
    if (!result || !again) {
        require(!result || request.function.find('\0') != std::string::npos,
                "a parsed request can be composed");
        return;
    }
    fsmcore_format::Request reread;
    require(parse_request(*again, kLimits, reread) && reread.function == request.function &&
                reread.parameters == request.parameters && reread.waittime == request.waittime,
            "a composed request parses to the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const fuzzing::End end = fuzzing::end_of(bytes);
    const Verdict whole = collect(bytes, fuzzing::Cuts::none, end);
    require(whole == collect(bytes, fuzzing::Cuts::bytewise, end) &&
                whole == collect(bytes, fuzzing::Cuts::random, end),
            "the result does not depend on how the input is split");
    check_lines(std::get<2>(whole));
    check_lines(bytes);
    return 0;
}
