// The core's answer to a report, in the plain form and in the length-managed one.
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz/support/ScriptedPeer.h"
#include "fuzz/support/Surroundings.h"
#include "libcbase/Cstylecode.h"
#include "libcbase/FSMCoreutil.h"
#include "libcbase/memory.h"

namespace {

using fuzzing::Cuts;
using fuzzing::End;
using fuzzing::require;
using Outcome = std::tuple<int, std::vector<std::string>>;

constexpr std::size_t kLongestFramedAnswer = 262144;

template <typename Call>
Outcome ask(Call call, std::string_view answer, Cuts cuts, End end, std::size_t most_taken) {
    const fuzzing::ScriptedPeer peer(answer, cuts, end);
    const char* const parameters[] = {"7", "SETVALUE", nullptr};
    int count = -1;
    char** values = nullptr;
    const int result = call("/core", "SERVICE_RUNONELEMENT", 3, parameters, &count, &values, "5");
    const std::unique_ptr<char*, XFree> owner(values);
    std::vector<std::string> read;
    for (int i = 0; i < count; ++i) {
        const xstring value(values[i]);
        require(value == nullptr || (*value != '\0' && !std::strchr(value.get(), '\n')),
                "a parameter is one line, or null");
        read.emplace_back(value != nullptr ? value.get() : "");
    }
    require(result >= 0, "the result is not negative");
    require(peer.taken() <= most_taken, "the received size is limited");
    return {result, read};
}

Outcome ask_framed(std::string_view answer, Cuts cuts, End end = End::closes) {
    return ask(fsmcore_request_lengthmgm, answer, cuts, end,
               fsmcore_format::kMaxLengthLineBytes + kLongestFramedAnswer + 2 * kReceiveChunkBytes);
}

void check_format(std::string_view body) {
    fsmcore_format::Response response;
    if (!parse_response(body, response)) {
        return;
    }
    const auto again = compose_response(response);
    fsmcore_format::Response reread;
    require(response.parameters.size() > fsmcore_format::kMaxParameters ||
                (again && parse_response(*again, reread) && reread.status == response.status &&
                 reread.parameters == response.parameters),
            "a parsed response can be composed and parsed again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const End end = fuzzing::end_of(bytes);
    const Outcome whole = ask_framed(bytes, Cuts::none, end);
    require(whole == ask_framed(bytes, Cuts::bytewise, end) &&
                whole == ask_framed(bytes, Cuts::random, end),
            "the result does not depend on how the input is split");
    // The first receive is the whole plain answer, up to its first NUL.
    const std::string_view first = bytes.substr(0, fsmcore_format::kBufferBytes);
    const std::string body(first.substr(0, first.find('\0')));
    const Outcome plain = ask(fsmcore_request, bytes, Cuts::none, End::stalls, first.size());
    const std::string framed = "LengthResponseIs: " + std::to_string(body.size()) + "\n" + body;
    require(plain == ask_framed(framed, Cuts::none), "both forms give the same result");
    check_format(bytes);
    return 0;
}
