#include "huelib/LinHttpHandler.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>

#include "simulator/SocketServer.h"

using namespace std::chrono_literals;
using simulator::Connection;
using simulator::SocketServer;

namespace {

std::ptrdiff_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// A TCP peer that reads the request "?" and then does what it is told.
class Peer {
  public:
    explicit Peer(SocketServer::Handler act)
        : server_([act = std::move(act)](Connection& connection) {
              connection.read_until([](const std::string& text) { return !text.empty(); }, 5s);
              act(connection);
          }) {
        server_.listen_tcp("127.0.0.1", 0);
    }

    std::string asked(const LinHttpHandler::Limits& limits = {}) const {
        return LinHttpHandler::exchange("?", "127.0.0.1", server_.port(), limits);
    }
    /// Code and text of the system error that asking ends in.
    std::pair<int, std::string> failure(const LinHttpHandler::Limits& limits = {}) const {
        try {
            return {0, "answered " + asked(limits)};
        } catch (const std::system_error& problem) {
            EXPECT_EQ(problem.code().category(), std::generic_category());
            return {problem.code().value(), problem.what()};
        }
    }
    int port() const { return server_.port(); }

  private:
    SocketServer server_;
};

SocketServer::Handler says(const std::string& text) {
    return [text](Connection& connection) {
        connection.write(text);
        connection.finish();
    };
}

std::pair<int, std::string> read_failure(int code) {
    return {code, "LinHttpHandler: Failed to read response from socket: " +
                      std::generic_category().message(code)};
}

/// A UDP peer that answers one search with the given datagrams.
class Responder {
  public:
    explicit Responder(std::vector<std::string> datagrams)
        : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in own{};
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof own;
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&own), size), 0);
        ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&own), &size);
        port = ntohs(own.sin_port);
        EXPECT_TRUE(set_socket_timeouts(socket_.get(), 5000));
        thread_ = std::thread([this, datagrams = std::move(datagrams)] {
            char search[100];
            sockaddr_in asker{};
            socklen_t asker_size = sizeof asker;
            auto* address = reinterpret_cast<sockaddr*>(&asker);
            const ssize_t count =
                ::recvfrom(socket_.get(), search, sizeof search, 0, address, &asker_size);
            received.assign(search, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            for (const std::string& text : datagrams) {
                ::sendto(socket_.get(), text.data(), text.size(), 0, address, asker_size);
            }
        });
    }
    ~Responder() { ends(); }
    void ends() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    int port = 0;
    std::string received;

  private:
    FileDescriptor socket_;
    std::thread thread_;
};

}  // namespace

TEST(LinHttpHandler, ReturnsTheWholeAnswerHoweverItIsCut) {
    const std::string text = std::string(300, 'x') + std::string("\0\r\n", 3) + "end";
    EXPECT_EQ(Peer(says(text)).asked(), text);
    EXPECT_EQ(Peer([&](Connection& peer) { peer.write_slowly("HTTP/1.0", 5ms); }).asked(),
              "HTTP/1.0");
    LinHttpHandler::Limits tight;
    tight.answerBytes = text.size();
    EXPECT_EQ(Peer(says(text)).asked(tight), text);
}

TEST(LinHttpHandler, TakesExactlyThreeBytesForABrokenAnswer) {
    for (const char* text : {"", "ab", "abcd"}) {
        EXPECT_EQ(Peer(says(text)).asked(), text);
    }
    try {
        Peer(says("abc")).asked();
        ADD_FAILURE() << "answered";
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(),
                     "LinHttpHandler: Failed to store complete response from socket\n");
    }
}

TEST(LinHttpHandler, NamesTheStepAndTheErrorAndLeavesNoDescriptor) {
    const auto before = open_descriptors();
    LinHttpHandler::Limits tight;
    tight.blocked = 100ms;
    tight.answerBytes = 1000;
    EXPECT_EQ(Peer([](Connection& peer) { peer.reset(); }).failure(), read_failure(ECONNRESET));
    EXPECT_EQ(Peer([](Connection& peer) { peer.hold([] { return false; }); }).failure(tight),
              read_failure(EAGAIN));
    EXPECT_EQ(Peer(says(std::string(1001, 'x'))).failure(tight), read_failure(EMSGSIZE));
    int closed_port = Peer(says("")).port();
    try {
        LinHttpHandler().send("?", "127.0.0.1", closed_port);
        ADD_FAILURE() << "connected";
    } catch (const std::system_error& problem) {
        EXPECT_EQ(problem.code().value(), ECONNREFUSED);
        EXPECT_STREQ(problem.what(),
                     "LinHttpHandler: Failed to connect socket: Connection refused");
    }
    try {
        LinHttpHandler().send("?", "no such host", 80);
        ADD_FAILURE() << "resolved";
    } catch (const std::system_error& problem) {
        EXPECT_EQ(std::string(problem.what()).rfind("LinHttpHandler: gethostbyname: ", 0), 0U);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(LinHttpHandler, EndsWithAPeerThatTricklesForEver) {
    LinHttpHandler::Limits tight;
    tight.blocked = 10s;
    tight.answer = 300ms;
    for (const std::size_t length : {10, 1000}) {  // and then silence, or still trickling
        const Peer peer([length](Connection& connection) {
            connection.write_slowly(std::string(length, 'x'), 10ms);
            connection.hold([] { return false; });
        });
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(peer.failure(tight), read_failure(EAGAIN));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    }
}

TEST(LinHttpHandler, SurvivesAPeerThatClosesUnderALongRequest) {
    SocketServer server([](Connection& connection) {
        ::shutdown(connection.fd(), SHUT_WR);  // only a reset behind an end raises SIGPIPE
        connection.reset();
    });
    server.listen_tcp("127.0.0.1", 0);
    std::string request;
    request.resize(32'000'000);  // more than the sockets' buffers hold
    try {
        LinHttpHandler().send(request, "127.0.0.1", server.port());
        ADD_FAILURE() << "sent";
    } catch (const std::system_error& problem) {
        EXPECT_STREQ(problem.what(),
                     "LinHttpHandler: Failed to write message to socket: Broken pipe");
    }
}

TEST(LinHttpHandler, SignalsDoNotBreakAnExchange) {
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};  // without SA_RESTART
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGUSR1, &interrupt, &before), 0);
    const Peer peer([](Connection& connection) {
        std::this_thread::sleep_for(200ms);
        connection.write("answer");
    });
    std::string answer;
    std::atomic<bool> is_done{false};
    std::thread asking([&] {
        EXPECT_NO_THROW(answer = peer.asked());
        is_done = true;
    });
    while (!is_done) {
        pthread_kill(asking.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(5ms);
    }
    asking.join();
    EXPECT_EQ(answer, "answer");
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(LinHttpHandler, CutsTheAnswersOfASearchAtEmptyLines) {
    const std::string end = "\r\n\r\n";
    Responder responder({"one" + end + "two" + end, "one" + end, "in ", "parts" + end + "rest"});
    const auto answers = LinHttpHandler().sendMulticast("who?", "127.0.0.1", responder.port, 1);
    responder.ends();
    EXPECT_EQ(answers, (std::vector<std::string>{"one", "two", "one", "in parts"}));
    EXPECT_EQ(responder.received, "who?");
}

TEST(LinHttpHandler, SearchesForTheWholeTimeout) {
    Responder responder({});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(LinHttpHandler().sendMulticast("who?", "127.0.0.1", responder.port, 1).empty());
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_THROW(LinHttpHandler().sendMulticast("who?", "no such host", 1900, 1),
                 std::system_error);
}
