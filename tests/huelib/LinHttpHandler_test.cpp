#include "huelib/LinHttpHandler.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/socket.h>

#include "tests/support/ScriptedPeer.h"

using namespace std::chrono_literals;
using simulator::Connection;

namespace {

constexpr std::size_t kMoreThanSocketsBuffer = 32'000'000;

std::ptrdiff_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// Code and text of the system error that a call throws.
using Failure = std::pair<int, std::string>;
Failure failure_of(const std::function<std::string()>& ask) {
    try {
        return {0, "answered " + ask()};
    } catch (const std::system_error& problem) {
        EXPECT_EQ(problem.code().category(), std::generic_category());
        return {problem.code().value(), problem.what()};
    }
}

class Peer {
  public:
    explicit Peer(const ScriptedPeer::Script& script) { peer_.on_request(script); }
    explicit Peer(const std::string& answer) { peer_.set_answer(answer); }
    std::string ask(const LinHttpHandler::Limits& limits = {}) const {
        return LinHttpHandler::exchange("?", "127.0.0.1", port(), limits);
    }
    Failure failure(const LinHttpHandler::Limits& limits = {}) const {
        return failure_of([&] { return ask(limits); });
    }
    int port() const { return peer_.port(); }

  private:
    ScriptedPeer peer_{{}, [](const std::string& text) { return !text.empty(); }};
};

/// Runs `act` on a thread that is interrupted by a signal every 5 ms.
void under_signals(const std::function<void()>& act) {
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};  // without SA_RESTART
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGUSR1, &interrupt, &before), 0);
    std::atomic<bool> is_done{false};
    std::thread acting([&] {
        act();
        is_done = true;
    });
    while (!is_done) {
        pthread_kill(acting.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(5ms);
    }
    acting.join();
    sigaction(SIGUSR1, &before, nullptr);
}

Failure read_failure(int code) {
    return {code, "LinHttpHandler: Failed to read response from socket: " +
                      std::generic_category().message(code)};
}

}  // namespace

