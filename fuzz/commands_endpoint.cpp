// The commands endpoint: a connection, its request, the answer and the call of the gateway.
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <sys/select.h>
#include <sys/socket.h>

#include "fuzz/support/ScriptedPeer.h"
#include "fuzz/support/Surroundings.h"
#include "gtwhandler/GtwHandler.h"

namespace {

using fuzzing::Cuts;
using fuzzing::End;
using fuzzing::require;
using gtwhandlernamespace::GtwHandler;
using Outcome = std::tuple<std::string, std::vector<std::string>>;

constexpr std::string_view kDone = "Response Status: FSMC-000\nParameter Count: 0\n\n";
constexpr std::string_view kUnsupported = "Response Status: FSMC-008\nParameter Count: 0\n\n";
constexpr std::size_t kLongestProblem = 255;
constexpr int kStepSeconds = 1;

bool is_connecting = false;

class Gateway final : public gtwbasenamespace::GtwBaseClass {
  public:
    using Parameters = callfromcoreparametersnamespace::CallFromCoreParameters;

    int didReceiveCallFromCore(GtwHandler*, Parameters* parameters) override {
        return note(*parameters);
    }
    int didReceiveCustomGatewayData(GtwHandler*, int) override { return 0; }
    int willTerminate(GtwHandler*, Parameters* parameters) override { return note(*parameters); }

    std::vector<std::string> calls;

  private:
    int note(const Parameters& parameters) {
        calls.push_back(std::to_string(parameters.objectId) + " " + parameters.action);
        for (const std::string* text :
             {&parameters.action, &parameters.p2, &parameters.p3, &parameters.p4, &parameters.p5}) {
            require(text->size() <= 511, "the size of a value is limited");
            calls.back().append("|").append(*text);
        }
        return 1;
    }
};

struct Endpoint {
    Endpoint() {
        require(loop.initialize() == 0 && loop.addGateway(&gateway) == 0, "the endpoint opens");
    }

    Gateway gateway;
    GtwHandler loop{0, nullptr};
};

Outcome serve(std::string_view bytes, Cuts cuts, End end) {
    static Endpoint endpoint;
    endpoint.gateway.calls.clear();
    const fuzzing::ScriptedPeer peer(bytes, cuts, end);
    is_connecting = true;
    int failures = 0;
    for (int i = 0; i < GtwHandler::kRequestDeadlineSeconds + 3; ++i) {
        failures += endpoint.loop.run() == -1 ? 1 : 0;
    }
    const std::string& answer = peer.sent();
    require(answer.empty() || answer == kUnsupported || answer == kDone,
            "an answer is well formed");
    require(endpoint.gateway.calls.size() == (answer == kDone ? 1U : 0U),
            "the gateway is called exactly for a request answered with FSMC-000");
    require(failures == (answer.empty() ? 1 : 0), "a request without an answer fails once");
    require(failures == 0 || std::strlen(endpoint.loop.getLastError()) <= kLongestProblem,
            "the error text is limited");
    return {answer, endpoint.gateway.calls};
}

}  // namespace

// Every watched descriptor is ready; one peer connects.
extern "C" int select(int, fd_set*, fd_set*, fd_set*, timeval*) {
    fuzzing::advance_clock(std::chrono::seconds(kStepSeconds));
    return 1;
}

extern "C" int accept4(int, sockaddr*, socklen_t*, int) {
    if (!is_connecting) {
        errno = EAGAIN;
        return -1;
    }
    is_connecting = false;
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const End end = fuzzing::end_of(bytes);
    const Outcome whole = serve(bytes, Cuts::none, end);
    require(whole == serve(bytes, Cuts::bytewise, end) && whole == serve(bytes, Cuts::random, end),
            "the result does not depend on how the input is split");
    return 0;
}
