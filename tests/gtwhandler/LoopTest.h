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

/// A core's connection: says bytes, and reads what comes until the loop closes.
class CorePeer final {
  public:
    explicit CorePeer(int fd) : fd_(fd) {}

    CorePeer& says(std::string_view text) {
        EXPECT_EQ(send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
        return *this;
    }
    /// Everything up to the end of the connection, then "reset" when that was its end, or "open"
    /// when none came within 10 s.
    std::string hears() {
        set_socket_timeouts(fd_.get(), 10000);
        std::string text;
        char chunk[256];
        ssize_t count = 0;
        while ((count = recv(fd_.get(), chunk, sizeof(chunk), 0)) > 0) {
            text.append(chunk, static_cast<std::size_t>(count));
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
    void leaves() { fd_.reset(); }
    void resets() {
        const linger at_once{1, 0};
        setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
        fd_.reset();
    }

  private:
    FileDescriptor fd_;
};

/// Keeps what it was told, and whether `watched` already had its answer by then.
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

    CorePeer connects() const {
        return CorePeer(make_internettcpclient_socket("127.0.0.1", loop_.getLocalPortWithCore()));
    }
    /// The length-managed request, its announced length true.
    static std::string request(const std::vector<std::string>& parameters,
                               const std::string& function = "SERVICE_RUNONELEMENT") {
        using namespace fsmcore_format;
        return compose_request(Form::length_managed, {function, parameters, "5"}).value();
    }
    static std::string framed(const std::string& body) {
        return "LengthRequestIs: " + std::to_string(body.size()) + "\n" + body;
    }
    /// A step that finds nothing to complete.
    bool is_idle() {
        loop_.setSelectTimeout(0, 2000);
        const bool is_timeout =
            loop_.run() == 0 &&
            loop_.getLastEventKind() == gtwhandlernamespace::GtwHandler::EventKind::select_timeout;
        loop_.setSelectTimeout(10, 0);
        return is_timeout;
    }
    /// A good request is served in one step.
    bool serves() {
        CorePeer core = connects();
        core.says(request({"7", "RUN", "80"}));
        const std::size_t calls = gateway_.calls.size();
        return loop_.run() == gateway_.result && core.hears() == kDone &&
               gateway_.calls.size() == calls + 1;
    }

    gtwhandlernamespace::GtwHandler loop_{0, nullptr};
    RecordingGateway gateway_;
};