TEST(LinHttpHandler, NamesTheStepAndTheErrorAndLeavesNoDescriptor) {
    const auto before = open_descriptors();
    LinHttpHandler::Limits tight;
    tight.blocked = 100ms;
    tight.answerBytes = 1000;
    EXPECT_EQ(Peer([](Connection& peer) { peer.reset(); }).failure(), read_failure(ECONNRESET));
    EXPECT_EQ(Peer([](Connection& peer) { peer.hold(); }).failure(tight), read_failure(EAGAIN));
    EXPECT_EQ(Peer(std::string(1000, 'x')).ask(tight).size(), 1000U);
    EXPECT_EQ(Peer(std::string(1001, 'x')).failure(tight), read_failure(EMSGSIZE));
    const int closed_port = Peer("").port();
    EXPECT_EQ(
        failure_of([&] { return LinHttpHandler().send("?", "127.0.0.1", closed_port); }),
        Failure(ECONNREFUSED, "LinHttpHandler: Failed to connect socket: Connection refused"));
    EXPECT_THAT([] { LinHttpHandler().send("?", "no such host", 80); },
                testing::ThrowsMessage<std::system_error>(
                    testing::StartsWith("LinHttpHandler: gethostbyname: ")));
    for (const int port : {65536 + closed_port, 0, -1}) {  // must not be truncated to another port
        EXPECT_EQ(failure_of([&] { return LinHttpHandler().send("?", "127.0.0.1", port); }),
                  Failure(EINVAL, "LinHttpHandler: gethostbyname: Invalid argument"));
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(LinHttpHandler, ClampsEveryLimit) {
    LinHttpHandler::Limits odd;
    odd.blocked = odd.answer = std::chrono::milliseconds::max();  // beyond every deadline
    EXPECT_EQ(Peer("here").ask(odd), "here");
    odd.blocked = 0ms;  // which a socket takes for no limit
    const Peer silent([](Connection& peer) { peer.pause(5s); });
    EXPECT_THROW(silent.ask(odd), std::system_error);
}

TEST(LinHttpHandler, TimesOutWithAPeerThatSendsSlowlyForever) {
    LinHttpHandler::Limits tight;
    tight.blocked = 10s;
    tight.answer = 300ms;
    for (const std::size_t length : {10, 1000}) {  // then silence, or still sending
        const Peer peer([length](Connection& connection) {
            connection.write_slowly(std::string(length, 'x'), 10ms);
            connection.hold();
        });
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(peer.failure(tight), read_failure(EAGAIN));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    }
}

TEST(LinHttpHandler, ReportsAPeerThatClosesDuringALongRequest) {
    simulator::SocketServer server([](Connection& connection) {
        ::shutdown(connection.fd(), SHUT_WR);  // only a reset after an end raises SIGPIPE
        connection.reset();
    });
    server.listen_tcp("127.0.0.1", 0);
    const std::string request(kMoreThanSocketsBuffer, 'x');
    EXPECT_EQ(
        failure_of([&] { return LinHttpHandler().send(request, "127.0.0.1", server.port()); }),
        Failure(EPIPE, "LinHttpHandler: Failed to write message to socket: Broken pipe"));
}

TEST(LinHttpHandler, SignalsDoNotInterruptAnExchange) {
    simulator::SocketServer server([](Connection& peer) {
        std::string request(kMoreThanSocketsBuffer, ' ');
        std::this_thread::sleep_for(100ms);
        const ssize_t count = ::recv(peer.fd(), request.data(), request.size(), MSG_WAITALL);
        std::this_thread::sleep_for(100ms);
        peer.write(count == static_cast<ssize_t>(request.size()) ? "whole" : "part");
    });
    server.listen_tcp("127.0.0.1", 0);
    const std::string request(kMoreThanSocketsBuffer, 'x');
    under_signals([&] {
        EXPECT_EQ(
            failure_of([&] { return LinHttpHandler().send(request, "127.0.0.1", server.port()); }),
            Failure(0, "answered whole"));
    });
}

TEST(LinHttpHandler, AnInterruptedConnectContinuesAndKeepsItsLimit) {
    int port = 0;
    const FileDescriptor server(make_internet_socket_randomport(&port, 0));
    const FileDescriptor first(
        make_internettcpclient_socket("127.0.0.1", port));  // fills the queue
    const auto exchange = [&](LinHttpHandler::Limits limits, std::chrono::milliseconds connecting) {
        limits.blocked = connecting;
        return failure_of([&] { return LinHttpHandler::exchange("?", "127.0.0.1", port, limits); });
    };
    const auto start = std::chrono::steady_clock::now();
    under_signals([&] {
        EXPECT_EQ(exchange({}, 300ms),
                  Failure(EINPROGRESS,
                          "LinHttpHandler: Failed to connect socket: Operation "
                          "now in progress"));
    });
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);

    const auto served = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(200ms);  // the system tries again after a second
        const FileDescriptor waiting(::accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC));
        const FileDescriptor late(::accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC));
        EXPECT_EQ(::send(late.get(), "here", 4, MSG_NOSIGNAL), 4);
        ::shutdown(late.get(), SHUT_WR);
    });
    under_signals([&] { EXPECT_EQ(exchange({}, 10s), Failure(0, "answered here")); });
}

TEST(LinHttpHandler, SplitsTheAnswersToASearchWhereverTheDatagramsEnd) {
    const FileDescriptor device(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(own);
    ASSERT_EQ(::bind(device.get(), reinterpret_cast<const sockaddr*>(&own), size), 0);
    ASSERT_EQ(::getsockname(device.get(), reinterpret_cast<sockaddr*>(&own), &size), 0);
    auto found = std::async(std::launch::async, [port = ntohs(own.sin_port)] {
        return LinHttpHandler().sendMulticast("who?", "127.0.0.1", port, 1);
    });
    char question[8] = {};
    sockaddr_in asker{};
    EXPECT_EQ(::recvfrom(device.get(), question, sizeof(question), 0,
                         reinterpret_cast<sockaddr*>(&asker), &size),
              4);
    for (const std::string datagram :
         {"one\r\nA: b\r\n\r\ntwo\r\n\r\n", "", "thr", "ee\r\n\r\n", "cut off"}) {
        ::sendto(device.get(), datagram.data(), datagram.size(), 0,
                 reinterpret_cast<const sockaddr*>(&asker), size);
    }
    EXPECT_EQ(found.get(), (std::vector<std::string>{"one\r\nA: b", "two", "three"}));
    EXPECT_STREQ(question, "who?");
}
