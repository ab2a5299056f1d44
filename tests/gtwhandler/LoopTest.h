/// An event loop with one recording gateway, and cores that talk to its endpoint over TCP.
#pragma once

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "gtwhandler/GtwHandler.h"
#include "simulator/net/Connection.h"
#include "tests/support/SystemLogTest.h"

/// A core's connection to the endpoint.
using CorePeer = simulator::Connection;

/// Everything up to the end of the connection, then "reset" if it was reset, or "open" if it did
/// not end within 10 s.
inline std::string receive_all(const CorePeer& core) {
    std::string text;
    ssize_t count = 0;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while ((count = receive_until(core.fd(), text, limit)) > 0) {
    }
    if (count < 0 && errno != ECONNRESET) {
        return text + "open";
    }
    // A reset may also follow the orderly end.
    int problem = 0;
    socklen_t length = sizeof(problem);
    getsockopt(core.fd(), SOL_SOCKET, SO_ERROR, &problem, &length);
    return count == 0 && problem == 0 ? text : text + "reset";
}

/// Records the calls, and whether `watched_fd` already had its answer at the time of a call.
class RecordingGateway final : public gtwbasenamespace::GtwBaseClass {
  public:
    using Parameters = callfromcoreparametersnamespace::CallFromCoreParameters;

    int didReceiveCallFromCore(gtwhandlernamespace::GtwHandler*, Parameters* parameters) override {
        calls.emplace_back(parameters->clone());
        return note();
    }
    int didReceiveCustomGatewayData(gtwhandlernamespace::GtwHandler*, int fd) override {
        char byte = 0;
        EXPECT_EQ(read(fd, &byte, 1), 1);
        custom_data.push_back(fd);
        return result;
    }
    int willTerminate(gtwhandlernamespace::GtwHandler*, Parameters* parameters) override {
        quits.emplace_back(parameters->clone());
        return note();
    }

    int result = 0;
    int watched_fd = -1;
    std::vector<std::unique_ptr<Parameters>> calls, quits;
    std::vector<int> custom_data;
    bool was_answered = false;

  private:
    int note() {
        pollfd answer{watched_fd, POLLIN, 0};
        was_answered = watched_fd >= 0 && poll(&answer, 1, 200) > 0;
        return result;
    }
};

class LoopTest : public SystemLogTest {
  protected:
    static constexpr const char* kDone = "Response Status: FSMC-000\nParameter Count: 0\n\n";

    LoopTest() {
        EXPECT_EQ(loop_.initialize(), 0);
        EXPECT_EQ(loop_.addGateway(&gateway_), 0);
        loop_.setSelectTimeout(10, 0);
    }

    CorePeer connect_core() const {
        const int port = loop_.getLocalPortWithCore();
        return CorePeer(FileDescriptor(make_internettcpclient_socket("127.0.0.1", port)));
    }
    /// A length-managed request with the right length.
    static std::string request(const std::vector<std::string>& parameters,
                               const std::string& function = "SERVICE_RUNONELEMENT") {
        using namespace fsmcore_format;
        return compose_request(Form::length_managed, {function, parameters, "5"}).value();
    }
    static std::string framed(const std::string& body) {
        return "LengthRequestIs: " + std::to_string(body.size()) + "\n" + body;
    }
    /// Runs one step; true if it ends by its timeout.
    bool is_idle() {
        loop_.setSelectTimeout(0, 2000);
        const bool is_timeout =
            loop_.run() == 0 &&
            loop_.getLastEventKind() == gtwhandlernamespace::GtwHandler::EventKind::select_timeout;
        loop_.setSelectTimeout(10, 0);
        return is_timeout;
    }
    /// Sends a good request; true if one step serves it.
    bool serves_a_request() {
        CorePeer core = connect_core();
        core.write(request({"7", "RUN", "80"}));
        const std::size_t calls = gateway_.calls.size();
        return loop_.run() == gateway_.result && receive_all(core) == kDone &&
               gateway_.calls.size() == calls + 1;
    }

    gtwhandlernamespace::GtwHandler loop_{0, nullptr};
    RecordingGateway gateway_;
};
