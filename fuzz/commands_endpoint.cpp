// The commands endpoint: a connection, its request, the answer and the call of the gateway.
#include <cerrno>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <sys/select.h>
#include <sys/socket.h>

#include "fuzz/support/ScriptedPeer.h"
#include "gtwhandler/GtwHandler.h"

namespace {

using fuzzing::require;
using namespace gtwhandlernamespace;

constexpr std::string_view kDone = "Response Status: FSMC-000\nParameter Count: 0\n\n";
constexpr std::string_view kUnsupported = "Response Status: FSMC-008\nParameter Count: 0\n\n";
constexpr std::size_t kLongestProblem = 255;
// The length line, the announced length before and in the body, and one receive.
constexpr std::size_t kMostTaken = fsmcore_format::kMaxLengthLineBytes + 1 +
                                   2 * PendingRequest::kMaxRequestBytes + kReceiveChunkBytes;

bool is_connecting = false;

class Gateway final : public gtwbasenamespace::GtwBaseClass {
  public:
    using Parameters = callfromcoreparametersnamespace::CallFromCoreParameters;

    int didReceiveCallFromCore(GtwHandler*, Parameters* call) override { return note(*call); }
    int didReceiveCustomGatewayData(GtwHandler*, int) override { return 0; }
    int willTerminate(GtwHandler*, Parameters* call) override { return note(*call); }

    std::vector<std::string> calls;

  private:
    int note(const Parameters& p) {
        calls.push_back(std::to_string(p.objectId));
        for (const std::string* text : {&p.action, &p.p2, &p.p3, &p.p4, &p.p5}) {
            require(text->size() <= 511, "the size of a value is limited");
            calls.back() += "|" + *text;
        }
        return 1;
    }
};

// The answer, the error and the gateway's calls.
auto serve(const fuzzing::ScriptedPeer& peer) {
    static Gateway gateway;
    static GtwHandler loop(0, nullptr);
    static const bool is_open = loop.initialize() == 0 && loop.addGateway(&gateway) == 0;
    require(is_open, "the endpoint opens");
    gateway.calls.clear();
    is_connecting = true;
    int failures = 0;
    for (int second = 0; second < GtwHandler::kRequestDeadlineSeconds + 3; ++second) {
        failures += loop.run() == -1 ? 1 : 0;
    }
    const std::string& answer = peer.sent();
    const std::string error = failures != 0 ? loop.getLastError() : "";
    require(answer.empty() || answer == kUnsupported || answer == kDone,
            "an answer is well formed");
    require(gateway.calls.size() == (answer == kDone ? 1U : 0U),
            "the gateway is called exactly for a request answered with FSMC-000");
    require(failures == (answer.empty() ? 1 : 0), "a request without an answer fails once");
    require(error.size() <= kLongestProblem, "the error text is limited");
    require(peer.taken() <= kMostTaken, "the received size is limited");
    return std::tuple(answer, error, gateway.calls);
}

}  // namespace

// Every watched descriptor is ready; one peer connects.
extern "C" int select(int, fd_set*, fd_set*, fd_set*, timeval*) {
    fuzzing::advance_clock(std::chrono::seconds(1));
    return 1;
}

extern "C" int accept4(int, sockaddr*, socklen_t*, int) {
    if (!std::exchange(is_connecting, false)) {
        errno = EAGAIN;
        return -1;
    }
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

void fuzzing::check_input(std::string_view input) {
    with_all_cuts(input, end_of(input), serve);
}
