/// An event loop with one recording gateway, and cores that talk to its endpoint over TCP.
#pragma once

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/support/SystemLogTest.h"

/// A core's connection to the endpoint.
class CorePeer final {
  public:
    explicit CorePeer(int fd) : fd_(fd) {}

    CorePeer& send(std::string_view text) {
        EXPECT_EQ(::send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
        return *this;
    }
    /// Everything up to the end of the connection, then "reset" if it was reset, or "open" if it
    /// did not end within 10 s.
    std::string receive_all() {
        std::string text;
        ssize_t count = 0;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while ((count = receive_until(fd_.get(), text, limit)) > 0) {
        }
        if (count < 0 && errno != ECONNRESET) {
            return text + "open";
        }
        // A reset may also follow the orderly end.
        int problem = 0;
        socklen_t length = sizeof(problem);
        getsockopt(fd_.get(), SOL_SOCKET, SO_ERROR, &problem, &length);
        return count == 0 && problem == 0 ? text : text + "reset";
    }
    bool has_answer() const {
        pollfd watched{fd_.get(), POLLIN, 0};
        return poll(&watched, 1, 200) > 0;
    }
    /// No more bytes follow; the answer can still be received.
    void finish() { shutdown(fd_.get(), SHUT_WR); }
    void close() { fd_.reset(); }
    void reset() {
        const linger at_once{1, 0};
        setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
        fd_.reset();
    }

  private:
    FileDescriptor fd_;
};

/// Records the calls, and whether `watched` already had its answer at the time of a call.
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
    const CorePeer* watched = nullptr;
    std::vector<std::unique_ptr<Parameters>> calls, quits;
    std::vector<int> custom_data;
    bool was_answered = false;

  private:
    int note() {
        was_answered = watched != nullptr && watched->has_answer();
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
        return CorePeer(make_internettcpclient_socket("127.0.0.1", loop_.getLocalPortWithCore()));
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
        core.send(request({"7", "RUN", "80"}));
        const std::size_t calls = gateway_.calls.size();
        return loop_.run() == gateway_.result && core.receive_all() == kDone &&
               gateway_.calls.size() == calls + 1;
    }

    gtwhandlernamespace::GtwHandler loop_{0, nullptr};
    RecordingGateway gateway_;
};
